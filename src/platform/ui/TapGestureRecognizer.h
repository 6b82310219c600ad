#pragma once

#include "platform/MainLoop.h"
#include "platform/ui/GestureRecognizer.h"

namespace tavo::platform::ui {

// Recognizes taps: the required number of fingers coming down and lifting without moving more than 10
// points, the required number of times, each tap within 0.35 s of the previous one (on the main loop's
// clock). Recognized when the last tap lifts.
class TapGestureRecognizer : public GestureRecognizer {
 public:
  using GestureRecognizer::GestureRecognizer;
  ~TapGestureRecognizer() override;
  std::string className() const override { return "UITapGestureRecognizer"; }

  int numberOfTapsRequired() const { return tapsRequired_; }
  void setNumberOfTapsRequired(int taps) { tapsRequired_ = taps < 1 ? 1 : taps; }
  int numberOfTouchesRequired() const { return touchesRequired_; }
  void setNumberOfTouchesRequired(int touches) { touchesRequired_ = touches < 1 ? 1 : touches; }

 protected:
  void touchesBegan(const Touches& touches) override;
  void touchesMoved(const Touches& touches) override;
  void touchesEnded(const Touches& touches) override;
  void touchesCancelled(const Touches& touches) override;
  void reset() override;

 private:
  void cancelTimer();

  int tapsRequired_ = 1;
  int touchesRequired_ = 1;
  int taps_ = 0;
  std::size_t mostTouches_ = 0;
  Point start_;
  std::weak_ptr<MainLoop> loop_;
  MainLoop::TimerId timer_ = 0;
};

}  // namespace tavo::platform::ui
