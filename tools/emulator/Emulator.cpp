#include "emulator/Emulator.h"

#include <charconv>
#include <chrono>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "emulator/EmulatorHttpServer.h"
#include "emulator/PlaceholderImage.h"
#include "emulator/RequestDecoder.h"
#include "emulator/RequestPage.h"
#include "emulator/RequestRecorder.h"
#include "emulator/SqliteDatabase.h"
#include "emulator/UserRegistry.h"
#include "emulator/WebServiceResponder.h"
#include "platform/MutexLock.h"

namespace tavo::emulator {

namespace {

// Enough workers that answers held back by a delay never starve the requests behind them.
constexpr std::size_t kWorkerThreads = 24;
constexpr std::size_t kPageRows = 500;
constexpr const char* kNotJSON = "<html><body><h1>502 Bad Gateway</h1></body></html>";

std::optional<int> intParam(const httplib::Request& in, const char* name, std::optional<int> fallback) {
  if (!in.has_param(name)) return fallback;
  const std::string text = in.get_param_value(name);
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < 0) return std::nullopt;
  return value;
}

}  // namespace

Emulator::Emulator() : Emulator(Options{}) {}

Emulator::Emulator(Options options)
    : fixtures_(options.fixtures ? std::move(*options.fixtures) : EmulatorFixtures::defaults()),
      database_(std::make_shared<SqliteDatabase>(options.databasePath)),
      recorder_(std::make_unique<RequestRecorder>(database_)),
      users_(std::make_unique<UserRegistry>(database_)) {
  // A database kept from an earlier run brings its requests' tally with it.
  for (const auto& request : recorder_->requests()) inApp_.record(request);
  server_ = std::make_unique<EmulatorHttpServer>([this] { return failures_.takeRefusal(); });
  server_->new_task_queue = [] { return new httplib::ThreadPool(kWorkerThreads); };
  route();
  if (options.port == 0) {
    port_ = server_->bind_to_any_port("127.0.0.1");
    if (port_ <= 0) throw std::runtime_error("emulator: no free port on 127.0.0.1");
  } else if (!server_->bind_to_port("127.0.0.1", options.port)) {
    throw std::runtime_error("emulator: cannot listen on 127.0.0.1:" + std::to_string(options.port));
  } else {
    port_ = options.port;
  }
  // The answers name the emulator's own pages by its address, known once bound; nothing is served before.
  responder_ = std::make_unique<WebServiceResponder>(fixtures_, *users_, url(""));
  EmulatorHttpServer* server = server_.get();
  listenThread_ = std::thread([server] { server->listen_after_bind(); });
  // stop() is ignored until the loop runs: wait for it, so a quick stop cannot leave the thread unjoinable.
  for (int i = 0; i < 5000 && !server->is_running(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

Emulator::~Emulator() { stop(); }

void Emulator::stop() {
  if (!server_) return;
  {
    platform::MutexLock lock(mutex_);
    stopping_ = true;
  }
  stopped_.notifyAll();
  server_->stop();
  // The listen loop joins its workers before it returns, so no handler runs after this.
  listenThread_.join();
  server_.reset();
}

std::string Emulator::url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }

void Emulator::route() {
  // A POST that announces no body ("curl -X POST .../control/reset") would have the library wait for the
  // connection to close before routing it: control commands read only their query, so take them first.
  server_->set_pre_routing_handler([this](const httplib::Request& in, httplib::Response& out) {
    const bool announcesBody = in.has_header("Content-Length") || in.has_header("Transfer-Encoding");
    if (in.method != "POST" || announcesBody || in.path.rfind("/control/", 0) != 0)
      return httplib::Server::HandlerResponse::Unhandled;
    serveControl(in.path.substr(std::string_view("/control/").size()), in, out);
    return httplib::Server::HandlerResponse::Handled;
  });
  server_->Post("/ws/(.*)", [this](const httplib::Request& in, httplib::Response& out) { serveWebService(in, out); });
  server_->Post("/control/(.*)", [this](const httplib::Request& in, httplib::Response& out) {
    serveControl(in.matches[1].str(), in, out);
  });
  server_->Get("/control", [this](const httplib::Request&, httplib::Response& out) {
    out.set_content(failures_.state().dump(2), "application/json");
  });
  server_->Get("/", [this](const httplib::Request&, httplib::Response& out) {
    out.set_content(RequestPage::html(recorder_->latest(kPageRows), recorder_->requestCount(), baseURL(),
                                      failures_.state(), inApp_.entries()),
                    "text/html; charset=utf-8");
  });
  server_->Get("/inapp.json", [this](const httplib::Request&, httplib::Response& out) {
    out.set_content(inApp_.toJSON().dump(2), "application/json");
  });
  // The campaigns' own content: pages with their links, images drawn to order.
  server_->Get("/pages/(.+)", [this](const httplib::Request& in, httplib::Response& out) {
    const auto page = fixtures_.page(in.matches[1].str());
    if (!page) {
      out.status = 404;
      return;
    }
    out.set_content(responder_->withOrigin(*page), "text/html; charset=utf-8");
  });
  server_->Get("/images/(.+)", [this](const httplib::Request& in, httplib::Response& out) {
    const auto image = fixtures_.image(in.matches[1].str());
    const std::string png = image ? PlaceholderImage::png(*image) : std::string();
    if (png.empty()) {
      out.status = 404;
      return;
    }
    out.set_content(png, "image/png");
  });
  server_->Get("/requests.json", [this](const httplib::Request&, httplib::Response& out) {
    out.set_content(RequestPage::json(recorder_->latest(kPageRows), recorder_->requestCount()), "application/json");
  });
}

void Emulator::serveWebService(const httplib::Request& in, httplib::Response& out) {
  std::vector<std::pair<std::string, std::string>> headerFields;
  for (const auto& [name, value] : in.headers) {
    // The library adds these itself; they were not sent.
    if (name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" || name == "LOCAL_PORT") continue;
    headerFields.emplace_back(name, value);
  }
  RecordedRequest request = RequestDecoder::decode(in.matches[1].str(), std::move(headerFields), in.body);
  request.time = RequestRecorder::timestamp(std::chrono::system_clock::now());

  std::function<void(const RecordedRequest&)> observer;
  std::function<std::optional<int>(const RecordedRequest&)> statusPicker;
  {
    platform::MutexLock lock(mutex_);
    observer = observer_;
    statusPicker = statusPicker_;
  }
  FailureSwitches::Plan plan = failures_.takePlan();
  if (!plan.status && statusPicker) plan.status = statusPicker(request);
  // A switched answer replaces the real one, and nothing the real one would have done (a new user id) happens.
  const WebServiceResponder::Answer answer = plan.notJSON  ? WebServiceResponder::Answer{200, kNotJSON, "text/html"}
                                             : plan.body   ? WebServiceResponder::Answer{200, *plan.body}
                                             : plan.status ? WebServiceResponder::statusAnswer(request, *plan.status)
                                                           : responder_->answer(request);
  request.answerStatus = answer.httpStatus;
  request.answerBody = answer.body;
  request.failure = plan.description();
  recorder_->record(request);
  inApp_.record(request);
  if (observer) observer(request);

  if (plan.delayMilliseconds > 0) waitOutDelay(plan.delayMilliseconds);
  out.status = answer.httpStatus;
  if (!plan.closeMidBody) {
    out.set_content(answer.body, answer.contentType.c_str());
    return;
  }
  // Content-Length promises the whole body; failing after half of it makes the library drop the connection.
  out.set_content_provider(answer.body.size(), answer.contentType.c_str(),
                           [body = answer.body](std::size_t, std::size_t, httplib::DataSink& sink) {
                             sink.write(body.data(), body.size() / 2);
                             return false;
                           });
}

void Emulator::serveControl(const std::string& command, const httplib::Request& in, httplib::Response& out) {
  const auto count = intParam(in, "count", 1);
  auto refuse = [&](const std::string& why) {
    out.status = 400;
    out.set_content(nlohmann::ordered_json{{"error", why}}.dump(), "application/json");
  };
  if (!count) return refuse("count must be a whole number >= 0");

  if (command == "refuse") {
    failures_.refuseConnections(*count);
  } else if (command == "status") {
    const auto status = intParam(in, "status", std::nullopt);
    if (!status) return refuse("status=<code> is required");
    failures_.answerStatus(*status, *count);
  } else if (command == "body") {
    failures_.answerBody(in.body, *count);
  } else if (command == "not-json") {
    failures_.answerNotJSON(*count);
  } else if (command == "close-mid-body") {
    failures_.closeMidBody(*count);
  } else if (command == "delay") {
    const auto milliseconds = intParam(in, "ms", std::nullopt);
    if (!milliseconds) return refuse("ms=<milliseconds> is required");
    failures_.delayAnswers(*milliseconds, *count);
  } else if (command == "reset") {
    failures_.reset();
  } else if (command == "clear") {
    clear();
  } else {
    out.status = 404;
    out.set_content(nlohmann::ordered_json{{"error", "unknown control " + command}}.dump(), "application/json");
    return;
  }
  out.set_content(failures_.state().dump(2), "application/json");
}

void Emulator::waitOutDelay(int milliseconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  platform::MutexLock lock(mutex_);
  while (!stopping_ && std::chrono::steady_clock::now() < deadline) stopped_.waitUntil(mutex_, deadline);
}

std::vector<RecordedRequest> Emulator::requests() const { return recorder_->requests(); }

std::size_t Emulator::requestCount() const { return recorder_->requestCount(); }

bool Emulator::waitForRequests(std::size_t count, double timeoutSeconds) const {
  return recorder_->waitForRequests(count, timeoutSeconds);
}

void Emulator::clear() {
  recorder_->clear();
  inApp_.clear();
}

std::vector<InAppLedger::Entry> Emulator::inAppEntries() const { return inApp_.entries(); }

void Emulator::setRequestObserver(std::function<void(const RecordedRequest&)> observer) {
  platform::MutexLock lock(mutex_);
  observer_ = std::move(observer);
}

std::int64_t Emulator::userIdForDevice(const std::string& udid) { return users_->userIdForDevice(udid); }

void Emulator::refuseConnections(int count) { failures_.refuseConnections(count); }

void Emulator::answerStatus(int status, int count) { failures_.answerStatus(status, count); }

void Emulator::answerBody(std::string body, int count) { failures_.answerBody(std::move(body), count); }

void Emulator::answerStatusWhen(std::function<std::optional<int>(const RecordedRequest&)> picker) {
  platform::MutexLock lock(mutex_);
  statusPicker_ = std::move(picker);
}

void Emulator::answerNotJSON(int count) { failures_.answerNotJSON(count); }

void Emulator::closeMidBody(int count) { failures_.closeMidBody(count); }

void Emulator::delayAnswers(int milliseconds, int count) { failures_.delayAnswers(milliseconds, count); }

void Emulator::resetFailures() { failures_.reset(); }

std::size_t Emulator::refusedConnectionCount() const { return failures_.refusedConnections(); }

}  // namespace tavo::emulator
