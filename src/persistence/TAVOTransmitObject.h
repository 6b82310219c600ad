#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tavo/platform/Value.h"

namespace tavo {

class TAVOUser;

// Base of everything sent to the web service. It owns the payload's parameters (objectData), which start
// from the common user and device parameters, and serialises them to JSON.
//
// Made in two steps, as the platform's objects are: construct, then init() (or a subclass's own init
// operation, which calls it), so that init can ask the subclass's getType and getAction.
class TAVOTransmitObject : public std::enable_shared_from_this<TAVOTransmitObject> {
 public:
  virtual ~TAVOTransmitObject() = default;

  // The kind of payload ("event", "user", ...) and the web-service action ("none", "check", ...).
  virtual std::string getType() const { return "none"; }
  virtual std::string getAction() const { return "none"; }
  // true: the request queue sends it at once instead of with the next timed batch.
  virtual bool isInmediate() const { return false; }
  // Lets a payload add its own keys to objectData right before it is sent.
  virtual void appendParameters() {}
  // true: a failed send drops the payload instead of retrying it.
  virtual bool removeOnError() const { return false; }
  // The kind of answer this payload gets inside a batch, and alone in a single-object request
  // (TAVOResponseType); a plain status answer unless the payload says otherwise.
  virtual int operationResponseType() const { return 0; }
  virtual int requestResponseType() const { return operationResponseType(); }

  // Starts objectData from the common parameters, marks payloads whose answers may carry in-app content,
  // and adds the current user's server id and mail.
  virtual void init();
  void appendUserData(const std::shared_ptr<const TAVOUser>& user);
  // Copies the host's extras into objectData, refusing (with "ReservedKeyUsed") the keys the SDK owns.
  void addExtraData(const platform::Dictionary& extras);

  const std::optional<platform::Dictionary>& attributes() const { return attributes_; }
  void setAttributes(const std::optional<platform::Dictionary>& attributes);

  // objectData as pretty-printed JSON; nullopt when it cannot be written as JSON.
  std::optional<std::string> serializeToJSONString() const;

  // The extra keys a host may not set: wire names of the SDK's own parameters.
  static const std::vector<std::string>& reservedKeys();
  static bool isReservedKey(const std::string& key);

  platform::Dictionary objectData;

 private:
  std::optional<platform::Dictionary> attributes_;
};

}  // namespace tavo
