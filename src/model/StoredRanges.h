#pragma once

namespace varnelle {

// Bounds that no real recording comes near; beyond them a number in a manifest is damage, not data.
inline constexpr double kLargestStoredSeconds = 1e8;
inline constexpr double kLargestStoredSide = 1e5;
inline constexpr double kLargestStoredSetting = 1e6;
inline constexpr int kHighestStoredFrameRate = 1000;

inline constexpr int kDocumentFormatVersion = 1;

}  // namespace varnelle
