#pragma once

#include <functional>

namespace tavo {

// A host listener of start views. Optional callback, called on the main thread.
struct TAVOStartViewDelegate {
  // A start view finished sliding in over the app.
  std::function<void()> onPresented;
};

}  // namespace tavo
