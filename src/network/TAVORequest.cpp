#include "network/TAVORequest.h"

#include <algorithm>
#include <cctype>

#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "network/TAVOArchivedTransmitObject.h"
#include "network/TAVORequestController.h"
#include "network/TAVOResponseType.h"
#include "network/TAVOUpdateUser.h"
#include "platform/ClassRegistry.h"
#include "platform/JSONSerialization.h"
#include "platform/KeyedArchiver.h"
#include "platform/KeyedUnarchiver.h"
#include "platform/MutexLock.h"
#include "tracking/TAVOTrackOrder.h"

namespace tavo {

using platform::Value;

namespace {

const platform::ClassRegistration<TAVORequest> registration("TAVORequest");

std::string baseURL() {
  auto requests = TAVOController::sharedInstance().requestController();
  return requests ? requests->webservicesURL() : std::string();
}

// Every body the SDK writes goes through here: text from the host that is not UTF-8 goes out repaired, and
// the host is told so.
std::optional<std::string> writeJSON(const Value& value) {
  bool repaired = false;
  auto text = platform::JSONSerialization::dataWithJSONObjectPretty(value, repaired);
  if (repaired) {
    TAVOLogger::log("Text that is not valid UTF-8 is sent with U+FFFD in place of the bad bytes");
  }
  return text;
}

bool sameField(const std::string& a, const std::string& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

}  // namespace

std::shared_ptr<TAVORequest> TAVORequest::requestWithOperations(
    const std::vector<std::shared_ptr<TAVOOperation>>& operations) {
  auto request = std::make_shared<TAVORequest>();
  request->URL = baseURL() + "tracker";
  request->setOperations(operations);
  request->addValue("application/json", "Accept");
  request->addValue("application/json", "Content-Type");
  auto& controller = TAVOController::sharedInstance();
  if (auto apiUser = controller.apiUser()) request->addValue(*apiUser, "apiUser");
  if (auto apiKey = controller.apiKey()) request->addValue(*apiKey, "apiKey");

  platform::Array wire;
  wire.reserve(operations.size());
  for (const auto& operation : operations) wire.emplace_back(operation->wireForm());
  platform::Dictionary body{{"operations", Value(std::move(wire))}};
  request->HTTPBody = encodeParametersWithArray(body);
  if (!request->HTTPBody) {
    // One payload that JSON cannot carry (a date, bytes, a number not finite, nesting too deep) must not
    // leave the whole batch without a body: that payload alone stays out.
    std::vector<std::shared_ptr<TAVOOperation>> writable;
    platform::Array kept;
    for (const auto& operation : operations) {
      const platform::Dictionary alone{{"operations", Value(platform::Array{Value(operation->wireForm())})}};
      if (platform::JSONSerialization::isValidJSONObject(Value(alone))) {
        writable.push_back(operation);
        kept.emplace_back(operation->wireForm());
      } else {
        TAVOLogger::log("Operation left out of the batch: its data cannot be written as JSON");
        request->unwritableOperations.push_back(operation);
      }
    }
    request->setOperations(std::move(writable));
    body = platform::Dictionary{{"operations", Value(std::move(kept))}};
    request->HTTPBody = encodeParametersWithArray(body);
  }
  request->setValue(std::to_string(request->HTTPBody ? request->HTTPBody->size() : 0), "Content-Length");
  if (TAVOLogger::sharedLogger().isEnabled(TAVOLogger::Verbose)) request->logRequest(Value(std::move(body)));
  return request;
}

std::shared_ptr<TAVORequest> TAVORequest::requestWithUpdateUser(const std::shared_ptr<TAVOUpdateUser>& update) {
  const char* action = update->updateUserType == 1   ? "firstlogin"
                       : update->updateUserType == 2 ? "newregister"
                                                     : "updateuser";
  return requestWithObject(update, action);
}

std::shared_ptr<TAVORequest> TAVORequest::requestWithTrackOrder(const std::shared_ptr<TAVOTrackOrder>& order) {
  return requestWithObject(order, "addpurchase");
}

std::shared_ptr<TAVORequest> TAVORequest::requestWithInteract(const std::shared_ptr<TAVOTransmitObject>& interact) {
  return requestWithObject(interact, "setcommunicationinteract");
}

std::shared_ptr<TAVORequest> TAVORequest::requestWithObject(const std::shared_ptr<TAVOTransmitObject>& payload,
                                                            const std::string& endPoint) {
  auto request = std::make_shared<TAVORequest>();
  request->URL = baseURL() + endPoint;
  {
    platform::MutexLock lock(request->mutex_);
    request->transmittedObject_ = payload;
  }
  platform::Dictionary parameters = request->getParametersDictionary();
  const auto json = writeJSON(Value(payload->objectData));  // the payload's serializeToJSONString, told of repairs
  if (json) {
    parameters.set("json", *json);
  } else {
    TAVOLogger::log("Request payload cannot be written as JSON: sent without it");
  }
  request->HTTPBody = encodeParameters(parameters);
  if (TAVOLogger::sharedLogger().isEnabled(TAVOLogger::Verbose)) request->logRequest(Value(std::move(parameters)));
  return request;
}

std::shared_ptr<TAVORequest> TAVORequest::requestWithRequest(const TAVORequest& earlier) {
  auto request = std::make_shared<TAVORequest>();
  request->URL = earlier.URL;
  {
    platform::MutexLock lock(earlier.mutex_);
    platform::MutexLock copy(request->mutex_);  // a new request: nobody else can hold its lock
    request->operations_ = earlier.operations_;
    request->transmittedObject_ = earlier.transmittedObject_;
    request->firstParked_ = earlier.firstParked_;
    request->refusedLaunches_ = earlier.refusedLaunches_;
  }
  platform::Dictionary parameters = request->getParametersDictionary();
  parameters.addEntriesFromDictionary(earlier.getParametersDictionary());
  request->HTTPBody = encodeParameters(parameters);
  return request;
}

std::string TAVORequest::legacyPercentEscape(const std::string& text) {
  static const char* hex = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size() + text.size() / 4);
  for (unsigned char c : text) {
    // Letters, digits and every character with a meaning in a URL stay; the rest is escaped.
    const bool keep = std::isalnum(c) ||
                      std::string_view("-_.~!*'();:@&=+$,/?#").find(static_cast<char>(c)) != std::string_view::npos;
    if (keep && c < 0x80) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}

std::string TAVORequest::encodeParameters(const platform::Dictionary& parameters) {
  std::string body;
  for (const auto& [key, value] : parameters) {
    if (!body.empty()) body += '&';
    body += legacyPercentEscape(key);
    body += '=';
    body += legacyPercentEscape(value.isString() ? *value.asString() : value.stringValue());
  }
  return body;
}

std::optional<std::string> TAVORequest::encodeParametersWithArray(const platform::Dictionary& parameters) {
  return writeJSON(Value(parameters));
}

platform::Dictionary TAVORequest::getParametersDictionary() const {
  auto& controller = TAVOController::sharedInstance();
  return platform::Dictionary{{"apiUser", controller.apiUser().value_or("")},
                              {"apiKey", controller.apiKey().value_or("")}};
}

int TAVORequest::getRequestResponseType() const {
  const auto payload = transmittedObject();
  return payload ? payload->requestResponseType() : 0;
}

void TAVORequest::addValue(const std::string& value, const std::string& field) {
  for (auto& [name, existing] : headerFields) {
    if (sameField(name, field)) {
      existing += "," + value;
      return;
    }
  }
  headerFields.emplace_back(field, value);
}

void TAVORequest::setValue(const std::string& value, const std::string& field) {
  for (auto& [name, existing] : headerFields) {
    if (sameField(name, field)) {
      existing = value;
      return;
    }
  }
  headerFields.emplace_back(field, value);
}

std::optional<std::string> TAVORequest::valueForHTTPHeaderField(const std::string& field) const {
  for (const auto& [name, value] : headerFields)
    if (sameField(name, field)) return value;
  return std::nullopt;
}

platform::HttpRequest TAVORequest::httpRequest() const {
  platform::HttpRequest request;
  request.method = HTTPMethod;
  request.url = URL;
  request.headerFields = headerFields;
  request.body = HTTPBody.value_or("");
  return request;
}

std::uint32_t TAVORequest::retriedTimes() const {
  platform::MutexLock lock(mutex_);
  return retriedTimes_;
}

void TAVORequest::setRetriedTimes(std::uint32_t times) {
  platform::MutexLock lock(mutex_);
  retriedTimes_ = times;
}

std::vector<std::shared_ptr<TAVOOperation>> TAVORequest::operations() const {
  platform::MutexLock lock(mutex_);
  return operations_.value_or(std::vector<std::shared_ptr<TAVOOperation>>());
}

void TAVORequest::setOperations(std::vector<std::shared_ptr<TAVOOperation>> operations) {
  platform::MutexLock lock(mutex_);
  operations_ = std::move(operations);
  containsStartSessionEvent_.reset();
}

std::optional<platform::Date> TAVORequest::firstParked() const {
  platform::MutexLock lock(mutex_);
  return firstParked_;
}

void TAVORequest::setFirstParkedIfUnset(platform::Date date) {
  platform::MutexLock lock(mutex_);
  if (!firstParked_) firstParked_ = date;
}

std::uint32_t TAVORequest::refusedLaunches() const {
  platform::MutexLock lock(mutex_);
  return refusedLaunches_;
}

void TAVORequest::markRefused() {
  platform::MutexLock lock(mutex_);
  if (refused_) return;
  refused_ = true;
  ++refusedLaunches_;
}

bool TAVORequest::containsStartSessionEvent() const {
  platform::MutexLock lock(mutex_);
  if (!containsStartSessionEvent_) {
    const auto startsSession = [](const std::shared_ptr<TAVOOperation>& operation) {
      return operation->operationResponseType() == TAVOResponseStartSessionConfig;
    };
    containsStartSessionEvent_ = operations_ && std::any_of(operations_->begin(), operations_->end(), startsSession);
  }
  return *containsStartSessionEvent_;
}

bool TAVORequest::isBatch() const {
  platform::MutexLock lock(mutex_);
  return operations_.has_value();
}

std::shared_ptr<TAVOTransmitObject> TAVORequest::transmittedObject() const {
  platform::MutexLock lock(mutex_);
  return transmittedObject_;
}

void TAVORequest::logRequest(const Value& parameters) const {
  TAVOLogger::logAndType(StringFormat::format("TAVO Request: %@", URL), TAVOLogger::Verbose);
  TAVOLogger::logAndType(parameters.description(), TAVOLogger::Verbose);
}

void TAVORequest::encodeWithCoder(platform::KeyedArchiver& coder) const {
  coder.encodeObject(Value(URL), "URL");
  coder.encodeObject(Value(HTTPMethod), "HTTPMethod");
  platform::MutexLock lock(mutex_);
  coder.encodeObject(Value(retriedTimes_), "retriedTimes");
  if (operations_) {
    platform::Array list;
    for (const auto& operation : *operations_) list.emplace_back(std::shared_ptr<platform::Codable>(operation));
    coder.encodeObject(Value(std::move(list)), "operations");
  }
  if (transmittedObject_) {
    std::shared_ptr<platform::Codable> snapshot = TAVOArchivedTransmitObject::snapshotOf(*transmittedObject_);
    coder.encodeObject(Value(snapshot), "transmittedObject");
  }
  if (firstParked_) coder.encodeObject(Value(*firstParked_), "tavoFirstParked");
  if (refusedLaunches_ > 0) coder.encodeObject(Value(refusedLaunches_), "tavoRefusedLaunches");
}

void TAVORequest::initWithCoder(platform::KeyedUnarchiver& coder) {
  if (auto v = coder.decodeObjectOfClass("NSString", "URL"); v && v->isString()) URL = *v->asString();
  if (auto v = coder.decodeObjectOfClass("NSString", "HTTPMethod"); v && v->isString()) HTTPMethod = *v->asString();
  platform::MutexLock lock(mutex_);
  if (auto v = coder.decodeObjectOfClass("NSNumber", "retriedTimes"))
    retriedTimes_ = static_cast<std::uint32_t>(v->integerValue());
  if (auto v = coder.decodeObjectOfClass("NSArray", "operations"); v && v->asArray()) {
    std::vector<std::shared_ptr<TAVOOperation>> list;
    for (const auto& element : *v->asArray())
      if (auto operation = element.objectAs<TAVOOperation>()) list.push_back(std::move(operation));
    operations_ = std::move(list);
  }
  if (auto v = coder.decodeObjectOfClass("TAVOArchivedTransmitObject", "transmittedObject"))
    transmittedObject_ = v->objectAs<TAVOArchivedTransmitObject>();
  if (auto v = coder.decodeObjectOfClass("NSDate", "tavoFirstParked"); v && v->asDate()) firstParked_ = *v->asDate();
  if (auto v = coder.decodeObjectOfClass("NSNumber", "tavoRefusedLaunches"))
    refusedLaunches_ = static_cast<std::uint32_t>(v->integerValue());
}

}  // namespace tavo
