#include "platform/DiskFileSystem.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

namespace tavo::platform {

namespace {

namespace fs = std::filesystem;

// Closes a descriptor when it goes out of scope.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  int get() const { return fd_; }
  // Closes now, reporting whether the last writes reached the file.
  bool close() {
    const int fd = std::exchange(fd_, -1);
    return ::close(fd) == 0;
  }

 private:
  int fd_;
};

bool writeAll(int fd, const Data& data) {
  std::size_t written = 0;
  while (written < data.size()) {
    const ssize_t n = ::write(fd, data.data() + written, data.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    written += static_cast<std::size_t>(n);
  }
  return true;
}

// The rename is durable only once the directory that holds the entry has been synced.
void syncDirectory(const fs::path& directory) {
  FileDescriptor fd(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.get() >= 0) ::fsync(fd.get());
}

std::string homeDirectory() {
  if (const char* home = std::getenv("HOME"); home && *home) return home;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* result = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &result) == 0 && result && result->pw_dir)
    return result->pw_dir;
  return fs::temp_directory_path().string();
}

}  // namespace

DiskFileSystem::DiskFileSystem(std::string root) : root_(std::move(root)) {
  // A failure here shows later as failed reads and writes, which callers already handle.
  std::error_code error;
  fs::create_directories(documentsDirectory(), error);
}

std::optional<Data> DiskFileSystem::contentsAtPath(const std::string& path) const {
  FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat info {};
  if (fd.get() < 0 || ::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  Data contents;
  contents.reserve(static_cast<std::size_t>(info.st_size));
  std::uint8_t chunk[65536];
  for (;;) {
    const ssize_t n = ::read(fd.get(), chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return std::nullopt;
    if (n == 0) return contents;
    contents.insert(contents.end(), chunk, chunk + n);
  }
}

bool DiskFileSystem::writeAtomically(const std::string& path, const Data& data) const {
  const fs::path target(path);
  if (!target.has_filename()) return false;
  const fs::path directory = target.has_parent_path() ? target.parent_path() : fs::path(".");
  std::string temporary = (directory / ("." + target.filename().string() + ".XXXXXX")).string();
  FileDescriptor fd(::mkostemp(temporary.data(), O_CLOEXEC));
  if (fd.get() < 0) return false;
  const bool written = writeAll(fd.get(), data) && ::fsync(fd.get()) == 0 && fd.close() &&
                       ::rename(temporary.c_str(), path.c_str()) == 0;
  if (!written) {
    ::unlink(temporary.c_str());
    return false;
  }
  syncDirectory(directory);
  return true;
}

bool DiskFileSystem::fileExistsAtPath(const std::string& path) const {
  std::error_code error;
  return fs::exists(path, error);
}

bool DiskFileSystem::removeItemAtPath(const std::string& path) const {
  std::error_code error;
  const auto removed = fs::remove_all(path, error);
  return !error && removed != static_cast<std::uintmax_t>(-1) && removed > 0;
}

std::string DiskFileSystem::defaultDataDirectory(const std::string& appId) {
  fs::path base;
  // A relative XDG_DATA_HOME is invalid and must be ignored.
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && xdg[0] == '/')
    base = xdg;
  else
    base = fs::path(homeDirectory()) / ".local" / "share";
  return appId.empty() ? base.string() : (base / appId).string();
}

}  // namespace tavo::platform
