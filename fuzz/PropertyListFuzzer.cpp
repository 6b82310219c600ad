// Property-list files the SDK reads: arbitrary bytes as the push-seen file "tAVo_id_Push_Seen.plist", read
// through the data store and the platform's reader, then the writer's round trip. A list that was read, with one
// more id, must be written and read back as it was, text that is not UTF-8 repaired (each bad byte as U+FFFD);
// any value read must survive the writer and the reader in both formats the same way.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "FuzzEnvironment.h"
#include "ValueChecks.h"
#include "core/TAVOController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/PropertyListSerialization.h"

namespace {

using tavo::fuzzing::ValueChecks;
using tavo::platform::PropertyListSerialization;
using tavo::platform::Value;

[[noreturn]] void changed(const char* how, const Value& before, const std::optional<Value>& after) {
  std::fprintf(stderr, "%s changed the value:\n%s\n--- became ---\n%s\n", how, before.description().c_str(),
               after ? after->description().c_str() : "nothing");
  std::abort();
}

std::optional<Value> roundTrip(const Value& value, PropertyListSerialization::Format format) {
  const auto data = PropertyListSerialization::dataWithPropertyList(value, format);
  if (!data) return std::nullopt;
  return PropertyListSerialization::propertyListWithData(*data);
}

// What the writer keeps exactly comes back the same; text that is not UTF-8 comes back repaired, not cut; text
// with a NUL has no property-list form and is refused.
void expectRoundTrip(const Value& value, PropertyListSerialization::Format format, const char* how) {
  const auto once = roundTrip(value, format);
  const bool hasNul =
      !ValueChecks::allText(value, [](const std::string& s) { return s.find('\0') == std::string::npos; });
  if (hasNul) {
    if (once) changed(how, value, once);
    return;
  }
  if (!once || !ValueChecks::sameContent(ValueChecks::withRepairedText(value), *once)) changed(how, value, once);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& environment = tavo::fuzzing::FuzzEnvironment::shared();
  environment.beginInput();
  const tavo::platform::Data bytes(data, data + size);
  auto store = tavo::TAVOController::sharedInstance().dataStoreController();
  // The harness's own file system never refuses a write; if it did, no input would test anything.
  if (!environment.platform().fileSystem->writeAtomically(store->pushIDSeenFilePath(), bytes)) std::abort();

  if (auto seen = store->getPushSeenIDS()) {
    seen->push_back(Value("fuzz-push-id"));
    store->savePushSeenIDS(*seen);
    const auto reread = store->getPushSeenIDS();
    const Value expected = ValueChecks::withRepairedText(Value(*seen));
    if (ValueChecks::keepsExactly(expected) && (!reread || !ValueChecks::sameContent(expected, Value(*reread))))
      changed("the push-seen file", Value(*seen), reread ? std::optional<Value>(Value(*reread)) : std::nullopt);
  }

  if (const auto value = PropertyListSerialization::propertyListWithData(bytes)) {
    expectRoundTrip(*value, PropertyListSerialization::Format::Binary, "binary property list");
    expectRoundTrip(*value, PropertyListSerialization::Format::XML, "XML property list");
  }
  return 0;
}
