#include "tavo/platform/Value.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "platform/Codable.h"
#include "platform/ValueGraph.h"

namespace tavo::platform {

namespace {

// The platform prints numbers in their shortest exact form: 15, 0.5, 1e+100.
std::string formatReal(double d) {
  if (std::isnan(d)) return "nan";
  if (std::isinf(d)) return d > 0 ? "inf" : "-inf";
  if (d == std::floor(d) && std::fabs(d) < 1e15) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.0f", d);
    return buf;
  }
  char buf[40];
  for (int precision = 1; precision <= 17; ++precision) {
    std::snprintf(buf, sizeof buf, "%.*g", precision, d);
    if (std::strtod(buf, nullptr) == d) break;
  }
  return buf;
}

std::int64_t saturatingTruncate(double d) {
  if (std::isnan(d)) return 0;
  if (d >= 9.2233720368547758e18) return std::numeric_limits<std::int64_t>::max();
  if (d <= -9.2233720368547758e18) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(d);
}

// The platform's string integer parse: skip white space, optional sign, then decimal digits; stop at the
// first other character; saturate on overflow.
std::int64_t parseInteger(const std::string& s) {
  std::size_t i = 0;
  while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
  bool negative = false;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
  std::uint64_t magnitude = 0;
  const std::uint64_t limit = negative ? 9223372036854775808ULL : 9223372036854775807ULL;
  bool overflow = false;
  for (; i < s.size() && std::isdigit(static_cast<unsigned char>(s[i])); ++i) {
    const unsigned digit = static_cast<unsigned>(s[i] - '0');
    if (magnitude > (limit - digit) / 10) {
      overflow = true;
      break;
    }
    magnitude = magnitude * 10 + digit;
  }
  if (overflow) magnitude = limit;
  if (negative)
    return magnitude == 9223372036854775808ULL ? std::numeric_limits<std::int64_t>::min()
                                               : -static_cast<std::int64_t>(magnitude);
  return static_cast<std::int64_t>(magnitude);
}

bool parseBool(const std::string& s) {
  std::size_t i = 0;
  while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
  while (i < s.size() && s[i] == '0') ++i;
  if (i >= s.size()) return false;
  const char c = s[i];
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

void indentTo(std::string& out, int indent) { out.append(static_cast<std::size_t>(indent) * 4, ' '); }

// Strings in a collection's description are quoted unless they are plain words.
void describeString(std::string& out, const std::string& s, bool nested) {
  bool plain = !s.empty();
  for (unsigned char c : s) {
    if (!(std::isalnum(c) || c == '_' || c == '.' || c == '/' || c == '$')) {
      plain = false;
      break;
    }
  }
  if (!nested || plain) {
    out += s;
    return;
  }
  out += '"';
  for (char c : s) {
    if (c == '"' || c == '\\') out += '\\';
    if (c == '\n') {
      out += "\\n";
      continue;
    }
    out += c;
  }
  out += '"';
}

// The platform's printing of a value. Text past a few dozen kilobytes is measured once: a value that shares its
// parts into a huge tree ends with "..." instead of being printed in full.
class Description {
 public:
  Description(const Value& root, std::string& out) : root_(root), out_(out) {}

  void write(const Value& value, int indent) {
    if (refused_) return;
    if (!unfoldingChecked_ && out_.size() > ValueGraph::kUnfoldingCheckBytes) {
      unfoldingChecked_ = true;
      if (ValueGraph::refusesToUnfold(root_, "Description")) {
        refused_ = true;
        out_ += "...";
        return;
      }
    }
    switch (value.type()) {
      case Value::Type::Null: out_ += "<null>"; break;
      case Value::Type::String: describeString(out_, *value.asString(), indent > 0); break;
      case Value::Type::Data: {
        static const char* hex = "0123456789abcdef";
        const Data& data = *value.asData();
        out_ += "{length = " + std::to_string(data.size()) + ", bytes = 0x";
        for (std::uint8_t b : data) {
          out_ += hex[b >> 4];
          out_ += hex[b & 15];
        }
        out_ += '}';
        break;
      }
      case Value::Type::Date: out_ += formatReal(value.asDate()->timeIntervalSince1970()); break;
      case Value::Type::Array: {
        out_ += "(\n";
        const Array& array = *value.asArray();
        for (std::size_t i = 0; i < array.size() && !refused_; ++i) {
          indentTo(out_, indent + 1);
          write(array[i], indent + 1);
          out_ += i + 1 < array.size() ? ",\n" : "\n";
        }
        indentTo(out_, indent);
        out_ += ')';
        break;
      }
      case Value::Type::Dictionary: {
        out_ += "{\n";
        for (const auto& [key, item] : *value.asDictionary()) {
          if (refused_) break;
          indentTo(out_, indent + 1);
          describeString(out_, key, true);
          out_ += " = ";
          write(item, indent + 1);
          out_ += ";\n";
        }
        indentTo(out_, indent);
        out_ += '}';
        break;
      }
      case Value::Type::Object: out_ += "<" + value.className() + ">"; break;
      default: out_ += value.stringValue(); break;
    }
  }

 private:
  const Value& root_;
  std::string& out_;
  bool unfoldingChecked_ = false;
  bool refused_ = false;
};

// Equality that enters each pair of collections once: two readings of one archive compare in their own size,
// however often their parts are shared.
class Comparison {
 public:
  bool equal(const Value& a, const Value& b) {
    using T = Value::Type;
    const T ta = a.type();
    const T tb = b.type();
    // Numbers compare by value across integer and real, as the platform's number class does.
    if ((ta == T::Integer || ta == T::Real) && (tb == T::Integer || tb == T::Real)) {
      if (ta == T::Integer && tb == T::Integer) return a.integerValue() == b.integerValue();
      return a.doubleValue() == b.doubleValue();
    }
    if (ta != tb) return false;
    switch (ta) {
      case T::Null: return true;
      case T::Boolean: return a.boolValue() == b.boolValue();
      case T::String: return *a.asString() == *b.asString();
      case T::Data: return a.asData() == b.asData() || *a.asData() == *b.asData();
      case T::Date: return *a.asDate() == *b.asDate();
      case T::Array: return once(a.asArray(), b.asArray(), [&] { return equal(*a.asArray(), *b.asArray()); });
      case T::Dictionary:
        return once(a.asDictionary()->identity(), b.asDictionary()->identity(),
                    [&] { return equal(*a.asDictionary(), *b.asDictionary()); });
      case T::Object: return *a.asObject() == *b.asObject();
      default: return false;
    }
  }

  // The same keys with equal values, whatever their order.
  bool equal(const Dictionary& a, const Dictionary& b) {
    if (&a == &b) return true;
    if (a.size() != b.size()) return false;
    auto inStep = b.begin();
    for (const auto& [key, value] : a) {
      // Both in the same order is the usual case: the match is found without a search.
      const Value* other = inStep != b.end() && inStep->first == key ? &inStep->second : b.find(key);
      if (inStep != b.end()) ++inStep;
      if (!other || !equal(value, *other)) return false;
    }
    return true;
  }

 private:
  bool equal(const Array& a, const Array& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
      if (!equal(a[i], b[i])) return false;
    return true;
  }

  // A pair found equal once is equal again without a second walk.
  template <class Compare>
  bool once(const void* a, const void* b, Compare compare) {
    if (a == b) return true;
    const auto pair = std::make_pair(a, b);
    if (equalPairs_.count(pair)) return true;
    if (!compare()) return false;
    equalPairs_.insert(pair);
    return true;
  }

  struct PairHash {
    std::size_t operator()(const std::pair<const void*, const void*>& p) const {
      return std::hash<const void*>()(p.first) * 31 + std::hash<const void*>()(p.second);
    }
  };
  std::unordered_set<std::pair<const void*, const void*>, PairHash> equalPairs_;
};

}  // namespace

// The double nearest to the float's shortest decimal text reads back as the same float, and is written as
// that text.
Value::Value(float f) {
  if (!std::isfinite(f)) {
    storage_ = static_cast<double>(f);
    return;
  }
  char text[32];
  const auto written = std::to_chars(text, text + sizeof text, f);
  double nearest = static_cast<double>(f);
  std::from_chars(text, written.ptr, nearest);
  storage_ = nearest;
}

Value::Value(unsigned long i)
    : storage_(i > static_cast<unsigned long>(std::numeric_limits<std::int64_t>::max())
                   ? Storage(static_cast<double>(i))
                   : Storage(static_cast<std::int64_t>(i))) {}
Value::Value(unsigned long long i)
    : storage_(i > static_cast<unsigned long long>(std::numeric_limits<std::int64_t>::max())
                   ? Storage(static_cast<double>(i))
                   : Storage(static_cast<std::int64_t>(i))) {}
Value::Value(Array a) : storage_(std::make_shared<const Array>(std::move(a))) {}
Value::Value(Dictionary d) : storage_(std::move(d)) {}
Value::Value(std::shared_ptr<Codable> object) {
  if (object) storage_ = std::move(object);
}

Value::Type Value::type() const { return static_cast<Type>(storage_.index()); }

bool Value::isNumber() const {
  const Type t = type();
  return t == Type::Boolean || t == Type::Integer || t == Type::Real;
}

const std::string* Value::asString() const { return std::get_if<std::string>(&storage_); }
const Data* Value::asData() const {
  const auto* p = std::get_if<std::shared_ptr<const Data>>(&storage_);
  return p ? p->get() : nullptr;
}
const Date* Value::asDate() const { return std::get_if<Date>(&storage_); }
const Array* Value::asArray() const {
  const auto* p = std::get_if<std::shared_ptr<const Array>>(&storage_);
  return p ? p->get() : nullptr;
}
const Dictionary* Value::asDictionary() const { return std::get_if<Dictionary>(&storage_); }
const std::shared_ptr<Codable>* Value::asObject() const { return std::get_if<std::shared_ptr<Codable>>(&storage_); }

Array& Value::mutableArray() {
  auto* p = std::get_if<std::shared_ptr<const Array>>(&storage_);
  if (!p) throw std::logic_error("Value is not an array");
  if (p->use_count() > 1) *p = std::make_shared<const Array>(**p);
  return const_cast<Array&>(**p);  // sole owner now: safe to mutate
}

Dictionary& Value::mutableDictionary() {
  auto* d = std::get_if<Dictionary>(&storage_);
  if (!d) throw std::logic_error("Value is not a dictionary");
  return *d;  // copies its entries itself when they are shared
}

std::int64_t Value::integerValue() const {
  switch (type()) {
    case Type::Boolean: return std::get<bool>(storage_) ? 1 : 0;
    case Type::Integer: return std::get<std::int64_t>(storage_);
    case Type::Real: return saturatingTruncate(std::get<double>(storage_));
    case Type::String: return parseInteger(std::get<std::string>(storage_));
    default: return 0;
  }
}

double Value::doubleValue() const {
  switch (type()) {
    case Type::Boolean: return std::get<bool>(storage_) ? 1.0 : 0.0;
    case Type::Integer: return static_cast<double>(std::get<std::int64_t>(storage_));
    case Type::Real: return std::get<double>(storage_);
    case Type::String: {
      const std::string& s = std::get<std::string>(storage_);
      char* end = nullptr;
      const double d = std::strtod(s.c_str(), &end);
      return end == s.c_str() ? 0.0 : d;
    }
    default: return 0.0;
  }
}

bool Value::boolValue() const {
  switch (type()) {
    case Type::Boolean: return std::get<bool>(storage_);
    case Type::Integer: return std::get<std::int64_t>(storage_) != 0;
    case Type::Real: return std::get<double>(storage_) != 0.0;
    case Type::String: return parseBool(std::get<std::string>(storage_));
    default: return false;
  }
}

std::string Value::stringValue() const {
  switch (type()) {
    case Type::Boolean: return std::get<bool>(storage_) ? "1" : "0";
    case Type::Integer: return std::to_string(std::get<std::int64_t>(storage_));
    case Type::Real: return formatReal(std::get<double>(storage_));
    case Type::String: return std::get<std::string>(storage_);
    default: return description();
  }
}

std::string Value::className() const {
  switch (type()) {
    case Type::Null: return "NSNull";
    case Type::Boolean:
    case Type::Integer:
    case Type::Real: return "NSNumber";
    case Type::String: return "NSString";
    case Type::Data: return "NSData";
    case Type::Date: return "NSDate";
    case Type::Array: return "NSArray";
    case Type::Dictionary: return "NSDictionary";
    case Type::Object: return std::get<std::shared_ptr<Codable>>(storage_)->className();
  }
  return "NSObject";
}

std::string Value::description() const {
  std::string out;
  describe(out, 0);
  return out;
}

void Value::describe(std::string& out, int indent) const { Description(*this, out).write(*this, indent); }

const Value* Value::get(std::string_view key) const {
  const Dictionary* d = asDictionary();
  return d ? d->find(key) : nullptr;
}

bool operator==(const Value& a, const Value& b) { return Comparison().equal(a, b); }

namespace {

// A dictionary copied and then added to keeps shared entries of at least this many as its base; fewer are
// cheaper to copy than to look through twice.
constexpr std::size_t kSharedBaseFrom = 8;

}  // namespace

Dictionary::Dictionary(std::initializer_list<Entry> entries) {
  if (entries.size() == 0) return;
  reshape(entries.size(), false);
  for (const auto& entry : entries) set(entry.first, entry.second);
}

Dictionary& Dictionary::operator=(const Dictionary& other) noexcept {
  if (other.shared_) other.shared_->owners.fetch_add(1, std::memory_order_relaxed);
  release(std::exchange(shared_, other.shared_));
  return *this;
}

Dictionary& Dictionary::operator=(Dictionary&& other) noexcept {
  if (this != &other) release(std::exchange(shared_, std::exchange(other.shared_, nullptr)));
  return *this;
}

Dictionary::Shared* Dictionary::allocate(std::size_t capacity) {
  auto* shared = new (::operator new(sizeof(Shared) + capacity * sizeof(Entry))) Shared;
  shared->capacity = static_cast<std::uint32_t>(capacity);
  return shared;
}

void Dictionary::release(Shared* shared) noexcept {
  // The last owner's release also orders every other owner's reads before the entries are destroyed.
  if (!shared || shared->owners.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  std::destroy_n(shared->entries(), shared->count);
  Shared* base = shared->base;
  shared->~Shared();
  ::operator delete(shared);
  release(base);
}

void Dictionary::reshape(std::size_t more, bool flatten) {
  Shared* old = shared_;
  if (!old) {
    shared_ = allocate(std::max<std::size_t>(more, 4));
    return;
  }
  // Acquire: the other owners' reads of the entries are over before this one changes its own.
  const bool exclusive = old->owners.load(std::memory_order_acquire) == 1;
  const bool fold = flatten && old->base;
  if (exclusive && !fold && old->count + more <= old->capacity) return;

  // The base the result keeps: the old one's, or the old entries themselves when they are shared and many.
  Shared* base = fold ? nullptr : old->base;
  const bool layer = more > 0 && !fold && !exclusive && !old->base && old->count >= kSharedBaseFrom;
  if (layer) base = old;
  const std::size_t kept = layer ? 0 : (fold ? old->base->count : 0) + old->count;
  const std::size_t needed = kept + more;
  std::size_t capacity = exclusive && !fold ? 2 * std::size_t{old->capacity} : needed;
  capacity = std::max({capacity, needed, std::size_t{base ? 2u : 4u}});

  Shared* fresh = allocate(capacity);
  if (base) base->owners.fetch_add(1, std::memory_order_relaxed);
  fresh->base = base;
  Entry* out = fresh->entries();
  if (fold) out = std::uninitialized_copy_n(old->base->entries(), old->base->count, out);
  if (!layer) {
    if (exclusive)
      std::uninitialized_move_n(old->entries(), old->count, out);
    else
      std::uninitialized_copy_n(old->entries(), old->count, out);
  }
  fresh->count = static_cast<std::uint32_t>(kept);
  release(std::exchange(shared_, fresh));
}

Dictionary::Location Dictionary::locate(std::string_view key) const {
  if (!shared_) return {};
  for (Entry *entry = shared_->entries(), *end = entry + shared_->count; entry != end; ++entry)
    if (entry->first == key) return {entry, false};
  if (Shared* base = shared_->base)
    for (Entry *entry = base->entries(), *end = entry + base->count; entry != end; ++entry)
      if (entry->first == key) return {entry, true};
  return {};
}

const Value* Dictionary::find(std::string_view key) const {
  const Location found = locate(key);
  return found.entry ? &found.entry->second : nullptr;
}

Value* Dictionary::find(std::string_view key) {
  // A value handed out for change must not be seen by the other copies.
  Location found = locate(key);
  if (!found.entry) return nullptr;
  if (found.inBase || shared_->owners.load(std::memory_order_acquire) != 1) {
    reshape(0, found.inBase);
    found = locate(key);
  }
  return &found.entry->second;
}

void Dictionary::set(std::string key, Value value) {
  if (Value* existing = find(key)) {
    *existing = std::move(value);
    return;
  }
  reshape(1, false);
  new (shared_->entries() + shared_->count) Entry(std::move(key), std::move(value));
  ++shared_->count;
}

bool Dictionary::remove(std::string_view key) {
  const Location found = locate(key);
  if (!found.entry) return false;
  reshape(0, found.inBase);
  Entry* entries = shared_->entries();
  Entry* last = entries + shared_->count - 1;
  Entry* at = locate(key).entry;
  std::move(at + 1, last + 1, at);
  std::destroy_at(last);
  --shared_->count;
  return true;
}

void Dictionary::addEntriesFromDictionary(const Dictionary& other) {
  if (other.empty()) return;
  // Hold other's entries: when they are also this dictionary's, changing this one must not change them.
  const Dictionary source = other;
  for (const auto& [key, value] : source) set(key, value);
}

std::vector<std::string> Dictionary::allKeys() const {
  std::vector<std::string> keys;
  keys.reserve(size());
  for (const auto& entry : *this) keys.push_back(entry.first);
  return keys;
}

bool operator==(const Dictionary& a, const Dictionary& b) { return Comparison().equal(a, b); }

}  // namespace tavo::platform
