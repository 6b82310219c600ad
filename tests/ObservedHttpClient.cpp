#include "ObservedHttpClient.h"

#include <chrono>

namespace tavo::testing {

ObservedHttpClient::ObservedHttpClient(std::shared_ptr<platform::OperationQueue> completionQueue)
    : curl_(std::make_shared<platform::CurlHttpClient>(std::move(completionQueue))) {}

void ObservedHttpClient::send(platform::HttpRequest request, Completion completion) {
  if (const double timeout = timeoutSeconds_.load(); timeout > 0) request.timeoutSeconds = timeout;
  {
    std::unique_lock lock(state_->mutex);
    ++state_->sent;
    if (state_->holdNext) {
      state_->holdNext = false;
      state_->holding = true;
      state_->changed.notify_all();
      state_->changed.wait(lock, [&] { return !state_->holding; });
    }
  }
  curl_->send(std::move(request), [state = state_, completion = std::move(completion)](auto response, auto error) {
    completion(std::move(response), std::move(error));
    {
      std::lock_guard lock(state->mutex);
      ++state->completed;
    }
    state->changed.notify_all();
  });
}

std::size_t ObservedHttpClient::sent() const {
  std::lock_guard lock(state_->mutex);
  return state_->sent;
}

bool ObservedHttpClient::waitForCompletions(std::size_t count, double seconds) const {
  std::unique_lock lock(state_->mutex);
  return state_->changed.wait_for(lock, std::chrono::duration<double>(seconds),
                                  [&] { return state_->completed >= count; });
}

void ObservedHttpClient::holdNextSend() {
  std::lock_guard lock(state_->mutex);
  state_->holdNext = true;
}

bool ObservedHttpClient::waitUntilHolding(double seconds) const {
  std::unique_lock lock(state_->mutex);
  return state_->changed.wait_for(lock, std::chrono::duration<double>(seconds), [&] { return state_->holding; });
}

void ObservedHttpClient::releaseHeldSend() {
  {
    std::lock_guard lock(state_->mutex);
    state_->holdNext = false;
    state_->holding = false;
  }
  state_->changed.notify_all();
}

}  // namespace tavo::testing
