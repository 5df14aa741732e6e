#pragma once

#include <string>

namespace varnelle {

/// How durations are written. All take seconds and cut off what is finer than they show, and leave out the
/// hours if there are none. What isn't a finite duration from 0 shows as 0.

/// "1:05", "1:00:00".
std::string menuBarDuration(double seconds);
/// "1:05.9", "1:00:00.0".
std::string durationWithTenths(double seconds);
/// "1:05.93", "1:00:00.00"; the timeline's.
std::string durationWithHundredths(double seconds);
/// "01:05": minutes within the hour. Hours are never shown.
std::string panelTimer(double seconds);

}  // namespace varnelle
