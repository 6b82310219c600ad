#include "network/TAVORequestController.h"

#include <algorithm>

#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "network/TAVOResponseType.h"
#include "persistence/TAVODataStoreController.h"
#include "persistence/TAVOObservableTransmitObject.h"
#include "platform/MutexLock.h"
#include "platform/Platform.h"
#include "tavo/TAVOConfiguration.h"
#include "tracking/TAVOUserController.h"

namespace tavo {

using platform::Value;

namespace {

// The host's delegate runs inside the SDK: whatever it throws stays here.
template <class Call>
void callDelegate(Call&& call) {
  try {
    call();
  } catch (...) {
    TAVOLogger::log("Error executing TAVORequestDelegate onStarted");
  }
}

// The id the host knows the outcome by: its own custom id, else the operation's id.
std::string delegateId(const TAVOObservableTransmitObject& payload, const TAVOOperation& operation) {
  return payload.customId.value_or(operation.operationId);
}

// Parked requests are kept across launches, but not for ever.
constexpr std::uint32_t kMaxRefusedLaunches = 3;
constexpr double kMaxParkedSeconds = 7 * 24 * 3600.0;

// Whether a parked request may stay parked; when not, says why.
bool mayStayParked(const TAVORequest& request, platform::Date now) {
  if (request.refusedLaunches() >= kMaxRefusedLaunches) {
    TAVOLogger::log("Parked request dropped: refused at %u launches in a row", request.refusedLaunches());
    return false;
  }
  const auto firstParked = request.firstParked();
  if (firstParked && now.timeIntervalSinceDate(*firstParked) > kMaxParkedSeconds) {
    TAVOLogger::log("Parked request dropped: first parked more than 7 days ago");
    return false;
  }
  return true;
}

platform::Date now() { return platform::Platform::shared().clock->now(); }

// The request controller of the SDK's current life. A reset replaces the one that sent a request; the
// answer is still handled like any answer (retries, parking, the host's notices), by the one that is current.
std::shared_ptr<TAVORequestController> currentController() {
  return TAVOController::sharedInstance().requestController();
}

std::string describe(const TAVOError& error) {
  return StringFormat::format("Error Domain=%@ Code=%d \"%@\"", error.domain(), error.code(),
                              error.localizedDescription());
}

}  // namespace

TAVORequestController::TAVORequestController()
    : queue_(std::make_shared<platform::OperationQueue>()),
      dataStoreController_(std::make_shared<TAVODataStoreController>()),
      webservicesURL_(TAVOConfiguration::kDefaultURLBase),
      mainLoop_(platform::Platform::shared().mainLoop) {
  // Watching the queue: its count after every change, and the moment it empties.
  queue_->setOperationCountObserver([](std::size_t count) {
    if (count == 0) TAVOLogger::logAndType("QueueCompleted", TAVOLogger::Verbose);
    TAVOLogger::log("Operations in queue %lu", count);
  });
  // Requests parked by an earlier process: read once, then the key is cleared. Usually nothing is parked;
  // then there is nothing to read or clear, and the start is spared two durable writes of the store.
  if (!dataStoreController_->containsObjectInDataStore(TAVODataStoreController::kPendingRequestsKey)) return;
  try {
    const auto stored = dataStoreController_->getObjectFromDataStore(TAVODataStoreController::kPendingRequestsKey);
    const platform::Date readAt = now();
    if (stored && stored->asArray())
      for (const auto& element : *stored->asArray()) {
        auto request = element.objectAs<TAVORequest>();
        if (!request) continue;
        request->setFirstParkedIfUnset(readAt);  // stored by an earlier version: its seven days start now
        if (mayStayParked(*request, readAt)) pendingRequests_.push_back(std::move(request));
      }
  } catch (const std::exception& e) {
    TAVOLogger::log("Pending requests could not be read: %@", e.what());
  }
  dataStoreController_->removeObjectFromDataStoreWithKey(TAVODataStoreController::kPendingRequestsKey);
}

std::shared_ptr<TAVORequestController> TAVORequestController::make() {
  std::shared_ptr<TAVORequestController> controller(new TAVORequestController());
  controller->scheduleTimer(kDefaultQueueTime);
  return controller;
}

TAVORequestController::~TAVORequestController() {
  {
    platform::MutexLock lock(mutex_);
    if (operationTimer_) mainLoop_->cancel(*operationTimer_);
  }
  // The last owner may be an answer handled on this controller's own queue while a reset replaced it: a
  // queue cannot join its own thread, so the main loop lets it go once this answer is done.
  if (queue_->isCurrentQueue()) mainLoop_->post([queue = std::move(queue_)] {});
}

void TAVORequestController::scheduleTimer(double seconds) {
  platform::MutexLock lock(mutex_);
  if (operationTimer_) mainLoop_->cancel(*operationTimer_);
  operationTimer_ = mainLoop_->scheduleRepeating(seconds, [weak = weak_from_this()] {
    if (auto self = weak.lock()) self->sendOperations();
  });
}

void TAVORequestController::setQueueTime(std::int32_t seconds) { scheduleTimer(static_cast<double>(seconds)); }

void TAVORequestController::addOperationToQueue(const std::shared_ptr<TAVOOperation>& operation) {
  {
    platform::MutexLock lock(mutex_);
    if (!operations_) operations_.emplace();
    operations_->push_back(operation);
  }
  if (operation->transmitObject && operation->transmitObject->isInmediate()) sendOperations();
}

void TAVORequestController::sendOperations() {
  std::vector<std::shared_ptr<TAVOOperation>> batch;
  {
    platform::MutexLock lock(mutex_);
    if (operations_) {
      batch.swap(*operations_);
      // The next window is likely as busy as this one: gathering it then never moves the list to grow it.
      operations_->reserve(batch.size());
    }
  }
  if (batch.empty()) {
    TAVOLogger::logAndType("Operations queue is empty", TAVOLogger::Verbose);
    return;
  }
  auto request = TAVORequest::requestWithOperations(batch);
  // An operation that cannot be written never leaves: its host hears that it failed.
  for (const auto& operation : request->unwritableOperations) onFailedRequestOperation(operation);
  // "Started" is told before admission: a request dropped there was still started for the host.
  onStartedRequest(request);
  addRequestToQueue(request);
}

void TAVORequestController::addRequestToQueue(const std::shared_ptr<TAVORequest>& request) {
  auto& controller = TAVOController::sharedInstance();
  if (!controller.sessionKey()) {
    TAVOLogger::log("Can not perform requests. Session is not started");
    return;
  }
  if (TAVOUserController::isUserTrackingDisabled()) {
    TAVOLogger::log("User tracking is disabled. Discarting request");
    return;
  }
  if (request->retriedTimes() == kMaxSends) {
    setRequestAsFailed(request);
    return;
  }
  TAVOLogger::log("New request added to queue");
  send(request);
}

void TAVORequestController::send(const std::shared_ptr<TAVORequest>& request) {
  auto client = platform::Platform::shared().httpClient;
  client->send(request->httpRequest(),
               [request](std::optional<platform::HttpResponse> response, std::optional<platform::HttpError> error) {
                 const auto owner = currentController();
                 if (!owner) return;
                 // Completions are handled on the controller's own queue, one after another.
                 owner->queue_->addOperation(
                     [weak = std::weak_ptr(owner), request, response = std::move(response), error = std::move(error)] {
                       // Replaced while the answer waited in the queue: the controller now current takes it.
                       auto handler = weak.lock();
                       if (!handler) handler = currentController();
                       if (handler) handler->processRequestResponse(response, request, error);
                     });
               });
}

void TAVORequestController::processRequestResponse(const std::optional<platform::HttpResponse>& response,
                                                   const std::shared_ptr<TAVORequest>& request,
                                                   const std::optional<platform::HttpError>& error) {
  if (error || !response) {
    TAVOLogger::logAndType("Connection error: Retry request", TAVOLogger::Error);
    onFailedRequest(request);
    retryRequestIfNeeded(request, true);
    return;
  }
  responseHandler_.processResponse(response->body, request, [this, request](const std::optional<TAVOError>& failure) {
    if (!failure) {
      if (auto payload = request->transmittedObject()) {
        checkStartSessionEvent(payload);
      } else if (request->containsStartSessionEvent()) {
        // Each answered operation of a batch checks them all; asking the request keeps that linear.
        TAVOController::sharedInstance().setConnectionStatusTo(TAVOController::SessionStarted);
      }
      return;
    }
    TAVOLogger::logAndType(StringFormat::format("Request failed with message: %@", describe(*failure)),
                           TAVOLogger::Error);
    onFailedRequest(request);
    retryRequestIfNeeded(request, false);
  });
}

void TAVORequestController::retryRequestIfNeeded(const std::shared_ptr<TAVORequest>& request, bool connectionError) {
  if (!connectionError) request->markRefused();
  const std::size_t operationsBefore = request->operations().size();
  const bool nothingLeft = removeRequestOnError(request);
  // One answer refuses the operations of a batch one by one: a batch parked by the first refusal may lose
  // more operations to the next ones, and the store keeps it as memory does.
  if (request->operations().size() != operationsBefore) {
    platform::MutexLock lock(pendingMutex_);
    if (std::find(pendingRequests_.begin(), pendingRequests_.end(), request) != pendingRequests_.end())
      persistPendingRequests();
  }
  if (nothingLeft) return;
  // Transport errors are counted; an answer the server refused or that could not be read parks at once.
  request->setRetriedTimes(connectionError ? request->retriedTimes() + 1 : kMaxSends);
  addRequestToQueue(request);
}

bool TAVORequestController::removeRequestOnError(const std::shared_ptr<TAVORequest>& request) {
  if (auto payload = request->transmittedObject()) return payload->removeOnError();
  if (!request->isBatch()) return false;
  const auto operations = request->operations();
  auto remaining = operations;
  // Removal by the index in the full list from the already shortened copy, as the server-side protocol
  // has always behaved; a failed batch holds at most one such payload in practice (they flush at once).
  for (std::size_t i = 0; i < operations.size(); ++i) {
    const auto& payload = operations[i]->transmitObject;
    if (payload && payload->removeOnError() && i < remaining.size())
      remaining.erase(remaining.begin() + static_cast<std::ptrdiff_t>(i));
  }
  const bool nothingLeft = remaining.empty();
  request->setOperations(std::move(remaining));
  return nothingLeft;
}

void TAVORequestController::setRequestAsFailed(const std::shared_ptr<TAVORequest>& request) {
  // A controller that a reset replaced while it handled an answer parks for the next start of the new life.
  if (const auto current = currentController(); current && current.get() != this) {
    current->setRequestAsFailed(request);
    return;
  }
  const platform::Date parkedAt = now();
  request->setFirstParkedIfUnset(parkedAt);
  platform::MutexLock lock(pendingMutex_);
  if (std::find(pendingRequests_.begin(), pendingRequests_.end(), request) != pendingRequests_.end()) return;
  if (!mayStayParked(*request, parkedAt)) return;
  pendingRequests_.push_back(request);
  persistPendingRequests();
}

void TAVORequestController::repeatPendingRequests() {
  // One resend at a time: a second caller sees only what the first left behind.
  platform::MutexLock resend(resendMutex_);
  std::vector<std::shared_ptr<TAVORequest>> parked;
  {
    platform::MutexLock lock(pendingMutex_);
    if (pendingRequests_.empty()) return;
    parked = pendingRequests_;
  }
  for (const auto& request : parked) addRequestToQueue(TAVORequest::requestWithRequest(*request));
  platform::MutexLock lock(pendingMutex_);
  // Only what was resent leaves the list: a request parked meanwhile waits for the next start.
  std::erase_if(pendingRequests_,
                [&](const auto& request) { return std::find(parked.begin(), parked.end(), request) != parked.end(); });
  persistPendingRequests();
}

void TAVORequestController::stopStoringParkedRequests() {
  platform::MutexLock lock(pendingMutex_);
  storesParkedRequests_ = false;
}

void TAVORequestController::persistPendingRequests() {
  if (!storesParkedRequests_) return;
  if (pendingRequests_.empty()) {
    dataStoreController_->removeObjectFromDataStoreWithKey(TAVODataStoreController::kPendingRequestsKey);
    return;
  }
  platform::Array list;
  list.reserve(pendingRequests_.size());
  for (const auto& request : pendingRequests_) list.emplace_back(std::shared_ptr<platform::Codable>(request));
  dataStoreController_->saveObjectToDataStore(Value(std::move(list)), TAVODataStoreController::kPendingRequestsKey);
}

void TAVORequestController::checkStartSessionEvent(const std::shared_ptr<TAVOTransmitObject>& payload) {
  if (payload && payload->operationResponseType() == TAVOResponseStartSessionConfig)
    TAVOController::sharedInstance().setConnectionStatusTo(TAVOController::SessionStarted);
}

void TAVORequestController::onStartedRequest(const std::shared_ptr<TAVORequest>& request) {
  for (const auto& operation : request->operations()) onStartedRequestOperation(operation);
}

void TAVORequestController::onFailedRequest(const std::shared_ptr<TAVORequest>& request) {
  for (const auto& operation : request->operations()) onFailedRequestOperation(operation);
}

void TAVORequestController::onStartedRequestOperation(const std::shared_ptr<TAVOOperation>& operation) {
  const auto payload = std::dynamic_pointer_cast<TAVOObservableTransmitObject>(operation->transmitObject);
  if (!payload) return;
  const auto delegate = payload->requestDelegate.lock();
  if (!delegate || !delegate->onStarted) return;
  callDelegate([&] { delegate->onStarted(delegateId(*payload, *operation)); });
}

void TAVORequestController::onFailedRequestOperation(const std::shared_ptr<TAVOOperation>& operation) {
  const auto payload = std::dynamic_pointer_cast<TAVOObservableTransmitObject>(operation->transmitObject);
  if (!payload) return;
  const auto delegate = payload->requestDelegate.lock();
  if (!delegate || !delegate->onFailed) return;
  callDelegate([&] { delegate->onFailed(delegateId(*payload, *operation)); });
}

std::string TAVORequestController::webservicesURL() const {
  platform::MutexLock lock(mutex_);
  return webservicesURL_;
}

void TAVORequestController::setWebservicesURL(const std::string& url) {
  platform::MutexLock lock(mutex_);
  webservicesURL_ = url;
}

std::vector<std::shared_ptr<TAVORequest>> TAVORequestController::pendingRequests() const {
  platform::MutexLock lock(pendingMutex_);
  return pendingRequests_;
}

std::size_t TAVORequestController::gatheredOperationCount() const {
  platform::MutexLock lock(mutex_);
  return operations_ ? operations_->size() : 0;
}

}  // namespace tavo
