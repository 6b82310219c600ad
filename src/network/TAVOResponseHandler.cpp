#include "network/TAVOResponseHandler.h"

#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequest.h"
#include "network/TAVOResponseType.h"
#include "persistence/TAVOObservableTransmitObject.h"
#include "platform/JSONSerialization.h"
#include "platform/Platform.h"
#include "tavo/TAVOCampaign.h"
#include "tracking/TAVOEventController.h"
#include "tracking/TAVORulesController.h"
#include "tracking/TAVOUser.h"
#include "tracking/TAVOUserController.h"

namespace tavo {

using platform::Array;
using platform::Value;

namespace {

std::optional<TAVOError> error(std::int32_t code) { return TAVOError::errorWithCode(code); }

// How an answer that must be an object with an accepted status fails: error 2 when it is no object, error 3
// when its status is missing or refused; nothing when it is fine.
std::optional<TAVOError> objectAnswerFailure(const Value& answer) {
  if (!answer.isDictionary()) return error(TAVOError::UnexpectedError);
  if (!TAVOResponseHandler::statusIsOk(answer.get("status"))) return error(TAVOError::StatusError);
  return std::nullopt;
}

}  // namespace

void TAVOResponseHandler::processResponse(const std::string& body, const std::shared_ptr<TAVORequest>& request,
                                          const ResponseBlock& responseBlock) const {
  if (request->transmittedObject()) {
    switch (request->getRequestResponseType()) {
      case TAVOResponseUserData:
        // A user update whose answer cannot be read reports nothing at all.
        if (auto json = platform::JSONSerialization::JSONObjectWithData(body))
          processJSONResponse(*json, responseBlock);
        return;
      case TAVOResponseStatus: processStatusResponse(Value(body), responseBlock); return;
      default: return;
    }
  }
  const auto operations = request->operations();
  if (operations.empty()) return;
  // Every operation reads the same answer, and its own part of it may be the whole of it: the body is parsed
  // once and the operations' answers are found by id once, not once per operation.
  const auto json = platform::JSONSerialization::JSONObjectWithData(body);
  if (!json) {
    processOperationError(operations.front(), responseBlock);
    return;
  }
  const OperationAnswers answers(*json);
  for (const auto& operation : operations) {
    if (operation->operationResponseType() == TAVOResponseUserData) {
      processJSONResponse(*json, responseBlock);
      return;
    }
    processOperationAnswer(operation, answers.answerFor(operation->operationId), responseBlock);
  }
}

void TAVOResponseHandler::processOperationError(const std::shared_ptr<TAVOOperation>&,
                                                const ResponseBlock& responseBlock) const {
  responseBlock(error(TAVOError::ResponseParseError));
}

TAVOResponseHandler::OperationAnswers::OperationAnswers(const Value& json) : json_(json) {
  const Value* operations = json.get("operations");
  if (!operations || !operations->asArray()) return;
  const Array& list = *operations->asArray();
  byId_.reserve(list.size());
  for (const Value& element : list) {
    const Value* id = element.get("id");
    // The first element with an id answers for it, as a search from the front finds it.
    if (id && id->isString()) byId_.emplace(*id->asString(), &element);
  }
}

Value TAVOResponseHandler::OperationAnswers::answerFor(const std::string& operationId) const {
  const auto found = byId_.find(operationId);
  if (found == byId_.end()) return json_;
  const Value* response = found->second->get("response");
  return response ? *response : Value();
}

Value TAVOResponseHandler::getResponseFromOperation(const Value& json, const std::string& operationId) {
  if (const Value* operations = json.get("operations"); operations && operations->asArray()) {
    for (const Value& element : *operations->asArray()) {
      const Value* id = element.get("id");
      if (id && id->isString() && *id->asString() == operationId) {
        const Value* response = element.get("response");
        return response ? *response : Value();
      }
    }
  }
  return json;
}

void TAVOResponseHandler::processOperationResponse(const std::shared_ptr<TAVOOperation>& operation, const Value& json,
                                                   const ResponseBlock& responseBlock) const {
  processOperationAnswer(operation, getResponseFromOperation(json, operation->operationId), responseBlock);
}

void TAVOResponseHandler::processOperationAnswer(const std::shared_ptr<TAVOOperation>& operation, const Value& answer,
                                                 const ResponseBlock& responseBlock) const {
  switch (operation->operationResponseType()) {
    case TAVOResponseStatus: {
      const Value* status = answer.get("status");
      processStatusResponse(status ? std::optional<Value>(*status) : std::nullopt, responseBlock);
      break;
    }
    case TAVOResponseStartSessionConfig: processConfigResponse(answer, responseBlock); break;
    case TAVOResponseStartView:
      processCampaignResponse(answer, TAVOCampaign::StartView, operation, responseBlock);
      break;
    case TAVOResponseAdBall: processCampaignResponse(answer, TAVOCampaign::AdBall, operation, responseBlock); break;
    case TAVOResponseBanner: processCampaignResponse(answer, TAVOCampaign::Banner, operation, responseBlock); break;
    case TAVOResponseTextBanner: processCampaignResponse(answer, TAVOCampaign::Strip, operation, responseBlock); break;
    case TAVOResponseTabBar: processCampaignResponse(answer, TAVOCampaign::DynamicTab, operation, responseBlock); break;
    case TAVOResponseRule: processRuleResponse(answer, operation, responseBlock); break;
    case TAVOResponseInstallAttribution: processInstallAtrributionInfo(answer, responseBlock); break;
    case TAVOResponseShortTrackingUrl: processShortTrackingUrl(answer, responseBlock); break;
    default:
      // Answers read by nobody (attribution clicks, search-ads data, user reset) report nothing.
      break;
  }
}

void TAVOResponseHandler::processStatusResponse(const std::optional<Value>& status,
                                                const ResponseBlock& responseBlock) const {
  if (TAVOLogger::sharedLogger().isEnabled(TAVOLogger::Verbose))
    TAVOLogger::logAndType(StringFormat::format("Status response: %@", status), TAVOLogger::Verbose);
  responseBlock(statusIsOk(status ? &*status : nullptr) ? std::nullopt : error(TAVOError::StatusError));
}

void TAVOResponseHandler::processJSONResponse(const Value& json, const ResponseBlock& responseBlock) const {
  if (!json.isDictionary() || !statusIsOk(json.get("status"))) {
    responseBlock(error(TAVOError::StatusError));
    return;
  }
  const Value* response = json.get("response");
  if (response && response->isDictionary()) {
    const Value* serverId = response->get("idtAVoUser");
    const Value* info = response->get("info");
    const bool takeInfo = info && info->isDictionary();
    if (serverId || takeInfo) {
      auto& controller = TAVOController::sharedInstance();
      controller.updateCurrentUser([&](TAVOUser& user) {
        if (serverId) user.tAVoUserID = Value(serverId->integerValue());
        if (takeInfo) user.userInfo = *info->asDictionary();
        user.isNew = false;
      });
      controller.persistCurrentUser();
    }
  }
  responseBlock(std::nullopt);
}

void TAVOResponseHandler::processConfigResponse(const Value& answer, const ResponseBlock& responseBlock) const {
  if (const auto failure = objectAnswerFailure(answer)) {
    responseBlock(failure);
    return;
  }
  const Value* config = answer.get("config");
  const Value* events = config ? config->get("events") : nullptr;
  if (auto eventController = TAVOController::sharedInstance().eventController())
    eventController->parseScreenEvents(events ? *events : Value());
  // An accepted configuration is reported twice: once here and once on the general success path.
  responseBlock(std::nullopt);
  responseBlock(std::nullopt);
}

void TAVOResponseHandler::processCampaignResponse(const Value& answer, unsigned long type,
                                                  const std::shared_ptr<TAVOOperation>& operation,
                                                  const ResponseBlock& responseBlock) const {
  TAVOLogger::log("Campaign Response: %@", answer);
  // A bare number is no campaign answer at all.
  if (answer.isNumber() || !statusIsOk(answer.get("status"))) {
    responseBlock(error(TAVOError::StatusError));
    return;
  }
  const Value* response = answer.get("response");
  if (response && *response == Value("0")) {
    // No campaign for this user now.
    onSuccessRequestOperation(operation, false);
    responseBlock(std::nullopt);
    return;
  }
  onSuccessRequestOperation(operation, true);
  TAVOController::sharedInstance().processPromotionResponseDictionary(response ? *response : Value(), type);
  responseBlock(std::nullopt);
}

void TAVOResponseHandler::processRuleResponse(const Value& answer, const std::shared_ptr<TAVOOperation>& operation,
                                              const ResponseBlock& responseBlock) const {
  if (const auto failure = objectAnswerFailure(answer)) {
    responseBlock(failure);
    return;
  }
  const auto rule = TAVORulesController::parseRuleFromResponse(answer);
  if (rule)
    if (auto rules = TAVOController::sharedInstance().rulesController()) rules->processRule(rule);
  onSuccessRequestOperation(operation, rule != nullptr);
  responseBlock(std::nullopt);
}

void TAVOResponseHandler::processInstallAtrributionInfo(const Value& answer, const ResponseBlock& responseBlock) const {
  TAVOLogger::log("Install Attribution Response: %@", answer);
  if (answer.isNull()) {
    responseBlock(std::nullopt);
    return;
  }
  if (!statusIsOk(answer.get("status"))) {
    responseBlock(error(TAVOError::StatusError));
    return;
  }
  if (const Value* data = answer.get("data")) {
    if (auto users = TAVOController::sharedInstance().userController()) {
      const Value* info = data->get("attributionInfo");
      auto attribution = users->parseInstallAttributionResponse(info ? std::optional<Value>(*info) : std::nullopt);
      platform::Platform::shared().mainLoop->post([users, attribution] { users->showInstallAttribution(attribution); });
    }
  }
  responseBlock(std::nullopt);
}

void TAVOResponseHandler::processShortTrackingUrl(const Value& answer, const ResponseBlock& responseBlock) const {
  TAVOLogger::log("STU Response: %@", answer);
  // No answer at all has no status either: refused.
  if (!statusIsOk(answer.get("status"))) {
    responseBlock(error(TAVOError::StatusError));
    return;
  }
  const Value* data = answer.get("data");
  const Value* url = data ? data->get("url") : nullptr;
  if (url && url->isString()) {
    const std::string webpageURL = *url->asString();
    platform::Platform::shared().mainLoop->post([webpageURL] {
      const auto application = platform::Platform::shared().application;
      if (application && application->respondsToContinueUserActivity()) {
        application->continueUserActivity(webpageURL);
      } else {
        TAVOLogger::log("continueUserActivity delegate is not implemented");
      }
    });
  }
  responseBlock(std::nullopt);
}

bool TAVOResponseHandler::statusIsOk(const Value* status) {
  if (!status) return false;
  const auto code = static_cast<std::int32_t>(status->integerValue());
  if (code >= 200 && code <= 299) return true;
  return !(code == 0 || (code >= 400 && code <= 599) || code == 666);
}

void TAVOResponseHandler::onSuccessRequestOperation(const std::shared_ptr<TAVOOperation>& operation,
                                                    bool containsData) const {
  const auto payload = std::dynamic_pointer_cast<TAVOObservableTransmitObject>(operation->transmitObject);
  if (!payload) return;
  const auto delegate = payload->requestDelegate.lock();
  if (!delegate || !delegate->onSuccess) return;
  try {
    delegate->onSuccess(payload->customId.value_or(operation->operationId), containsData);
  } catch (...) {
    TAVOLogger::log("Error executing TAVORequestDelegate onStarted");
  }
}

}  // namespace tavo
