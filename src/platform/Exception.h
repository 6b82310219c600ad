#pragma once

#include <exception>
#include <string>

namespace tavo::platform {

// The platform's exception object: a name that says what kind of error it is, and a human reason.
// Raised only for programming errors, never for bad input from the host or the server.
class Exception : public std::exception {
 public:
  Exception(std::string name, std::string reason);

  const std::string& name() const noexcept { return name_; }
  const std::string& reason() const noexcept { return reason_; }
  const char* what() const noexcept override { return what_.c_str(); }

 private:
  std::string name_;
  std::string reason_;
  std::string what_;
};

// Name of the exception the keyed unarchiver raises for bytes that are not a usable archive.
inline constexpr const char* kInvalidUnarchiveOperationException = "NSInvalidUnarchiveOperationException";

}  // namespace tavo::platform
