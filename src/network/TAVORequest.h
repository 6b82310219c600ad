#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "network/TAVOOperation.h"
#include "platform/Codable.h"
#include "platform/HttpClient.h"
#include "platform/Mutex.h"
#include "tavo/platform/Value.h"

namespace tavo {

class TAVOTrackOrder;
class TAVOTransmitObject;
class TAVOUpdateUser;

// One request to the web service: a URL request (URL, method "POST", header fields, body) and either the
// operations of a "tracker" batch or the one payload of a single-object request. The retry count and the
// operation list are read and changed on the request queue's thread: they are guarded.
class TAVORequest : public platform::Codable {
 public:
  // A "tracker" batch: JSON body {"operations": [...]}, JSON and credential header fields.
  static std::shared_ptr<TAVORequest> requestWithOperations(
      const std::vector<std::shared_ptr<TAVOOperation>>& operations);
  // A user update: "firstlogin" for type 1, "newregister" for type 2, else "updateuser"; form body.
  static std::shared_ptr<TAVORequest> requestWithUpdateUser(const std::shared_ptr<TAVOUpdateUser>& update);
  // A purchase or its cancellation: the order's payload to "addpurchase".
  static std::shared_ptr<TAVORequest> requestWithTrackOrder(const std::shared_ptr<TAVOTrackOrder>& order);
  // A receipt of the user's interaction with an in-app campaign (a TAVOComunicationInteract) to
  // "setcommunicationinteract".
  static std::shared_ptr<TAVORequest> requestWithInteract(const std::shared_ptr<TAVOTransmitObject>& interact);
  // One payload to an action, as a form body of the credentials and the payload's JSON under "json".
  static std::shared_ptr<TAVORequest> requestWithObject(const std::shared_ptr<TAVOTransmitObject>& payload,
                                                        const std::string& endPoint);
  // A parked request sent again: same URL and contents to read the answer by, a body of today's credentials
  // only, no header fields.
  static std::shared_ptr<TAVORequest> requestWithRequest(const TAVORequest& earlier);

  // key=value pairs in the dictionary's order joined by "&", each side escaped with the platform's legacy
  // escaping, which leaves URL-reserved characters such as "&", "=", "+" and "/" as they are.
  static std::string encodeParameters(const platform::Dictionary& parameters);
  // Pretty-printed JSON of the dictionary; nullopt when it cannot be written.
  static std::optional<std::string> encodeParametersWithArray(const platform::Dictionary& parameters);
  static std::string legacyPercentEscape(const std::string& text);

  // {"apiUser": ..., "apiKey": ...} with today's credentials, "" for a missing one.
  platform::Dictionary getParametersDictionary() const;
  // The kind of answer a single-object request gets (TAVOResponseType).
  int getRequestResponseType() const;

  // The URL request.
  std::string URL;
  std::string HTTPMethod = "POST";
  std::vector<std::pair<std::string, std::string>> headerFields;
  std::optional<std::string> HTTPBody;
  // Adds a field (a repeated name gets its values joined by ","), or replaces it.
  void addValue(const std::string& value, const std::string& field);
  void setValue(const std::string& value, const std::string& field);
  std::optional<std::string> valueForHTTPHeaderField(const std::string& field) const;
  platform::HttpRequest httpRequest() const;
  // The operations given to requestWithOperations that JSON cannot carry: left out of the batch, so that the
  // others still go.
  std::vector<std::shared_ptr<TAVOOperation>> unwritableOperations;

  std::uint32_t retriedTimes() const;
  void setRetriedTimes(std::uint32_t times);
  // Empty for a single-object request.
  std::vector<std::shared_ptr<TAVOOperation>> operations() const;
  void setOperations(std::vector<std::shared_ptr<TAVOOperation>> operations);
  bool isBatch() const;
  std::shared_ptr<TAVOTransmitObject> transmittedObject() const;
  // When this request, or the earlier one it sends again, was first parked; at how many launches the server
  // refused it. Both ride along with a resend and in the stored form (older stored forms have neither).
  std::optional<platform::Date> firstParked() const;
  void setFirstParkedIfUnset(platform::Date date);
  std::uint32_t refusedLaunches() const;
  // The server refused this request: one more launch refused it (counted once, however many of its
  // operations the answer refused).
  void markRefused();

  // Whether one of the batch's payloads is answered with the start-session configuration. Asked after every
  // answered operation of a batch: found once per list of operations, not once per asking.
  bool containsStartSessionEvent() const;

  std::string className() const override { return "TAVORequest"; }
  void encodeWithCoder(platform::KeyedArchiver& coder) const override;
  void initWithCoder(platform::KeyedUnarchiver& coder) override;

 private:
  void logRequest(const platform::Value& parameters) const;

  mutable platform::Mutex mutex_;
  std::uint32_t retriedTimes_ GUARDED_BY(mutex_) = 0;
  std::optional<std::vector<std::shared_ptr<TAVOOperation>>> operations_ GUARDED_BY(mutex_);
  std::shared_ptr<TAVOTransmitObject> transmittedObject_ GUARDED_BY(mutex_);
  // For operations_ as they are; reset when they are set.
  mutable std::optional<bool> containsStartSessionEvent_ GUARDED_BY(mutex_);
  std::optional<platform::Date> firstParked_ GUARDED_BY(mutex_);
  std::uint32_t refusedLaunches_ GUARDED_BY(mutex_) = 0;
  bool refused_ GUARDED_BY(mutex_) = false;  // refusedLaunches_ counts this launch already
};

}  // namespace tavo
