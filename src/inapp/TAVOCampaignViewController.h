#pragma once

#include <memory>
#include <string>

#include "inapp/TAVOPromotionViewController.h"
#include "platform/ui/Geometry.h"
#include "platform/ui/ViewController.h"

namespace tavo {

class TAVOCampaign;
class TAVOCampaignViewControllerDelegate;

// Base of the view controllers that show a promotion: a modal page (start view, a native ad's link), the
// dynamic tab, the AdBall. It presents and dismisses itself by its presentation kind and tells its delegate
// when it closes. Made with std::make_shared; main thread only.
class TAVOCampaignViewController : public platform::ui::ViewController, public TAVOPromotionViewController {
 public:
  TAVOCampaignViewController(std::string className, std::shared_ptr<TAVOCampaign> promotion);

  // The presentation kind: 2 start view or 8 native-ad link (a modal page), 3 dynamic tab, 4 AdBall.
  unsigned long type() const { return type_; }
  void setType(unsigned long type) { type_ = type; }

  std::shared_ptr<TAVOCampaign> promotion() const override { return promotion_; }
  bool isShowing() const override { return isShowing_; }
  void setIsShowing(bool showing) override { isShowing_ = showing; }
  // Dismisses a modal page (restoring the screen that was current, then telling the delegate and the in-app
  // listeners' onClose), or marks the tab or AdBall closed. Nothing when it is not showing.
  void closePromotion() override;

  // Presents the promotion on the next main-loop turn: a modal page over full screen from the root view
  // controller (over what that presents), the AdBall in the key window. Nothing when already showing.
  void showPromotion();
  // The screen's rectangle as this controller lays out on it: width and height upright.
  platform::ui::Rect getScreenFrame() const;

  // Held weakly.
  void setDelegate(std::weak_ptr<TAVOCampaignViewControllerDelegate> delegate) { delegate_ = std::move(delegate); }

 protected:
  // The modal page is on screen.
  virtual void didPresent() {}

 private:
  void presentModally();
  void tellDelegateClosed();

  unsigned long type_;
  std::shared_ptr<TAVOCampaign> promotion_;
  bool isShowing_ = false;
  // A close asked for while the page slides in waits for the end of the slide.
  bool closeWhenPresented_ = false;
  std::weak_ptr<TAVOCampaignViewControllerDelegate> delegate_;
  std::weak_ptr<platform::ui::ViewController> previousControllerToStartViewController_;
};

}  // namespace tavo
