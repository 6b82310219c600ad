#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inapp/TAVOCampaignViewControllerDelegate.h"
#include "platform/Mutex.h"
#include "tavo/TAVOStartViewDelegate.h"
#include "tavo/platform/Value.h"

namespace tavo {

class TAVOAdBallPromotion;
class TAVOBannerPromotion;
class TAVOCampaign;
class TAVOPromotionViewController;
class TAVOStripCampaign;
class TAVOTabBarPromotion;

// Turns the web service's campaign answers into campaigns, checks their addresses against the host's white
// list, counts and limits their showings, filters them by audience, hands each to its format's view on the
// main thread, and keeps the list of promotions on screen. The SDK controller's promotionViewController.
//
// Threads: answers arrive on the request queue's threads (processPromotionResponseDictionary, displayCampaign,
// checkFilters); everything else, the view work and the view controllers it keeps, is main-thread only. The
// list of promotions on screen is locked, and walked over a copy so an entry may leave during the walk.
class TAVOCampaignController : public std::enable_shared_from_this<TAVOCampaignController>,
                               public TAVOCampaignViewControllerDelegate {
 public:
  // A campaign answer ("response" of an accepted answer) for a campaign type (2 start view, 3 dynamic tab,
  // 4 AdBall, 5 banner, 6 strip). A target address outside the white list drops it with a log line.
  void processPromotionResponseDictionary(const std::optional<platform::Value>& response, unsigned long type);
  // Counts a showing, or, over the limit, closes the strip or AdBall of that type now on screen; then shows
  // the campaign on the main thread.
  void displayCampaign(const std::shared_ptr<TAVOCampaign>& campaign);
  // Whether the user is in a campaign's audience: app version, system, country, city and rating.
  bool checkFilters(const std::optional<platform::Value>& filterInfo) const;
  // Closes the strip (type 6) or the AdBall (type 4) on screen; nothing for other types.
  void cleanCurrentPromotion(unsigned long type);

  // Registers a promotion on screen when its audience filter passes; one that fails is only marked showing.
  void showPromotion(const std::shared_ptr<TAVOPromotionViewController>& controller);
  // Unregisters a promotion and lifts the block of a start view opened from a push.
  void closePromo(const std::shared_ptr<TAVOPromotionViewController>& controller) override;
  // The start view is presented: registers it and tells the host's start-view delegate.
  void onPresented();
  // Unregisters every start view on screen and dismisses it, without close callbacks.
  void closeStartView();
  // Closes and unregisters every promotion on screen, then the strip.
  void cleanAllPromos();
  // The same; with keepAdBall, an AdBall and the strip stay.
  void cleanAllPromos(bool keepAdBall);
  // Closes the strip on screen, then runs completion (may be empty).
  void closeStrip(const std::function<void()>& completion);
  void closeAdBall();
  bool isAdBallShowing() const;

  bool blockPromotions() const { return blockPromotions_.load(); }
  void setBlockPromotions(bool block) { blockPromotions_.store(block); }
  // A copy of the promotions on screen.
  std::vector<std::shared_ptr<TAVOPromotionViewController>> currentPromos() const;

  // The view controllers of the formats now alive, and the strip shown; set by the formats' views.
  std::shared_ptr<TAVOPromotionViewController> adBallViewController() const { return adBallViewController_; }
  void setAdBallViewController(std::shared_ptr<TAVOPromotionViewController> controller);
  std::shared_ptr<TAVOPromotionViewController> startView() const { return startView_; }
  void setStartView(std::shared_ptr<TAVOPromotionViewController> controller);
  std::shared_ptr<TAVOStripCampaign> currentStrip() const { return currentStrip_; }

  // What every start view made from now on gets: the host's options (kept, not acted on) and the parameters
  // added to its page's query. Main thread.
  unsigned long startViewOptions() const { return startViewOptions_; }
  void setStartViewOptions(unsigned long options) { startViewOptions_ = options; }
  const std::optional<platform::Dictionary>& startViewParameters() const { return startViewParameters_; }
  void setStartViewParameters(std::optional<platform::Dictionary> parameters) {
    startViewParameters_ = std::move(parameters);
  }
  // The host's listener of start views; held weakly. Main thread.
  void setDelegate(std::weak_ptr<TAVOStartViewDelegate> delegate) { delegate_ = std::move(delegate); }

 private:
  // The by-type step of displayCampaign, on the main thread.
  void displayOnMainQueue(const std::shared_ptr<TAVOCampaign>& campaign);
  // Whether an image address passes the white list; logs the refusal.
  bool imageURLInWhiteList(const std::optional<std::string>& url, unsigned long type) const;
  void removeFromCurrentPromos(const std::shared_ptr<TAVOPromotionViewController>& controller);

  // The view half of each format, on the main thread, once the data checks have passed.
  void showStartView(const std::shared_ptr<TAVOCampaign>& campaign);
  void showTabBar(const std::shared_ptr<TAVOTabBarPromotion>& promotion);
  void showAdBall(const std::shared_ptr<TAVOAdBallPromotion>& promotion);
  void showBanner(const std::shared_ptr<TAVOBannerPromotion>& promotion);
  void showStrip(const std::shared_ptr<TAVOStripCampaign>& strip);

  std::atomic<bool> blockPromotions_{false};
  // The show limit's check and count are one step: two answers of one campaign may arrive at once.
  platform::Mutex timesShownMutex_;
  mutable platform::Mutex currentPromosMutex_;
  std::vector<std::shared_ptr<TAVOPromotionViewController>> currentPromos_ GUARDED_BY(currentPromosMutex_);

  // Main thread only.
  std::shared_ptr<TAVOPromotionViewController> adBallViewController_;
  std::shared_ptr<TAVOPromotionViewController> startView_;
  std::shared_ptr<TAVOStripCampaign> currentStrip_;
  unsigned long startViewOptions_ = 0;
  std::optional<platform::Dictionary> startViewParameters_;
  std::weak_ptr<TAVOStartViewDelegate> delegate_;
};

}  // namespace tavo
