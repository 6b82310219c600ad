#include "WireFormat.h"

#include "emulator/RequestDecoder.h"
#include "platform/JSONSerialization.h"

namespace tavo::testing {

// Read as the web-service emulator reads them.
std::string WireFormat::percentDecoded(const std::string& text) {
  return emulator::RequestDecoder::percentDecoded(text);
}

platform::Dictionary WireFormat::formFields(const std::string& body) {
  platform::Dictionary fields;
  for (auto& [key, value] : emulator::RequestDecoder::formFields(body)) fields.set(key, std::move(value));
  return fields;
}

std::optional<platform::Value> WireFormat::formPayload(const std::string& body) {
  const platform::Dictionary fields = formFields(body);
  const platform::Value* json = fields.find("json");
  if (!json || !json->isString()) return std::nullopt;
  return platform::JSONSerialization::JSONObjectWithData(*json->asString());
}

platform::Array WireFormat::batchOperations(const std::string& body) {
  const auto json = platform::JSONSerialization::JSONObjectWithData(body);
  const platform::Value* operations = json ? json->get("operations") : nullptr;
  return operations && operations->asArray() ? *operations->asArray() : platform::Array();
}

}  // namespace tavo::testing
