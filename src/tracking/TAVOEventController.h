#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "platform/Mutex.h"
#include "tavo/platform/Value.h"

namespace tavo {

class TAVOEventRequest;

// Turns the host's event requests (and the SDK's own events) into event payloads, decides which are rule
// checks, and queues them. Keeps the screen-event tokens that the start-session answer configures.
class TAVOEventController {
 public:
  // The one way to send an event: rule checks flush the batch at once.
  void sendEvent(const TAVOEventRequest& request, bool withRule);
  // Adds the active "screen" events of a configuration answer (tokens accumulate over answers).
  void parseScreenEvents(const platform::Value& events);
  // Before the first configuration every token counts as a screen event.
  bool isScreenEvent(const std::string& token) const;

  bool trackScreenEvents() const { return trackScreenEvents_.load(); }
  void setTrackScreenEvents(bool track) { trackScreenEvents_.store(track); }
  std::optional<std::vector<std::string>> screenEvents() const;

 private:
  std::atomic<bool> trackScreenEvents_{true};
  mutable platform::Mutex screenEventsMutex_;
  std::optional<std::vector<std::string>> screenEvents_ GUARDED_BY(screenEventsMutex_);
};

}  // namespace tavo
