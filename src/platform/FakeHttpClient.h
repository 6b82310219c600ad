#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "platform/HttpClient.h"
#include "platform/Mutex.h"

namespace tavo::platform {

// Test double of HttpClient: records every request and answers from a script. Answers are delivered on the
// completion queue (like the real client) when one is given, else synchronously inside send().
class FakeHttpClient final : public HttpClient {
 public:
  // What to answer one request with: a response or a transport error.
  struct Answer {
    std::optional<HttpResponse> response;
    std::optional<HttpError> error;
    static Answer status(int code, std::string body);
    static Answer transportError(HttpError::Code code = HttpError::CannotConnect);
  };
  // Decides the answer for a request when the script of queued answers is empty.
  using Responder = std::function<Answer(const HttpRequest&)>;

  explicit FakeHttpClient(std::shared_ptr<OperationQueue> completionQueue = nullptr);

  void send(HttpRequest request, Completion completion) override;

  // Answers used in order, one per request; when none is queued the responder decides (default: 200 "{}").
  void enqueueAnswer(Answer answer);
  void setResponder(Responder responder);
  // Holds answers until release(): requests are recorded, completions wait.
  void hold();
  void release();

  std::vector<HttpRequest> requests() const;
  std::size_t requestCount() const;
  void clear();

 private:
  void deliver(Answer answer, Completion completion);

  std::shared_ptr<OperationQueue> completionQueue_;
  mutable Mutex mutex_;
  std::vector<HttpRequest> requests_ GUARDED_BY(mutex_);
  std::deque<Answer> script_ GUARDED_BY(mutex_);
  Responder responder_ GUARDED_BY(mutex_);
  bool holding_ GUARDED_BY(mutex_) = false;
  std::vector<std::pair<Answer, Completion>> held_ GUARDED_BY(mutex_);
};

}  // namespace tavo::platform
