#include "platform/PropertyListSerialization.h"

#include <plist/plist.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "platform/UTF8.h"
#include "platform/ValueGraph.h"

namespace tavo::platform {

namespace {

// Deeper lists are refused both ways: libplist parses binary lists and frees every tree recursively, and
// so does the conversion to Value, so an unbounded depth would run off the stack.
constexpr std::size_t kMaxDepth = 512;
// A binary list may share one object from many places; libplist copies it at every use, so a few hundred
// bytes can expand to billions of nodes. Expansion beyond this (or beyond the input size) is refused.
constexpr std::uint64_t kMinNodeBudget = std::uint64_t{1} << 20;
// Text and data count as one node per this many bytes of content.
constexpr std::uint64_t kBytesPerNode = 64;

using Node = std::unique_ptr<void, void (*)(void*)>;

Node own(plist_t node) { return Node(node, plist_free); }

std::uint64_t readBigEndian(const std::uint8_t* p, unsigned width) {
  std::uint64_t v = 0;
  for (unsigned i = 0; i < width; ++i) v = (v << 8) | p[i];
  return v;
}

// The parts of the binary format needed to walk the object graph before libplist does: the trailer,
// the offset table and the references held by arrays, sets and dictionaries.
class BinaryLayout {
 public:
  explicit BinaryLayout(const Data& bytes) : bytes_(bytes) {}

  bool load() {
    if (bytes_.size() < 8 + 32) return false;
    const std::uint8_t* trailer = bytes_.data() + bytes_.size() - 32;
    offsetSize_ = trailer[6];
    refSize_ = trailer[7];
    objectCount_ = readBigEndian(trailer + 8, 8);
    root_ = readBigEndian(trailer + 16, 8);
    tableOffset_ = readBigEndian(trailer + 24, 8);
    end_ = bytes_.size() - 32;
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8) return false;
    if (objectCount_ == 0 || root_ >= objectCount_) return false;
    if (tableOffset_ < 8 || tableOffset_ > end_) return false;
    return objectCount_ <= (end_ - tableOffset_) / offsetSize_;
  }

  std::uint64_t objectCount() const { return objectCount_; }
  std::uint64_t root() const { return root_; }

  // Where the references of object start and how many there are (0 for scalars), and the bytes of a string's
  // or data's content; false when malformed. Strings holding a NUL are refused as well: libplist aborts on a
  // dictionary key with one inside.
  bool references(std::uint64_t object, std::size_t& at, std::uint64_t& count, std::uint64_t& content) const {
    count = 0;
    content = 0;
    const std::uint64_t offset = readBigEndian(bytes_.data() + tableOffset_ + object * offsetSize_, offsetSize_);
    if (offset < 8 || offset >= end_) return false;
    const std::uint8_t marker = bytes_[offset];
    const unsigned kind = marker >> 4;
    if (kind == 0x4 || kind == 0x5 || kind == 0x6) {
      std::size_t body = 0;
      if (!lengthOf(marker, offset, content, body) || content > end_) return false;
      if (kind == 0x6) content *= 2;
      return kind == 0x4 || stringHasNoNul(kind == 0x6 ? 2 : 1, marker, offset);
    }
    if (kind != 0xA && kind != 0xB && kind != 0xC && kind != 0xD) return true;
    std::uint64_t entries = 0;
    std::size_t p = 0;
    if (!lengthOf(marker, offset, entries, p)) return false;
    const std::uint64_t perEntry = kind == 0xD ? 2 : 1;  // dictionaries hold keys, then values
    if (entries > (end_ - p) / refSize_ / perEntry) return false;
    at = p;
    count = entries * perEntry;
    return true;
  }

  std::uint64_t reference(std::size_t at, std::uint64_t index) const {
    return readBigEndian(bytes_.data() + at + index * refSize_, refSize_);
  }

 private:
  // The length in the low bits of marker, or in the integer object after it; body is where the content starts.
  bool lengthOf(std::uint8_t marker, std::size_t offset, std::uint64_t& length, std::size_t& body) const {
    length = marker & 0x0F;
    std::size_t p = offset + 1;
    if (length == 0x0F) {
      if (p >= end_) return false;
      const std::uint8_t intMarker = bytes_[p];
      if ((intMarker >> 4) != 0x1 || (intMarker & 0x0F) > 3) return false;
      const unsigned width = 1u << (intMarker & 0x0F);
      if (end_ - p - 1 < width) return false;
      length = readBigEndian(bytes_.data() + p + 1, width);
      p += 1 + width;
    }
    body = p;
    return true;
  }

  bool stringHasNoNul(unsigned unitSize, std::uint8_t marker, std::size_t offset) const {
    std::uint64_t units = 0;
    std::size_t p = 0;
    if (!lengthOf(marker, offset, units, p) || units > (end_ - p) / unitSize) return false;
    for (std::uint64_t i = 0; i < units; ++i, p += unitSize) {
      if (bytes_[p] == 0 && (unitSize == 1 || bytes_[p + 1] == 0)) return false;
    }
    return true;
  }

  const Data& bytes_;
  unsigned offsetSize_ = 0;
  unsigned refSize_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t root_ = 0;
  std::uint64_t tableOffset_ = 0;
  std::size_t end_ = 0;
};

// Walks the object graph without recursion: refuses cycles, dangling references, trees deeper than
// kMaxDepth and trees that expand to more nodes than the budget.
bool binaryListIsSafeToParse(const Data& bytes) {
  BinaryLayout layout(bytes);
  if (!layout.load()) return false;
  const std::uint64_t budget = std::max<std::uint64_t>(kMinNodeBudget, bytes.size());
  enum : std::uint8_t { kUnseen, kOpen, kDone };
  std::vector<std::uint8_t> state(layout.objectCount(), kUnseen);
  std::vector<std::uint64_t> nodes(layout.objectCount(), 0);  // size of the tree each object expands to
  std::vector<std::uint16_t> height(layout.objectCount(), 0);
  struct Frame {
    std::uint64_t object;
    std::size_t at = 0;
    std::uint64_t count = 0;
    std::uint64_t next = 0;
    std::uint64_t nodes = 1;
    std::size_t height = 1;
  };
  std::vector<Frame> stack;
  auto open = [&](std::uint64_t object) {
    Frame frame{object};
    std::uint64_t content = 0;
    if (!layout.references(object, frame.at, frame.count, content)) return false;
    // libplist copies a shared string or data at every reference: its bytes count against the budget too.
    frame.nodes = 1 + content / kBytesPerNode;
    state[object] = kOpen;
    stack.push_back(frame);
    return true;
  };
  auto absorb = [&](Frame& parent, std::uint64_t childNodes, std::size_t childHeight) {
    parent.nodes += childNodes;
    parent.height = std::max(parent.height, childHeight + 1);
    return parent.nodes <= budget && parent.height <= kMaxDepth;
  };
  if (!open(layout.root())) return false;
  while (!stack.empty()) {
    Frame& top = stack.back();
    if (top.next < top.count) {
      const std::uint64_t child = layout.reference(top.at, top.next++);
      if (child >= layout.objectCount() || state[child] == kOpen) return false;
      if (state[child] == kDone) {
        if (!absorb(top, nodes[child], height[child])) return false;
      } else if (stack.size() >= kMaxDepth || !open(child)) {
        return false;
      }
      continue;
    }
    const Frame done = top;
    stack.pop_back();
    state[done.object] = kDone;
    nodes[done.object] = done.nodes;
    height[done.object] = static_cast<std::uint16_t>(done.height);
    if (!stack.empty() && !absorb(stack.back(), done.nodes, done.height)) return false;
  }
  return true;
}

// A strict reading of the XML markup, modelled on how libplist tokenises it: tracks the nesting of
// array and dict elements and refuses anything deeper than kMaxDepth. Markup it cannot read the same way
// libplist would (stray quotes, embedded DTDs, unexpected tags inside text) is refused too: libplist
// parses XML iteratively but frees a half-built tree recursively, so the count must never fall short.
class XmlNestingScanner {
 public:
  explicit XmlNestingScanner(std::string_view text) : text_(text) {}

  bool safeToParse() {
    if (text_.find('\0') != std::string_view::npos) return false;
    std::vector<bool> open;  // containers now open, true for an array
    std::size_t pos = 0;
    while ((pos = text_.find('<', pos)) != std::string_view::npos) {
      const std::string_view rest = text_.substr(pos);
      if (rest.starts_with("<?")) {
        if (!skipMarkup(pos, "?>")) return false;
      } else if (rest.starts_with("<!--")) {
        if (!skipTo(pos + 4, "-->", pos)) return false;
      } else if (rest.starts_with("<!DOCTYPE")) {
        const std::size_t start = pos;
        if (!skipMarkup(pos, ">") || text_.substr(start, pos - start).find('[') != std::string_view::npos) return false;
      } else if (rest.starts_with("<!")) {
        return false;
      } else if (!readTag(pos, open)) {
        return false;
      }
    }
    return true;
  }

 private:
  // Moves pos past the first terminator after from; false when there is none.
  bool skipTo(std::size_t from, std::string_view terminator, std::size_t& pos) const {
    const std::size_t end = text_.find(terminator, from);
    if (end == std::string_view::npos) return false;
    pos = end + terminator.size();
    return true;
  }

  // Markup whose end libplist finds while skipping quoted text: the plain search must agree with it.
  bool skipMarkup(std::size_t& pos, std::string_view terminator) const {
    const std::size_t start = pos;
    if (!skipTo(pos + 2, terminator, pos)) return false;
    return quotesBalanced(text_.substr(start, pos - start));
  }

  static bool quotesBalanced(std::string_view markup) {
    return markup.find('\'') == std::string_view::npos && std::count(markup.begin(), markup.end(), '"') % 2 == 0;
  }

  bool readTag(std::size_t& pos, std::vector<bool>& open) const {
    const std::size_t close = text_.find_first_of("<>", pos + 1);
    if (close == std::string_view::npos || text_[close] != '>') return false;
    const std::string_view inside = text_.substr(pos + 1, close - pos - 1);
    if (!quotesBalanced(inside)) return false;
    pos = close + 1;
    const bool closing = inside.starts_with('/');
    const bool empty = !closing && inside.ends_with('/');
    std::string_view name = inside.substr(closing ? 1 : 0);
    name = name.substr(0, name.find_first_of(" \t\r\n/"));
    const bool isArray = name == "array";
    if (isArray || name == "dict") {
      if (closing) {
        if (open.empty() || open.back() != isArray) return false;
        open.pop_back();
      } else if (!empty) {
        open.push_back(isArray);
        if (open.size() > kMaxDepth) return false;
      }
      return true;
    }
    if (closing || empty || name == "plist") return true;
    return skipText(name, pos);
  }

  // The text of a scalar element, up to its exact closing tag; comments and CDATA may appear inside.
  bool skipText(std::string_view name, std::size_t& pos) const {
    while ((pos = text_.find('<', pos)) != std::string_view::npos) {
      const std::string_view rest = text_.substr(pos);
      if (rest.starts_with("<!--")) {
        if (!skipTo(pos + 4, "-->", pos)) return false;
      } else if (rest.starts_with("<![CDATA[")) {
        if (!skipTo(pos + 9, "]]>", pos)) return false;
      } else if (rest.starts_with("</") && rest.substr(2).starts_with(name) &&
                 rest.substr(2 + name.size()).starts_with('>')) {
        pos += 3 + name.size();
        return true;
      } else {
        return false;
      }
    }
    return false;
  }

  std::string_view text_;
};

// libplist 2.2 keeps a date as seconds since 2001 and hands it out as whole seconds plus the magnitude of
// the fraction, so a date within the second before 2001 reads back without its sign. Past its 32-bit seconds
// the conversion overflows to the lowest second (with any fraction, even one of a second or more): such a date
// has no value the writer could hold, and is unreadable.
std::optional<Date> dateOf(plist_t node) {
  std::int32_t seconds = 0;
  std::int32_t micros = 0;
  plist_get_date_val(node, &seconds, &micros);
  if (seconds == std::numeric_limits<std::int32_t>::min() || micros <= -1000000 || micros >= 1000000)
    return std::nullopt;
  const double fraction = std::abs(static_cast<double>(micros)) / 1e6;
  const double sinceReference = seconds < 0 ? seconds - fraction : seconds + fraction;
  return Date(sinceReference + Date::kReferenceDateOffset);
}

plist_t dateNode(Date date) {
  const double sinceReference = date.timeIntervalSinceReferenceDate();
  if (!std::isfinite(sinceReference)) return nullptr;
  double seconds = std::floor(sinceReference);
  double micros = std::round((sinceReference - seconds) * 1e6);
  if (micros >= 1e6) {
    seconds += 1;
    micros = 0;
  }
  if (seconds < std::numeric_limits<std::int32_t>::min() || seconds > std::numeric_limits<std::int32_t>::max())
    return nullptr;  // libplist holds dates as 32-bit seconds
  return plist_new_date(static_cast<std::int32_t>(seconds), static_cast<std::int32_t>(micros));
}

std::optional<Value> valueOf(plist_t node, std::size_t depth) {
  if (depth > kMaxDepth) return std::nullopt;
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t b = 0;
      plist_get_bool_val(node, &b);
      return Value(b != 0);
    }
    case PLIST_UINT: {
      // Integers come back as their 64 bits; the platform's integers are signed.
      std::uint64_t bits = 0;
      plist_get_uint_val(node, &bits);
      return Value(static_cast<long long>(static_cast<std::int64_t>(bits)));
    }
    case PLIST_REAL: {
      double d = 0;
      plist_get_real_val(node, &d);
      return Value(d);
    }
    case PLIST_STRING:
    case PLIST_KEY: {
      std::uint64_t length = 0;
      const char* s = plist_get_string_ptr(node, &length);
      return Value(s ? std::string(s, length) : std::string());
    }
    case PLIST_DATA: {
      std::uint64_t length = 0;
      const auto* p = reinterpret_cast<const std::uint8_t*>(plist_get_data_ptr(node, &length));
      return Value(p ? Data(p, p + length) : Data());
    }
    case PLIST_DATE: {
      const auto date = dateOf(node);
      if (!date) return std::nullopt;
      return Value(*date);
    }
    case PLIST_ARRAY: {
      Array array;
      const std::uint32_t size = plist_array_get_size(node);
      array.reserve(size);
      for (std::uint32_t i = 0; i < size; ++i) {
        auto item = valueOf(plist_array_get_item(node, i), depth + 1);
        if (!item) return std::nullopt;
        array.push_back(std::move(*item));
      }
      return Value(std::move(array));
    }
    case PLIST_DICT: {
      Dictionary dictionary;
      plist_dict_iter it = nullptr;
      plist_dict_new_iter(node, &it);
      std::optional<Value> result;
      for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, it, &key, &item);
        if (!key) {
          result = Value(std::move(dictionary));
          break;
        }
        std::string name(key);
        std::free(key);
        auto value = item ? valueOf(item, depth + 1) : std::nullopt;
        if (!value) break;
        dictionary.set(std::move(name), std::move(*value));
      }
      std::free(it);
      return result;
    }
    default: return std::nullopt;  // UIDs belong to keyed archives
  }
}

// libplist's binary writer stops at the first byte that is not UTF-8 and leaves a list that no longer reads:
// each such byte is written as U+FFFD instead, as the archiver and the JSON writer do.
std::string validText(const std::string& s) { return UTF8::isValid(s) ? s : UTF8::repaired(s); }

// Builds libplist's tree of a value: nullptr when value (or anything inside it) has no property-list form.
// libplist's tree cannot share a node, so a value that shares its parts is copied out at every reference: past
// a few dozen kilobytes of copies it is measured once, and one that unfolds beyond its budget is refused.
class NodeWriter {
 public:
  explicit NodeWriter(const Value& root) : root_(root) {}

  Node nodeOf(const Value& value, std::size_t depth) {
    Node none = own(nullptr);
    if (depth > kMaxDepth || !withinBudget(value)) return none;
    switch (value.type()) {
      case Value::Type::Boolean: return own(plist_new_bool(value.boolValue() ? 1 : 0));
      case Value::Type::Integer: return own(plist_new_uint(static_cast<std::uint64_t>(value.integerValue())));
      case Value::Type::Real: return own(plist_new_real(value.doubleValue()));
      case Value::Type::String: {
        const std::string& s = *value.asString();
        if (s.find('\0') != std::string::npos) return none;  // libplist strings end at the first NUL
        return own(plist_new_string(validText(s).c_str()));
      }
      case Value::Type::Data: {
        const Data& d = *value.asData();
        static const char kEmpty = 0;
        return own(plist_new_data(d.empty() ? &kEmpty : reinterpret_cast<const char*>(d.data()), d.size()));
      }
      case Value::Type::Date: return own(dateNode(*value.asDate()));
      case Value::Type::Array: {
        Node array = own(plist_new_array());
        for (const Value& item : *value.asArray()) {
          Node child = nodeOf(item, depth + 1);
          if (!child) return none;
          plist_array_append_item(array.get(), child.release());
        }
        return array;
      }
      case Value::Type::Dictionary: {
        Node dictionary = own(plist_new_dict());
        for (const auto& [key, item] : *value.asDictionary()) {
          Node child = nodeOf(item, depth + 1);
          if (!child || key.find('\0') != std::string::npos) return none;
          plist_dict_set_item(dictionary.get(), validText(key).c_str(), child.release());
        }
        return dictionary;
      }
      case Value::Type::Null:
      case Value::Type::Object: break;
    }
    return none;
  }

 private:
  bool withinBudget(const Value& value) {
    // Each node costs libplist an allocation; text and bytes are copied.
    copied_ += 64;
    if (const std::string* s = value.asString()) copied_ += s->size();
    if (const Data* d = value.asData()) copied_ += d->size();
    if (unfoldingChecked_ || copied_ <= ValueGraph::kUnfoldingCheckBytes) return true;
    unfoldingChecked_ = true;
    return !ValueGraph::refusesToUnfold(root_, "Property list");
  }

  const Value& root_;
  std::uint64_t copied_ = 0;
  bool unfoldingChecked_ = false;
};

}  // namespace

PropertyListSerialization::NodeTree PropertyListSerialization::parseNodeTree(const Data& data) {
  NodeTree none(nullptr, plist_free);
  if (data.size() > std::numeric_limits<std::uint32_t>::max()) return none;
  const char* bytes = reinterpret_cast<const char*>(data.data());
  const auto length = static_cast<std::uint32_t>(data.size());
  plist_t root = nullptr;
  if (data.size() >= 8 && std::memcmp(bytes, "bplist00", 8) == 0) {
    if (!binaryListIsSafeToParse(data)) return none;
    plist_from_bin(bytes, length, &root);
  } else {
    if (data.empty() || !XmlNestingScanner(std::string_view(bytes, data.size())).safeToParse()) return none;
    plist_from_xml(bytes, length, &root);
  }
  return NodeTree(root, plist_free);
}

std::optional<Value> PropertyListSerialization::propertyListWithData(const Data& data) {
  const NodeTree tree = parseNodeTree(data);
  if (!tree) return std::nullopt;
  return valueOf(tree.get(), 1);
}

std::optional<Data> PropertyListSerialization::dataWithPropertyList(const Value& value, Format format) {
  const Node root = NodeWriter(value).nodeOf(value, 1);
  if (!root) return std::nullopt;
  char* bytes = nullptr;  // libplist writes only into a null pointer
  std::uint32_t length = 0;
  if (format == Format::Binary)
    plist_to_bin(root.get(), &bytes, &length);
  else
    plist_to_xml(root.get(), &bytes, &length);
  if (!bytes) return std::nullopt;
  Data out(reinterpret_cast<const std::uint8_t*>(bytes), reinterpret_cast<const std::uint8_t*>(bytes) + length);
  if (format == Format::Binary)
    plist_to_bin_free(bytes);
  else
    plist_to_xml_free(bytes);
  return out;
}

}  // namespace tavo::platform
