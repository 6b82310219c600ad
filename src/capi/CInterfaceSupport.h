#pragma once

// What every part of the C interface shares: the last catch of each entry point, C strings and lists in,
// malloc'ed strings out, a host's C request delegate as the SDK's.

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "tavo/TAVORequestDelegate.h"
#include "tavo/tavo.h"

namespace tavo::capi {

// The log line of an entry point that ended in an exception; never throws itself.
void failed(const char* entryPoint, const char* what) noexcept;

// The last catch of every entry point: what the SDK or a library under it throws ends here with a log line, and
// the call returns its empty result (nothing, NULL, false or 0) after whatever it did before the throw.
template <class Body>
std::invoke_result_t<Body> guarded(const char* entryPoint, Body&& body) noexcept {
  try {
    return body();
  } catch (const std::exception& e) {
    failed(entryPoint, e.what());
  } catch (...) {
    failed(entryPoint, "an exception of unknown type");
  }
  if constexpr (!std::is_void_v<std::invoke_result_t<Body>>) return {};
}

// NULL is absent.
std::optional<std::string> text(const char* s);
// A copy the caller releases with tavo_free.
char* copy(const std::string& s);
// The entries of a C array of strings, NULL entries skipped; none for a NULL array.
std::vector<std::string> list(const char* const* items, size_t count);
// A request delegate that calls the host's C callbacks; a NULL member stays unset.
std::shared_ptr<TAVORequestDelegate> requestDelegateFor(const tavo_request_delegate& callbacks);

}  // namespace tavo::capi
