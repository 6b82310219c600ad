#include "inapp/strip/TAVOStripCampaign.h"

#include "core/TAVOUtils.h"

namespace tavo {

using platform::Value;

void TAVOStripCampaign::parseResponseInfo(const Value& info) {
  const Value* text = info.get("tavo_message");
  message = text && !text->isNull() ? text->stringValue() : "tAVo";
  const auto color = [&](const char* key) -> std::optional<platform::Color> {
    const Value* value = info.get(key);
    if (!value || value->isNull()) return std::nullopt;
    return TAVOUtils::hexaStrToColor(value->stringValue());
  };
  textColor = color("tavo_text_color");
  backgroundColor = color("tavo_background_color");
  const Value* seconds = info.get("tavo_shown_time");
  shownTime = seconds ? static_cast<std::int32_t>(seconds->integerValue()) : 10;
}

}  // namespace tavo
