// Arbitrary bytes where a keyed archive is expected (what the store or a file may hold after damage or
// tampering, some sharing one part from many places). Whatever the bytes, reading either gives a value or raises
// the unarchiver's own exception (or a codable's field-type refusal); anything else escaping is a fault. A value that
// was read must survive being archived and read again: unchanged when its text is UTF-8, else with valid text that
// stays as it is.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "FuzzEnvironment.h"
#include "ValueChecks.h"
#include "platform/Exception.h"
#include "platform/JSONSerialization.h"
#include "platform/KeyedArchiver.h"
#include "platform/KeyedUnarchiver.h"

namespace {

using tavo::fuzzing::ValueChecks;
using tavo::platform::Value;

std::optional<Value> roundTrip(const std::optional<Value>& value) {
  return tavo::platform::KeyedUnarchiver::unarchiveObjectWithData(
      tavo::platform::KeyedArchiver::archivedDataWithRootObject(value));
}

[[noreturn]] void changed(const Value& before, const std::optional<Value>& after) {
  std::fprintf(stderr, "archive round trip changed the value:\n%s\n--- became ---\n%s\n", before.description().c_str(),
               after ? after->description().c_str() : "nil");
  std::abort();
}

bool isRefusal(const tavo::platform::Exception& e) {
  return e.name() == tavo::platform::kInvalidUnarchiveOperationException || e.name() == "AutocodingException";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Codables read the platform (clock, store) while they decode.
  tavo::fuzzing::FuzzEnvironment::shared();
  const tavo::platform::Data bytes(data, data + size);
  std::optional<Value> value;
  try {
    value = tavo::platform::KeyedUnarchiver::unarchiveObjectWithData(bytes);
  } catch (const tavo::platform::Exception& e) {
    if (isRefusal(e)) return 0;
    throw;
  }
  if (!value) return 0;
  // Every walk of what was read stays in the archive's size, however much of it is shared.
  (void)value->description();
  (void)tavo::platform::JSONSerialization::dataWithJSONObject(*value);

  const std::optional<Value> reread = roundTrip(value);
  if (reread) (void)(*value == *reread);
  if (ValueChecks::keepsExactly(*value)) {
    if (!reread || !ValueChecks::sameContent(*value, *reread)) changed(*value, reread);
    return 0;
  }
  // A byte that is not UTF-8 comes back as U+FFFD, not cut.
  const bool hasNul =
      !ValueChecks::allText(*value, [](const std::string& s) { return s.find('\0') == std::string::npos; });
  if (!hasNul) {
    if (!reread || !ValueChecks::sameContent(ValueChecks::withRepairedText(*value), *reread)) changed(*value, reread);
    return 0;
  }
  // A NUL cuts a string short (libplist takes C strings): what came back once is valid and comes back the same.
  if (!reread || !ValueChecks::allText(*reread, ValueChecks::isUtf8)) changed(*value, reread);
  const std::optional<Value> twice = roundTrip(reread);
  if (!twice || !ValueChecks::sameContent(*reread, *twice)) changed(*reread, twice);
  return 0;
}
