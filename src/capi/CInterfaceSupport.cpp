#include "capi/CInterfaceSupport.h"

#include <cstdlib>
#include <cstring>

#include "core/TAVOLogger.h"

namespace tavo::capi {

void failed(const char* entryPoint, const char* what) noexcept {
  try {
    TAVOLogger::logAndType(std::string(entryPoint) + " failed: " + what, TAVOLogger::Plain);
  } catch (...) {  // even the log line could not be made: the host still must not see the exception
  }
}

std::optional<std::string> text(const char* s) {
  if (!s) return std::nullopt;
  return std::string(s);
}

char* copy(const std::string& s) {
  char* out = static_cast<char*>(std::malloc(s.size() + 1));
  if (out) std::memcpy(out, s.c_str(), s.size() + 1);
  return out;
}

std::vector<std::string> list(const char* const* items, size_t count) {
  std::vector<std::string> out;
  if (!items) return out;
  for (size_t i = 0; i < count; ++i)
    if (items[i]) out.emplace_back(items[i]);
  return out;
}

std::shared_ptr<TAVORequestDelegate> requestDelegateFor(const tavo_request_delegate& callbacks) {
  auto delegate = std::make_shared<TAVORequestDelegate>();
  if (callbacks.on_started)
    delegate->onStarted = [callbacks](const std::string& id) { callbacks.on_started(id.c_str(), callbacks.user_data); };
  if (callbacks.on_success)
    delegate->onSuccess = [callbacks](const std::string& id, bool containsData) {
      callbacks.on_success(id.c_str(), containsData, callbacks.user_data);
    };
  if (callbacks.on_failed)
    delegate->onFailed = [callbacks](const std::string& id) { callbacks.on_failed(id.c_str(), callbacks.user_data); };
  return delegate;
}

}  // namespace tavo::capi
