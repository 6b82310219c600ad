#include "Journey.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <map>
#include <sstream>
#include <utility>

#include "platform/JSONSerialization.h"
#include "platform/MutexLock.h"

namespace tavo::demo {

namespace {

using emulator::RecordedRequest;
using Clock = std::chrono::steady_clock;

constexpr const char* kSessionKey = "DEMOAPP0001KEY123456";  // apiUser DEMOAPP0001, apiKey KEY123456
constexpr int kQueueTime = 1;
// On one of the SDK's own link domains (".tavo.example"), with a re-engagement campaign's click parameters.
constexpr const char* kReEngagementLink = "https://go.tavo.example/spring?ecid=spring-2024&rt=true&aw=24&src=mail";
constexpr const char* kCampaign = "spring-2024";
// On the SDK's short-link domain (".tavo.link"); the default fixtures know it as "demo.tavo.link/spring".
constexpr const char* kShortLink = "https://demo.tavo.link/~spring";
constexpr std::size_t kOperationWidth = 23;  // "user/attribution_info"
constexpr std::size_t kParameterWidth = 58;
constexpr std::size_t kTextWidth = 104;  // the width of the table of requests
constexpr std::size_t kValueLimit = 240;

std::string inQuotes(const std::string& text) { return "\"" + text + "\""; }

std::string compact(const Dictionary& dictionary) {
  return platform::JSONSerialization::dataWithJSONObject(Value(dictionary)).value_or("{?}");
}

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

// Splits text at spaces into lines of at most width characters (a longer word gets a line of its own).
std::vector<std::string> wrapped(const std::string& text, std::size_t width) {
  std::vector<std::string> lines;
  std::istringstream words(text);
  std::string word, line;
  while (words >> word) {
    if (!line.empty() && line.size() + 1 + word.size() > width) {
      lines.push_back(line);
      line.clear();
    }
    // A word wider than a line (compact JSON) is cut after a comma where it can be.
    while (word.size() > width) {
      std::size_t cut = word.rfind(',', width - 1);
      cut = cut == std::string::npos || cut == 0 ? width : cut + 1;
      if (!line.empty()) {
        lines.push_back(line);
        line.clear();
      }
      lines.push_back(word.substr(0, cut));
      word.erase(0, cut);
    }
    line += (line.empty() ? "" : " ") + word;
  }
  if (!line.empty() || lines.empty()) lines.push_back(line);
  return lines;
}

using json = nlohmann::ordered_json;

bool isUserRequest(const RecordedRequest& request) {
  return request.action == "updateuser" || request.action == "firstlogin" || request.action == "newregister";
}

// The params of every event named eventName.
std::vector<const json*> eventsNamed(const std::vector<RecordedRequest>& requests, const std::string& eventName) {
  std::vector<const json*> events;
  for (const auto& request : requests)
    for (std::size_t i = 0; i < request.operations.size(); ++i)
      if (const auto* params = request.params(i); params && params->value("eventName", "") == eventName)
        events.push_back(params);
  return events;
}

bool hasEvent(const std::vector<RecordedRequest>& requests, const std::string& eventName) {
  return !eventsNamed(requests, eventName).empty();
}

bool hasOperation(const std::vector<RecordedRequest>& requests, const std::string& type, const std::string& action) {
  for (const auto& request : requests)
    for (const auto& operation : request.operations)
      if (operation.is_object() && operation.value("type", "") == type && operation.value("action", "") == action)
        return true;
  return false;
}

const json* attributesOf(const json* event) {
  const auto found = event->find("attributes");
  return found != event->end() && found->is_object() ? &*found : nullptr;
}

bool hasEngagementClick(const std::vector<RecordedRequest>& requests, const std::string& campaign) {
  for (const json* event : eventsNamed(requests, "tavo_auto_event")) {
    const json* attributes = attributesOf(event);
    if (attributes && attributes->value("e_attribution_type", "") == "e_click_engagement" &&
        attributes->value("e_ecid", "") == campaign)
      return true;
  }
  return false;
}

// Whether an event named eventName carries the open campaign in its attributes.
bool carriesCampaign(const std::vector<RecordedRequest>& requests, const std::string& eventName,
                     const std::string& campaign) {
  for (const json* event : eventsNamed(requests, eventName)) {
    const json* attributes = attributesOf(event);
    if (!attributes || !attributes->contains("e_attribution_ecid")) continue;
    for (const auto& open : (*attributes)["e_attribution_ecid"])
      if (open.is_object() && open.value("hash", "") == campaign) return true;
  }
  return false;
}

std::string describe(const std::shared_ptr<const TAVOInstallAttribution>& attribution) {
  if (!attribution) return "no attribution";
  std::string text = "status " + (attribution->status ? inQuotes(attribution->status->stringValue()) : "nil");
  const auto& campaign = attribution->campaign;
  if (!campaign) return text + ", no campaign";
  text += ", campaign #" + std::to_string(campaign->id) + " " + inQuotes(campaign->name.value_or(""));
  if (const auto& source = campaign->source) {
    text += ", source #" + std::to_string(source->id) + " " + inQuotes(source->name.value_or(""));
    if (const auto& provider = source->provider)
      text += ", provider #" + std::to_string(provider->id) + " " + inQuotes(provider->name.value_or(""));
  }
  if (campaign->clickParams) text += ", click params " + compact(*campaign->clickParams);
  return text;
}

bool hasAction(const std::vector<RecordedRequest>& requests, const std::string& action,
               const std::string& withParameter = "") {
  for (const auto& request : requests) {
    if (request.action != action) continue;
    const auto* params = request.params(0);
    if (withParameter.empty() || (params && params->contains(withParameter))) return true;
  }
  return false;
}

}  // namespace

Journey::Journey(emulator::Emulator& emulator, platform::Platform& platform, std::ostream& out, sigset_t interrupt)
    : emulator_(emulator), platform_(platform), application_(platform.application), out_(out), interrupt_(interrupt) {
  firstRequestOfRun_ = emulator_.requestCount();
  delegate_ = std::make_shared<TAVORequestDelegate>();
  delegate_->onStarted = [this](const std::string& id) { heard("onStarted(" + id + ")"); };
  delegate_->onSuccess = [this](const std::string& id, bool containsData) {
    heard("onSuccess(" + id + ", containsData " + (containsData ? "yes" : "no") + ")");
  };
  delegate_->onFailed = [this](const std::string& id) {
    heard("onFailed(" + id + ")");
    platform::MutexLock lock(callbacksMutex_);
    ++failedCallbacks_;
  };
  attributionDelegate_ = std::make_shared<TAVOInstallAttributionDelegate>();
  attributionDelegate_->onAttributionReceived =
      [this](const std::shared_ptr<const TAVOInstallAttribution>& attribution) { attributionReceived(attribution); };
  application_->setContinueUserActivityHandler(
      [this](const std::string& webpageURL) { return continueUserActivity(webpageURL); });
}

Journey::~Journey() { application_->setContinueUserActivityHandler(nullptr); }

bool Journey::play() {
  out_ << "Playing a user's journey against the emulator at " << emulator_.baseURL() << " (queue time " << kQueueTime
       << " s).\n";
  const std::vector<void (Journey::*)()> steps = {&Journey::firstStart,
                                                  &Journey::installAttribution,
                                                  &Journey::login,
                                                  &Journey::customEvents,
                                                  &Journey::order,
                                                  &Journey::backgroundAndForeground,
                                                  &Journey::pushToken,
                                                  &Journey::reEngagementLink,
                                                  &Journey::eventInCampaignWindow,
                                                  &Journey::shortLink};
  for (auto step : steps) {
    if (interrupted_) break;
    (this->*step)();
  }
  if (interrupted_) {
    out_ << "\nInterrupted.\n";
    return false;
  }
  printSummary();
  return allArrived_;
}

void Journey::firstStart() {
  Step step{"First start", {}, {}};
  TAVOConfiguration configuration{std::string(kSessionKey)};
  configuration.urlBase = emulator_.baseURL();
  configuration.queueTime = kQueueTime;
  step.calls.push_back("TAVOLegacy::startSessionWithConfiguration(sessionKey " + inQuotes(kSessionKey) + ", urlBase " +
                       inQuotes(*configuration.urlBase) + ", queueTime " + std::to_string(kQueueTime) + ")");
  TAVOLegacy::startSessionWithConfiguration(configuration);

  // A first run also sends the install event, with the next timed flush; a later run has none to send.
  std::optional<Clock::time_point> startedAt;
  pump(6.0, [&] {
    const auto received = receivedSinceStep();
    installEventSent_ = hasEvent(received, "tavo_auto_event");
    if (!startedAt && TAVOLegacy::isSessionStarted()) startedAt = Clock::now();
    return installEventSent_ || (startedAt && Clock::now() - *startedAt > std::chrono::milliseconds(1600));
  });
  step.observed.push_back(std::string("isSessionStarted() -> ") + (TAVOLegacy::isSessionStarted() ? "true" : "false"));
  TAVOLegacy::getUserId([&](std::optional<std::string> id) {
    step.observed.push_back("getUserId() -> " + (id ? inQuotes(*id) + " (the server's id of this device)" : "nil"));
  });
  TAVOLegacy::getUserInfo([&](const Dictionary& info) {
    std::string fromServer;
    for (const auto& [key, value] : emulator_.fixtures().userInfo().items())
      if (const Value* held = info.find(key))
        fromServer += (fromServer.empty() ? "" : ", ") + key + "=" + held->stringValue();
    step.observed.push_back("getUserInfo() -> " +
                            (fromServer.empty() ? "no server data" : fromServer + " (from the server)"));
  });
  step.observed.push_back(installEventSent_ ? "install event sent: this is the first run on this data"
                                            : "no install event: this data directory has run before");
  finish(
      std::move(step), [](const auto& received) { return hasEvent(received, "tavo_start_session"); }, 0.1);
}

void Journey::installAttribution() {
  Step step{"Install attribution lookup", {}, {}};
  step.calls.push_back("TAVOLegacy::installAttributionInfo(delegate)");
  TAVOLegacy::installAttributionInfo(attributionDelegate_);
  auto heardIt = [this] {
    platform::MutexLock lock(callbacksMutex_);
    return attributionHeard_;
  };
  pump(5.0, heardIt);
  // Once the service has named a campaign the SDK answers from its store, also in a later run.
  step.observed.push_back(hasOperation(receivedSinceStep(), "user", "attribution_info")
                              ? "the web service names the campaign; the SDK keeps it for good"
                              : "the campaign was kept by an earlier run: nothing is asked");
  finish(
      std::move(step), [heardIt](const auto&) { return heardIt(); }, 0.1);
}

void Journey::login() {
  Step step{"Login with extras", {}, {}};
  const Dictionary extras{{"plan", "premium"}, {"newsletter", true}};
  step.calls.push_back("TAVOLegacy::loginUser(\"c-42\", \"ana@example.com\", " + compact(extras) + ")");
  TAVOLegacy::loginUser(std::string("c-42"), std::string("ana@example.com"), extras);
  finish(
      std::move(step), [](const auto& received) { return hasAction(received, "firstlogin"); }, 5.0);
}

void Journey::customEvents() {
  Step step{"Two custom events with attributes and a request delegate", {}, {}};
  TAVOEventRequest levelUp("level_up");
  levelUp.attributes = Dictionary{{"level", 3}, {"mode", "hard"}};
  levelUp.customId = "level-3";
  levelUp.requestDelegate = delegate_;
  TAVOEventRequest wishlist("add_to_wishlist");
  wishlist.attributes = Dictionary{{"product", "sku-7"}, {"price", 4.5}};
  wishlist.requestDelegate = delegate_;  // no custom id: callbacks name the operation id
  step.calls.push_back("TAVOLegacy::trackEvent(level_up, attributes " + compact(*levelUp.attributes) +
                       ", customId \"level-3\", delegate)");
  step.calls.push_back("TAVOLegacy::trackEvent(add_to_wishlist, attributes " + compact(*wishlist.attributes) +
                       ", delegate)");
  TAVOLegacy::trackEvent(levelUp);
  TAVOLegacy::trackEvent(wishlist);
  step.observed.push_back("both wait for the next timed flush of the queue (" + std::to_string(kQueueTime) + " s)");
  step.observed.push_back("an event's answer is a bare status: its delegate hears onStarted, and no onSuccess");
  finish(
      std::move(step),
      [](const auto& received) { return hasEvent(received, "level_up") && hasEvent(received, "add_to_wishlist"); },
      5.0);
}

void Journey::order() {
  Step step{"An order with products", {}, {}};
  step.calls.push_back("TAVOLegacy::startOrder(\"order-1001\", 27.5, \"EUR\", \"WELCOME\", {\"channel\":\"app\"})");
  step.calls.push_back("TAVOLegacy::addProduct(\"sku-1\", \"Green tea\", 2, 4.5)");
  step.calls.push_back("TAVOLegacy::addProduct(\"sku-2\", \"Tea pot\", 1, 18.5, {\"colour\":\"blue\"})");
  step.calls.push_back("TAVOLegacy::trackOrder()");
  TAVOLegacy::startOrder("order-1001", 27.5f, std::string("EUR"), std::string("WELCOME"),
                         Dictionary{{"channel", "app"}});
  TAVOLegacy::addProduct("sku-1", "Green tea", 2.0f, 4.5f);
  TAVOLegacy::addProduct("sku-2", "Tea pot", 1.0f, 18.5f, Dictionary{{"colour", "blue"}});
  TAVOLegacy::trackOrder();
  finish(
      std::move(step), [](const auto& received) { return hasAction(received, "addpurchase"); }, 5.0);
}

void Journey::backgroundAndForeground() {
  Step background{"The app goes to the background", {}, {}};
  background.calls.push_back("platform.application->setApplicationState(Background)");
  platform_.application->setApplicationState(platform::Application::Background);
  background.observed.push_back("the session ends: its event goes out with everything queued");
  finish(
      std::move(background), [](const auto& received) { return hasEvent(received, "tavo_app_session"); }, 5.0);

  Step foreground{"The app comes back to the foreground", {}, {}};
  foreground.calls.push_back("platform.application->setApplicationState(Active)");
  platform_.application->setApplicationState(platform::Application::Active);
  foreground.observed.push_back("a new session begins on the device; nothing is due to the web service yet");
  pump(1.2);
  finish(
      std::move(foreground), [](const auto&) { return true; }, 0.1);
}

void Journey::pushToken() {
  Step step{"A push token", {}, {}};
  const std::vector<std::uint8_t> token = {0x7a, 0x3f, 0x00, 0xc4, 0x19, 0xee, 0x52, 0x08};
  step.calls.push_back("TAVOLegacy::registerToken(8 bytes 7a 3f 00 c4 19 ee 52 08)");
  TAVOLegacy::registerToken(token);
  finish(
      std::move(step), [](const auto& received) { return hasAction(received, "updateuser", "token"); }, 5.0);
}

void Journey::reEngagementLink() {
  Step step{"A re-engagement link opens the app", {}, {}};
  step.calls.push_back("TAVOLegacy::handleLink(" + inQuotes(kReEngagementLink) + ")");
  TAVOLegacy::handleLink(std::string(kReEngagementLink));
  step.observed.push_back("go.tavo.example is one of the SDK's link domains and the link says rt=true, aw=24:");
  step.observed.push_back("a re-engagement click, sent at once; campaign " + std::string(kCampaign) +
                          " is kept for 24 hours");
  finish(
      std::move(step), [](const auto& received) { return hasEngagementClick(received, kCampaign); }, 5.0);
}

void Journey::eventInCampaignWindow() {
  Step step{"An event while the campaign's window is open", {}, {}};
  TAVOEventRequest viewOffer("view_offer");
  viewOffer.attributes = Dictionary{{"offer", "spring"}};
  step.calls.push_back("TAVOLegacy::trackEvent(view_offer, attributes " + compact(*viewOffer.attributes) + ")");
  TAVOLegacy::trackEvent(viewOffer);
  step.observed.push_back("the event carries the open campaign as e_attribution_ecid (hash, first click, window)");
  finish(
      std::move(step), [](const auto& received) { return carriesCampaign(received, "view_offer", kCampaign); }, 5.0);
}

void Journey::shortLink() {
  Step step{"A short link opens the app", {}, {}};
  step.calls.push_back("TAVOLegacy::handleLink(" + inQuotes(kShortLink) + ")");
  TAVOLegacy::handleLink(std::string(kShortLink));
  step.observed.push_back("demo.tavo.link is under the SDK's short-link domain .tavo.link: the web service is asked");
  step.observed.push_back("for the long URL, which comes back to the host's continue-user-activity handler;");
  step.observed.push_back("its qrvact/qrvval actions tag[level]=gold, tag[channel]=newsletter become user updates");
  finish(
      std::move(step),
      [this](const auto& received) {
        {
          platform::MutexLock lock(callbacksMutex_);
          if (continuedURLs_.empty()) return false;
        }
        return hasOperation(received, "stu", "resolve") && hasAction(received, "updateuser", "level") &&
               hasAction(received, "updateuser", "channel");
      },
      5.0);
}

bool Journey::continueUserActivity(const std::string& webpageURL) {
  heard("continueUserActivity(" + inQuotes(webpageURL) + "), passed on to TAVOLegacy::handleLink");
  {
    platform::MutexLock lock(callbacksMutex_);
    continuedURLs_.push_back(webpageURL);
  }
  TAVOLegacy::handleLink(webpageURL);
  return true;
}

void Journey::attributionReceived(const std::shared_ptr<const TAVOInstallAttribution>& attribution) {
  heard("onAttributionReceived(" + describe(attribution) + ")");
  platform::MutexLock lock(callbacksMutex_);
  attributionHeard_ = true;
}

bool Journey::finish(Step step, const Arrived& arrived, double seconds) {
  bool complete = pump(seconds, [&] { return arrived(receivedSinceStep()); });
  // Answers are handled (and delegates called) just after they are recorded: give them a moment.
  if (complete) pump(0.3);
  const auto received = receivedSinceStep();
  complete = complete && arrived(received);
  if (!complete && !interrupted_) allArrived_ = false;
  printStep(step, received, takeCallbacks(), complete || interrupted_);
  firstRequestOfStep_ += received.size();
  return complete;
}

bool Journey::pump(double seconds, const std::function<bool()>& done) {
  const auto deadline =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  while (Clock::now() < deadline) {
    platform_.mainLoop->runFor(0.02);
    const timespec now{0, 0};
    if (sigtimedwait(&interrupt_, nullptr, &now) > 0) {
      interrupted_ = true;
      return false;
    }
    if (done && done()) return true;
  }
  return !done || done();
}

std::vector<RecordedRequest> Journey::receivedSinceStep() const {
  auto all = emulator_.requests();
  const std::size_t skip = std::min(all.size(), firstRequestOfRun_ + firstRequestOfStep_);
  return std::vector<RecordedRequest>(all.begin() + static_cast<std::ptrdiff_t>(skip), all.end());
}

void Journey::heard(std::string callback) {
  platform::MutexLock lock(callbacksMutex_);
  callbacks_.push_back(std::move(callback));
  ++callbackCount_;
}

std::vector<std::string> Journey::takeCallbacks() {
  platform::MutexLock lock(callbacksMutex_);
  return std::exchange(callbacks_, {});
}

void Journey::printStep(const Step& step, const std::vector<RecordedRequest>& received,
                        const std::vector<std::string>& callbacks, bool complete) {
  const std::string indent(16, ' ');
  out_ << "\n" << ++stepNumber_ << ". " << step.title << "\n";
  auto rows = [&](const char* label, const std::vector<std::string>& lines) {
    if (lines.empty()) {
      out_ << "  " << padded(label, 14) << "-\n";
      return;
    }
    bool first = true;
    for (const auto& entry : lines) {
      const auto pieces = wrapped(entry, kTextWidth);
      for (std::size_t i = 0; i < pieces.size(); ++i) {
        // A wrapped entry's continuation is indented, so entries stay apart.
        out_ << (first ? "  " + padded(label, 14) : indent) << (i > 0 ? "  " : "") << pieces[i] << "\n";
        first = false;
      }
    }
  };
  rows("host called", step.calls);
  rows("host saw", step.observed);
  rows("callbacks", callbacks);
  if (received.empty()) {
    out_ << "  " << padded("web service", 14) << "received nothing\n";
  } else {
    out_ << "  " << padded("web service", 14) << padded("#", 5) << padded("action", 13)
         << padded("operation", kOperationWidth) << padded("key parameters", kParameterWidth + 2) << "answer\n";
    for (const auto& request : received) {
      const auto types = request.operationTypes();
      // Every payload after the first start repeats the user's server id and mail: news on user requests only.
      const auto parameters = request.keyParameters(
          kValueLimit, isUserRequest(request) ? std::vector<std::string>{} : std::vector<std::string>{"eid", "email"});
      const std::size_t rowsOfRequest = std::max<std::size_t>(types.size(), 1);
      for (std::size_t op = 0; op < rowsOfRequest; ++op) {
        const std::string type = op < types.size() ? types[op] : "(" + request.kind + ")";
        const auto lines =
            wrapped(op < parameters.size() && !parameters[op].empty() ? parameters[op] : "-", kParameterWidth);
        for (std::size_t line = 0; line < lines.size(); ++line) {
          const bool first = op == 0 && line == 0;
          std::string answer;
          if (first) {
            answer = std::to_string(request.answerStatus);
            if (!request.failure.empty()) answer += " (" + request.failure + ")";
          }
          std::string row = indent + padded(first ? std::to_string(request.id) : "", 5) +
                            padded(first ? request.action : "", 13) + padded(line == 0 ? type : "", kOperationWidth) +
                            padded(lines[line], kParameterWidth + 2) + answer;
          row.erase(row.find_last_not_of(' ') + 1);
          out_ << row << "\n";
        }
      }
    }
  }
  if (!complete) out_ << indent << "(expected more from this step: the web service did not receive it in time)\n";
}

void Journey::printSummary() const {
  const auto all = emulator_.requests();
  std::map<std::string, int> byAction;
  std::size_t operations = 0, rejected = 0, requests = 0;
  for (std::size_t i = firstRequestOfRun_; i < all.size(); ++i) {
    ++requests;
    ++byAction[all[i].action];
    operations += all[i].operations.size();
    if (all[i].answerStatus >= 400) ++rejected;
  }
  std::string actions;
  for (const auto& [action, count] : byAction)
    actions += (actions.empty() ? "" : ", ") + action + " " + std::to_string(count);
  std::size_t callbacks = 0, failed = 0;
  {
    platform::MutexLock lock(callbacksMutex_);
    callbacks = callbackCount_;
    failed = failedCallbacks_;
  }
  out_ << "\nSummary: " << requests << " requests (" << actions << "), " << operations << " operations, " << callbacks
       << " host callbacks (" << failed << " failed), " << rejected << " rejected answers, install event "
       << (installEventSent_ ? "sent" : "not sent")
       << (allArrived_ ? "; every step arrived." : "; SOME STEPS DID NOT ARRIVE.") << "\n";
}

}  // namespace tavo::demo
