#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <vector>

#include "platform/ui/ViewController.h"

namespace tavo::platform::ui {

class TabBar;
class View;

// Tabs of screens with a tab bar at the bottom; one tab, the selected one, is shown. Switching tabs on
// screen takes the screens through the appearance callbacks in the platform's order: incoming will-appear,
// outgoing will-disappear, outgoing did-disappear, incoming did-appear. A tap on the bar first asks the
// delegate; a selection made in code does not. Observers of the selected controller hear every change.
class TabBarController : public ViewController {
 public:
  static constexpr std::size_t kNotFound = std::numeric_limits<std::size_t>::max();

  struct Delegate {
    std::function<bool(TabBarController&, ViewController& selecting)> shouldSelect;
    std::function<void(TabBarController&, ViewController& selected)> didSelect;
  };
  using SelectionObserver =
      std::function<void(const std::shared_ptr<ViewController>& now, const std::shared_ptr<ViewController>& before)>;
  using ObserverId = std::uint64_t;

  TabBarController();

  const std::vector<std::shared_ptr<ViewController>>& viewControllers() const { return tabs_; }
  // The selected controller stays selected when it is still in the list; otherwise the same index is
  // selected (the first tab when the list is shorter). Missing, repeated or foreign controllers are refused.
  void setViewControllers(std::vector<std::shared_ptr<ViewController>> controllers, bool animated = false);
  std::size_t selectedIndex() const { return selected_; }
  void setSelectedIndex(std::size_t index);
  std::shared_ptr<ViewController> selectedViewController() const;
  void setSelectedViewController(const std::shared_ptr<ViewController>& controller);

  std::shared_ptr<TabBar> tabBar();
  void setDelegate(std::weak_ptr<Delegate> delegate) { delegate_ = std::move(delegate); }
  ObserverId addSelectionObserver(SelectionObserver observer);
  void removeSelectionObserver(ObserverId id);

  void loadView() override;
  void viewWillLayoutSubviews() override;

 private:
  friend class TabBar;
  friend class NavigationController;

  // A tap on the bar: the delegate may refuse it.
  void userSelected(std::size_t index);
  // Shows the tab at index in place of before (which may have left the list already).
  void select(std::size_t index, const std::shared_ptr<ViewController>& before);
  void replaceChild(const std::shared_ptr<ViewController>& old, const std::shared_ptr<ViewController>& replacement);
  void place(const std::shared_ptr<ViewController>& controller);
  void refreshBar();
  double barHeight() const;

  std::vector<std::shared_ptr<ViewController>> tabs_;
  std::size_t selected_ = kNotFound;
  std::shared_ptr<TabBar> bar_;
  std::shared_ptr<View> wrapper_;
  std::weak_ptr<Delegate> delegate_;
  std::map<ObserverId, SelectionObserver> observers_;
  ObserverId nextObserver_ = 1;
};

}  // namespace tavo::platform::ui
