#include "tools/time_text.h"

#include <fmt/format.h>

#include <cstddef>
#include <iterator>

namespace vantor::tools {
namespace {

std::string Scaled(double value, double step, const char* const* units, std::size_t count) {
  std::size_t unit = 0;
  while (value >= step && unit + 1 < count) {
    value /= step;
    ++unit;
  }
  return unit == 0 ? fmt::format("{:.0f} {}", value, units[0]) : fmt::format("{:.2f} {}", value, units[unit]);
}

}  // namespace

std::string TimeText(std::int64_t hundred_nanoseconds) {
  const bool negative = hundred_nanoseconds < 0;
  const std::uint64_t whole =
      negative ? 0 - static_cast<std::uint64_t>(hundred_nanoseconds) : static_cast<std::uint64_t>(hundred_nanoseconds);
  const std::uint64_t milliseconds = whole / 10000;
  return fmt::format("{}{}:{:02}:{:02}.{:03}", negative ? "-" : "", milliseconds / 3600000, milliseconds / 60000 % 60,
                     milliseconds / 1000 % 60, milliseconds % 1000);
}

std::string SizeText(std::uint64_t bytes) {
  static constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  return Scaled(static_cast<double>(bytes), 1024, kUnits, std::size(kUnits));
}

std::string BitRateText(std::uint64_t bytes, std::int64_t hundred_nanoseconds) {
  static constexpr const char* kUnits[] = {"b/s", "kb/s", "Mb/s", "Gb/s"};
  if (hundred_nanoseconds <= 0) {
    return "-";
  }
  return Scaled(static_cast<double>(bytes) * 8e7 / static_cast<double>(hundred_nanoseconds), 1000, kUnits,
                std::size(kUnits));
}

}  // namespace vantor::tools
