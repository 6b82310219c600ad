#pragma once

#include <functional>
#include <string>

namespace tavo {

// The host's callbacks for one request. Every member is optional: an unset one is not called. The id is the
// request's custom id when the host gave one, else the id of its operation. Called on the request queue's
// thread.
struct TAVORequestDelegate {
  std::function<void(const std::string& id)> onStarted;
  std::function<void(const std::string& id, bool containsData)> onSuccess;
  std::function<void(const std::string& id)> onFailed;
};

}  // namespace tavo
