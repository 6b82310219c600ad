// Heap allocations of the two hot paths, held to the budgets recorded in budgets.json (+ its tolerance).
// Counts are deterministic for a given build (no timing involved), so this guard does not flake; a change
// that allocates more per tracked event or per flush fails here until it is fixed or the budget is raised
// on purpose.
#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "AllocationCounter.h"
#include "BenchEnvironment.h"
#include "core/TAVOController.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequestController.h"
#include "tavo/TAVO.h"
#include "tracking/TAVOEvent.h"

namespace tavo::bench {
namespace {

nlohmann::json budgets() {
  std::ifstream file(TAVO_BUDGETS_PATH);
  if (!file) throw std::runtime_error("cannot read " TAVO_BUDGETS_PATH);
  return nlohmann::json::parse(file);
}

class AllocationBudgetTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!AllocationCounter::isAvailable()) GTEST_SKIP() << "sanitizer build: allocation counts are not comparable";
    env.startSession();
    // Off the whole second the test clock starts on, as the benchmarks run: counts depend on it.
    env.sdk().clock().advance(0.25);
    client = env.dropRequests();
    requests = TAVOController::sharedInstance().requestController();
  }

  // Fails when measured is over the recorded budget by more than the tolerance.
  static void expectWithinBudget(const char* name, double measured) {
    const auto recorded = budgets();
    const double budget = recorded.at(name).get<double>();
    const double limit = budget * (1.0 + recorded.at("tolerance").get<double>());
    EXPECT_LE(measured, limit) << name << ": " << measured << " allocations against a budget of " << budget
                               << " (limit " << limit << "); see docs/PERFORMANCE.md";
    std::cout << name << ": " << measured << " allocations (budget " << budget << ")\n";
    // A count far under budget is good news, but the budget should follow it down.
    if (measured < budget * 0.5) std::cout << name << " is well under its budget: record " << measured << "\n";
  }

  // Allocations of one trackEvent through the facade, averaged over a batch of them.
  double allocationsPerTrackEvent() {
    const TAVOEventRequest event = BenchEnvironment::sampleEvent();
    // One event through first, so caches that fill once are not charged to the batch.
    TAVOLegacy::trackEvent(event);
    requests->sendOperations();
    constexpr int kEvents = 1000;
    counter.start();
    for (int i = 0; i < kEvents; ++i) TAVOLegacy::trackEvent(event);
    const auto totals = counter.stop();
    EXPECT_EQ(requests->gatheredOperationCount(), static_cast<std::size_t>(kEvents));
    return static_cast<double>(totals.allocations) / kEvents;
  }
  // Allocations of one flush of count gathered events into a request (the second flush of the same
  // operations, so the first one's one-time costs are not counted).
  AllocationCounter::Totals allocationsPerFlush(int count) {
    std::vector<std::shared_ptr<TAVOOperation>> operations;
    for (int i = 0; i < count; ++i) {
      auto payload = std::make_shared<TAVOEvent>();
      payload->initWithRequest(BenchEnvironment::sampleEvent());
      operations.push_back(TAVOOperation::operationWithTransmitObject(payload));
    }
    auto flush = [&] {
      for (const auto& operation : operations) requests->addOperationToQueue(operation);
      counter.start();
      requests->sendOperations();
      return counter.stop();
    };
    const std::size_t before = client->requestCount();
    flush();
    const auto totals = flush();
    EXPECT_EQ(client->requestCount(), before + 2);
    return totals;
  }

  BenchEnvironment env;
  std::shared_ptr<DroppingHttpClient> client;
  std::shared_ptr<TAVORequestController> requests;
  AllocationCounter counter;
};

TEST_F(AllocationBudgetTest, TheCounterSeesThisThreadsAllocationsOnlyWhileCounting) {
  counter.start();
  auto kept = std::make_unique<std::vector<int>>(100);
  auto totals = counter.stop();
  EXPECT_EQ(totals.allocations, 2u);  // the vector object and its elements
  EXPECT_GE(totals.liveBytes, static_cast<std::int64_t>(100 * sizeof(int)));

  counter.start();
  kept.reset();
  totals = counter.stop();
  EXPECT_EQ(totals.allocations, 0u);
  EXPECT_LT(totals.liveBytes, 0);  // releasing counts against the live bytes

  auto notCounted = std::make_unique<int>(1);
  EXPECT_EQ(counter.stop().allocations, 0u);
}

TEST_F(AllocationBudgetTest, TrackEventStaysWithinItsBudget) {
  const double perEvent = allocationsPerTrackEvent();
  EXPECT_GT(perEvent, 1.0);  // an event is a heap object: a count of nothing means the counter is blind
  expectWithinBudget("allocationsPerTrackEvent", perEvent);
}

TEST_F(AllocationBudgetTest, TrackEventWithThreeOpenCampaignsStaysWithinItsBudget) {
  env.openAttributionCampaigns(3);
  const double perEvent = allocationsPerTrackEvent();
  requests->sendOperations();
  EXPECT_EQ(client->lastBodyOccurrences("\"hash\""), 3000u) << "every event carries the three campaigns";
  expectWithinBudget("allocationsPerTrackEventWithThreeOpenCampaigns", perEvent);
}

TEST_F(AllocationBudgetTest, FlushOfAHundredEventsStaysWithinItsBudget) {
  const auto totals = allocationsPerFlush(100);
  EXPECT_GT(totals.allocations, 100u);  // the request's body alone holds every operation
  expectWithinBudget("allocationsPerFlushOf100Events", static_cast<double>(totals.allocations));
}

TEST_F(AllocationBudgetTest, FlushOfAThousandEventsStaysWithinItsBudget) {
  const auto totals = allocationsPerFlush(1000);
  EXPECT_GT(totals.allocations, 1000u);
  expectWithinBudget("allocationsPerFlushOf1000Events", static_cast<double>(totals.allocations));
}

}  // namespace
}  // namespace tavo::bench
