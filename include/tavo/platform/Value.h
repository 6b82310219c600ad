#pragma once

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tavo/Export.h"
#include "tavo/platform/Date.h"

namespace tavo::platform {

class Codable;
class Dictionary;
class Value;

using Data = std::vector<std::uint8_t>;
using Array = std::vector<Value>;

// A string-keyed dictionary that keeps insertion order (the order in which it enumerates and serialises).
// Setting an existing key replaces its value in place. Copies share their entries until one of them changes
// (copy on write), so a dictionary handed on from payload to request to wire costs a count, not a copy.
// A larger dictionary copied and then added to keeps the entries it was copied from as a shared base and
// holds only what was added: payloads that all start from the same common parameters share them.
// Copies may be read and changed on different threads; one dictionary object is not itself synchronised.
class TAVO_EXPORT Dictionary {
 public:
  using Entry = std::pair<std::string, Value>;

  // Walks the shared base's entries, then the dictionary's own.
  class const_iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Entry;
    using difference_type = std::ptrdiff_t;
    using pointer = const Entry*;
    using reference = const Entry&;

    const_iterator() = default;
    reference operator*() const { return *at_; }
    pointer operator->() const { return at_; }
    const_iterator& operator++();
    const_iterator operator++(int) {
      const_iterator old = *this;
      ++*this;
      return old;
    }
    friend bool operator==(const const_iterator& a, const const_iterator& b) { return a.at_ == b.at_; }

   private:
    friend class Dictionary;
    const_iterator(const Entry* at, const Entry* end, const Entry* next, const Entry* nextEnd)
        : at_(at), end_(end), next_(next), nextEnd_(nextEnd) {}
    const Entry* at_ = nullptr;
    const Entry* end_ = nullptr;
    const Entry* next_ = nullptr;  // the own entries, while walking the base's
    const Entry* nextEnd_ = nullptr;
  };

  Dictionary() = default;
  Dictionary(std::initializer_list<Entry> entries);
  Dictionary(const Dictionary& other) noexcept : shared_(other.shared_) {
    if (shared_) shared_->owners.fetch_add(1, std::memory_order_relaxed);
  }
  Dictionary(Dictionary&& other) noexcept : shared_(std::exchange(other.shared_, nullptr)) {}
  Dictionary& operator=(const Dictionary& other) noexcept;
  Dictionary& operator=(Dictionary&& other) noexcept;
  ~Dictionary() {
    if (shared_) release(shared_);
  }

  const Value* find(std::string_view key) const;
  Value* find(std::string_view key);
  bool contains(std::string_view key) const { return find(key) != nullptr; }
  void set(std::string key, Value value);
  bool remove(std::string_view key);
  // Adds every entry of other, replacing values of keys present in both.
  void addEntriesFromDictionary(const Dictionary& other);
  std::vector<std::string> allKeys() const;

  // Whether both hold the very same entries: one is a copy of the other, and neither changed since.
  bool sharesEntriesWith(const Dictionary& other) const { return shared_ == other.shared_; }
  // The entries' block, the same for every unchanged copy: what a walk of a shared graph visits once. Null
  // while empty.
  const void* identity() const { return shared_; }

  std::size_t size() const { return shared_ ? shared_->count + (shared_->base ? shared_->base->count : 0) : 0; }
  bool empty() const { return size() == 0; }
  const_iterator begin() const;
  const_iterator end() const;

  friend TAVO_EXPORT bool operator==(const Dictionary& a, const Dictionary& b);

 private:
  // One block: this header, then the entries. A base never has a base of its own.
  struct Shared {
    std::atomic<std::size_t> owners{1};
    Shared* base = nullptr;
    std::uint32_t count = 0;
    std::uint32_t capacity = 0;
    Entry* entries() { return reinterpret_cast<Entry*>(this + 1); }
    const Entry* entries() const { return reinterpret_cast<const Entry*>(this + 1); }
  };

  struct Location {
    Entry* entry = nullptr;
    bool inBase = false;
  };

  Location locate(std::string_view key) const;
  // Makes the entries this dictionary's own (copied when shared, the base folded in when flatten) with room
  // for more entries of its own.
  void reshape(std::size_t more, bool flatten);
  static Shared* allocate(std::size_t capacity);
  static void release(Shared* shared) noexcept;

  Shared* shared_ = nullptr;  // null while empty
};

// The property-list value model: the null object, Boolean, integer, real, string, data, date, array,
// dictionary (stable insertion order), plus a reference to an archivable object (the platform's "id").
//
// "Absent" is not a Value: it is std::nullopt, an empty pointer or a missing key. A default-constructed
// Value is the null object. Arrays and dictionaries are shared copy-on-write, so copying a Value is cheap.
class TAVO_EXPORT Value {
 public:
  enum class Type { Null, Boolean, Integer, Real, String, Data, Date, Array, Dictionary, Object };

  Value() = default;
  Value(std::nullptr_t) {}
  Value(bool b) : storage_(b) {}
  Value(int i) : storage_(static_cast<std::int64_t>(i)) {}
  Value(unsigned int i) : storage_(static_cast<std::int64_t>(i)) {}
  Value(long i) : storage_(static_cast<std::int64_t>(i)) {}
  Value(long long i) : storage_(static_cast<std::int64_t>(i)) {}
  Value(unsigned long i);
  Value(unsigned long long i);
  Value(double d) : storage_(d) {}
  // A float keeps its own shortest decimal form (1/3f is 0.33333334, not the widened 0.3333333432674408).
  Value(float f);
  Value(const char* s) : storage_(std::string(s ? s : "")) {}
  Value(std::string s) : storage_(std::move(s)) {}
  Value(std::string_view s) : storage_(std::string(s)) {}
  Value(Data d) : storage_(std::make_shared<const Data>(std::move(d))) {}
  Value(Date d) : storage_(d) {}
  Value(Array a);
  Value(Dictionary d);
  Value(std::shared_ptr<Codable> object);

  static Value null() { return Value(); }

  Type type() const;
  bool isNull() const { return type() == Type::Null; }  // "is the null object"
  bool isBoolean() const { return type() == Type::Boolean; }
  bool isNumber() const;  // Boolean, Integer or Real: the platform's number class
  bool isString() const { return type() == Type::String; }
  bool isArray() const { return type() == Type::Array; }
  bool isDictionary() const { return type() == Type::Dictionary; }
  bool isObject() const { return type() == Type::Object; }

  // Typed access: nullptr when the value is of another type, so bad server data never throws.
  const std::string* asString() const;
  const Data* asData() const;
  const Date* asDate() const;
  const Array* asArray() const;
  const Dictionary* asDictionary() const;
  const std::shared_ptr<Codable>* asObject() const;
  template <class T>
  std::shared_ptr<T> objectAs() const {
    const auto* o = asObject();
    return o ? std::dynamic_pointer_cast<T>(*o) : nullptr;
  }

  // Mutable access to a collection; copies it first when it is shared with another Value.
  // Precondition: the value is of that type (else throws std::logic_error).
  Array& mutableArray();
  Dictionary& mutableDictionary();

  // The platform's conversions, lenient as the platform's are: anything that cannot convert gives 0/NO/"".
  std::int64_t integerValue() const;  // strings: leading spaces, sign, digits; reals truncate
  double doubleValue() const;
  bool boolValue() const;           // strings: Y/y/T/t or a digit 1-9 after spaces, sign and zeros
  std::string stringValue() const;  // strings as they are; numbers in decimal; others their description

  // The platform class name of the value: "NSNull", "NSNumber", "NSString", "NSData", "NSDate", "NSArray",
  // "NSDictionary", or the archivable object's own class name.
  std::string className() const;

  // Human text as the platform prints objects in a log line ("%@").
  std::string description() const;

  // Member lookup on a dictionary value; nullptr when not a dictionary or the key is missing.
  const Value* get(std::string_view key) const;

  friend TAVO_EXPORT bool operator==(const Value& a, const Value& b);

 private:
  using Storage = std::variant<std::monostate, bool, std::int64_t, double, std::string, std::shared_ptr<const Data>,
                               Date, std::shared_ptr<const Array>, Dictionary, std::shared_ptr<Codable>>;
  Storage storage_;

  void describe(std::string& out, int indent) const;
};

inline Dictionary::const_iterator& Dictionary::const_iterator::operator++() {
  if (++at_ == end_ && next_) {
    at_ = next_;
    end_ = nextEnd_;
    next_ = nullptr;
  }
  return *this;
}

inline Dictionary::const_iterator Dictionary::begin() const {
  if (!shared_) return const_iterator();
  const Entry* own = shared_->entries();
  const Shared* base = shared_->base;
  if (base && base->count > 0)
    return const_iterator(base->entries(), base->entries() + base->count, own, own + shared_->count);
  return const_iterator(own, own + shared_->count, nullptr, nullptr);
}

inline Dictionary::const_iterator Dictionary::end() const {
  if (!shared_) return const_iterator();
  const Entry* ownEnd = shared_->entries() + shared_->count;
  return const_iterator(ownEnd, ownEnd, nullptr, nullptr);
}

}  // namespace tavo::platform
