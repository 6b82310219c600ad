#include "platform/KeyedUnarchiver.h"

#include <plist/plist.h>

#include <vector>

#include "platform/ClassRegistry.h"
#include "platform/Codable.h"
#include "platform/Exception.h"
#include "platform/PropertyListSerialization.h"

namespace tavo::platform {

namespace {

// Objects nested deeper than this are taken for a hostile archive: decoding recurses once per level.
constexpr std::size_t kMaxDepth = 512;
// Text is the one decoded value copied at each reference (collections, data and objects are shared): beyond
// this plus a multiple of the archive's own size, its references are taken for a hostile archive.
constexpr std::uint64_t kMinTextBudget = std::uint64_t{16} << 20;
constexpr std::uint64_t kTextBudgetPerArchiveByte = 64;

[[noreturn]] void invalid(const std::string& reason) { throw Exception(kInvalidUnarchiveOperationException, reason); }

// Keys the archive itself uses start with '$'; the archiver escapes an object's own such keys.
std::string escapedKey(const std::string& key) { return key.starts_with('$') ? "$" + key : key; }

// A UID node, or its XML spelling: a dictionary whose only key is "CF$UID".
std::optional<std::uint64_t> uidOf(plist_t node) {
  std::uint64_t uid = 0;
  if (!node) return std::nullopt;
  if (plist_get_node_type(node) == PLIST_UID) {
    plist_get_uid_val(node, &uid);
    return uid;
  }
  if (plist_get_node_type(node) == PLIST_DICT && plist_dict_get_size(node) == 1) {
    plist_t value = plist_dict_get_item(node, "CF$UID");
    if (value && plist_get_node_type(value) == PLIST_UINT) {
      plist_get_uint_val(value, &uid);
      return uid;
    }
  }
  return std::nullopt;
}

std::optional<std::string> stringOf(plist_t node) {
  if (!node || plist_get_node_type(node) != PLIST_STRING) return std::nullopt;
  std::uint64_t length = 0;
  const char* s = plist_get_string_ptr(node, &length);
  return s ? std::string(s, length) : std::string();
}

bool isOneOf(const std::string& name, const char* a, const char* b) { return name == a || name == b; }

}  // namespace

struct KeyedUnarchiver::State {
  enum Progress : std::uint8_t { kUnseen, kDecoding, kDone };

  PropertyListSerialization::NodeTree tree{nullptr, plist_free};
  plist_t objects = nullptr;  // "$objects"
  std::uint64_t count = 0;
  // Each object is decoded once: shared references give the same object back, and an archive that
  // references one collection from many places cannot make decoding take exponential time.
  std::vector<std::optional<Value>> decoded;
  std::vector<Progress> progress;
  plist_t current = nullptr;  // the fields of the object whose initWithCoder is running
  std::size_t depth = 0;
  std::uint64_t textBudget = 0;  // bytes of text the remaining references may still copy

  plist_t objectAt(std::uint64_t uid) const {
    if (uid >= count) invalid("reference " + std::to_string(uid) + " is beyond $objects");
    return plist_array_get_item(objects, static_cast<std::uint32_t>(uid));
  }

  std::optional<Value> decode(std::uint64_t uid, KeyedUnarchiver& unarchiver) {
    if (uid == 0) return std::nullopt;  // "$null"
    plist_t node = objectAt(uid);
    if (progress[uid] == kDone) {
      if (const std::string* text = decoded[uid] ? decoded[uid]->asString() : nullptr) {
        if (text->size() > textBudget)
          invalid("the archive repeats its text beyond " + std::to_string(textBudget) + " bytes");
        textBudget -= text->size();
      }
      return decoded[uid];
    }
    if (progress[uid] == kDecoding) invalid("object " + std::to_string(uid) + " contains itself");
    if (depth >= kMaxDepth) invalid("objects are nested too deeply");
    struct Enter {  // leaves the object unseen when decoding it fails, so an initWithCoder may recover
      State& state;
      std::uint64_t uid;
      Enter(State& s, std::uint64_t u) : state(s), uid(u) {
        ++state.depth;
        state.progress[uid] = kDecoding;
      }
      ~Enter() {
        --state.depth;
        if (state.progress[uid] == kDecoding) state.progress[uid] = kUnseen;
      }
    } enter(*this, uid);
    Value value = decodeNode(node, unarchiver);
    decoded[uid] = value;
    progress[uid] = kDone;
    return value;
  }

  Value decodeNode(plist_t node, KeyedUnarchiver& unarchiver) {
    switch (plist_get_node_type(node)) {
      case PLIST_BOOLEAN: {
        std::uint8_t b = 0;
        plist_get_bool_val(node, &b);
        return Value(b != 0);
      }
      case PLIST_UINT: {
        std::uint64_t bits = 0;  // the 64 bits of a signed integer
        plist_get_uint_val(node, &bits);
        return Value(static_cast<long long>(static_cast<std::int64_t>(bits)));
      }
      case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        return Value(d);
      }
      case PLIST_STRING: return Value(*stringOf(node));
      case PLIST_DATA: return Value(dataOf(node));
      case PLIST_DICT: break;
      default: invalid("$objects holds a node that is not an object");
    }
    if (uidOf(node)) invalid("$objects holds a bare reference");
    const std::string name = classNameOf(node);
    if (name == "NSNull") return Value();
    if (name == "NSDate") {
      plist_t time = plist_dict_get_item(node, "NS.time");
      if (!time || plist_get_node_type(time) != PLIST_REAL) invalid("NSDate without NS.time");
      double sinceReference = 0;
      plist_get_real_val(time, &sinceReference);
      return Value(Date(sinceReference + Date::kReferenceDateOffset));
    }
    if (isOneOf(name, "NSArray", "NSMutableArray")) return Value(members(node, "NS.objects", unarchiver));
    if (isOneOf(name, "NSDictionary", "NSMutableDictionary")) {
      Array keys = members(node, "NS.keys", unarchiver);
      Array values = members(node, "NS.objects", unarchiver);
      if (keys.size() != values.size()) invalid("NSDictionary with unequal keys and objects");
      Dictionary dictionary;
      for (std::size_t i = 0; i < keys.size(); ++i) {
        const std::string* key = keys[i].asString();
        if (!key) invalid("NSDictionary key that is not a string");
        dictionary.set(*key, std::move(values[i]));
      }
      return Value(std::move(dictionary));
    }
    if (isOneOf(name, "NSData", "NSMutableData")) {
      plist_t bytes = plist_dict_get_item(node, "NS.bytes");
      if (!bytes || plist_get_node_type(bytes) != PLIST_DATA) invalid("NSData without NS.bytes");
      return Value(dataOf(bytes));
    }
    if (isOneOf(name, "NSString", "NSMutableString")) {
      const auto s = stringOf(plist_dict_get_item(node, "NS.string"));
      if (!s) invalid("NSString without NS.string");
      return Value(*s);
    }
    return decodeCodable(name, node, unarchiver);
  }

  Value decodeCodable(const std::string& name, plist_t fields, KeyedUnarchiver& unarchiver) {
    std::shared_ptr<Codable> object = ClassRegistry::shared().makeInstance(name);
    if (!object) invalid("cannot decode object of class (" + name + ")");
    struct Scope {  // the outer object's fields again once this one is done, even when it throws
      State& state;
      plist_t outer;
      ~Scope() { state.current = outer; }
    } scope{*this, current};
    current = fields;
    object->initWithCoder(unarchiver);
    return Value(std::move(object));
  }

  std::string classNameOf(plist_t object) const {
    const auto uid = uidOf(plist_dict_get_item(object, "$class"));
    if (!uid) invalid("object without $class");
    plist_t descriptor = objectAt(*uid);
    if (plist_get_node_type(descriptor) != PLIST_DICT) invalid("$class does not refer to a class");
    const auto name = stringOf(plist_dict_get_item(descriptor, "$classname"));
    if (!name) invalid("class without $classname");
    return *name;
  }

  Array members(plist_t object, const char* key, KeyedUnarchiver& unarchiver) {
    plist_t list = plist_dict_get_item(object, key);
    if (!list || plist_get_node_type(list) != PLIST_ARRAY) invalid(std::string("collection without ") + key);
    Array out;
    const std::uint32_t size = plist_array_get_size(list);
    out.reserve(size);
    for (std::uint32_t i = 0; i < size; ++i) {
      const auto uid = uidOf(plist_array_get_item(list, i));
      if (!uid) invalid("collection member that is not a reference");
      auto member = decode(*uid, unarchiver);
      if (!member) invalid("collection holding nil");
      out.push_back(std::move(*member));
    }
    return out;
  }

  static Data dataOf(plist_t node) {
    std::uint64_t length = 0;
    const auto* p = reinterpret_cast<const std::uint8_t*>(plist_get_data_ptr(node, &length));
    return p ? Data(p, p + length) : Data();
  }
};

KeyedUnarchiver::KeyedUnarchiver() : state_(new State) {}

KeyedUnarchiver::~KeyedUnarchiver() { delete state_; }

std::optional<Value> KeyedUnarchiver::unarchiveObjectWithData(const Data& data) {
  KeyedUnarchiver unarchiver;
  State& state = *unarchiver.state_;
  state.tree = PropertyListSerialization::parseNodeTree(data);
  plist_t archive = state.tree.get();
  if (!archive) invalid("the data is not a property list");
  if (plist_get_node_type(archive) != PLIST_DICT) invalid("the data is not a keyed archive");
  if (stringOf(plist_dict_get_item(archive, "$archiver")) != "NSKeyedArchiver")
    invalid("the data was not written by NSKeyedArchiver");
  plist_t top = plist_dict_get_item(archive, "$top");
  const auto root =
      top && plist_get_node_type(top) == PLIST_DICT ? uidOf(plist_dict_get_item(top, "root")) : std::nullopt;
  if (!root) invalid("the archive has no root object");
  state.objects = plist_dict_get_item(archive, "$objects");
  if (!state.objects || plist_get_node_type(state.objects) != PLIST_ARRAY) invalid("the archive has no $objects");
  state.count = plist_array_get_size(state.objects);
  state.textBudget = kMinTextBudget + kTextBudgetPerArchiveByte * data.size();
  state.decoded.resize(state.count);
  state.progress.assign(state.count, State::kUnseen);
  return state.decode(*root, unarchiver);
}

std::optional<Value> KeyedUnarchiver::decodeObjectForKey(const std::string& key) {
  if (!state_->current) return std::nullopt;
  plist_t item = plist_dict_get_item(state_->current, escapedKey(key).c_str());
  if (!item) return std::nullopt;
  const auto uid = uidOf(item);
  if (!uid) invalid("value for key (" + key + ") is not an object");
  return state_->decode(*uid, *this);
}

std::optional<Value> KeyedUnarchiver::decodeObjectOfClass(const std::string& /*className*/, const std::string& key) {
  // The caller checks the class with classMatches: a mismatch is not a broken archive.
  return decodeObjectForKey(key);
}

bool KeyedUnarchiver::containsValueForKey(const std::string& key) const {
  return state_->current && plist_dict_get_item(state_->current, escapedKey(key).c_str());
}

bool KeyedUnarchiver::classMatches(const Value& value, const std::string& className) {
  if (className.empty() || className == "NSObject" || className == "id") return true;
  switch (value.type()) {
    case Value::Type::Null: return className == "NSNull";
    case Value::Type::Boolean:
    case Value::Type::Integer:
    case Value::Type::Real: return isOneOf(className, "NSNumber", "NSValue");
    case Value::Type::String: return isOneOf(className, "NSString", "NSMutableString");
    case Value::Type::Data: return isOneOf(className, "NSData", "NSMutableData");
    case Value::Type::Date: return className == "NSDate";
    case Value::Type::Array: return isOneOf(className, "NSArray", "NSMutableArray");
    case Value::Type::Dictionary: return isOneOf(className, "NSDictionary", "NSMutableDictionary");
    case Value::Type::Object: return (*value.asObject())->isKindOfClass(className);
  }
  return false;
}

}  // namespace tavo::platform
