/// @file
/// Seconds as `double` and the clocks' nanoseconds, for every double there is.
#pragma once

#include <chrono>
#include <cstdint>

namespace Kestrane {

/// Longest duration that `to_duration` gives: 2^62 ns, some 146 years. A deadline that far after the present
/// still fits the steady and the system clock.
inline constexpr std::chrono::nanoseconds c_longest_duration{std::int64_t{1} << 62};

/// Seconds as a duration, truncated toward zero and clamped to plus or minus `c_longest_duration`. NaN is 0.
inline std::chrono::nanoseconds to_duration(double _seconds) {
    const double nanos = _seconds * 1e9;
    if (nanos >= 0x1p62) return c_longest_duration;
    if (nanos <= -0x1p62) return -c_longest_duration;
    return std::chrono::nanoseconds(nanos == nanos ? static_cast<std::int64_t>(nanos) : 0);
}

inline double to_seconds(std::chrono::nanoseconds _duration) {
    return static_cast<double>(_duration.count()) / 1e9;
}

/// Whether `_now` + `_seconds` is a number of nanoseconds of signed 64 bits. NaN and the infinities do not
/// fit.
inline bool deadline_fits(double _seconds, std::chrono::nanoseconds _now) {
    const double deadline = static_cast<double>(_now.count()) + _seconds * 1e9;
    return deadline >= -0x1p63 && deadline < 0x1p63;
}

/// The same from the system clock's present time.
inline bool deadline_fits(double _seconds) {
    return deadline_fits(_seconds, std::chrono::system_clock::now().time_since_epoch());
}

}  // namespace Kestrane
