#include "inapp/strip/TAVOStripCampaign.h"

#include "core/Exception.h"
#include "core/TAVOLogger.h"
#include "core/TAVOUtils.h"

namespace tavo {

using platform::Value;

namespace {

std::optional<platform::Color> color(const Value* text) {
  if (!text || !text->isString()) return std::nullopt;
  try {
    return TAVOUtils::hexaStrToColor(*text->asString());
  } catch (const Exception& e) {
    // A colour the server got wrong must not take the app down: the strip keeps the overlay's colour.
    TAVOLogger::logAndType(e.name() + ": " + *text->asString(), TAVOLogger::Plain);
    return std::nullopt;
  }
}

}  // namespace

void TAVOStripCampaign::parseResponseInfo(const platform::Dictionary& info) {
  const Value* text = info.find("tavo_message");
  message = text && !text->isNull() ? text->stringValue() : "tAVo";
  textColor = color(info.find("tavo_text_color"));
  backgroundColor = color(info.find("tavo_background_color"));
  const Value* seconds = info.find("tavo_shown_time");
  shownTime = seconds ? static_cast<std::int32_t>(seconds->integerValue()) : 10;
}

}  // namespace tavo
