#include "CountingHttpClient.h"

#include <utility>

namespace tavo::bench {

CountingHttpClient::CountingHttpClient(std::shared_ptr<platform::HttpClient> client, std::function<void()> onAnswer)
    : client_(std::move(client)), counts_(std::make_shared<Counts>()) {
  counts_->onAnswer = std::move(onAnswer);
}

void CountingHttpClient::send(platform::HttpRequest request, Completion completion) {
  std::size_t largest = counts_->largestBody.load();
  while (request.body.size() > largest && !counts_->largestBody.compare_exchange_weak(largest, request.body.size())) {
  }
  counts_->sent.fetch_add(1);
  client_->send(std::move(request),
                [counts = counts_, completion = std::move(completion)](std::optional<platform::HttpResponse> response,
                                                                       std::optional<platform::HttpError> error) {
                  counts->lastAnswerAt.store(std::chrono::steady_clock::now().time_since_epoch().count());
                  if (error) counts->transportErrors.fetch_add(1);
                  completion(std::move(response), std::move(error));
                  counts->answered.fetch_add(1);
                  if (counts->onAnswer) counts->onAnswer();
                });
}

}  // namespace tavo::bench
