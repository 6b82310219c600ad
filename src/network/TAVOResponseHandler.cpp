#include "network/TAVOResponseHandler.h"

#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequest.h"
#include "network/TAVOResponseType.h"
#include "persistence/TAVOObservableTransmitObject.h"
#include "platform/JSONSerialization.h"
#include "tracking/TAVOEventController.h"
#include "tracking/TAVOUser.h"

namespace tavo {

using platform::Value;

namespace {

std::optional<TAVOError> error(std::int32_t code) { return TAVOError::errorWithCode(code); }

}  // namespace

void TAVOResponseHandler::processResponse(const std::string& body, const std::shared_ptr<TAVORequest>& request,
                                          const ResponseBlock& responseBlock) const {
  if (request->transmittedObject()) {
    switch (request->getRequestResponseType()) {
      case TAVOResponseUserData:
        // A user update whose answer cannot be read reports nothing at all.
        if (auto json = platform::JSONSerialization::JSONObjectWithData(body)) processJSONResponse(*json, responseBlock);
        return;
      case TAVOResponseStatus:
        processStatusResponse(Value(body), responseBlock);
        return;
      default:
        return;
    }
  }
  for (const auto& operation : request->operations()) {
    // Each operation reads the whole body again: its answer may be the whole of it.
    const auto json = platform::JSONSerialization::JSONObjectWithData(body);
    if (!json) {
      processOperationError(operation, responseBlock);
      return;
    }
    if (operation->operationResponseType() == TAVOResponseUserData) {
      processJSONResponse(*json, responseBlock);
      return;
    }
    processOperationResponse(operation, *json, responseBlock);
  }
}

void TAVOResponseHandler::processOperationError(const std::shared_ptr<TAVOOperation>&,
                                                const ResponseBlock& responseBlock) const {
  responseBlock(error(TAVOError::ResponseParseError));
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
  const Value answer = getResponseFromOperation(json, operation->operationId);
  switch (operation->operationResponseType()) {
    case TAVOResponseStatus: {
      const Value* status = answer.get("status");
      processStatusResponse(status ? std::optional<Value>(*status) : std::nullopt, responseBlock);
      break;
    }
    case TAVOResponseStartSessionConfig:
      processConfigResponse(answer, responseBlock);
      break;
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
  if (!answer.isDictionary()) {
    responseBlock(error(TAVOError::UnexpectedError));
    return;
  }
  if (!statusIsOk(answer.get("status"))) {
    responseBlock(error(TAVOError::StatusError));
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
