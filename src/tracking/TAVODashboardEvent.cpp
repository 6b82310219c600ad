#include "tracking/TAVODashboardEvent.h"

namespace tavo {

namespace {

std::optional<std::string> stringAt(const platform::Value& element, const char* key) {
  const platform::Value* v = element.get(key);
  if (v && v->isString()) return *v->asString();
  return std::nullopt;
}

}  // namespace

TAVODashboardEvent::TAVODashboardEvent(const platform::Value& element)
    : category(stringAt(element, "category")), token(stringAt(element, "token")), name(stringAt(element, "name")) {
  if (const platform::Value* id = element.get("id")) _id = static_cast<std::int32_t>(id->integerValue());
  if (const platform::Value* isActive = element.get("active")) active = isActive->integerValue() != 0;
}

}  // namespace tavo
