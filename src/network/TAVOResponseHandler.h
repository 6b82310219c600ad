#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/TAVOError.h"
#include "tavo/platform/Value.h"

namespace tavo {

class TAVOOperation;
class TAVORequest;

// Reads every answer of the web service: finds each operation's answer, judges its status, hands the data to
// the controller that owns it, tells the host's request delegate of success, and reports to the request
// queue, once per operation that produces a result, nothing (success) or an error. Stateless; runs on the
// request queue's thread.
class TAVOResponseHandler {
 public:
  using ResponseBlock = std::function<void(const std::optional<TAVOError>& error)>;

  void processResponse(const std::string& body, const std::shared_ptr<TAVORequest>& request,
                       const ResponseBlock& responseBlock) const;
  void processOperationResponse(const std::shared_ptr<TAVOOperation>& operation, const platform::Value& json,
                                const ResponseBlock& responseBlock) const;
  void processOperationError(const std::shared_ptr<TAVOOperation>& operation, const ResponseBlock& responseBlock) const;
  // The operation's own answer in a batch answer, or the whole answer when none matches its id.
  static platform::Value getResponseFromOperation(const platform::Value& json, const std::string& operationId);

  void processStatusResponse(const std::optional<platform::Value>& status, const ResponseBlock& responseBlock) const;
  void processJSONResponse(const platform::Value& json, const ResponseBlock& responseBlock) const;
  void processConfigResponse(const platform::Value& answer, const ResponseBlock& responseBlock) const;

  // 200-299 and anything outside the error ranges pass; 0, 400-599 and 666 do not; a missing status fails.
  static bool statusIsOk(const platform::Value* status);
  void onSuccessRequestOperation(const std::shared_ptr<TAVOOperation>& operation, bool containsData) const;
};

}  // namespace tavo
