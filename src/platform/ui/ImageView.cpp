#include "platform/ui/ImageView.h"

#include <algorithm>
#include <cmath>

#include "platform/Platform.h"
#include "platform/ui/Image.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {

namespace {

double now() { return Platform::shared().clock->monotonicSeconds(); }

}  // namespace

ImageView::ImageView(std::shared_ptr<Image> image)
    : View(image ? Rect{{0, 0}, image->size()} : Rect{}), image_(std::move(image)) {
  setUserInteractionEnabled(false);
}

ImageView::ImageView(Rect frame) : View(frame) { setUserInteractionEnabled(false); }

ImageView::~ImageView() { cancelFrameTimer(); }

void ImageView::setImage(std::shared_ptr<Image> image) {
  if (image == image_) return;
  stopAnimating();
  image_ = std::move(image);
  if (image_ && image_->isAnimated() && window()) startAnimating();
  setNeedsDisplay();
}

void ImageView::startAnimating() {
  if (animating_ || !image_ || !image_->isAnimated()) return;
  animating_ = true;
  animationStart_ = now();
  scheduleNextFrame();
}

void ImageView::stopAnimating() {
  if (!animating_) return;
  animating_ = false;
  cancelFrameTimer();
  setNeedsDisplay();
}

std::size_t ImageView::currentFrameIndex() const {
  if (!animating_ || !image_) return 0;
  return image_->frameIndexAt(now() - animationStart_);
}

// The screen changes only when the frame does: one timer per frame change marks it for a backend.
void ImageView::scheduleNextFrame() {
  cancelFrameTimer();
  if (!animating_ || !image_) return;
  const double elapsed = now() - animationStart_;
  const double total = image_->duration();
  if (total <= 0 || (image_->loopCount() > 0 && elapsed >= total * image_->loopCount())) return;
  double boundary = elapsed - std::fmod(elapsed, total);
  for (const auto& frame : image_->frames()) {
    boundary += frame.delay;
    if (boundary > elapsed) break;
  }
  const auto loop = Platform::shared().mainLoop;
  loop_ = loop;
  std::weak_ptr<View> self = weak_from_this();
  // At least a millisecond: a boundary a rounding error away must not fire again at the same instant.
  frameTimer_ = loop->postAfter(std::max(boundary - elapsed, 0.001), [self] {
    const auto view = std::static_pointer_cast<ImageView>(self.lock());
    if (!view) return;
    view->frameTimer_ = 0;
    view->setNeedsDisplay();
    view->scheduleNextFrame();
  });
}

void ImageView::cancelFrameTimer() {
  if (!frameTimer_) return;
  if (const auto loop = loop_.lock()) loop->cancel(frameTimer_);
  frameTimer_ = 0;
}

Size ImageView::sizeThatFits(Size) const { return image_ ? image_->size() : Size{}; }

void ImageView::didMoveToWindow() {
  if (!window()) {
    stopAnimating();
  } else if (image_ && image_->isAnimated()) {
    startAnimating();
  }
}

}  // namespace tavo::platform::ui
