// The calendar arithmetic of the whole system.
#pragma once

#include <lmimport/Types.h>

#include <cstdint>

namespace lmimport {

inline constexpr Double SecondsPerDay = 86400.0;

/// The Date of a day. A year from 0 to 29 means 2000 to 2029, from 30 to 99 means 1930 to 1999; a
/// month or day out of range carries over (month 13 is January of the year after, day 0 the last
/// day of the month before). Proleptic Gregorian calendar.
Date DateSerial(std::int64_t year, std::int64_t month, std::int64_t day);

/// The time of day as a part of a day; what is out of range carries over.
Date TimeSerial(std::int64_t hour, std::int64_t minute, std::int64_t second);

}  // namespace lmimport
