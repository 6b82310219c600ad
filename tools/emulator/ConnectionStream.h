#pragma once

#include <httplib.h>

#include <chrono>
#include <string>

namespace tavo::emulator {

// One accepted connection as the HTTP library's stream: reads and writes on the socket, each waiting at most
// its time-out. The caller owns the socket and closes it.
class ConnectionStream : public httplib::Stream {
 public:
  ConnectionStream(::socket_t socket, std::chrono::milliseconds readTimeout, std::chrono::milliseconds writeTimeout);

  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char* buffer, size_t size) override;
  ssize_t write(const char* data, size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  ::socket_t socket() const override { return socket_; }

 private:
  bool waitFor(short events, std::chrono::milliseconds timeout) const;

  ::socket_t socket_;
  std::chrono::milliseconds readTimeout_;
  std::chrono::milliseconds writeTimeout_;
};

}  // namespace tavo::emulator
