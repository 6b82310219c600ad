#pragma once

namespace tavo {

inline constexpr const char* kTAVOSDKVersion = "4.9.0";
inline constexpr int kTAVOSDKBuildVersion = 108;

}  // namespace tavo
