#include "WireFormat.h"

#include "platform/JSONSerialization.h"

namespace tavo::testing {

std::string WireFormat::percentDecoded(const std::string& text) {
  auto hex = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
  };
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && hex(text[i + 1]) >= 0 && hex(text[i + 2]) >= 0) {
      out += static_cast<char>(hex(text[i + 1]) * 16 + hex(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

platform::Dictionary WireFormat::formFields(const std::string& body) {
  platform::Dictionary fields;
  std::size_t start = 0;
  while (start <= body.size()) {
    const std::size_t eq = body.find('=', start);
    if (eq == std::string::npos) break;
    const std::string key = percentDecoded(body.substr(start, eq - start));
    if (key == "json") {
      fields.set(key, percentDecoded(body.substr(eq + 1)));
      break;
    }
    const std::size_t amp = body.find('&', eq + 1);
    const std::size_t end = amp == std::string::npos ? body.size() : amp;
    fields.set(key, percentDecoded(body.substr(eq + 1, end - eq - 1)));
    if (amp == std::string::npos) break;
    start = amp + 1;
  }
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
