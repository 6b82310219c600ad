#pragma once

#include <httplib.h>

#include <functional>

namespace tavo::emulator {

// The HTTP library's server, serving one request per connection, with a say over each connection before
// anything is read from it: a connection the filter refuses is closed at once, so the client sees it drop
// without an answer.
class EmulatorHttpServer : public httplib::Server {
 public:
  // Called on a server thread for every accepted connection; true closes it unread.
  using RefuseConnection = std::function<bool()>;

  explicit EmulatorHttpServer(RefuseConnection refuse);

 private:
  bool process_and_close_socket(::socket_t socket) override;

  RefuseConnection refuse_;
};

}  // namespace tavo::emulator
