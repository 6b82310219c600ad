#include "inapp/tab/TAVOTabBarPromotion.h"

namespace tavo {

using platform::Value;

void TAVOTabBarPromotion::parseResponseInfo(const platform::Dictionary& info) {
  tabImageURL = URLWithValue(info.find("tab_image"));
  const Value* name = info.find("tab_name");
  tabName = name && !name->isNull() ? std::optional<std::string>(name->stringValue()) : std::nullopt;
  const Value* index = info.find("tab_index");
  tabIndex = index ? index->integerValue() : -1;
}

}  // namespace tavo
