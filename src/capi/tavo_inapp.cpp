// The C interface of in-app communications: requests, listeners, impression and click reports, the white list.
// Campaigns reach C listeners as JSON text.

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capi/CInterfaceSupport.h"
#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "inapp/adball/TAVOAdBallPromotion.h"
#include "inapp/banner/TAVOBannerPromotion.h"
#include "inapp/strip/TAVOStripCampaign.h"
#include "inapp/tab/TAVOTabBarPromotion.h"
#include "platform/JSONSerialization.h"
#include "platform/MutexLock.h"
#include "tavo/TAVO.h"
#include "tavo/tavo.h"

struct tavo_in_app_request {
  std::unique_ptr<tavo::TAVOInAppRequest> request;
};

namespace {

using tavo::Dictionary;
using tavo::TAVOCampaign;
using tavo::TAVOLegacy;
using tavo::Value;
using tavo::capi::guarded;
using tavo::capi::text;

Value optionalText(const std::optional<std::string>& s) { return s ? Value(*s) : Value(); }

Value colorText(const std::optional<tavo::platform::Color>& color) {
  if (!color) return Value();
  const auto byte = [](double component) {
    return static_cast<unsigned>(std::lround(std::clamp(component, 0.0, 1.0) * 255.0));
  };
  return Value(tavo::StringFormat::format("#%02x%02x%02x%02x", byte(color->alpha), byte(color->red), byte(color->green),
                                          byte(color->blue)));
}

// The campaign as C listeners read it: the common fields, then the format's own.
std::string campaignJSON(const std::shared_ptr<TAVOCampaign>& campaign) {
  if (!campaign) return "null";
  Dictionary out{{"type", campaign->type},
                 {"id", campaign->idPromo},
                 {"url", optionalText(campaign->promoURL)},
                 {"image_url", optionalText(campaign->imageURL)},
                 {"times", campaign->times},
                 {"can_close", campaign->canClose},
                 {"params", campaign->params}};
  if (const auto banner = std::dynamic_pointer_cast<tavo::TAVOBannerPromotion>(campaign)) {
    out.set("url_image_sp", optionalText(banner->urlImageSP));
    out.set("url_image_tb", optionalText(banner->urlImageTB));
    out.set("position", banner->position ? "bottom" : "top");
    out.set("open_outside", banner->openInSafari);
    out.set("frequency", banner->frequency);
    out.set("show_time", banner->showTime);
    out.set("label", optionalText(banner->label));
  } else if (const auto adBall = std::dynamic_pointer_cast<tavo::TAVOAdBallPromotion>(campaign)) {
    out.set("horizontal_location", adBall->horizontalLocation);
    out.set("vertical_location", adBall->verticalLocation);
  } else if (const auto strip = std::dynamic_pointer_cast<tavo::TAVOStripCampaign>(campaign)) {
    out.set("message", strip->message);
    out.set("text_color", colorText(strip->textColor));
    out.set("background_color", colorText(strip->backgroundColor));
    out.set("shown_time", strip->shownTime);
  } else if (const auto tab = std::dynamic_pointer_cast<tavo::TAVOTabBarPromotion>(campaign)) {
    out.set("tab_name", optionalText(tab->tabName));
    out.set("tab_index", tab->tabIndex);
    out.set("tab_image_url", optionalText(tab->tabImageURL));
  }
  return tavo::platform::JSONSerialization::dataWithJSONObject(Value(std::move(out))).value_or("null");
}

bool sameDelegate(const tavo_in_app_delegate& a, const tavo_in_app_delegate& b) {
  return a.on_shown == b.on_shown && a.on_hide == b.on_hide && a.on_close == b.on_close &&
         a.on_received == b.on_received && a.on_batch_native_ad_received == b.on_batch_native_ad_received &&
         a.user_data == b.user_data;
}

std::shared_ptr<tavo::TAVOInAppMessageDelegate> inAppDelegateFor(const tavo_in_app_delegate& callbacks) {
  auto delegate = std::make_shared<tavo::TAVOInAppMessageDelegate>();
  const auto campaignCallback = [callbacks](void (*callback)(const char*, void*)) {
    return [callbacks, callback](const std::shared_ptr<TAVOCampaign>& campaign) {
      callback(campaignJSON(campaign).c_str(), callbacks.user_data);
    };
  };
  if (callbacks.on_shown) delegate->onShown = campaignCallback(callbacks.on_shown);
  if (callbacks.on_hide) delegate->onHide = campaignCallback(callbacks.on_hide);
  if (callbacks.on_close) delegate->onClose = campaignCallback(callbacks.on_close);
  // Set, so that a native-ad request is accepted; native ads are not yet delivered to any listener.
  const auto notDelivered = [](const auto&) {
    tavo::TAVOLogger::logAndType("Native ads cannot yet be handed to a C listener", tavo::TAVOLogger::Plain);
  };
  if (callbacks.on_received) delegate->onReceived = notDelivered;
  if (callbacks.on_batch_native_ad_received) delegate->onBatchNativeAdReceived = notDelivered;
  return delegate;
}

// The SDK holds in-app listeners weakly and tells them apart by object: each C listener, told apart by its
// members, is one SDK listener kept alive here until it is removed.
class CInAppDelegates {
 public:
  static CInAppDelegates& shared() {
    static CInAppDelegates registry;
    return registry;
  }

  // The listener for these callbacks, made on first use; created tells whether it was.
  std::shared_ptr<tavo::TAVOInAppMessageDelegate> delegateFor(const tavo_in_app_delegate& callbacks, bool& created) {
    tavo::platform::MutexLock lock(mutex_);
    for (const auto& [known, delegate] : entries_)
      if (sameDelegate(known, callbacks)) {
        created = false;
        return delegate;
      }
    created = true;
    return entries_.emplace_back(callbacks, inAppDelegateFor(callbacks)).second;
  }

  // Forgets the listener for these callbacks and returns it (none when there was none).
  std::shared_ptr<tavo::TAVOInAppMessageDelegate> take(const tavo_in_app_delegate& callbacks) {
    tavo::platform::MutexLock lock(mutex_);
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const auto& entry) { return sameDelegate(entry.first, callbacks); });
    if (found == entries_.end()) return nullptr;
    auto delegate = std::move(found->second);
    entries_.erase(found);
    return delegate;
  }

 private:
  tavo::platform::Mutex mutex_;
  std::vector<std::pair<tavo_in_app_delegate, std::shared_ptr<tavo::TAVOInAppMessageDelegate>>> entries_
      GUARDED_BY(mutex_);
};

bool present(const tavo_in_app_request* request) {
  if (!request) tavo::TAVOLogger::logAndType("In-app request ignored: no request", tavo::TAVOLogger::Plain);
  return request != nullptr;
}

bool isListening(const std::shared_ptr<tavo::TAVOInAppMessageDelegate>& delegate) {
  const auto listening = tavo::TAVOController::sharedInstance().inAppDelegates();
  return std::find(listening.begin(), listening.end(), delegate) != listening.end();
}

}  // namespace

extern "C" {

tavo_in_app_request* tavo_in_app_request_new(unsigned type) {
  return guarded(__func__, [&] {
    auto* handle = new tavo_in_app_request;
    if (type == tavo::TAVOInAppRequest::NativeAd) {
      handle->request = std::make_unique<tavo::TAVONativeAdRequest>();
    } else {
      handle->request = std::make_unique<tavo::TAVOInAppRequest>(type);
    }
    return handle;
  });
}

void tavo_in_app_request_set_label(tavo_in_app_request* request, const char* label) {
  guarded(__func__, [&] {
    if (present(request)) request->request->label = text(label);
  });
}

void tavo_in_app_request_set_custom_id(tavo_in_app_request* request, const char* custom_id) {
  guarded(__func__, [&] {
    if (present(request)) request->request->customId = text(custom_id);
  });
}

void tavo_in_app_request_set_in_app_message_id(tavo_in_app_request* request, const char* message_id) {
  guarded(__func__, [&] {
    if (present(request)) request->request->inAppMessageId = text(message_id);
  });
}

void tavo_in_app_request_set_delegate(tavo_in_app_request* request, const tavo_request_delegate* delegate) {
  guarded(__func__, [&] {
    if (!present(request)) return;
    request->request->requestDelegate = delegate ? tavo::capi::requestDelegateFor(*delegate) : nullptr;
  });
}

void tavo_in_app_request_free(tavo_in_app_request* request) {
  guarded(__func__, [&] { delete request; });
}

void tavo_in_app_message(const tavo_in_app_request* request) {
  guarded(__func__, [&] { TAVOLegacy::inAppMessage(request ? request->request.get() : nullptr); });
}

void tavo_in_app_message_with_delegate(const tavo_in_app_request* request, const tavo_in_app_delegate* delegate) {
  guarded(__func__, [&] {
    if (!delegate) {
      TAVOLegacy::inAppMessage(request ? request->request.get() : nullptr, nullptr);
      return;
    }
    bool created = false;
    const auto listener = CInAppDelegates::shared().delegateFor(*delegate, created);
    TAVOLegacy::inAppMessage(request ? request->request.get() : nullptr, listener);
    // A refused request adds no listener: one made just for it is not kept.
    if (created && !isListening(listener)) CInAppDelegates::shared().take(*delegate);
  });
}

void tavo_add_in_app_delegate(const tavo_in_app_delegate* delegate) {
  guarded(__func__, [&] {
    if (!delegate) return;
    bool created = false;
    TAVOLegacy::addInAppDelegate(CInAppDelegates::shared().delegateFor(*delegate, created));
  });
}

void tavo_remove_in_app_delegate(const tavo_in_app_delegate* delegate) {
  guarded(__func__, [&] {
    if (!delegate) return;
    if (const auto listener = CInAppDelegates::shared().take(*delegate)) TAVOLegacy::removeInAppDelegate(listener);
  });
}

void tavo_send_impression(unsigned campaign_type, const char* campaign_id) {
  guarded(__func__, [&] {
    if (!campaign_id) {
      tavo::TAVOLogger::logAndType("Impression ignored: no campaign id", tavo::TAVOLogger::Plain);
      return;
    }
    TAVOLegacy::sendImpression(campaign_type, campaign_id);
  });
}

void tavo_send_click(unsigned campaign_type, const char* campaign_id) {
  guarded(__func__, [&] {
    if (!campaign_id) {
      tavo::TAVOLogger::logAndType("Click ignored: no campaign id", tavo::TAVOLogger::Plain);
      return;
    }
    TAVOLegacy::sendClick(campaign_type, campaign_id);
  });
}

void tavo_set_whitelist(const char* const* prefixes, size_t count) {
  guarded(__func__, [&] {
    TAVOLegacy::setWhitelist(prefixes ? std::optional(tavo::capi::list(prefixes, count)) : std::nullopt);
  });
}

void tavo_set_start_view_options(unsigned options) {
  guarded(__func__, [&] { TAVOLegacy::setStartViewOptions(options); });
}

bool tavo_set_start_view_parameters_json(const char* parameters_json) {
  return guarded(__func__, [&] {
    if (!parameters_json) {
      TAVOLegacy::setStartViewParameters(std::nullopt);
      return true;
    }
    const auto parameters = tavo::platform::JSONSerialization::JSONObjectWithData(parameters_json);
    if (!parameters || !parameters->isDictionary()) {
      tavo::TAVOLogger::logAndType("Start view parameters ignored: not a JSON object", tavo::TAVOLogger::Plain);
      return false;
    }
    TAVOLegacy::setStartViewParameters(*parameters->asDictionary());
    return true;
  });
}

void tavo_close_start_view(void) {
  guarded(__func__, [] { TAVOLegacy::closeStartView(); });
}

void tavo_set_banner_auto_creation(bool auto_creation) {
  guarded(__func__, [&] { TAVOLegacy::setBannerAutoCreation(auto_creation); });
}

char* tavo_whitelist_json(void) {
  return guarded(__func__, [&] {
    const auto prefixes = TAVOLegacy::whitelist();
    if (!prefixes) return tavo::capi::copy("null");
    tavo::platform::Array entries(prefixes->begin(), prefixes->end());
    return tavo::capi::copy(
        tavo::platform::JSONSerialization::dataWithJSONObject(Value(std::move(entries))).value_or("[]"));
  });
}

}  // extern "C"
