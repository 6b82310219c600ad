// Images as the decoders and the loader hand them over: GIF frames composed with their delays and played on
// the clock, damaged data refused, loads off the main thread shared and cached.

#include "platform/ui/ImageDecoder.h"

#include <cairo.h>
// clang-format off
#include <cstdio>
#include <jpeglib.h>
// clang-format on
#include <gif_lib.h>
#include <gtest/gtest.h>

#include <fstream>

#include "UiTestEnvironment.h"
#include "platform/FakeHttpClient.h"
#include "platform/ui/ImageLoader.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {
namespace {

constexpr std::uint32_t kRed = 0xFFFF0000, kGreen = 0xFF00FF00, kBlue = 0xFF0000FF;

struct GifFrame {
  int delay;  // hundredths of a second
  int left, top, width, height;
  std::vector<GifByteType> pixels;  // 0 red, 1 green, 2 blue, 3 white
  int transparent = NO_TRANSPARENT_COLOR;
  int disposal = DISPOSAL_UNSPECIFIED;
};

int writeToString(GifFileType* gif, const GifByteType* bytes, int length) {
  static_cast<std::string*>(gif->UserData)->append(reinterpret_cast<const char*>(bytes), length);
  return length;
}

std::string encodeGif(int width, int height, const std::vector<GifFrame>& frames, std::optional<int> loops) {
  std::string out;
  int error = 0;
  GifFileType* gif = EGifOpen(&out, writeToString, &error);
  GifColorType colors[4] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}};
  ColorMapObject* map = GifMakeMapObject(4, colors);
  EGifSetGifVersion(gif, true);
  EGifPutScreenDesc(gif, width, height, 8, 0, map);
  GifFreeMapObject(map);
  if (loops) {
    EGifPutExtensionLeader(gif, APPLICATION_EXT_FUNC_CODE);
    EGifPutExtensionBlock(gif, 11, "NETSCAPE2.0");
    const GifByteType count[3] = {1, static_cast<GifByteType>(*loops & 0xFF), static_cast<GifByteType>(*loops >> 8)};
    EGifPutExtensionBlock(gif, 3, count);
    EGifPutExtensionTrailer(gif);
  }
  for (const auto& f : frames) {
    GraphicsControlBlock control{f.disposal, false, f.delay, f.transparent};
    GifByteType extension[4];
    EGifGCBToExtension(&control, extension);
    EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, 4, extension);
    EGifPutImageDesc(gif, f.left, f.top, f.width, f.height, false, nullptr);
    std::vector<GifByteType> pixels = f.pixels;
    for (int y = 0; y < f.height; ++y) EGifPutLine(gif, pixels.data() + y * f.width, f.width);
  }
  EGifCloseFile(gif, &error);
  return out;
}

std::string threeFrames(std::optional<int> loops) {
  return encodeGif(4, 4,
                   {{10, 0, 0, 4, 4, std::vector<GifByteType>(16, 0)},
                    {0, 1, 1, 2, 2, {3, 1, 1, 1}, 3, DISPOSE_BACKGROUND},
                    {50, 3, 3, 1, 1, {2}}},
                   loops);
}

std::string encodePng(std::uint32_t argb) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 3, 2);
  auto* data = reinterpret_cast<std::uint32_t*>(cairo_image_surface_get_data(surface));
  std::fill(data, data + 6, argb);
  cairo_surface_mark_dirty(surface);
  std::string out;
  cairo_surface_write_to_png_stream(
      surface,
      [](void* closure, const unsigned char* bytes, unsigned int length) {
        static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(bytes), length);
        return CAIRO_STATUS_SUCCESS;
      },
      &out);
  cairo_surface_destroy(surface);
  return out;
}

std::string encodeJpeg() {
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = 8;
  info.image_height = 8;
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 95, TRUE);
  jpeg_start_compress(&info, TRUE);
  std::vector<unsigned char> row(8 * 3);
  for (int x = 0; x < 8; ++x) row[x * 3 + 2] = 255;  // blue
  while (info.next_scanline < 8) {
    JSAMPROW rows[] = {row.data()};
    jpeg_write_scanlines(&info, rows, 1);
  }
  jpeg_finish_compress(&info);
  std::string out(reinterpret_cast<char*>(buffer), size);
  jpeg_destroy_compress(&info);
  free(buffer);
  return out;
}

// Their delays (0 plays as a tenth) show in the animation's timing below.
TEST(ImageDecoderTest, GifFramesAreComposed) {
  const auto decoded = ImageDecoder::decode(threeFrames(std::nullopt));
  ASSERT_TRUE(decoded);
  ASSERT_EQ(decoded->frames.size(), 3u);
  const auto at = [&](std::size_t frame, int x, int y) { return decoded->frames[frame].pixels[y * 4 + x]; };
  EXPECT_EQ(at(1, 1, 1), kRed);  // transparent: the frame under it shows
  EXPECT_EQ(at(1, 2, 2), kGreen);
  EXPECT_EQ(at(2, 2, 2), 0u);  // cleared to the background after frame 1
  EXPECT_EQ(at(2, 0, 0), kRed);
  EXPECT_EQ(at(2, 3, 3), kBlue);
}

TEST(ImageDecoderTest, PngAndJpegDecodeAndDamagedOrOversizedDataIsRefused) {
  const auto png = ImageDecoder::decode(encodePng(0x80800000));  // half-transparent red, premultiplied
  ASSERT_TRUE(png);
  EXPECT_EQ(png->format, "png");
  EXPECT_EQ(png->frames[0].pixels[0], 0x80800000u);
  const std::string jpegData = encodeJpeg();
  const auto jpeg = ImageDecoder::decode(jpegData);
  ASSERT_TRUE(jpeg);
  EXPECT_EQ(jpeg->width, 8);
  EXPECT_GT(jpeg->frames[0].pixels[0] & 0xFF, 0xF0u);

  EXPECT_FALSE(ImageDecoder::decode(encodePng(0xFF000000).substr(0, 40)));
  std::string badJpeg = jpegData.substr(0, 4) + std::string(200, '\x01');
  EXPECT_FALSE(ImageDecoder::decode(badJpeg));
  EXPECT_FALSE(ImageDecoder::decode("GIF89a"));
  EXPECT_FALSE(ImageDecoder::decode(""));
  std::string huge = threeFrames(std::nullopt);
  huge[6] = huge[7] = huge[8] = huge[9] = '\xff';  // 65535 x 65535
  EXPECT_FALSE(ImageDecoder::decode(huge));
  // A later frame cut short leaves the ones before it.
  const std::string gif = threeFrames(std::nullopt);
  const auto cut = ImageDecoder::decode(gif.substr(0, gif.size() - 3));
  ASSERT_TRUE(cut);
  EXPECT_EQ(cut->frames.size(), 2u);
}

class ImageTest : public ::testing::Test {
 protected:
  testing::UiTestEnvironment env;
};

TEST_F(ImageTest, AnAnimatedImagePlaysFrameByFrameOnTheClockWhileOnScreen) {
  auto looping = Image::imageWithData(threeFrames(std::nullopt));
  auto once = Image::imageWithData(threeFrames(1));
  ASSERT_TRUE(looping && once);
  const auto root = std::make_shared<ViewController>("Root");
  env.show(root);
  const auto view = std::make_shared<ImageView>(looping);
  EXPECT_FALSE(view->isAnimating());  // not on screen yet
  root->view()->addSubview(view);
  std::vector<std::size_t> seen;
  double now = 0;
  for (double t : {0.05, 0.15, 0.25, 0.69, 0.71}) {
    env.advance(t - now);
    now = t;
    seen.push_back(view->currentFrameIndex());
  }
  EXPECT_EQ(seen, (std::vector<std::size_t>{0, 1, 2, 2, 0}));
  const auto generation = UserInterface::current().displayGeneration();
  env.advance(0.1);  // the next frame change marks the screen for a redraw
  EXPECT_GT(UserInterface::current().displayGeneration(), generation);

  view->setImage(once);
  env.advance(0.75);
  EXPECT_EQ(view->currentFrameIndex(), 2u);  // one loop, then the last frame stays
  env.advance(5);
  EXPECT_EQ(view->currentFrameIndex(), 2u);
  view->removeFromSuperview();
  EXPECT_FALSE(view->isAnimating());
}

TEST_F(ImageTest, LoadsAreDecodedOffTheMainThreadSharedAndCached) {
  auto& fake = static_cast<FakeHttpClient&>(*env.platform().httpClient);
  fake.setResponder([](const HttpRequest& request) {
    if (request.url.find("missing") != std::string::npos) return FakeHttpClient::Answer::status(404, "<html>no</html>");
    return FakeHttpClient::Answer::status(200, encodePng(0xFF0000FF));
  });
  auto& loader = UserInterface::current().imageLoader();
  std::vector<std::shared_ptr<Image>> got;
  const auto keep = [&](std::shared_ptr<Image> image) { got.push_back(std::move(image)); };
  loader.load("https://cdn.example/a.png", keep);
  loader.load("https://cdn.example/a.png", keep);
  loader.load("https://cdn.example/missing.png", keep);
  loader.load("relative/path.png", keep);
  EXPECT_TRUE(got.empty());  // never from inside load()
  const auto settle = [&] {
    env.platform().operationQueue->waitUntilAllOperationsAreFinished();
    loader.waitUntilDecoded();
    env.drain();
  };
  settle();
  ASSERT_EQ(got.size(), 4u);
  EXPECT_EQ(fake.requestCount(), 2u);  // the two loads of a.png shared one download
  EXPECT_EQ(std::count(got.begin(), got.end(), nullptr), 2);
  const auto image = *std::find_if(got.begin(), got.end(), [](const auto& i) { return i != nullptr; });
  EXPECT_EQ(std::count(got.begin(), got.end(), image), 2);
  EXPECT_EQ(image->source(), "https://cdn.example/a.png");
  loader.load("https://cdn.example/a.png", keep);
  settle();
  EXPECT_EQ(fake.requestCount(), 2u);
  EXPECT_EQ(got.back(), image);

  testing::TemporaryDirectory directory;
  const std::string path = directory.path() + "/ball.gif";
  std::ofstream(path, std::ios::binary) << threeFrames(std::nullopt);
  loader.load("file://" + path, keep);
  settle();
  ASSERT_TRUE(got.back());
  EXPECT_EQ(got.back()->frames().size(), 3u);
}

}  // namespace
}  // namespace tavo::platform::ui
