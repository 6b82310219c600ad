#include "emulator/RequestDecoder.h"

namespace tavo::emulator {

namespace {

using json = nlohmann::ordered_json;

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

std::optional<json> parsedJSON(std::string_view text) {
  json value = json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
  if (value.is_discarded()) return std::nullopt;
  return value;
}

const std::string* findField(const std::vector<std::pair<std::string, std::string>>& fields, std::string_view name) {
  for (const auto& [key, value] : fields)
    if (key == name) return &value;
  return nullptr;
}

}  // namespace

RecordedRequest RequestDecoder::decode(std::string action,
                                       std::vector<std::pair<std::string, std::string>> headerFields,
                                       std::string body) {
  RecordedRequest request;
  request.action = std::move(action);
  request.headerFields = std::move(headerFields);
  request.body = std::move(body);

  const auto first = request.body.find_first_not_of(" \t\r\n");
  if (first != std::string::npos && request.body[first] == '{') {
    const auto batch = parsedJSON(request.body);
    if (batch && batch->is_object() && batch->contains("operations") && (*batch)["operations"].is_array()) {
      request.kind = RecordedRequest::kBatch;
      request.operations = (*batch)["operations"];
      request.apiUser = request.header("apiUser").value_or("");
      request.apiKey = request.header("apiKey").value_or("");
    }
    return request;
  }

  const auto fields = formFields(request.body);
  if (const std::string* apiUser = findField(fields, "apiUser")) request.apiUser = *apiUser;
  if (const std::string* apiKey = findField(fields, "apiKey")) request.apiKey = *apiKey;
  if (const std::string* payload = findField(fields, "json")) {
    if (auto parsed = parsedJSON(*payload)) {
      request.kind = RecordedRequest::kForm;
      request.operations.push_back(json{{"action", request.action}, {"params", std::move(*parsed)}});
    }
  } else if (findField(fields, "apiUser") || findField(fields, "apiKey")) {
    request.kind = RecordedRequest::kCredentialsOnly;
  }
  return request;
}

std::string RequestDecoder::percentDecoded(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 && hexValue(text[i + 2]) >= 0) {
      out += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::vector<std::pair<std::string, std::string>> RequestDecoder::formFields(std::string_view body) {
  std::vector<std::pair<std::string, std::string>> fields;
  std::size_t start = 0;
  while (start < body.size()) {
    const std::size_t equals = body.find('=', start);
    const std::size_t ampersand = body.find('&', start);
    // A bare word without "=" is a field with an empty value.
    if (equals == std::string_view::npos || (ampersand != std::string_view::npos && ampersand < equals)) {
      const std::size_t end = ampersand == std::string_view::npos ? body.size() : ampersand;
      if (end > start) fields.emplace_back(percentDecoded(body.substr(start, end - start)), "");
      start = end + 1;
      continue;
    }
    std::string key = percentDecoded(body.substr(start, equals - start));
    if (key == "json") {
      fields.emplace_back(std::move(key), percentDecoded(body.substr(equals + 1)));
      break;
    }
    const std::size_t end = ampersand == std::string_view::npos ? body.size() : ampersand;
    fields.emplace_back(std::move(key), percentDecoded(body.substr(equals + 1, end - equals - 1)));
    start = end + 1;
  }
  return fields;
}

}  // namespace tavo::emulator
