#include "ValueChecks.h"

#include <cmath>
#include <map>
#include <set>
#include <utility>

#include "platform/UTF8.h"

namespace tavo::fuzzing {

using platform::Value;

namespace {

const void* collectionOf(const Value& value) {
  if (const auto* array = value.asArray()) return array;
  return value.asDictionary();
}

class TextWalk {
 public:
  explicit TextWalk(const std::function<bool(const std::string&)>& test) : test_(test) {}

  bool passes(const Value& value) {
    if (const std::string* s = value.asString()) return test_(*s);
    const void* collection = collectionOf(value);
    if (!collection || !entered_.insert(collection).second) return true;
    if (const auto* array = value.asArray()) {
      for (const Value& item : *array)
        if (!passes(item)) return false;
    }
    if (const auto* dictionary = value.asDictionary()) {
      for (const auto& [key, item] : *dictionary)
        if (!test_(key) || !passes(item)) return false;
    }
    return true;
  }

 private:
  const std::function<bool(const std::string&)>& test_;
  std::set<const void*> entered_;
};

class ContentComparison {
 public:
  bool same(const Value& a, const Value& b) {
    if (a.type() != b.type()) return false;
    switch (a.type()) {
      case Value::Type::Real:
        return (std::isnan(a.doubleValue()) && std::isnan(b.doubleValue())) || a.doubleValue() == b.doubleValue();
      case Value::Type::Array:
      case Value::Type::Dictionary: {
        const auto pair = std::make_pair(collectionOf(a), collectionOf(b));
        if (pair.first == pair.second || equal_.count(pair)) return true;
        if (!sameCollection(a, b)) return false;
        equal_.insert(pair);
        return true;
      }
      case Value::Type::Object: return a.className() == b.className();
      default: return a == b;
    }
  }

 private:
  bool sameCollection(const Value& a, const Value& b) {
    if (const auto* x = a.asArray()) {
      const auto& y = *b.asArray();
      if (x->size() != y.size()) return false;
      for (std::size_t i = 0; i < x->size(); ++i)
        if (!same((*x)[i], y[i])) return false;
      return true;
    }
    const auto& x = *a.asDictionary();
    const auto& y = *b.asDictionary();
    if (x.size() != y.size()) return false;
    for (const auto& [key, item] : x) {
      const Value* other = y.find(key);
      if (!other || !same(item, *other)) return false;
    }
    return true;
  }

  std::set<std::pair<const void*, const void*>> equal_;
};

class TextRepair {
 public:
  Value repaired(const Value& value) {
    if (const std::string* s = value.asString()) return Value(platform::UTF8::repaired(*s));
    const void* collection = collectionOf(value);
    if (!collection) return value;
    if (const auto it = done_.find(collection); it != done_.end()) return it->second;
    Value out;
    if (const auto* array = value.asArray()) {
      platform::Array items;
      for (const Value& item : *array) items.push_back(repaired(item));
      out = Value(std::move(items));
    } else {
      platform::Dictionary entries;
      for (const auto& [key, item] : *value.asDictionary()) entries.set(platform::UTF8::repaired(key), repaired(item));
      out = Value(std::move(entries));
    }
    done_.emplace(collection, out);
    return out;
  }

 private:
  std::map<const void*, Value> done_;
};

}  // namespace

bool ValueChecks::isUtf8(const std::string& s) { return platform::UTF8::isValid(s); }

bool ValueChecks::allText(const Value& value, const std::function<bool(const std::string&)>& test) {
  return TextWalk(test).passes(value);
}

bool ValueChecks::keepsExactly(const Value& value) {
  return allText(value, [](const std::string& s) { return s.find('\0') == std::string::npos && isUtf8(s); });
}

Value ValueChecks::withRepairedText(const Value& value) { return TextRepair().repaired(value); }

bool ValueChecks::sameContent(const Value& a, const Value& b) { return ContentComparison().same(a, b); }

}  // namespace tavo::fuzzing
