#pragma once

#include <cassert>

#include "platform/Platform.h"

namespace tavo {

// Host calls belong to the main thread, the one that pumps the main loop. A debug build stops at the first
// call from any other thread, where a release build would race with the SDK's own work on the main thread.
inline void assertMainThread() {
  assert(platform::Platform::shared().mainLoop->isMainThread() && "TAVO is called from the host's main thread only");
}

}  // namespace tavo
