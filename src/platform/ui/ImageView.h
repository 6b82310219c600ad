#pragma once

#include <memory>

#include "platform/MainLoop.h"
#include "platform/ui/View.h"

namespace tavo::platform::ui {

class Image;

// A view that shows an image, fitted by its content mode. An animated image plays by itself while the view
// is in a window, frame by frame with each frame's delay on the main loop's clock, looping as the image says.
// Takes no touches by default.
class ImageView : public View {
 public:
  explicit ImageView(std::shared_ptr<Image> image = nullptr);
  explicit ImageView(Rect frame);
  ~ImageView() override;
  std::string className() const override { return "UIImageView"; }

  const std::shared_ptr<Image>& image() const { return image_; }
  void setImage(std::shared_ptr<Image> image);

  bool isAnimating() const { return animating_; }
  void startAnimating();
  void stopAnimating();
  // The frame of the image on screen now (0 for a still image or a stopped animation).
  std::size_t currentFrameIndex() const;

  Size sizeThatFits(Size size) const override;

 protected:
  void didMoveToWindow() override;

 private:
  void scheduleNextFrame();
  void cancelFrameTimer();

  std::shared_ptr<Image> image_;
  bool animating_ = false;
  double animationStart_ = 0;
  std::weak_ptr<MainLoop> loop_;
  MainLoop::TimerId frameTimer_ = 0;
};

}  // namespace tavo::platform::ui
