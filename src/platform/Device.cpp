#include "platform/Device.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <utility>

#include "platform/MutexLock.h"
#include "platform/UUID.h"

namespace tavo::platform {

namespace {

// Namespace of the identifiers for vendor. Fixed forever: changing it would give every installation a new
// identifier.
constexpr const char* kVendorIdentifierNamespace = "03D82E1C-2535-4D79-9BE1-EE38730484EC";

// The first line of a small system file, without surrounding white space; nullopt when unreadable or blank.
std::optional<std::string> firstLineOf(const char* path) {
  std::ifstream file(path);
  std::string line;
  if (!file || !std::getline(file, line)) return std::nullopt;
  const auto first = line.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return std::nullopt;
  return line.substr(first, line.find_last_not_of(" \t\r\n") - first + 1);
}

}  // namespace

std::string Device::vendorIdentifierForMachine(const std::string& machineId, const std::string& vendorName) {
  // The machine id has a fixed length, so plain concatenation cannot make two pairs collide.
  return UUID::nameBasedUUIDString(kVendorIdentifierNamespace, machineId + vendorName);
}

std::optional<std::string> Device::machineIdentifier(const std::string& dataDirectory,
                                                     const std::vector<std::string>& systemFiles) {
  for (const auto& path : systemFiles)
    if (auto id = firstLineOf(path.c_str())) return id;
  const std::string kept = dataDirectory + "/machine-id";
  if (auto id = firstLineOf(kept.c_str())) return id;
  // Written whole to a file of its own, then linked in place only if no other process kept one first.
  std::string id = UUID::randomUUIDString();
  std::erase(id, '-');
  std::transform(id.begin(), id.end(), id.begin(), [](unsigned char c) { return std::tolower(c); });
  const std::string draft = kept + "." + id;
  if (std::ofstream file(draft); !(file << id << '\n' && file.flush())) {
    std::remove(draft.c_str());
    return std::nullopt;
  }
  ::link(draft.c_str(), kept.c_str());
  std::remove(draft.c_str());
  return firstLineOf(kept.c_str());
}

std::shared_ptr<Device> Device::fromThisMachine(const std::string& vendorName, const std::string& dataDirectory) {
  auto device = std::make_shared<Device>();
  MutexLock lock(device->mutex_);  // nobody else has the device yet: held for the analysis, never waited for
  utsname names{};
  if (uname(&names) == 0) {
    device->hwMachine_ = names.machine;
    // The phone's "kern.osversion" is its OS build tag ("20G75"). The kernel release ("6.1.0-18-amd64")
    // names the exact kernel build in one token and stays the same across reboots, whereas the free-form
    // version text carries flags and build dates in a distribution-specific layout.
    device->kernOsVersion_ = names.release;
    device->systemVersion_ = names.release;
  }
  device->systemName_ = "Linux";
  device->model_ = firstLineOf("/sys/devices/virtual/dmi/id/product_name").value_or("Linux");

  if (const auto machineId = machineIdentifier(dataDirectory))
    device->identifierForVendor_ = vendorIdentifierForMachine(*machineId, vendorName);
  return device;
}

std::optional<std::string> Device::sysctlByName(const std::string& name) const {
  MutexLock lock(mutex_);
  if (name == "hw.machine") return hwMachine_;
  if (name == "kern.osversion") return kernOsVersion_;
  const auto found = otherSysctlValues_.find(name);
  if (found == otherSysctlValues_.end()) return std::nullopt;
  return found->second;
}

void Device::setSysctlValue(const std::string& name, std::optional<std::string> value) {
  MutexLock lock(mutex_);
  if (name == "hw.machine") {
    hwMachine_ = std::move(value);
  } else if (name == "kern.osversion") {
    kernOsVersion_ = std::move(value);
  } else if (value) {
    otherSysctlValues_[name] = std::move(*value);
  } else {
    otherSysctlValues_.erase(name);
  }
}

std::optional<std::string> Device::model() const {
  MutexLock lock(mutex_);
  return model_;
}

std::string Device::systemName() const {
  MutexLock lock(mutex_);
  return systemName_;
}

std::string Device::systemVersion() const {
  MutexLock lock(mutex_);
  return systemVersion_;
}

std::optional<std::string> Device::identifierForVendor() const {
  MutexLock lock(mutex_);
  return identifierForVendor_;
}

bool Device::hasTrackingManager() const {
  MutexLock lock(mutex_);
  return hasTrackingManager_;
}

int Device::systemMajorVersion() const {
  MutexLock lock(mutex_);
  // "6.1.0-18-amd64" -> 6, "14.7" -> 14; no leading number -> 0.
  int major = 0;
  const char* begin = systemVersion_.data();
  const auto [end, error] = std::from_chars(begin, begin + systemVersion_.size(), major);
  return error == std::errc() ? major : 0;
}

Device::TrackingStatus Device::trackingAuthorizationStatus() const {
  MutexLock lock(mutex_);
  return trackingStatus_;
}

std::optional<std::string> Device::advertisingIdentifier() const {
  MutexLock lock(mutex_);
  return advertisingIdentifier_;
}

void Device::requestTrackingAuthorization(std::function<void(TrackingStatus)> completion) {
  std::function<void(std::function<void(TrackingStatus)>)> handler;
  TrackingStatus current;
  {
    MutexLock lock(mutex_);
    handler = trackingRequestHandler_;
    current = trackingStatus_;
  }
  if (!handler) {
    if (completion) completion(current);
    return;
  }
  // The host answers whenever and on whatever thread it likes, possibly after a shared Device was replaced
  // and released; then only the completion runs. Only the first answer counts.
  const std::weak_ptr<Device> owner = weak_from_this();
  const bool sharedOwned = !owner.expired();
  auto answered = std::make_shared<std::atomic<bool>>(false);
  handler([this, owner, sharedOwned, answered, completion = std::move(completion)](TrackingStatus status) {
    if (answered->exchange(true)) return;
    if (const auto alive = owner.lock(); alive || !sharedOwned) {
      MutexLock lock(mutex_);
      trackingStatus_ = status;
    }
    if (completion) completion(status);
  });
}

void Device::setModel(std::optional<std::string> model) {
  MutexLock lock(mutex_);
  model_ = std::move(model);
}

void Device::setSystem(std::string name, std::string version) {
  MutexLock lock(mutex_);
  systemName_ = std::move(name);
  systemVersion_ = std::move(version);
}

void Device::setIdentifierForVendor(std::optional<std::string> id) {
  MutexLock lock(mutex_);
  identifierForVendor_ = std::move(id);
}

void Device::setTracking(bool hasManager, TrackingStatus status, std::optional<std::string> advertisingId) {
  MutexLock lock(mutex_);
  hasTrackingManager_ = hasManager;
  trackingStatus_ = status;
  advertisingIdentifier_ = std::move(advertisingId);
}

void Device::setTrackingRequestHandler(std::function<void(std::function<void(TrackingStatus)>)> handler) {
  MutexLock lock(mutex_);
  trackingRequestHandler_ = std::move(handler);
}

}  // namespace tavo::platform
