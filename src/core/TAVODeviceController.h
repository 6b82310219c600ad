#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/Mutex.h"
#include "tavo/platform/Value.h"

namespace tavo {

// Identifiers and descriptive facts of the device that every payload carries. Callable from any thread.
class TAVODeviceController : public std::enable_shared_from_this<TAVODeviceController> {
 public:
  // The installation identifier "V-<vendor id>", made once and kept in the store; it never changes
  // afterwards, even if the vendor identifier does.
  std::string deviceUUID();
  // The identifier for vendor as upper-case UUID text, or nullopt when the device offers none.
  std::optional<std::string> vendorId() const;
  // The advertising identifier when the user authorised tracking; fetched once, then kept.
  std::optional<std::string> idfa();
  // Asks the user for tracking consent; on authorisation the advertising identifier is kept.
  void requestTrackingWithIdfa();

  std::string deviceModel() const;                 // "hw.machine", else the device model, else "Undefined"
  std::optional<std::string> deviceBuild() const;  // "kern.osversion"
  std::string deviceFirmware() const;              // "<system name> <system version>"
  std::string currentLocale() const;
  std::string timeZoneName() const;

  // Adds "idfa" and "idfv" when each is known; nothing else.
  void addDeviceIdsToDict(platform::Dictionary& dict);

 private:
  platform::Mutex mutex_;
  std::optional<std::string> idfa_ GUARDED_BY(mutex_);
  std::optional<std::string> deviceUUID_ GUARDED_BY(mutex_);  // cached: only this process writes it
};

}  // namespace tavo
