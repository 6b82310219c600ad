#pragma once

#include <memory>

#include "DroppingHttpClient.h"
#include "SdkTestEnvironment.h"
#include "tavo/TAVOConfiguration.h"
#include "tavo/TAVOEventRequest.h"

namespace tavo::bench {

// The SDK as a host sees it after start-up, on the test platform (manual clock, main loop pumped by nobody,
// so the flush timer never fires) with the store in a SQLite file of a temporary data directory, as on a
// device. One per benchmark program run; not thread-safe.
class BenchEnvironment {
 public:
  static constexpr const char* kSessionKey = "BENCHAPPUSER0001KEY000009";
  static constexpr const char* kScreenToken = "home";

  BenchEnvironment();

  // What a host passes to the configured start.
  static TAVOConfiguration configuration();
  // A tracked event as a host makes one: a token that is no screen event and five string attributes.
  static TAVOEventRequest sampleEvent();

  // Starts the session through the facade and lets the fake web service answer: the start-session answer
  // configures one screen event (so other events are gathered, not rule checks), the user update gives the
  // user a server id. Returns once every answer is handled; throws if the session did not start.
  void startSession();
  // Opens the app through count re-engagement links, as a host hands them to the SDK: each stores an
  // attribution campaign whose window (30 days) stays open for the run, and sends its click. Throws unless
  // the store then holds exactly count campaigns.
  void openAttributionCampaigns(int count);
  // From now on requests are taken and never answered; returns the client to read its counts.
  std::shared_ptr<DroppingHttpClient> dropRequests();
  // A process restart on the same data directory: new platform services, no shared controller yet.
  void restart();

  testing::SdkTestEnvironment& sdk() { return sdk_; }

 private:
  // The fake web service: a configuration for a batch, the user's data for an update that asks for it.
  void answerLikeTheWebService();

  testing::SdkTestEnvironment sdk_{testing::SdkTestEnvironment::Store::File};
};

}  // namespace tavo::bench
