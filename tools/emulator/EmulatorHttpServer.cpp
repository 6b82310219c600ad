#include "emulator/EmulatorHttpServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include "emulator/ConnectionStream.h"

namespace tavo::emulator {

namespace {

constexpr std::chrono::milliseconds kReadTimeout{5000};
constexpr std::chrono::milliseconds kWriteTimeout{5000};

}  // namespace

EmulatorHttpServer::EmulatorHttpServer(RefuseConnection refuse) : refuse_(std::move(refuse)) {
  // The library's default shares the port (SO_REUSEPORT): a second emulator on a busy port would quietly take
  // half of the requests. Reusing an address in TIME_WAIT is all a restart needs.
  set_socket_options([](::socket_t socket) {
    int yes = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
}

bool EmulatorHttpServer::process_and_close_socket(::socket_t socket) {
  bool served = false;
  if (!refuse_ || !refuse_()) {
    ConnectionStream stream(socket, kReadTimeout, kWriteTimeout);
    bool connectionClosed = false;
    // One request, answered with "Connection: close": an idle kept-alive connection would hold up stopping.
    served = process_request(stream, /*close_connection=*/true, connectionClosed, nullptr);
  }
  ::shutdown(socket, SHUT_RDWR);
  ::close(socket);
  return served;
}

}  // namespace tavo::emulator
