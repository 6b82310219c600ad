#include "platform/KeyedArchiver.h"

#include <plist/plist.h>

#include <map>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/Codable.h"
#include "platform/Exception.h"
#include "platform/UTF8.h"

namespace tavo::platform {

namespace {

// Raised for an object graph that cannot be archived (an object that contains itself).
constexpr const char* kInvalidArchiveOperationException = "NSInvalidArchiveOperationException";
constexpr std::uint64_t kArchiveVersion = 100000;

using Node = std::unique_ptr<void, void (*)(void*)>;

Node own(plist_t node) { return Node(node, plist_free); }

// Keys the archive itself uses start with '$'; an object's own keys that do get one more '$'.
std::string escapedKey(const std::string& key) { return key.starts_with('$') ? "$" + key : key; }

// libplist writes a string only up to its first byte that is not UTF-8: each such byte is kept as U+FFFD
// instead, as the JSON writer sends it, so a stored string keeps its length and reads back the same.
plist_t newString(const std::string& s) {
  if (UTF8::isValid(s)) return plist_new_string(s.c_str());
  return plist_new_string(UTF8::repaired(s).c_str());
}

}  // namespace

struct KeyedArchiver::State {
  Node objects = own(plist_new_array());  // "$objects": index 0 is "$null", the UID of nil
  std::map<std::string, std::uint64_t> strings;
  std::map<std::string, std::uint64_t> classes;
  // Collections, data and objects already written, by address: one reached again is referenced by its UID, as
  // the platform's archiver does, so a graph that shares a part is written (and read back) in its own size.
  std::unordered_map<const void*, std::uint64_t> written;
  // Each of them, held until the archive is done: a temporary Value made by an encodeWithCoder must not free an
  // address that a later one reuses for other contents.
  std::vector<Value> retained;
  std::set<const Codable*> objectsBeingEncoded;
  plist_t current = nullptr;  // the fields of the object whose encodeWithCoder is running

  std::uint64_t append(plist_t node) {
    plist_array_append_item(objects.get(), node);
    return plist_array_get_size(objects.get()) - 1;
  }

  // A collection takes its UID before its members, as the platform numbers them.
  std::uint64_t reserve() { return append(plist_new_bool(0)); }
  void fill(std::uint64_t uid, Node node) {
    plist_array_set_item(objects.get(), node.release(), static_cast<std::uint32_t>(uid));
  }

  void setClass(plist_t object, const std::string& name, const std::vector<std::string>& hierarchy) {
    auto it = classes.find(name);
    if (it == classes.end()) {
      Node descriptor = own(plist_new_dict());
      Node names = own(plist_new_array());
      for (const std::string& cls : hierarchy) plist_array_append_item(names.get(), plist_new_string(cls.c_str()));
      plist_dict_set_item(descriptor.get(), "$classes", names.release());
      plist_dict_set_item(descriptor.get(), "$classname", plist_new_string(name.c_str()));
      it = classes.emplace(name, append(descriptor.release())).first;
    }
    plist_dict_set_item(object, "$class", plist_new_uid(it->second));
  }

  const std::uint64_t* writtenAs(const void* identity) const {
    const auto it = written.find(identity);
    return it == written.end() ? nullptr : &it->second;
  }
  void remember(const Value& value, const void* identity, std::uint64_t uid) {
    written.emplace(identity, uid);
    retained.push_back(value);
  }

  std::uint64_t encode(const Value& value, KeyedArchiver& archiver) {
    switch (value.type()) {
      case Value::Type::Null: {
        Node object = own(plist_new_dict());
        setClass(object.get(), "NSNull", {"NSNull", "NSObject"});
        return append(object.release());
      }
      case Value::Type::Boolean: return append(plist_new_bool(value.boolValue() ? 1 : 0));
      case Value::Type::Integer: return append(plist_new_uint(static_cast<std::uint64_t>(value.integerValue())));
      case Value::Type::Real: return append(plist_new_real(value.doubleValue()));
      case Value::Type::String: {
        const std::string& s = *value.asString();
        if (const auto it = strings.find(s); it != strings.end()) return it->second;
        const std::uint64_t uid = append(newString(s));
        strings.emplace(s, uid);
        return uid;
      }
      case Value::Type::Data: {
        const Data& d = *value.asData();
        if (const auto* uid = writtenAs(&d)) return *uid;
        static const char kEmpty = 0;
        const std::uint64_t uid =
            append(plist_new_data(d.empty() ? &kEmpty : reinterpret_cast<const char*>(d.data()), d.size()));
        remember(value, &d, uid);
        return uid;
      }
      case Value::Type::Date: {
        Node object = own(plist_new_dict());
        plist_dict_set_item(object.get(), "NS.time", plist_new_real(value.asDate()->timeIntervalSinceReferenceDate()));
        setClass(object.get(), "NSDate", {"NSDate", "NSObject"});
        return append(object.release());
      }
      case Value::Type::Array: {
        if (const auto* uid = writtenAs(value.asArray())) return *uid;
        const std::uint64_t uid = reserve();
        remember(value, value.asArray(), uid);
        Node members = own(plist_new_array());
        for (const Value& item : *value.asArray())
          plist_array_append_item(members.get(), plist_new_uid(encode(item, archiver)));
        Node object = own(plist_new_dict());
        plist_dict_set_item(object.get(), "NS.objects", members.release());
        setClass(object.get(), "NSMutableArray", {"NSMutableArray", "NSArray", "NSObject"});
        fill(uid, std::move(object));
        return uid;
      }
      case Value::Type::Dictionary: {
        const void* identity = value.asDictionary()->identity();
        if (const auto* uid = identity ? writtenAs(identity) : nullptr) return *uid;
        const std::uint64_t uid = reserve();
        if (identity) remember(value, identity, uid);
        Node keys = own(plist_new_array());
        Node members = own(plist_new_array());
        for (const auto& [key, item] : *value.asDictionary()) {
          plist_array_append_item(keys.get(), plist_new_uid(encode(Value(key), archiver)));
          plist_array_append_item(members.get(), plist_new_uid(encode(item, archiver)));
        }
        Node object = own(plist_new_dict());
        plist_dict_set_item(object.get(), "NS.keys", keys.release());
        plist_dict_set_item(object.get(), "NS.objects", members.release());
        setClass(object.get(), "NSMutableDictionary", {"NSMutableDictionary", "NSDictionary", "NSObject"});
        fill(uid, std::move(object));
        return uid;
      }
      case Value::Type::Object: return encodeObject(value, archiver);
    }
    return 0;
  }

  std::uint64_t encodeObject(const Value& value, KeyedArchiver& archiver) {
    const Codable& object = **value.asObject();
    if (objectsBeingEncoded.count(&object))
      throw Exception(kInvalidArchiveOperationException,
                      "an object of class " + object.className() + " contains itself; cycles cannot be archived");
    if (const auto* uid = writtenAs(&object)) return *uid;
    const std::uint64_t uid = reserve();
    Node fields = own(plist_new_dict());
    struct Scope {  // restores the outer object even when encoding throws
      State& state;
      const Codable& object;
      plist_t outer;
      ~Scope() {
        state.current = outer;
        state.objectsBeingEncoded.erase(&object);
      }
    } scope{*this, object, current};
    objectsBeingEncoded.insert(&object);
    current = fields.get();
    object.encodeWithCoder(archiver);
    setClass(fields.get(), object.className(), object.classHierarchy());
    fill(uid, std::move(fields));
    remember(value, &object, uid);
    return uid;
  }
};

KeyedArchiver::KeyedArchiver() : state_(new State) {}

KeyedArchiver::~KeyedArchiver() { delete state_; }

Data KeyedArchiver::archivedDataWithRootObject(const std::optional<Value>& root) {
  KeyedArchiver archiver;
  State& state = *archiver.state_;
  state.append(plist_new_string("$null"));
  const std::uint64_t rootUid = root ? state.encode(*root, archiver) : 0;

  Node top = own(plist_new_dict());
  plist_dict_set_item(top.get(), "root", plist_new_uid(rootUid));
  Node archive = own(plist_new_dict());
  plist_dict_set_item(archive.get(), "$version", plist_new_uint(kArchiveVersion));
  plist_dict_set_item(archive.get(), "$archiver", plist_new_string("NSKeyedArchiver"));
  plist_dict_set_item(archive.get(), "$top", top.release());
  plist_dict_set_item(archive.get(), "$objects", state.objects.release());

  char* bytes = nullptr;  // libplist writes only into a null pointer
  std::uint32_t length = 0;
  plist_to_bin(archive.get(), &bytes, &length);
  if (!bytes) throw std::bad_alloc();
  Data out(reinterpret_cast<const std::uint8_t*>(bytes), reinterpret_cast<const std::uint8_t*>(bytes) + length);
  plist_to_bin_free(bytes);
  return out;
}

void KeyedArchiver::encodeObject(const Value& value, const std::string& key) {
  plist_t target = state_->current;
  if (!target) return;  // only an object's encodeWithCoder has somewhere to store keys
  const std::uint64_t uid = state_->encode(value, *this);
  plist_dict_set_item(target, escapedKey(key).c_str(), plist_new_uid(uid));
}

}  // namespace tavo::platform
