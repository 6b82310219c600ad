#pragma once

// Conversions every part of the C interface shares: C strings and lists in, malloc'ed strings out, a host's C
// request delegate as the SDK's.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tavo/TAVORequestDelegate.h"
#include "tavo/tavo.h"

namespace tavo::capi {

// NULL is absent.
std::optional<std::string> text(const char* s);
// A copy the caller releases with tavo_free.
char* copy(const std::string& s);
// The entries of a C array of strings, NULL entries skipped; none for a NULL array.
std::vector<std::string> list(const char* const* items, size_t count);
// A request delegate that calls the host's C callbacks; a NULL member stays unset.
std::shared_ptr<TAVORequestDelegate> requestDelegateFor(const tavo_request_delegate& callbacks);

}  // namespace tavo::capi
