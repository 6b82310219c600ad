#include "platform/HttpClient.h"

#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <climits>
#include <cmath>
#include <deque>
#include <string_view>
#include <thread>
#include <unordered_map>

#include "platform/Exception.h"
#include "platform/MutexLock.h"
#include "platform/OperationQueue.h"

namespace tavo::platform {

namespace {

// Like the phone platform's default: a few connections per host, the rest wait and reuse them.
constexpr long kMaxConnectionsPerHost = 6;
// The I/O thread wakes at least this often even if curl has nothing to say.
constexpr int kPollIntervalMs = 1000;

void initialiseCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK)
      throw Exception("NSInternalInconsistencyException", "libcurl could not be initialised");
  });
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

std::string_view trimmed(std::string_view text) {
  const auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

// A header line must stay one line: a CR or LF in a name or value would let it smuggle another header.
std::string withoutLineBreaks(std::string_view text) {
  std::string clean;
  clean.reserve(text.size());
  for (char c : text)
    if (c != '\r' && c != '\n') clean.push_back(c);
  return clean;
}

long timeoutMilliseconds(double seconds) {
  // Nonsense timeouts fall back to the platform default rather than "wait for ever" or "fail at once".
  if (!std::isfinite(seconds) || seconds <= 0) seconds = 60.0;
  const double ms = std::ceil(seconds * 1000.0);
  return ms >= static_cast<double>(INT_MAX) ? INT_MAX : std::max(1L, static_cast<long>(ms));
}

HttpError::Code errorCodeFor(CURLcode result) {
  switch (result) {
    case CURLE_COULDNT_CONNECT:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY: return HttpError::CannotConnect;
    case CURLE_OPERATION_TIMEDOUT: return HttpError::TimedOut;
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE: return HttpError::ConnectionLost;
    case CURLE_URL_MALFORMAT:
    case CURLE_UNSUPPORTED_PROTOCOL: return HttpError::BadURL;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_CLIENTCERT:
    case CURLE_USE_SSL_FAILED: return HttpError::SecureConnectionFailed;
    default: return HttpError::Unknown;
  }
}

// One request on its way: owns the easy handle, the header list and the body curl reads from.
struct Transfer {
  HttpRequest request;
  HttpClient::Completion completion;
  CURL* easy = nullptr;
  curl_slist* headers = nullptr;
  HttpResponse response;
  char errorBuffer[CURL_ERROR_SIZE] = {};

  Transfer(HttpRequest r, HttpClient::Completion c) : request(std::move(r)), completion(std::move(c)) {}
  ~Transfer() {
    if (easy) curl_easy_cleanup(easy);
    curl_slist_free_all(headers);
  }
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
};

size_t writeBody(char* data, size_t size, size_t count, void* userdata) {
  auto* transfer = static_cast<Transfer*>(userdata);
  try {
    transfer->response.body.append(data, size * count);
  } catch (...) {
    return 0;  // out of memory: a short count makes curl abort the transfer
  }
  return size * count;
}

size_t readHeaderLine(char* data, size_t size, size_t count, void* userdata) {
  auto* transfer = static_cast<Transfer*>(userdata);
  const std::string_view line(data, size * count);
  try {
    auto& fields = transfer->response.headerFields;
    if (line.starts_with("HTTP/")) {
      // A new status line (after a 1xx answer): only the final response's fields count.
      fields.clear();
    } else if (!line.empty() && (line.front() == ' ' || line.front() == '\t')) {
      // An obsolete folded line continues the previous field's value.
      if (!fields.empty()) {
        const auto more = trimmed(line);
        if (!more.empty()) fields.back().second.append(" ").append(more);
      }
    } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
      fields.emplace_back(std::string(trimmed(line.substr(0, colon))), std::string(trimmed(line.substr(colon + 1))));
    }
  } catch (...) {
    return 0;
  }
  return size * count;
}

}  // namespace

struct CurlHttpClient::Impl {
  std::shared_ptr<OperationQueue> completionQueue;
  CURLM* multi = nullptr;
  std::atomic<std::size_t> inFlight{0};  // sent, completion not yet queued
  Mutex mutex;
  std::deque<std::unique_ptr<Transfer>> pending GUARDED_BY(mutex);
  bool stopping GUARDED_BY(mutex) = false;
  // Only the I/O thread touches these.
  std::unordered_map<CURL*, std::unique_ptr<Transfer>> active;
  std::thread ioThread;

  void run();
  void start(std::unique_ptr<Transfer> transfer);
  bool configure(Transfer& transfer);
  void finish(CURL* easy, CURLcode result);
  void post(Transfer& transfer, std::optional<HttpResponse> response, std::optional<HttpError> error);
  void cancelAll(std::deque<std::unique_ptr<Transfer>>& transfers);
};

CurlHttpClient::CurlHttpClient(std::shared_ptr<OperationQueue> completionQueue) : impl_(std::make_unique<Impl>()) {
  if (!completionQueue) throw Exception("NSInvalidArgumentException", "CurlHttpClient needs a completion queue");
  initialiseCurlOnce();
  impl_->completionQueue = std::move(completionQueue);
  impl_->multi = curl_multi_init();
  if (!impl_->multi) throw Exception("NSInternalInconsistencyException", "libcurl could not create a multi handle");
  curl_multi_setopt(impl_->multi, CURLMOPT_MAX_HOST_CONNECTIONS, kMaxConnectionsPerHost);
  try {
    impl_->ioThread = std::thread([impl = impl_.get()] { impl->run(); });
  } catch (...) {
    curl_multi_cleanup(impl_->multi);
    throw;
  }
}

CurlHttpClient::~CurlHttpClient() {
  {
    MutexLock lock(impl_->mutex);
    impl_->stopping = true;
  }
  curl_multi_wakeup(impl_->multi);
  impl_->ioThread.join();
  // Anything sent after the I/O thread took its last look is still waiting here.
  std::deque<std::unique_ptr<Transfer>> leftovers;
  {
    MutexLock lock(impl_->mutex);
    leftovers.swap(impl_->pending);
  }
  impl_->cancelAll(leftovers);
  curl_multi_cleanup(impl_->multi);
}

void CurlHttpClient::send(HttpRequest request, Completion completion) {
  auto transfer = std::make_unique<Transfer>(std::move(request), std::move(completion));
  impl_->inFlight.fetch_add(1);
  {
    MutexLock lock(impl_->mutex);
    impl_->pending.push_back(std::move(transfer));
  }
  curl_multi_wakeup(impl_->multi);
}

std::size_t CurlHttpClient::requestsInFlight() const { return impl_->inFlight.load(); }

void CurlHttpClient::Impl::run() {
  for (;;) {
    std::deque<std::unique_ptr<Transfer>> arrived;
    {
      MutexLock lock(mutex);
      if (stopping) break;
      arrived.swap(pending);
    }
    for (auto& transfer : arrived) start(std::move(transfer));

    int running = 0;
    curl_multi_perform(multi, &running);
    int queued = 0;
    while (CURLMsg* message = curl_multi_info_read(multi, &queued)) {
      if (message->msg == CURLMSG_DONE) finish(message->easy_handle, message->data.result);
    }
    curl_multi_poll(multi, nullptr, 0, kPollIntervalMs, nullptr);
  }

  // Stopping: whatever is still on the wire is abandoned and told so.
  std::deque<std::unique_ptr<Transfer>> abandoned;
  for (auto& [easy, transfer] : active) {
    curl_multi_remove_handle(multi, easy);
    abandoned.push_back(std::move(transfer));
  }
  active.clear();
  cancelAll(abandoned);
}

void CurlHttpClient::Impl::start(std::unique_ptr<Transfer> transfer) {
  transfer->easy = curl_easy_init();
  if (!transfer->easy || !configure(*transfer)) {
    post(*transfer, std::nullopt, HttpError{HttpError::Unknown, "the request could not be prepared"});
    return;
  }
  CURL* easy = transfer->easy;
  if (curl_multi_add_handle(multi, easy) != CURLM_OK) {
    post(*transfer, std::nullopt, HttpError{HttpError::Unknown, "the request could not be started"});
    return;
  }
  active.emplace(easy, std::move(transfer));
}

bool CurlHttpClient::Impl::configure(Transfer& transfer) {
  CURL* easy = transfer.easy;
  const HttpRequest& request = transfer.request;
  bool ok = true;
  const auto set = [&](CURLoption option, auto value) { ok = ok && curl_easy_setopt(easy, option, value) == CURLE_OK; };

  set(CURLOPT_URL, request.url.c_str());
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_TCP_KEEPALIVE, 1L);
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  const long timeout = timeoutMilliseconds(request.timeoutSeconds);
  set(CURLOPT_TIMEOUT_MS, timeout);
  set(CURLOPT_CONNECTTIMEOUT_MS, timeout);
  set(CURLOPT_ERRORBUFFER, transfer.errorBuffer);
  set(CURLOPT_WRITEFUNCTION, &writeBody);
  set(CURLOPT_WRITEDATA, static_cast<void*>(&transfer));
  set(CURLOPT_HEADERFUNCTION, &readHeaderLine);
  set(CURLOPT_HEADERDATA, static_cast<void*>(&transfer));

  const std::string& method = request.method;
  const auto sendBody = [&] {
    // curl reads the body from transfer.request, which lives until the transfer is done.
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    set(CURLOPT_POSTFIELDS, request.body.data());
  };
  if (method.empty() || equalsIgnoringCase(method, "GET")) {
    set(CURLOPT_HTTPGET, 1L);
  } else if (equalsIgnoringCase(method, "HEAD")) {
    set(CURLOPT_NOBODY, 1L);
  } else if (equalsIgnoringCase(method, "POST")) {
    set(CURLOPT_POST, 1L);
    sendBody();
  } else {
    if (!request.body.empty()) sendBody();
    set(CURLOPT_CUSTOMREQUEST, method.c_str());
  }

  bool callerSetExpect = false;
  for (const auto& [name, value] : request.headerFields) {
    const std::string cleanName = withoutLineBreaks(trimmed(name));
    if (cleanName.empty()) continue;
    if (equalsIgnoringCase(cleanName, "Expect")) callerSetExpect = true;
    const std::string cleanValue = withoutLineBreaks(trimmed(value));
    // "Name:" would tell curl to drop the header; "Name;" is curl's way of sending it empty.
    const std::string line = cleanValue.empty() ? cleanName + ";" : cleanName + ": " + cleanValue;
    curl_slist* grown = curl_slist_append(transfer.headers, line.c_str());
    if (!grown) return false;
    transfer.headers = grown;
  }
  if (!callerSetExpect) {
    // Servers that never answer "100 Continue" would otherwise stall every larger body for a second.
    curl_slist* grown = curl_slist_append(transfer.headers, "Expect:");
    if (!grown) return false;
    transfer.headers = grown;
  }
  set(CURLOPT_HTTPHEADER, transfer.headers);
  return ok;
}

void CurlHttpClient::Impl::finish(CURL* easy, CURLcode result) {
  auto found = active.find(easy);
  if (found == active.end()) return;
  std::unique_ptr<Transfer> transfer = std::move(found->second);
  active.erase(found);
  curl_multi_remove_handle(multi, easy);

  if (result == CURLE_OK) {
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    transfer->response.statusCode = static_cast<int>(status);
    HttpResponse response = std::move(transfer->response);
    post(*transfer, std::move(response), std::nullopt);
  } else {
    std::string message = curl_easy_strerror(result);
    if (transfer->errorBuffer[0] != '\0') message.append(": ").append(transfer->errorBuffer);
    post(*transfer, std::nullopt, HttpError{errorCodeFor(result), std::move(message)});
  }
}

void CurlHttpClient::Impl::post(Transfer& transfer, std::optional<HttpResponse> response,
                                std::optional<HttpError> error) {
  // Counted down only once the completion is queued, so "none in flight" means "all answers are on the queue".
  if (transfer.completion) {
    // The completion is moved into the operation so that it (and whatever it holds) is released on the queue.
    completionQueue->addOperation([completion = std::move(transfer.completion), response = std::move(response),
                                   error = std::move(error)] { completion(response, error); });
  }
  inFlight.fetch_sub(1);
}

void CurlHttpClient::Impl::cancelAll(std::deque<std::unique_ptr<Transfer>>& transfers) {
  for (auto& transfer : transfers)
    post(*transfer, std::nullopt, HttpError{HttpError::Cancelled, "the client was destroyed"});
  transfers.clear();
}

}  // namespace tavo::platform
