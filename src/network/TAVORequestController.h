#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "network/TAVOOperation.h"
#include "network/TAVORequest.h"
#include "network/TAVOResponseHandler.h"
#include "platform/HttpClient.h"
#include "platform/MainLoop.h"
#include "platform/Mutex.h"
#include "platform/OperationQueue.h"

namespace tavo {

class TAVODataStoreController;
class TAVOTransmitObject;

// The one gateway through which every request leaves the device. Operations are gathered into a batch that a
// repeating timer on the main loop flushes, or that an immediate payload flushes at once; requests are
// admitted, sent, answered on the controller's own queue, retried after connection errors (three sends in
// all), dropped when their payload says so, or parked for a resend at the next session start. Parked
// requests are also kept in the store, so a restart of the process does not lose them.
class TAVORequestController : public std::enable_shared_from_this<TAVORequestController> {
 public:
  static constexpr double kDefaultQueueTime = 10.0;
  static constexpr std::uint32_t kMaxSends = 3;

  // Reads (and clears) the parked requests a previous process stored and starts the flush timer.
  static std::shared_ptr<TAVORequestController> make();
  ~TAVORequestController();

  // Appends to the batch; an immediate payload flushes the batch (with everything gathered before it).
  void addOperationToQueue(const std::shared_ptr<TAVOOperation>& operation);
  // Flushes the batch into one "tracker" request.
  void sendOperations();
  // Admits and sends one request, or drops or parks it.
  void addRequestToQueue(const std::shared_ptr<TAVORequest>& request);
  // Re-arms the flush timer with that period (0 or less: the main loop's minimum).
  void setQueueTime(std::int32_t seconds);
  // Sends every parked request again, as a fresh request with a body of today's credentials.
  void repeatPendingRequests();
  // A reset replaces this controller while answers may still come to it: what it parks from now on stays in its
  // memory, out of the store the next life starts from. When this returns, no write of it is under way.
  void stopStoringParkedRequests();

  void processRequestResponse(const std::optional<platform::HttpResponse>& response,
                              const std::shared_ptr<TAVORequest>& request,
                              const std::optional<platform::HttpError>& error);
  void retryRequestIfNeeded(const std::shared_ptr<TAVORequest>& request, bool connectionError);
  // Drops the payloads that must not be retried; true when nothing is left to retry.
  bool removeRequestOnError(const std::shared_ptr<TAVORequest>& request);
  void setRequestAsFailed(const std::shared_ptr<TAVORequest>& request);
  // A delivered start-session event means the SDK is connected.
  void checkStartSessionEvent(const std::shared_ptr<TAVOTransmitObject>& payload);

  void onStartedRequest(const std::shared_ptr<TAVORequest>& request);
  void onFailedRequest(const std::shared_ptr<TAVORequest>& request);
  void onStartedRequestOperation(const std::shared_ptr<TAVOOperation>& operation);
  void onFailedRequestOperation(const std::shared_ptr<TAVOOperation>& operation);

  std::string webservicesURL() const;
  void setWebservicesURL(const std::string& url);
  std::vector<std::shared_ptr<TAVORequest>> pendingRequests() const;
  std::size_t gatheredOperationCount() const;
  const std::shared_ptr<platform::OperationQueue>& queue() const { return queue_; }
  TAVOResponseHandler& responseHandler() { return responseHandler_; }

  TAVORequestController(const TAVORequestController&) = delete;
  TAVORequestController& operator=(const TAVORequestController&) = delete;

 private:
  TAVORequestController();
  void scheduleTimer(double seconds);
  void send(const std::shared_ptr<TAVORequest>& request);
  // Writes the parked list to the store (or removes the key when it is empty).
  void persistPendingRequests() REQUIRES(pendingMutex_);

  std::shared_ptr<platform::OperationQueue> queue_;
  TAVOResponseHandler responseHandler_;
  std::shared_ptr<TAVODataStoreController> dataStoreController_;

  mutable platform::Mutex pendingMutex_;
  std::vector<std::shared_ptr<TAVORequest>> pendingRequests_ GUARDED_BY(pendingMutex_);
  bool storesParkedRequests_ GUARDED_BY(pendingMutex_) = true;

  mutable platform::Mutex mutex_;
  std::optional<std::vector<std::shared_ptr<TAVOOperation>>> operations_ GUARDED_BY(mutex_);
  std::string webservicesURL_ GUARDED_BY(mutex_);
  std::shared_ptr<platform::MainLoop> mainLoop_ GUARDED_BY(mutex_);
  std::optional<platform::MainLoop::TimerId> operationTimer_ GUARDED_BY(mutex_);

  // One resend of the parked list at a time.
  platform::Mutex resendMutex_ ACQUIRED_BEFORE(pendingMutex_);
};

}  // namespace tavo
