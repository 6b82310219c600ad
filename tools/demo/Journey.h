#pragma once

#include <csignal>
#include <cstddef>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "emulator/Emulator.h"
#include "platform/Mutex.h"
#include "platform/Platform.h"
#include "tavo/TAVO.h"

namespace tavo::demo {

// A user's journey through a host application, played in real time against the emulator through the SDK's
// C++ facade. Each step prints what the host called, what it heard back (delegate callbacks, answers of the
// facade) and what the web service received, as a table; the summary counts it all.
//
// Runs on the thread that pumps the SDK's main loop (the host's main thread). Request-delegate callbacks come
// from the SDK's request queue and are collected under a lock; the install-attribution delegate and the
// application's continue-user-activity handler are called on the main loop.
class Journey {
 public:
  // interrupt: signals that end the journey early when one is pending (checked while pumping). Installs the
  // host's continue-user-activity handler on the platform's application until destroyed.
  Journey(emulator::Emulator& emulator, platform::Platform& platform, std::ostream& out, sigset_t interrupt);
  ~Journey();
  Journey(const Journey&) = delete;
  Journey& operator=(const Journey&) = delete;

  // Plays every step; false when a step did not see what the web service should have received, or when an
  // interrupt arrived.
  bool play();
  bool interrupted() const { return interrupted_; }

 private:
  struct Step {
    std::string title;
    std::vector<std::string> calls;     // what the host called
    std::vector<std::string> observed;  // what the host read back from the facade
  };
  using Arrived = std::function<bool(const std::vector<emulator::RecordedRequest>&)>;

  void firstStart();
  void installAttribution();
  void login();
  void customEvents();
  void order();
  void backgroundAndForeground();
  void pushToken();
  void reEngagementLink();
  void eventInCampaignWindow();
  void shortLink();

  // The host's universal-link handling: the SDK hands back the long URL of a short link, which the host
  // opens as any other link.
  bool continueUserActivity(const std::string& webpageURL);
  void attributionReceived(const std::shared_ptr<const TAVOInstallAttribution>& attribution);

  // Pumps the main loop until arrived() holds for the requests received since the step began (then a little
  // longer, for the callbacks), or seconds pass. Prints the step. False on time-out or interrupt.
  bool finish(Step step, const Arrived& arrived, double seconds);
  // Pumps the main loop for seconds, or until done() holds; false when interrupted.
  bool pump(double seconds, const std::function<bool()>& done = nullptr);
  std::vector<emulator::RecordedRequest> receivedSinceStep() const;
  std::vector<std::string> takeCallbacks();
  void heard(std::string callback);
  void printStep(const Step& step, const std::vector<emulator::RecordedRequest>& received,
                 const std::vector<std::string>& callbacks, bool complete);
  void printSummary() const;

  emulator::Emulator& emulator_;
  platform::Platform& platform_;
  // Kept apart from the platform: the host may let the platform go before the journey.
  std::shared_ptr<platform::Application> application_;
  std::ostream& out_;
  sigset_t interrupt_;
  bool interrupted_ = false;
  bool allArrived_ = true;
  int stepNumber_ = 0;
  std::size_t firstRequestOfRun_ = 0;  // requests recorded before this run (a kept emulator database)
  std::size_t firstRequestOfStep_ = 0;
  bool installEventSent_ = false;

  std::shared_ptr<TAVORequestDelegate> delegate_;
  std::shared_ptr<TAVOInstallAttributionDelegate> attributionDelegate_;
  mutable platform::Mutex callbacksMutex_;
  std::vector<std::string> callbacks_ GUARDED_BY(callbacksMutex_);
  std::size_t callbackCount_ GUARDED_BY(callbacksMutex_) = 0;
  std::size_t failedCallbacks_ GUARDED_BY(callbacksMutex_) = 0;
  bool attributionHeard_ GUARDED_BY(callbacksMutex_) = false;
  std::vector<std::string> continuedURLs_ GUARDED_BY(callbacksMutex_);
};

}  // namespace tavo::demo
