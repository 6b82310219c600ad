#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/FaultyStorage.h"
#include "platform/UserDefaults.h"

namespace tavo::platform {

// User defaults over another store, failing as its FaultyStorage says: a failed write changes nothing and
// returns false; a damaged read of Data returns torn bytes, and of any other value nothing (an unreadable row).
class FaultyUserDefaults final : public UserDefaults {
 public:
  FaultyUserDefaults(std::shared_ptr<UserDefaults> store, std::shared_ptr<FaultyStorage> faults);

  std::optional<Value> objectForKey(const std::string& key) const override;
  [[nodiscard]] bool setObject(const Value& value, const std::string& key) override;
  bool setObjectIfUnchanged(const Value& value, const std::string& key, const std::optional<Value>& expected) override;
  [[nodiscard]] bool removeObjectForKey(const std::string& key) override;
  [[nodiscard]] bool synchronize() override;

 private:
  const std::shared_ptr<UserDefaults> store_;
  const std::shared_ptr<FaultyStorage> faults_;
};

}  // namespace tavo::platform
