#include "BenchEnvironment.h"

#include <stdexcept>

#include "attribution/TAVOAttributionController.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "tavo/TAVO.h"

namespace tavo::bench {

namespace {

constexpr const char* kConfigAnswer =
    R"({"status":200,"config":{"events":[{"id":1,"category":"screen","active":1,"token":"home"}]}})";
constexpr const char* kUserAnswer =
    R"({"status":200,"response":{"idtAVoUser":4242,"info":{"name":"Ada","plan":"gold","visits":12}}})";

bool endsWith(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

BenchEnvironment::BenchEnvironment() { answerLikeTheWebService(); }

void BenchEnvironment::answerLikeTheWebService() {
  sdk_.http().setResponder([](const platform::HttpRequest& request) {
    using Answer = platform::FakeHttpClient::Answer;
    if (endsWith(request.url, "tracker")) return Answer::status(200, kConfigAnswer);
    // A user update that asks for the user's data back gets it; any other request a bare status.
    if (request.body.find("tavo_retrieve") != std::string::npos) return Answer::status(200, kUserAnswer);
    return Answer::status(200, "200");
  });
}

TAVOConfiguration BenchEnvironment::configuration() {
  TAVOConfiguration configuration{std::string(kSessionKey)};
  configuration.urlBase = "http://127.0.0.1:9/ws/";
  return configuration;
}

TAVOEventRequest BenchEnvironment::sampleEvent() {
  TAVOEventRequest request("product_viewed");
  request.attributes = platform::Dictionary{
      {"product_id", "SKU-000123"}, {"category", "outdoor/footwear"}, {"price", "129.90"},
      {"currency", "EUR"},          {"campaign", "spring-sale"},
  };
  return request;
}

void BenchEnvironment::startSession() {
  TAVOLegacy::startSessionWithConfiguration(configuration());
  sdk_.drainQueues();
  TAVOLegacy::loginUser(std::string("customer-77"), std::string("ada@example.com"));
  sdk_.drainQueues();
  if (!TAVOLegacy::isSessionStarted()) throw std::runtime_error("the session did not start");
  if (!TAVOController::sharedInstance().requestController()->pendingRequests().empty())
    throw std::runtime_error("a request of the start was refused and parked");
}

void BenchEnvironment::openAttributionCampaigns(int count) {
  for (int i = 1; i <= count; ++i) {
    TAVOLegacy::handleLink("benchapp://open?rt=true&aw=720&ecid=spring-" + std::to_string(i) + "&src=mail");
    sdk_.drainQueues();
  }
  const auto stored = TAVOController::sharedInstance().attributionController()->attributionCampaigns();
  if (stored.size() != static_cast<std::size_t>(count)) throw std::runtime_error("the campaigns were not stored");
}

std::shared_ptr<DroppingHttpClient> BenchEnvironment::dropRequests() {
  sdk_.drainQueues();
  auto client = std::make_shared<DroppingHttpClient>();
  sdk_.platform().httpClient = client;
  return client;
}

void BenchEnvironment::restart() {
  sdk_.restart();
  answerLikeTheWebService();
}

}  // namespace tavo::bench
