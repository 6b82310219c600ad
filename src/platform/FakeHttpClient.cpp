#include "platform/FakeHttpClient.h"

#include <utility>

#include "platform/MutexLock.h"
#include "platform/OperationQueue.h"

namespace tavo::platform {

FakeHttpClient::Answer FakeHttpClient::Answer::status(int code, std::string body) {
  Answer answer;
  answer.response = HttpResponse{code, {}, std::move(body)};
  return answer;
}

FakeHttpClient::Answer FakeHttpClient::Answer::transportError(HttpError::Code code) {
  Answer answer;
  answer.error = HttpError{code, "fake transport error"};
  return answer;
}

FakeHttpClient::FakeHttpClient(std::shared_ptr<OperationQueue> completionQueue)
    : completionQueue_(std::move(completionQueue)) {}

void FakeHttpClient::send(HttpRequest request, Completion completion) {
  std::optional<Answer> answer;
  Responder responder;
  HttpRequest recorded = request;
  {
    MutexLock lock(mutex_);
    requests_.push_back(std::move(recorded));
    if (!script_.empty()) {
      answer = std::move(script_.front());
      script_.pop_front();
    } else {
      responder = responder_;
    }
  }
  // The responder is test code: run it unlocked so that it may look at requests() itself.
  if (!answer) answer = responder ? responder(request) : Answer::status(200, "{}");
  {
    MutexLock lock(mutex_);
    if (holding_) {
      held_.emplace_back(std::move(*answer), std::move(completion));
      return;
    }
  }
  deliver(std::move(*answer), std::move(completion));
}

void FakeHttpClient::enqueueAnswer(Answer answer) {
  MutexLock lock(mutex_);
  script_.push_back(std::move(answer));
}

void FakeHttpClient::setResponder(Responder responder) {
  MutexLock lock(mutex_);
  responder_ = std::move(responder);
}

void FakeHttpClient::hold() {
  MutexLock lock(mutex_);
  holding_ = true;
}

void FakeHttpClient::release() {
  std::vector<std::pair<Answer, Completion>> released;
  {
    MutexLock lock(mutex_);
    holding_ = false;
    released.swap(held_);
  }
  for (auto& [answer, completion] : released) deliver(std::move(answer), std::move(completion));
}

std::vector<HttpRequest> FakeHttpClient::requests() const {
  MutexLock lock(mutex_);
  return requests_;
}

std::size_t FakeHttpClient::requestCount() const {
  MutexLock lock(mutex_);
  return requests_.size();
}

// Forgets recorded requests and queued answers; the responder and answers on hold stay.
void FakeHttpClient::clear() {
  MutexLock lock(mutex_);
  requests_.clear();
  script_.clear();
}

void FakeHttpClient::deliver(Answer answer, Completion completion) {
  if (!completion) return;
  if (completionQueue_) {
    completionQueue_->addOperation([answer = std::move(answer), completion = std::move(completion)] {
      completion(answer.response, answer.error);
    });
  } else {
    completion(std::move(answer.response), std::move(answer.error));
  }
}

}  // namespace tavo::platform
