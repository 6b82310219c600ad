#include "platform/JSONSerialization.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <vector>

#include "platform/UTF8.h"
#include "platform/ValueGraph.h"

namespace tavo::platform {

namespace {

// Nesting deeper than this is refused rather than risking the stack of whoever walks the result.
constexpr std::size_t kMaxDepth = 512;

// Builds Values straight from parser events (no intermediate DOM).
class ValueBuilder : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override { return add(Value()); }
  bool boolean(bool b) override { return add(Value(b)); }
  bool number_integer(number_integer_t i) override { return add(Value(static_cast<long long>(i))); }
  bool number_unsigned(number_unsigned_t u) override { return add(Value(static_cast<unsigned long long>(u))); }
  bool number_float(number_float_t d, const string_t&) override { return add(Value(d)); }
  bool string(string_t& s) override { return add(Value(std::move(s))); }
  bool binary(binary_t&) override { return false; }

  bool start_object(std::size_t) override { return open(Value(Dictionary())); }
  bool key(string_t& k) override {
    keys_.back() = std::move(k);
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override { return open(Value(Array())); }
  bool end_array() override { return close(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

  std::optional<Value> result() { return done_ ? std::optional<Value>(std::move(root_)) : std::nullopt; }

 private:
  bool open(Value container) {
    if (stack_.size() >= kMaxDepth) return false;
    stack_.push_back(std::move(container));
    keys_.emplace_back();
    return true;
  }

  bool close() {
    Value finished = std::move(stack_.back());
    stack_.pop_back();
    keys_.pop_back();
    return add(std::move(finished));
  }

  bool add(Value v) {
    if (stack_.empty()) {
      root_ = std::move(v);
      done_ = true;
      return true;
    }
    Value& parent = stack_.back();
    if (parent.isArray()) {
      parent.mutableArray().push_back(std::move(v));
    } else {
      parent.mutableDictionary().set(keys_.back(), std::move(v));  // a repeated key keeps the last value
    }
    return true;
  }

  std::vector<Value> stack_;
  std::vector<std::string> keys_;
  Value root_;
  bool done_ = false;
};

// The text being written. It grows ahead of what is written, so each piece is one bounds check and one copy
// rather than a string append with its own checks: a batch body runs to a megabyte of small pieces.
class Output {
 public:
  static constexpr std::size_t kLargeText = 1 << 20;

  // Room for count more bytes, which the caller then writes; returns where they go.
  [[gnu::always_inline]] char* extend(std::size_t count) {
    if (used_ + count > text_.size()) grow(count);
    char* at = text_.data() + used_;
    used_ += count;
    return at;
  }
  void put(char c) { *extend(1) = c; }
  void put(std::string_view piece) { std::memcpy(extend(piece.size()), piece.data(), piece.size()); }
  std::size_t size() const { return used_; }
  std::string take() {
    text_.resize(used_);
    // Growing by doubling can leave a large body with up to half as much again in memory it touched (the
    // growth fills it): give a large surplus back, at the cost of one copy.
    if (text_.capacity() - used_ > used_ / 4 && used_ > kLargeText) text_.shrink_to_fit();
    return std::move(text_);
  }

 private:
  [[gnu::noinline]] void grow(std::size_t more) { text_.resize(std::max(2 * text_.size(), used_ + more + 256)); }

  std::string text_;
  std::size_t used_ = 0;
};

// Bytes written as they are: printable ASCII other than the three characters escaped.
constexpr std::array<bool, 256> kPlain = [] {
  std::array<bool, 256> plain{};
  for (int c = 0x20; c < 0x80; ++c) plain[static_cast<std::size_t>(c)] = c != '"' && c != '\\' && c != '/';
  return plain;
}();

void writeString(Output& out, const std::string& s, bool& replaced) {
  static const char* hex = "0123456789abcdef";
  std::size_t start = 0;
  while (start < s.size() && kPlain[static_cast<unsigned char>(s[start])]) ++start;
  if (start == s.size()) {
    // The usual case, nothing to escape: quotes and text in one piece.
    char* at = out.extend(s.size() + 2);
    at[0] = '"';
    std::memcpy(at + 1, s.data(), s.size());
    at[s.size() + 1] = '"';
    return;
  }
  out.put('"');
  for (std::size_t i = 0; i < s.size();) {
    // Runs of plain bytes, the bulk of any text, are copied in one go.
    std::size_t plain = i;
    while (plain < s.size() && kPlain[static_cast<unsigned char>(s[plain])]) ++plain;
    out.put(std::string_view(s).substr(i, plain - i));
    i = plain;
    if (i == s.size()) break;
    const unsigned char c = static_cast<unsigned char>(s[i]);
    if (c >= 0x80) {
      const std::size_t n = UTF8::sequenceLength(s, i);
      if (n == 0) {
        out.put(UTF8::kReplacement);  // an invalid byte becomes U+FFFD so the text stays valid JSON
        replaced = true;
        ++i;
      } else {
        out.put(std::string_view(s).substr(i, n));
        i += n;
      }
      continue;
    }
    switch (c) {
      case '"': out.put("\\\""); break;
      case '\\': out.put("\\\\"); break;
      case '/': out.put("\\/"); break;
      case '\n': out.put("\\n"); break;
      case '\r': out.put("\\r"); break;
      case '\t': out.put("\\t"); break;
      case '\b': out.put("\\b"); break;
      case '\f': out.put("\\f"); break;
      default: {
        const char escaped[] = {'\\', 'u', '0', '0', hex[c >> 4], hex[c & 15]};
        out.put(std::string_view(escaped, sizeof escaped));
      }
    }
    ++i;
  }
  out.put('"');
}

class Writer {
 public:
  // Text past a few dozen kilobytes is measured once: a value that shares its parts into a huge tree is refused.
  Writer(const Value& root, bool pretty) : root_(root), pretty_(pretty) {}

  bool write(const Value& v, std::size_t depth) {
    if (depth > kMaxDepth) return false;
    if (!unfoldingChecked_ && out.size() > ValueGraph::kUnfoldingCheckBytes) {
      unfoldingChecked_ = true;
      if (ValueGraph::refusesToUnfold(root_, "JSON text")) return false;
    }
    switch (v.type()) {
      case Value::Type::Null: out.put("null"); return true;
      case Value::Type::Boolean: out.put(v.boolValue() ? "true" : "false"); return true;
      case Value::Type::Integer: {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, v.integerValue()).ptr;
        out.put(std::string_view(digits, static_cast<std::size_t>(end - digits)));
        return true;
      }
      case Value::Type::Real: {
        const double d = v.doubleValue();
        if (!std::isfinite(d)) return false;
        out.put(v.stringValue());  // shortest exact form, as the platform writes numbers
        return true;
      }
      case Value::Type::String: writeString(out, *v.asString(), replaced); return true;
      case Value::Type::Array: {
        const Array& a = *v.asArray();
        out.put('[');
        for (std::size_t i = 0; i < a.size(); ++i) {
          if (i) out.put(',');
          newline(depth + 1);
          if (!write(a[i], depth + 1)) return false;
        }
        if (!a.empty()) newline(depth);
        out.put(']');
        return true;
      }
      case Value::Type::Dictionary: {
        const Dictionary& d = *v.asDictionary();
        out.put('{');
        bool first = true;
        for (const auto& [key, value] : d) {
          if (!first) out.put(',');
          first = false;
          newline(depth + 1);
          writeString(out, key, replaced);
          out.put(pretty_ ? " : " : ":");
          if (!write(value, depth + 1)) return false;
        }
        if (!d.empty()) newline(depth);
        out.put('}');
        return true;
      }
      default: return false;  // data, dates and objects have no JSON form
    }
  }

  Output out;
  bool replaced = false;  // some text was not UTF-8

 private:
  void newline(std::size_t depth) {
    if (!pretty_) return;
    char* at = out.extend(1 + depth * 2);
    at[0] = '\n';
    std::memset(at + 1, ' ', depth * 2);
  }
  const Value& root_;
  bool pretty_;
  bool unfoldingChecked_ = false;
};

std::optional<std::string> serialise(const Value& value, bool pretty, bool* replaced = nullptr) {
  Writer writer(value, pretty);
  const bool written = writer.write(value, 0);
  if (replaced) *replaced = writer.replaced;
  if (!written) return std::nullopt;
  return writer.out.take();
}

}  // namespace

std::optional<Value> JSONSerialization::JSONObjectWithData(std::string_view text) {
  // The parser takes a NUL byte for the end of input and would accept what comes before it.
  if (text.find('\0') != std::string_view::npos) return std::nullopt;
  ValueBuilder builder;
  const bool ok =
      nlohmann::json::sax_parse(text.begin(), text.end(), &builder, nlohmann::json::input_format_t::json, true, false);
  if (!ok) return std::nullopt;
  return builder.result();
}

std::optional<std::string> JSONSerialization::dataWithJSONObjectPretty(const Value& value) {
  return serialise(value, true);
}

std::optional<std::string> JSONSerialization::dataWithJSONObjectPretty(const Value& value, bool& replacedInvalidText) {
  return serialise(value, true, &replacedInvalidText);
}

std::optional<std::string> JSONSerialization::dataWithJSONObject(const Value& value) { return serialise(value, false); }

bool JSONSerialization::isValidJSONObject(const Value& value) { return serialise(value, false).has_value(); }

}  // namespace tavo::platform
