#pragma once

#include <memory>

#include "platform/Mutex.h"
#include "tavo/platform/Value.h"
#include "tracking/TAVORule.h"

namespace tavo {

// Shows the campaign of the rule the server gave for the last event that asked for rules, and closes what a
// rule opened when the user leaves the screen. Callable from any thread: answers arrive on the request queue;
// the showing and closing happen on the main thread, where the screens are.
class TAVORulesController : public std::enable_shared_from_this<TAVORulesController> {
 public:
  // The rule in the answer's "rule" dictionary, or nullptr when there is none or it is empty. Its campaign
  // takes "type", "URL", "id", "times", "canClose" (true unless present and not exactly 1), "IMAGE_URL" and
  // "params"; a banner, AdBall or strip then reads its own fields from the same dictionary.
  static std::shared_ptr<const TAVORule> parseRuleFromResponse(const platform::Value& response);

  // On the main thread: closes what the active rule opened, makes this rule the active one and shows its
  // campaign (start view, AdBall, strip; a banner on the current screen). Other types stay active unshown.
  void processRule(const std::shared_ptr<const TAVORule>& rule);
  // Closes every promotion on screen (the AdBall stays with keepAdBall) and forgets the active rule. Main thread.
  void closeRules(bool keepAdBall);
  std::shared_ptr<const TAVORule> activeRule() const;

 private:
  void showRule(const std::shared_ptr<const TAVORule>& rule);

  mutable platform::Mutex mutex_;
  std::shared_ptr<const TAVORule> activeRule_ GUARDED_BY(mutex_);
};

}  // namespace tavo
