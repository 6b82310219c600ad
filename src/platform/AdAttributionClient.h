#pragma once

#include <functional>
#include <optional>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo::platform {

// The platform's Search Ads attribution client. Linux has none: Platform::adAttributionClient is null unless
// a host (or a test) supplies one, so code that needs it treats a null client as "the class does not exist".
// A client is built around a handler that answers requests; subclasses may override the request instead.
class AdAttributionClient {
 public:
  struct Error {
    long code = 0;
    std::string localizedDescription;
  };
  // Either the attribution details (a dictionary of dictionaries, one per campaign version) or an error.
  using Completion =
      std::function<void(const std::optional<Dictionary>& attributionDetails, const std::optional<Error>& error)>;
  // Answers one request; it may call the completion on any thread, at once or later.
  using Handler = std::function<void(Completion completion)>;

  // An empty handler makes a client that does not respond to attribution requests.
  explicit AdAttributionClient(Handler handler = nullptr);
  virtual ~AdAttributionClient() = default;

  // Whether requestAttributionDetailsWithBlock may be called (the platform's "responds to").
  virtual bool respondsToRequestAttributionDetails() const;
  // Asks for the attribution details. Does nothing when the client does not respond to it. Any thread.
  virtual void requestAttributionDetailsWithBlock(Completion completion) const;

 private:
  Handler handler_;
};

}  // namespace tavo::platform
