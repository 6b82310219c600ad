#include "emulator/ConnectionStream.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

namespace tavo::emulator {

namespace {

void describeAddress(const sockaddr_storage& address, std::string& ip, int& port) {
  char text[INET6_ADDRSTRLEN] = {};
  if (address.ss_family == AF_INET) {
    const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
    inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
    port = ntohs(v4.sin_port);
  } else if (address.ss_family == AF_INET6) {
    const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
    inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
    port = ntohs(v6.sin6_port);
  }
  ip = text;
}

}  // namespace

ConnectionStream::ConnectionStream(::socket_t socket, std::chrono::milliseconds readTimeout,
                                   std::chrono::milliseconds writeTimeout)
    : socket_(socket), readTimeout_(readTimeout), writeTimeout_(writeTimeout) {}

bool ConnectionStream::waitFor(short events, std::chrono::milliseconds timeout) const {
  pollfd descriptor{socket_, events, 0};
  int ready;
  do {
    ready = ::poll(&descriptor, 1, static_cast<int>(timeout.count()));
  } while (ready < 0 && errno == EINTR);
  return ready > 0 && (descriptor.revents & (events | POLLHUP)) != 0 &&
         (descriptor.revents & (POLLERR | POLLNVAL)) == 0;
}

bool ConnectionStream::is_readable() const { return waitFor(POLLIN, readTimeout_); }

bool ConnectionStream::is_writable() const { return waitFor(POLLOUT, writeTimeout_); }

ssize_t ConnectionStream::read(char* buffer, size_t size) {
  if (!is_readable()) return -1;
  ssize_t received;
  do {
    received = ::recv(socket_, buffer, size, 0);
  } while (received < 0 && errno == EINTR);
  return received;
}

ssize_t ConnectionStream::write(const char* data, size_t size) {
  if (!is_writable()) return -1;
  ssize_t sent;
  do {
    // A peer that went away must not kill the process with SIGPIPE.
    sent = ::send(socket_, data, size, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent;
}

void ConnectionStream::get_remote_ip_and_port(std::string& ip, int& port) const {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  if (::getpeername(socket_, reinterpret_cast<sockaddr*>(&address), &length) == 0) describeAddress(address, ip, port);
}

void ConnectionStream::get_local_ip_and_port(std::string& ip, int& port) const {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  if (::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) == 0) describeAddress(address, ip, port);
}

}  // namespace tavo::emulator
