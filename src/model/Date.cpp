#include "model/Date.h"

namespace lmimport {
namespace {

constexpr std::int64_t FloorDivide(std::int64_t value, std::int64_t divisor) {
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}

// Days from 1970-01-01 to the first of a month, with years that begin in March, so that the leap
// day is the last of its year.
constexpr std::int64_t DaysToMonth(std::int64_t year, std::int64_t month) {
  const std::int64_t marchYear = month <= 2 ? year - 1 : year;
  const std::int64_t era = FloorDivide(marchYear, 400);
  const std::int64_t yearOfEra = marchYear - era * 400;
  const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

constexpr std::int64_t DateZero = DaysToMonth(1899, 12) + 29;

}  // namespace

Date DateSerial(std::int64_t year, std::int64_t month, std::int64_t day) {
  if (year >= 0 && year <= 29) {
    year += 2000;
  } else if (year >= 30 && year <= 99) {
    year += 1900;
  }
  const std::int64_t carry = FloorDivide(month - 1, 12);
  return static_cast<Date>(DaysToMonth(year + carry, month - carry * 12) + day - 1 - DateZero);
}

Date TimeSerial(std::int64_t hour, std::int64_t minute, std::int64_t second) {
  return static_cast<Date>(hour * 3600 + minute * 60 + second) / SecondsPerDay;
}

}  // namespace lmimport
