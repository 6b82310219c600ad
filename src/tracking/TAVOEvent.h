#pragma once

#include <memory>
#include <string>
#include <vector>

#include "persistence/TAVOObservableTransmitObject.h"

namespace tavo {

class TAVOEventRequest;

// An event as it travels in a "tracker" batch: the token under "eventName", the host's attributes, and the
// flags that make it a rule check ("tavo_rules") or a configuration request ("retrieve_config").
class TAVOEvent : public TAVOObservableTransmitObject {
 public:
  static constexpr const char* kStartSessionToken = "tavo_start_session";

  void initWithRequest(const TAVOEventRequest& request);

  std::string getType() const override { return "event"; }
  bool isInmediate() const override { return isStartSession() || isRule || isAttributionClick(); }
  bool removeOnError() const override { return isRule; }
  int operationResponseType() const override;
  int requestResponseType() const override;

  bool isStartSession() const { return eventName == kStartSessionToken; }
  bool isAttributionClick() const;
  // Marks the event as a rule check.
  void checkForRules();
  void retrieveConfig();
  // Logs an empty token or one of 256 UTF-16 units or more; the event is sent all the same.
  void checkEventLenght() const;

  std::string eventName;
  bool isRule = false;
  // The tokens of events that start a session: the same list for every event, so shared.
  std::shared_ptr<const std::vector<std::string>> validEvents;
};

}  // namespace tavo
