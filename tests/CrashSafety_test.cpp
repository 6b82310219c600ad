// Crash safety: a host process (tests/crash_child) works the SDK on one data directory and is killed with
// SIGKILL at random moments, round after round, then started again on the same directory. Between rounds the
// store is opened and read as the next process will read it; at the end a clean run must deliver everything.
//
// What the rules let a kill lose, and nothing more:
//  - events gathered in memory and not yet flushed, and batches in flight whose body the server had not read;
//  - parked requests already read by a new process but not yet resent (the store's copy is read once and
//    cleared when the request queue is made);
//  - the events of a parked batch in any case: its resend carries the credentials only.
// What a kill must never lose or damage: the store itself, the user of the last finished login, the session
// count of the last finished session end, every attribution campaign whose link was handled, every request
// parked (the store holds it from the moment it is parked), the device id and the install date.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "SdkTestEnvironment.h"
#include "attribution/TAVOAttributionCampaign.h"
#include "core/TAVOController.h"
#include "core/TAVOSessionData.h"
#include "emulator/Emulator.h"
#include "emulator/UserRegistry.h"
#include "network/TAVORequest.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/Exception.h"
#include "platform/JSONSerialization.h"
#include "platform/KeyedUnarchiver.h"
#include "platform/SqliteUserDefaults.h"
#include "tavo/TAVO.h"
#include "tracking/TAVOUser.h"
#include "tracking/TAVOUserController.h"

extern char** environ;

namespace tavo {
namespace {

using platform::Value;
using testing::SdkTestEnvironment;
using testing::TemporaryDirectory;
using Store = TAVODataStoreController;

constexpr int kRounds = 15;
constexpr unsigned kDefaultSeed = 20240607;
constexpr double kShortestLife = 0.01;
constexpr double kStartupLife = 0.15;  // a kill before this lands while the process opens its store and resends
constexpr double kLongestLife = 1.0;
constexpr int kRejectEvery = 4;  // every fourth batch of the host's events is answered 500, so requests get parked
constexpr const char* kCredentialsOnly = "apiUser=CRASHAPP001&apiKey=KEY123456";

std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// One run of the child, its stdout and its stderr each in a file.
class ChildProcess {
 public:
  ChildProcess(const std::vector<std::string>& arguments, const std::string& outputPath, const std::string& errorPath)
      : outputPath_(outputPath) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<char*> argv;
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
  }
  ~ChildProcess() {
    if (pid_ > 0 && !exited_) kill();
  }

  bool spawned() const { return pid_ > 0; }
  void kill() {
    ::kill(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
    exited_ = true;
  }
  // The exit code, or nullopt when it had to be killed at the time limit (or died of a signal).
  std::optional<int> waitForExit(double seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    int status = 0;
    while (waitpid(pid_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > deadline) {
        kill();
        return std::nullopt;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    exited_ = true;
    return WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
  }
  // Whole lines only: a line cut by the kill was never finished.
  std::vector<std::string> lines() const {
    const std::string output = contentsOf(outputPath_);
    std::vector<std::string> out;
    std::size_t start = 0;
    for (std::size_t end; (end = output.find('\n', start)) != std::string::npos; start = end + 1)
      out.push_back(output.substr(start, end - start));
    return out;
  }

 private:
  std::string outputPath_;
  pid_t pid_ = -1;
  bool exited_ = false;
};

// What one run of the child said it had done (each step is printed after the SDK call returned).
struct RunReport {
  bool started = false;
  bool finished = false;
  std::vector<std::string> tracked;
  std::vector<std::string> loginsBegun, loginsDone;
  std::set<std::string> campaignsBegun, campaignsDone;
  int sessionEndsBegun = 0, sessionEndsDone = 0;
  std::set<std::string> parked;  // operation ids

  static RunReport parse(const std::vector<std::string>& lines) {
    RunReport report;
    for (const auto& line : lines) {
      const auto space = line.find(' ');
      const std::string word = line.substr(0, space);
      const std::string rest = space == std::string::npos ? "" : line.substr(space + 1);
      if (word == "started") report.started = true;
      if (word == "finished") report.finished = true;
      if (word == "tracked") report.tracked.push_back(rest);
      if (word == "login-begin") report.loginsBegun.push_back(rest);
      if (word == "login-done") report.loginsDone.push_back(rest);
      if (word == "campaign-begin") report.campaignsBegun.insert(rest);
      if (word == "campaign-done") report.campaignsDone.insert(rest);
      if (word == "session-end-begin") ++report.sessionEndsBegun;
      if (word == "session-end-done") ++report.sessionEndsDone;
      if (word == "parked") report.parked.insert(rest);
    }
    return report;
  }
};

// The store as the next process finds it, read without writing anything.
struct StoreView {
  std::vector<std::string> problems;  // anything that does not open or decode
  std::optional<std::string> userID;
  std::optional<Value> serverUserId;
  std::optional<double> sessionNumber;
  std::set<std::string> campaigns;
  std::vector<std::set<std::string>> parked;  // the operation ids of each stored request
  std::optional<std::string> deviceUUID;
  std::optional<std::string> installDate;

  static StoreView read(const std::string& path) {
    StoreView view;
    std::shared_ptr<platform::UserDefaults> defaults;
    try {
      defaults = std::make_shared<platform::SqliteUserDefaults>(path);
    } catch (const std::exception& e) {
      view.problems.push_back(std::string("the store does not open: ") + e.what());
      return view;
    }
    const auto decode = [&](const char* key) -> std::optional<Value> {
      const auto raw = defaults->objectForKey(key);
      if (!raw) return std::nullopt;
      if (!raw->asData()) return raw;
      try {
        return platform::KeyedUnarchiver::unarchiveObjectWithData(*raw->asData());
      } catch (const std::exception& e) {
        view.problems.push_back(std::string(key) + " does not decode: " + e.what());
        return std::nullopt;
      }
    };
    for (const auto& key : Store().allowedKeys()) decode(key.c_str());  // every stored value must decode

    if (const auto user = decode(Store::kUserModelKey)) {
      if (const auto model = user->objectAs<TAVOUser>()) {
        view.userID = model->userID;
        view.serverUserId = model->tAVoUserID;
      } else {
        view.problems.push_back("the stored user is not a user");
      }
    }
    if (const auto session = decode(Store::kSessionDataKey)) {
      if (const auto data = session->objectAs<TAVOSessionData>()) {
        view.sessionNumber = data->sessionNumber;
      } else if (!session->isNull()) {
        view.problems.push_back("the stored session data is not session data");
      }
    }
    if (const auto campaigns = decode(Store::kAttributionCampaignsKey); campaigns && campaigns->asDictionary()) {
      for (const auto& [hash, value] : *campaigns->asDictionary()) {
        const auto campaign = value.objectAs<TAVOAttributionCampaign>();
        if (!campaign || campaign->hashSource != hash || campaign->attrWindow != 48)
          view.problems.push_back("campaign " + hash + " is damaged");
        view.campaigns.insert(hash);
      }
    }
    if (const auto pending = decode(Store::kPendingRequestsKey); pending && pending->asArray()) {
      for (const Value& element : *pending->asArray()) {
        const auto request = element.objectAs<TAVORequest>();
        if (!request || !request->URL.ends_with("/ws/tracker")) {
          view.problems.push_back("a parked request is damaged or not a batch: " + (request ? request->URL : "?"));
          continue;
        }
        std::set<std::string> ids;
        for (const auto& operation : request->operations()) ids.insert(operation->operationId);
        view.parked.push_back(std::move(ids));
      }
    }
    if (const auto uuid = decode(Store::kDeviceUUIDKey); uuid && uuid->isString()) view.deviceUUID = *uuid->asString();
    if (const auto date = decode(Store::kInstallDateKey); date && !date->isNull())
      view.installDate = date->description();
    return view;
  }
};

class CrashSafetyTest : public ::testing::Test {
 protected:
  CrashSafetyTest() : server_(crashService()) {
    server_.answerStatusWhen([this](const emulator::RecordedRequest& request) { return rejection(request); });
  }

  // The web service accepts everything except every fourth batch of the host's events, which it reads and
  // then answers 500, so that the host parks it.
  static emulator::Emulator::Options crashService() {
    emulator::Emulator::Options options;
    options.fixtures =
        emulator::EmulatorFixtures::fromJSON(R"({"apps": [{"apiUser": "CRASHAPP001", "apiKey": "KEY123456"}]})");
    return options;
  }
  std::optional<int> rejection(const emulator::RecordedRequest& request) {
    bool hostEvents = false;
    for (const auto& operation : request.operations)
      hostEvents = hostEvents || operation["params"].value("eventName", "").starts_with("crash-");
    std::lock_guard lock(mutex_);
    if (request.action != "tracker" || !hostEvents || !rejecting_ || ++hostBatches_ % kRejectEvery != 0)
      return std::nullopt;
    for (const auto& operation : request.operations) rejected_.insert(operation.value("id", ""));
    return 500;
  }

  std::set<std::string> rejected() {
    std::lock_guard lock(mutex_);
    return rejected_;
  }
  void stopRejecting() {
    std::lock_guard lock(mutex_);
    rejecting_ = false;
  }

  std::size_t resendsAmong(std::size_t from, std::size_t to) const {
    const auto requests = server_.requests();
    std::size_t count = 0;
    for (std::size_t i = from; i < to && i < requests.size(); ++i)
      if (requests[i].action == "tracker" && requests[i].body == kCredentialsOnly) ++count;
    return count;
  }

  // How often each of the host's events reached the server.
  std::map<std::string, int> receivedEvents() const {
    std::map<std::string, int> received;
    for (const auto& request : server_.requests())
      if (request.action == "tracker")
        for (const auto& operation : request.operations)
          if (const std::string name = operation["params"].value("eventName", ""); !name.empty()) ++received[name];
    return received;
  }

  std::vector<std::string> childArguments(const char* mode, int run) const {
    return {TAVO_CRASH_CHILD_PATH, mode, directory_.path(), server_.baseURL(), std::to_string(run)};
  }

  // Requests that arrive after the kill were already in the kernel's buffers: let them land before counting,
  // until the server has heard nothing new for a while.
  void letTheNetworkSettle() const {
    for (int i = 0; i < 20; ++i) {
      const std::size_t before = server_.requestCount();
      std::this_thread::sleep_for(std::chrono::milliseconds(150));
      if (server_.requestCount() == before) return;
    }
  }

  std::mutex mutex_;
  bool rejecting_ = true;
  int hostBatches_ = 0;
  std::set<std::string> rejected_;
  SdkTestEnvironment env_;        // the test's own platform: classes known to the unarchiver, a captured log
  TemporaryDirectory directory_;  // the child's data
  TemporaryDirectory logs_;       // the child's stdout and stderr, a file each per run
  emulator::Emulator server_;
};

TEST_F(CrashSafetyTest, KillsAtRandomMomentsNeverDamageTheStoreOrLoseWhatTheRulesKeep) {
  const char* seedText = std::getenv("TAVO_CRASH_SEED");
  const unsigned seed = seedText ? static_cast<unsigned>(std::strtoul(seedText, nullptr, 10)) : kDefaultSeed;
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> early(kShortestLife, kStartupLife), late(kStartupLife, kLongestLife);
  std::printf("[ crash    ] seed %u (TAVO_CRASH_SEED to change), %d rounds\n", seed, kRounds);
  const std::string storePath = directory_.path() + "/UserDefaults.sqlite";

  // What the children said they finished, across all runs so far.
  std::optional<std::string> lastLogin;
  std::set<std::string> loginsBegunSince;  // begun after the last finished one
  std::set<std::string> campaignsDone, campaignsBegun;
  int sessionEndsDone = 0, sessionEndsBegun = 0;
  std::optional<std::string> deviceUUID, installDate;
  std::vector<std::set<std::string>> parkedBefore;  // as the last inspection found them
  std::set<std::set<std::string>> everParked;
  std::vector<RunReport> runs;
  std::vector<double> lives;
  std::size_t totalResent = 0, lostByReadOnce = 0, loginsDone = 0;

  for (int round = 0; round <= kRounds; ++round) {
    const bool last = round == kRounds;
    if (last) stopRejecting();  // the clean run must be able to deliver everything
    const std::size_t requestsBefore = server_.requestCount();
    const double seconds = round % 3 == 0 ? early(random) : late(random);
    SCOPED_TRACE("round " + std::to_string(round) +
                 (last ? ", the clean run" : " killed after " + std::to_string(seconds) + " s"));
    const std::string runPath = logs_.path() + "/run-" + std::to_string(round);
    const std::string errorPath = runPath + ".err";
    ChildProcess child(childArguments(last ? "finish" : "work", round), runPath + ".out", errorPath);
    ASSERT_TRUE(child.spawned());
    if (last) {
      const auto exitCode = child.waitForExit(60.0);
      ASSERT_TRUE(exitCode) << "the clean run did not end";
      EXPECT_EQ(*exitCode, 0);
    } else {
      std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
      child.kill();
      lives.push_back(seconds);
    }
    letTheNetworkSettle();
    const RunReport report = RunReport::parse(child.lines());
    // A sanitizer report in the child fails the test, even when the kill came right after it.
    if (const std::string errors = contentsOf(errorPath);
        errors.find("Sanitizer") != std::string::npos || errors.find("runtime error") != std::string::npos)
      ADD_FAILURE() << "the child reported:\n" << errors.substr(0, 4000);
    runs.push_back(report);

    for (const auto& login : report.loginsBegun) loginsBegunSince.insert(login);
    if (!report.loginsDone.empty()) {
      lastLogin = report.loginsDone.back();
      loginsBegunSince.clear();
      // A login begun after the last finished one may have been stored before the kill.
      for (auto it = std::find(report.loginsBegun.begin(), report.loginsBegun.end(), *lastLogin);
           it != report.loginsBegun.end(); ++it)
        if (*it != *lastLogin) loginsBegunSince.insert(*it);
    }
    campaignsDone.insert(report.campaignsDone.begin(), report.campaignsDone.end());
    campaignsBegun.insert(report.campaignsBegun.begin(), report.campaignsBegun.end());
    sessionEndsDone += report.sessionEndsDone;
    sessionEndsBegun += report.sessionEndsBegun;
    loginsDone += report.loginsDone.size();

    const StoreView store = StoreView::read(storePath);
    for (const auto& problem : store.problems) ADD_FAILURE() << problem;

    // The user of the last finished login, or the one begun after it.
    if (lastLogin) {
      ASSERT_TRUE(store.userID) << "the user of login " << *lastLogin << " is gone";
      EXPECT_TRUE(*store.userID == *lastLogin || loginsBegunSince.count(*store.userID))
          << "stored " << *store.userID << ", last finished login " << *lastLogin;
    } else if (store.userID) {
      EXPECT_TRUE(loginsBegunSince.count(*store.userID)) << "stored a user never logged in: " << *store.userID;
    }
    if (store.serverUserId) {
      EXPECT_EQ(store.serverUserId->integerValue(), emulator::UserRegistry::kFirstUserId);
    }

    // The session count of every finished session end, and at most the one under way.
    if (sessionEndsDone > 0) {
      ASSERT_TRUE(store.sessionNumber);
      EXPECT_GE(*store.sessionNumber, sessionEndsDone);
      EXPECT_LE(*store.sessionNumber, sessionEndsBegun);
    }

    // Every campaign whose link was handled; none that was never begun.
    for (const auto& campaign : campaignsDone) EXPECT_TRUE(store.campaigns.count(campaign)) << campaign << " is gone";
    for (const auto& campaign : store.campaigns)
      EXPECT_TRUE(campaignsBegun.count(campaign)) << campaign << " came from nowhere";

    // Every request this run parked is stored; every stored one is a batch the server really refused.
    std::set<std::string> storedIds;
    for (const auto& ids : store.parked) storedIds.insert(ids.begin(), ids.end());
    for (const auto& id : report.parked) EXPECT_TRUE(storedIds.count(id)) << "parked operation " << id << " is gone";
    const auto refused = rejected();
    for (const auto& id : storedIds)
      EXPECT_TRUE(refused.count(id)) << "stored operation " << id << " was never refused";
    everParked.insert(store.parked.begin(), store.parked.end());

    // The requests parked before this run: sent again at its start; still stored when the kill came before
    // the new process read them; otherwise lost by the read-once rule.
    const std::size_t resent = resendsAmong(requestsBefore, server_.requestCount());
    std::size_t carriedOver = 0;
    for (const auto& ids : parkedBefore)
      if (std::find(store.parked.begin(), store.parked.end(), ids) != store.parked.end()) ++carriedOver;
    EXPECT_LE(resent + carriedOver, parkedBefore.size()) << "a parked request was sent again twice";
    if (last) {
      EXPECT_EQ(resent, parkedBefore.size()) << "a parked request was not sent again by the clean run";
    }
    totalResent += resent;
    lostByReadOnce += parkedBefore.size() - std::min(parkedBefore.size(), resent + carriedOver);
    parkedBefore = store.parked;

    // Identity written once stays as it was.
    if (deviceUUID) {
      EXPECT_EQ(store.deviceUUID, deviceUUID) << "the device id changed";
    }
    if (installDate) {
      EXPECT_EQ(store.installDate, installDate) << "the install date changed";
    }
    if (store.deviceUUID) deviceUUID = store.deviceUUID;
    if (store.installDate) installDate = store.installDate;

    if (last) {
      EXPECT_TRUE(report.finished);
      EXPECT_TRUE(store.parked.empty()) << "the clean run left requests parked";
    }
    if (HasFailure()) break;
  }

  // Events: the clean run loses none; a killed run loses only what was gathered or in flight at the kill.
  const auto received = receivedEvents();
  std::size_t tracked = 0, lost = 0, lostOutsideTheTail = 0, duplicated = 0;
  for (std::size_t run = 0; run < runs.size(); ++run) {
    const auto& events = runs[run].tracked;
    std::size_t lostHere = 0, outsideTail = 0;
    std::optional<std::size_t> lastReceived;
    for (std::size_t i = 0; i < events.size(); ++i)
      if (received.count(events[i])) lastReceived = i;
    for (std::size_t i = 0; i < events.size(); ++i) {
      const auto found = received.find(events[i]);
      if (found == received.end()) {
        ++lostHere;
        if (lastReceived && i < *lastReceived) ++outsideTail;  // lost although a later one arrived
      } else if (found->second > 1) {
        ++duplicated;
      }
    }
    if (run + 1 == runs.size()) {
      EXPECT_EQ(lostHere, 0u) << "the clean run lost events";
    }
    std::printf("[ crash    ] run %2zu: %s %.2f s, %3zu events tracked, %3zu lost (%zu not at the tail)\n", run,
                run < lives.size() ? "killed after" : "clean, about", run < lives.size() ? lives[run] : 2.0,
                events.size(), lostHere, outsideTail);
    tracked += events.size();
    lost += lostHere;
    lostOutsideTheTail += outsideTail;
  }
  EXPECT_EQ(duplicated, 0u) << "an event reached the server twice";
  std::printf(
      "[ crash    ] total: %zu events tracked, %zu lost to kills (%zu not at the tail of their run), "
      "%zu requests parked and stored, %zu resent, %zu lost by the read-once rule; %zu logins, %zu campaigns, "
      "%d session ends finished\n",
      tracked, lost, lostOutsideTheTail, everParked.size(), totalResent, lostByReadOnce, loginsDone,
      campaignsDone.size(), sessionEndsDone);
}

// The store must always hold the newest user, whenever the process dies: a login on the main thread and the
// server's user data on the request queue each change the user and save it, and a save of the older of the two
// must never land after the newer one.
TEST(StoredUserTest, SavesFromTheMainThreadAndTheRequestQueueAtOnceLeaveTheNewestUserStored) {
  SdkTestEnvironment env(SdkTestEnvironment::Store::File);
  auto& controller = TAVOController::sharedInstance();
  for (int round = 0; round < 300; ++round) {
    std::thread answer([&] {
      controller.updateCurrentUser([&](TAVOUser& user) { user.tAVoUserID = Value(round); });
      controller.persistCurrentUser();
    });
    TAVOLegacy::loginUser("user-" + std::to_string(round), std::string("user@example.com"));
    answer.join();
    const auto stored = TAVOUserController::getSavedUser();
    const auto current = controller.currentUser();
    ASSERT_EQ(stored->userID, current->userID) << "round " << round;
    ASSERT_EQ(stored->tAVoUserID, current->tAVoUserID) << "round " << round;
  }
}

}  // namespace
}  // namespace tavo
