#include "tracking/TAVOEvent.h"

#include "core/TAVOLogger.h"
#include "network/TAVOResponseType.h"
#include "tavo/TAVOEventRequest.h"

namespace tavo {

namespace {

// Length in UTF-16 code units, as the platform's strings count it.
std::size_t utf16Length(const std::string& s) {
  std::size_t units = 0;
  for (std::size_t i = 0; i < s.size(); ++i) {
    const auto c = static_cast<unsigned char>(s[i]);
    if ((c & 0xC0) == 0x80) continue;  // continuation byte
    units += (c >= 0xF0) ? 2 : 1;      // characters beyond the basic plane take two units
  }
  return units;
}

}  // namespace

void TAVOEvent::initWithRequest(const TAVOEventRequest& request) {
  TAVOObservableTransmitObject::initWithRequest(request);
  eventName = request.token;
  static const auto startSession = std::make_shared<const std::vector<std::string>>(1, kStartSessionToken);
  validEvents = startSession;
  checkEventLenght();
  objectData.set("eventName", eventName);
  if (isStartSession()) retrieveConfig();
  if (request.attributes) setAttributes(request.attributes);
}

void TAVOEvent::checkEventLenght() const {
  const std::size_t length = utf16Length(eventName);
  if (length == 0) TAVOLogger::logAndType("EmptyEventNameError", TAVOLogger::Error);
  if (length >= 256) TAVOLogger::logAndType("EventTooLongError", TAVOLogger::Error);
}

void TAVOEvent::checkForRules() {
  isRule = true;
  objectData.set("tavo_rules", "1");
}

void TAVOEvent::retrieveConfig() { objectData.set("retrieve_config", "1"); }

bool TAVOEvent::isAttributionClick() const {
  const auto& attrs = attributes();
  if (!attrs) return false;
  const platform::Value* type = attrs->find("e_attribution_type");
  return type && *type == platform::Value("e_click_engagement");
}

int TAVOEvent::operationResponseType() const {
  if (isStartSession()) return TAVOResponseStartSessionConfig;
  if (isRule) return TAVOResponseRule;
  if (isAttributionClick()) return TAVOResponseAttributionClick;
  return TAVOResponseStatus;
}

int TAVOEvent::requestResponseType() const {
  // Sent alone, an event is only ever read as a rule answer or a plain status.
  return isRule ? TAVOResponseRule : TAVOResponseStatus;
}

}  // namespace tavo
