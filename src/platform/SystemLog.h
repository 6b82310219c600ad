#pragma once

#include <functional>
#include <string>

#include "platform/Mutex.h"

namespace tavo::platform {

// The system log: one line per call. Lines go to stderr unless the host (or a test) installs a handler,
// which then receives every line instead. Safe from any thread; the handler is called under a lock, one
// line at a time.
class SystemLog {
 public:
  using Handler = std::function<void(const std::string& line)>;

  void write(const std::string& line);
  // An empty handler restores stderr.
  void setHandler(Handler handler);

 private:
  Mutex mutex_;
  Handler handler_ GUARDED_BY(mutex_);
};

}  // namespace tavo::platform
