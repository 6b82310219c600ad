#pragma once

namespace tavo {

// The kinds of answer the response handler tells apart, by the payload that was sent.
enum TAVOResponseType : int {
  TAVOResponseStatus = 0,
  TAVOResponseUserData = 1,
  TAVOResponseStartSessionConfig = 2,
  TAVOResponseStartView = 3,
  TAVOResponseAdBall = 4,
  TAVOResponseBanner = 5,
  TAVOResponseTextBanner = 6,
  TAVOResponseTabBar = 7,
  TAVOResponseCoupons = 8,
  TAVOResponseRule = 9,
  TAVOResponseNativeAd = 10,
  TAVOResponseAttributionClick = 11,
  TAVOResponseAppleAdsAttribution = 12,
  TAVOResponseResetUser = 13,
  TAVOResponseInstallAttribution = 14,
  TAVOResponseShortTrackingUrl = 15,
};

}  // namespace tavo
