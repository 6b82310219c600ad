#include "platform/SystemLog.h"

#include <cstdio>
#include <utility>

#include "platform/MutexLock.h"

namespace tavo::platform {

void SystemLog::write(const std::string& line) {
  MutexLock lock(mutex_);
  if (handler_) {
    handler_(line);
    return;
  }
  // One fwrite per line, so lines from other writers of stderr are not split in the middle.
  std::string text;
  text.reserve(line.size() + 1);
  text += line;
  text += '\n';
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void SystemLog::setHandler(Handler handler) {
  MutexLock lock(mutex_);
  handler_ = std::move(handler);
}

}  // namespace tavo::platform
