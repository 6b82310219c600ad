#pragma once

#include <memory>

#include "platform/Mutex.h"
#include "tavo/platform/Value.h"
#include "tracking/TAVORule.h"

namespace tavo {

// Keeps the rule the server gave for the last event that asked for rules. Its campaign is shown by the
// in-app formats; until they exist the rule is kept as the active one and logged. Callable from any thread:
// answers arrive on the request queue, the screens that close rules live on the main thread.
class TAVORulesController {
 public:
  // The rule in the answer's "rule" dictionary, or nullptr when there is none or it is empty. Its campaign
  // takes "type", "URL", "id", "times", "canClose" (true unless present and not exactly 1), "IMAGE_URL" and
  // "params"; a banner, AdBall or strip then reads its own fields from the same dictionary.
  static std::shared_ptr<const TAVORule> parseRuleFromResponse(const platform::Value& response);

  // Makes the rule the active one.
  void processRule(const std::shared_ptr<const TAVORule>& rule);
  std::shared_ptr<const TAVORule> activeRule() const;

 private:
  mutable platform::Mutex mutex_;
  std::shared_ptr<const TAVORule> activeRule_ GUARDED_BY(mutex_);
};

}  // namespace tavo
