#include "platform/ui/ImageDecoder.h"

// clang-format off
#include <cstdio>  // jpeglib.h needs FILE declared first
#include <jpeglib.h>
// clang-format on
#include <gif_lib.h>
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdint>
#include <cstring>

namespace tavo::platform::ui {

namespace {

std::uint32_t premultiplied(unsigned r, unsigned g, unsigned b, unsigned a) {
  const auto mul = [a](unsigned c) { return (c * a + 127) / 255; };
  return (a << 24) | (mul(r) << 16) | (mul(g) << 8) | mul(b);
}

bool fits(std::size_t width, std::size_t height) {
  return width > 0 && height > 0 && width * height <= ImageDecoder::kMaxFramePixels;
}

// libjpeg reports a fatal error by calling error_exit, which must not return: it jumps back to the decoder.
struct JpegError {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
};

void jpegFail(j_common_ptr info) { std::longjmp(reinterpret_cast<JpegError*>(info->err)->jump, 1); }
void jpegQuiet(j_common_ptr) {}

// Kept free of C++ objects with destructors: the error path leaves it through longjmp.
bool readJpeg(const unsigned char* data, std::size_t size, ImageDecoder::Decoded* out) {
  jpeg_decompress_struct info;
  JpegError error;
  info.err = jpeg_std_error(&error.manager);
  error.manager.error_exit = jpegFail;
  error.manager.output_message = jpegQuiet;
  if (setjmp(error.jump)) {
    jpeg_destroy_decompress(&info);
    return false;
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, data, static_cast<unsigned long>(size));
  if (jpeg_read_header(&info, TRUE) != JPEG_HEADER_OK || !fits(info.image_width, info.image_height)) {
    jpeg_destroy_decompress(&info);
    return false;
  }
  info.out_color_space = JCS_RGB;
  jpeg_start_decompress(&info);
  out->width = static_cast<int>(info.output_width);
  out->height = static_cast<int>(info.output_height);
  auto& pixels = out->frames.front().pixels;
  pixels.resize(static_cast<std::size_t>(out->width) * out->height);
  JSAMPARRAY row = (*info.mem->alloc_sarray)(reinterpret_cast<j_common_ptr>(&info), JPOOL_IMAGE,
                                             info.output_width * info.output_components, 1);
  while (info.output_scanline < info.output_height) {
    const std::size_t y = info.output_scanline;
    jpeg_read_scanlines(&info, row, 1);
    for (std::size_t x = 0; x < info.output_width; ++x) {
      const JSAMPLE* p = row[0] + x * info.output_components;
      pixels[y * out->width + x] = premultiplied(p[0], p[1], p[2], 255);
    }
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return true;
}

struct GifSource {
  std::string_view data;
  std::size_t offset = 0;
};

int readGif(GifFileType* gif, GifByteType* buffer, int length) {
  auto* source = static_cast<GifSource*>(gif->UserData);
  const std::size_t n =
      std::min<std::size_t>(static_cast<std::size_t>(std::max(length, 0)), source->data.size() - source->offset);
  std::memcpy(buffer, source->data.data() + source->offset, n);
  source->offset += n;
  return static_cast<int>(n);
}

// The NETSCAPE2.0 application extension: a sub-block of 1, then the count, little-endian.
std::optional<int> loopCountIn(const ExtensionBlock* blocks, int count) {
  for (int i = 0; i + 1 < count; ++i) {
    const auto& app = blocks[i];
    const auto& sub = blocks[i + 1];
    if (app.Function != APPLICATION_EXT_FUNC_CODE || app.ByteCount < 11) continue;
    if (std::memcmp(app.Bytes, "NETSCAPE2.0", 11) != 0 && std::memcmp(app.Bytes, "ANIMEXTS1.0", 11) != 0) continue;
    if (sub.Function == CONTINUE_EXT_FUNC_CODE && sub.ByteCount >= 3 && sub.Bytes[0] == 1)
      return sub.Bytes[1] | (sub.Bytes[2] << 8);
  }
  return std::nullopt;
}

}  // namespace

std::optional<ImageDecoder::Decoded> ImageDecoder::decode(std::string_view data) {
  const auto starts = [&](std::string_view signature) { return data.substr(0, signature.size()) == signature; };
  if (starts("\x89PNG\r\n\x1a\n")) return decodePNG(data);
  if (starts("\xff\xd8\xff")) return decodeJPEG(data);
  if (starts("GIF87a") || starts("GIF89a")) return decodeGIF(data);
  return std::nullopt;
}

std::optional<ImageDecoder::Decoded> ImageDecoder::decodePNG(std::string_view data) {
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&image, data.data(), data.size())) return std::nullopt;
  if (!fits(image.width, image.height)) {
    png_image_free(&image);
    return std::nullopt;
  }
  image.format = PNG_FORMAT_RGBA;
  std::vector<png_byte> buffer(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, buffer.data(), 0, nullptr)) {
    png_image_free(&image);
    return std::nullopt;
  }
  Decoded out;
  out.format = "png";
  out.width = static_cast<int>(image.width);
  out.height = static_cast<int>(image.height);
  std::vector<std::uint32_t> pixels(static_cast<std::size_t>(out.width) * out.height);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const png_byte* p = &buffer[i * 4];
    pixels[i] = premultiplied(p[0], p[1], p[2], p[3]);
  }
  out.frames.push_back(Image::Frame{std::move(pixels), 0});
  return out;
}

std::optional<ImageDecoder::Decoded> ImageDecoder::decodeJPEG(std::string_view data) {
  Decoded out;
  out.format = "jpeg";
  out.frames.emplace_back();
  if (!readJpeg(reinterpret_cast<const unsigned char*>(data.data()), data.size(), &out)) return std::nullopt;
  return out;
}

std::optional<ImageDecoder::Decoded> ImageDecoder::decodeGIF(std::string_view data) {
  GifSource source{data};
  int error = 0;
  GifFileType* gif = DGifOpen(&source, readGif, &error);
  if (!gif) return std::nullopt;
  struct Close {
    GifFileType* gif;
    ~Close() {
      int ignored = 0;
      DGifCloseFile(gif, &ignored);
    }
  } close{gif};
  const std::size_t width = static_cast<std::size_t>(std::max(gif->SWidth, 0));
  const std::size_t height = static_cast<std::size_t>(std::max(gif->SHeight, 0));
  if (!fits(width, height)) return std::nullopt;
  // A damaged later frame leaves the ones before it to show, as browsers do.
  const bool complete = DGifSlurp(gif) == GIF_OK;
  int count = complete ? gif->ImageCount : gif->ImageCount - 1;
  count = std::min<int>(count, static_cast<int>(kMaxTotalPixels / (width * height)));
  if (count < 1) return std::nullopt;

  Decoded out;
  out.format = "gif";
  out.width = static_cast<int>(width);
  out.height = static_cast<int>(height);
  std::vector<std::uint32_t> canvas(width * height, 0);
  std::vector<std::uint32_t> saved;
  for (int i = 0; i < count; ++i) {
    const SavedImage& frame = gif->SavedImages[i];
    GraphicsControlBlock control{DISPOSAL_UNSPECIFIED, false, 0, NO_TRANSPARENT_COLOR};
    DGifSavedExtensionToGCB(gif, i, &control);
    const ColorMapObject* colors = frame.ImageDesc.ColorMap ? frame.ImageDesc.ColorMap : gif->SColorMap;
    if (!colors || !frame.RasterBits) return std::nullopt;
    const GifImageDesc& d = frame.ImageDesc;
    if (control.DisposalMode == DISPOSE_PREVIOUS) saved = canvas;
    // Only the part of the frame that lies on the canvas is drawn.
    const int x0 = std::max(0, d.Left), y0 = std::max(0, d.Top);
    const int x1 = std::min<int>(static_cast<int>(width), d.Left + d.Width);
    const int y1 = std::min<int>(static_cast<int>(height), d.Top + d.Height);
    for (int y = y0; y < y1; ++y) {
      for (int x = x0; x < x1; ++x) {
        const int index = frame.RasterBits[static_cast<std::size_t>(y - d.Top) * d.Width + (x - d.Left)];
        if (index == control.TransparentColor || index >= colors->ColorCount) continue;
        const GifColorType& c = colors->Colors[index];
        canvas[static_cast<std::size_t>(y) * width + x] = premultiplied(c.Red, c.Green, c.Blue, 255);
      }
    }
    const double delay = control.DelayTime <= 1 ? 0.1 : control.DelayTime / 100.0;
    out.frames.push_back(Image::Frame{canvas, count > 1 ? delay : 0});
    if (control.DisposalMode == DISPOSE_BACKGROUND) {
      for (int y = y0; y < y1; ++y)
        std::fill_n(canvas.begin() + static_cast<std::ptrdiff_t>(y * width + x0), x1 - x0, 0u);
    } else if (control.DisposalMode == DISPOSE_PREVIOUS) {
      canvas = saved;
    }
  }
  out.loopCount = loopCountIn(gif->ExtensionBlocks, gif->ExtensionBlockCount).value_or(0);
  for (int i = 0; i < count && out.loopCount == 0; ++i)
    out.loopCount =
        loopCountIn(gif->SavedImages[i].ExtensionBlocks, gif->SavedImages[i].ExtensionBlockCount).value_or(0);
  return out;
}

}  // namespace tavo::platform::ui
