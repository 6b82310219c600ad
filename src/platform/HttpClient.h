#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tavo::platform {

class OperationQueue;

// One HTTP request: method, URL, header fields in the order they are sent, body bytes.
struct HttpRequest {
  std::string method = "POST";
  std::string url;
  std::vector<std::pair<std::string, std::string>> headerFields;
  std::string body;
  double timeoutSeconds = 60.0;  // a silent server cannot hold a request for ever
};

struct HttpResponse {
  int statusCode = 0;
  std::vector<std::pair<std::string, std::string>> headerFields;
  std::string body;
};

// A failure to get any answer: connection refused or reset, time-out, bad URL, TLS failure, cancelled.
struct HttpError {
  enum Code { Unknown = 0, CannotConnect, TimedOut, ConnectionLost, BadURL, SecureConnectionFailed, Cancelled };
  Code code = Unknown;
  std::string message;
};

// Asynchronous URL loading. send() returns at once; the completion runs later on the client's completion
// queue with either a response (any status code) or a transport error, never both. Thread-safe.
class HttpClient {
 public:
  using Completion = std::function<void(std::optional<HttpResponse> response, std::optional<HttpError> error)>;

  virtual ~HttpClient() = default;
  virtual void send(HttpRequest request, Completion completion) = 0;
  // Requests sent whose completion is not yet on the completion queue. A client that answers from memory has
  // none; a host (or a test) waiting for quiet needs this to know the wire is empty too.
  virtual std::size_t requestsInFlight() const { return 0; }
};

// The real client: libcurl's multi interface driven by one I/O thread; connections are reused, TLS peers are
// verified, completions are posted to completionQueue. The destructor stops the I/O thread; requests still in
// flight complete with HttpError::Cancelled.
class CurlHttpClient final : public HttpClient {
 public:
  explicit CurlHttpClient(std::shared_ptr<OperationQueue> completionQueue);
  ~CurlHttpClient() override;
  CurlHttpClient(const CurlHttpClient&) = delete;
  CurlHttpClient& operator=(const CurlHttpClient&) = delete;

  void send(HttpRequest request, Completion completion) override;
  std::size_t requestsInFlight() const override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tavo::platform
