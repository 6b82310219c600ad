#include "platform/ui/Touch.h"

#include "platform/ui/View.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {

Point Touch::convert(Point onScreen, const View* view) const {
  if (view) return view->convertPointFrom(onScreen, nullptr);
  const auto window = window_.lock();
  return window ? window->convertPointFrom(onScreen, nullptr) : onScreen;
}

Point Touch::locationIn(const View* view) const { return convert(location_, view); }
Point Touch::previousLocationIn(const View* view) const { return convert(previousLocation_, view); }

void Responder::touchesBegan(const Touches& touches) {
  if (auto* next = nextResponder()) next->touchesBegan(touches);
}
void Responder::touchesMoved(const Touches& touches) {
  if (auto* next = nextResponder()) next->touchesMoved(touches);
}
void Responder::touchesEnded(const Touches& touches) {
  if (auto* next = nextResponder()) next->touchesEnded(touches);
}
void Responder::touchesCancelled(const Touches& touches) {
  if (auto* next = nextResponder()) next->touchesCancelled(touches);
}

}  // namespace tavo::platform::ui
