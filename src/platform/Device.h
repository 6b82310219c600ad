#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Mutex.h"

namespace tavo::platform {

// Facts about the device and the services the phone platform offers for them: kernel variables, model,
// system name and version, the identifier for vendor, and the advertising identifier behind the user's
// tracking consent. fromThisMachine reads them off the Linux machine; tests and hosts may set any of them.
// Thread-safe.
class Device : public std::enable_shared_from_this<Device> {
 public:
  // The tracking-authorisation status values of the platform.
  enum TrackingStatus { NotDetermined = 0, Restricted = 1, Denied = 2, Authorized = 3 };

  Device() = default;
  // Model and OS from uname; "kern.osversion" from the kernel version; the identifier for vendor derived
  // from the machine id (machineIdentifier, kept in dataDirectory when the system has none) and vendorName,
  // stable across reinstalls. No advertising identifier and status NotDetermined until the host grants
  // tracking.
  static std::shared_ptr<Device> fromThisMachine(const std::string& vendorName, const std::string& dataDirectory);
  // The system's machine id, the first of systemFiles that holds one. A system without one gets an id made
  // once and kept in dataDirectory's "machine-id" file, beside the SDK's store but not in it, so that neither
  // a reset of the SDK nor a restart changes it. nullopt only when none can be read or kept.
  static std::optional<std::string> machineIdentifier(const std::string& dataDirectory,
                                                      const std::vector<std::string>& systemFiles = {
                                                          "/etc/machine-id", "/var/lib/dbus/machine-id"});
  // The identifier for vendor fromThisMachine derives from a machine id: a name-based UUID of the id and the
  // vendor, so the same machine and vendor always give the same text and another vendor gets another.
  static std::string vendorIdentifierForMachine(const std::string& machineId, const std::string& vendorName);

  // The kernel variable by name ("hw.machine", "kern.osversion"); nullopt when unreadable/unknown.
  std::optional<std::string> sysctlByName(const std::string& name) const;
  void setSysctlValue(const std::string& name, std::optional<std::string> value);

  std::optional<std::string> model() const;
  std::string systemName() const;
  std::string systemVersion() const;
  // Upper-case canonical UUID text, or nullopt when the device offers none.
  std::optional<std::string> identifierForVendor() const;

  // Whether the platform has a tracking-consent service at all (the "ATTrackingManager" class exists).
  bool hasTrackingManager() const;
  int systemMajorVersion() const;  // for "OS version 14 or later" checks
  TrackingStatus trackingAuthorizationStatus() const;
  // The advertising identifier (upper-case UUID text); only meaningful when authorised.
  std::optional<std::string> advertisingIdentifier() const;
  // Asks for consent; completion gets the resulting status (on the thread the host answers on). Without a
  // host handler the current status is reported at once.
  void requestTrackingAuthorization(std::function<void(TrackingStatus)> completion);

  // Host/test controls.
  void setModel(std::optional<std::string> model);
  void setSystem(std::string name, std::string version);
  void setIdentifierForVendor(std::optional<std::string> id);
  void setTracking(bool hasManager, TrackingStatus status, std::optional<std::string> advertisingId);
  void setTrackingRequestHandler(std::function<void(std::function<void(TrackingStatus)>)> handler);

 private:
  mutable Mutex mutex_;
  std::optional<std::string> hwMachine_ GUARDED_BY(mutex_);
  std::optional<std::string> kernOsVersion_ GUARDED_BY(mutex_);
  // Names a host or test sets beyond the two above.
  std::map<std::string, std::string> otherSysctlValues_ GUARDED_BY(mutex_);
  std::optional<std::string> model_ GUARDED_BY(mutex_);
  std::string systemName_ GUARDED_BY(mutex_);
  std::string systemVersion_ GUARDED_BY(mutex_);
  std::optional<std::string> identifierForVendor_ GUARDED_BY(mutex_);
  bool hasTrackingManager_ GUARDED_BY(mutex_) = false;
  TrackingStatus trackingStatus_ GUARDED_BY(mutex_) = NotDetermined;
  std::optional<std::string> advertisingIdentifier_ GUARDED_BY(mutex_);
  std::function<void(std::function<void(TrackingStatus)>)> trackingRequestHandler_ GUARDED_BY(mutex_);
};

}  // namespace tavo::platform
