#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

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
  // An in-app check's answer: "response" is the campaign for the campaign type given, or "0" for none.
  void processCampaignResponse(const platform::Value& answer, unsigned long type,
                               const std::shared_ptr<TAVOOperation>& operation,
                               const ResponseBlock& responseBlock) const;
  // A rule check: the rule in the answer, if any, goes to the rules controller; the host hears of success,
  // with data only when a rule came.
  void processRuleResponse(const platform::Value& answer, const std::shared_ptr<TAVOOperation>& operation,
                           const ResponseBlock& responseBlock) const;
  // "data" -> "attributionInfo" to the user controller, shown to the host's delegate on the main thread.
  void processInstallAtrributionInfo(const platform::Value& answer, const ResponseBlock& responseBlock) const;
  // "data" -> "url" handed to the host's continue-user-activity handler on the main thread.
  void processShortTrackingUrl(const platform::Value& answer, const ResponseBlock& responseBlock) const;

  // 200-299 and anything outside the error ranges pass; 0, 400-599 and 666 do not; a missing status fails.
  static bool statusIsOk(const platform::Value* status);
  void onSuccessRequestOperation(const std::shared_ptr<TAVOOperation>& operation, bool containsData) const;

 private:
  // The operations' answers of one batch answer, found by id in one pass; the same answer for every id as
  // getResponseFromOperation. Borrows json.
  class OperationAnswers {
   public:
    explicit OperationAnswers(const platform::Value& json);
    platform::Value answerFor(const std::string& operationId) const;

   private:
    const platform::Value& json_;
    std::unordered_map<std::string_view, const platform::Value*> byId_;
  };

  // Reads one operation's own answer by the kind of answer it expects.
  void processOperationAnswer(const std::shared_ptr<TAVOOperation>& operation, const platform::Value& answer,
                              const ResponseBlock& responseBlock) const;
};

}  // namespace tavo
