#include "tools/time_text.h"

#include <fmt/format.h>

#include <charconv>
#include <cstddef>
#include <iterator>
#include <system_error>

namespace vantor::tools {
namespace {

constexpr std::int64_t kSecond = 10000000;

bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }

// One or more digits and nothing else.
std::optional<std::int64_t> Digits(std::string_view text) {
  std::int64_t value = 0;
  if (text.empty() || !IsDigit(text.front())) {
    return std::nullopt;
  }
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

// The digits behind the point, in 100 ns.
std::optional<std::int64_t> Fraction(std::string_view digits) {
  std::int64_t value = 0;
  std::int64_t unit = kSecond;
  for (const char digit : digits) {
    if (!IsDigit(digit)) {
      return std::nullopt;
    }
    unit /= 10;
    value += (digit - '0') * unit;
  }
  return digits.empty() ? std::nullopt : std::optional(value);
}

std::string Scaled(double value, double step, const char* const* units, std::size_t count) {
  std::size_t unit = 0;
  while (value >= step && unit + 1 < count) {
    value /= step;
    ++unit;
  }
  return unit == 0 ? fmt::format("{:.0f} {}", value, units[0]) : fmt::format("{:.2f} {}", value, units[unit]);
}

}  // namespace

std::string TimeText(std::int64_t hundredNanoseconds) {
  const bool negative = hundredNanoseconds < 0;
  const std::uint64_t whole =
      negative ? 0 - static_cast<std::uint64_t>(hundredNanoseconds) : static_cast<std::uint64_t>(hundredNanoseconds);
  const std::uint64_t milliseconds = whole / 10000;
  return fmt::format("{}{}:{:02}:{:02}.{:03}", negative ? "-" : "", milliseconds / 3600000, milliseconds / 60000 % 60,
                     milliseconds / 1000 % 60, milliseconds % 1000);
}

std::string SaneTimeText(std::int64_t hundredNanoseconds) {
  if (hundredNanoseconds > kLongestSaneTime) return "over a year";
  return hundredNanoseconds < -kLongestSaneTime ? "over a year before 0" : TimeText(hundredNanoseconds);
}

std::optional<std::int64_t> ParseTime(std::string_view text) {
  std::int64_t fraction = 0;
  if (const std::size_t point = text.find('.'); point != std::string_view::npos) {
    const std::optional<std::int64_t> read = Fraction(text.substr(point + 1));
    if (!read) {
      return std::nullopt;
    }
    fraction = *read;
    text = text.substr(0, point);
  }
  std::int64_t seconds = 0;
  for (int fields = 1;; ++fields) {
    const std::size_t colon = text.find(':');
    const std::optional<std::int64_t> field = Digits(text.substr(0, colon));
    if (!field || (fields > 1 && *field >= 60) || fields > 3 || seconds > (INT64_MAX - *field) / 60) {
      return std::nullopt;
    }
    seconds = seconds * 60 + *field;
    if (colon == std::string_view::npos) {
      break;
    }
    text.remove_prefix(colon + 1);
  }
  if (seconds > (INT64_MAX - fraction) / kSecond) {
    return std::nullopt;
  }
  return seconds * kSecond + fraction;
}

std::string SizeText(std::uint64_t bytes) {
  static constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  return Scaled(static_cast<double>(bytes), 1024, kUnits, std::size(kUnits));
}

std::string BitRateText(std::uint64_t bytes, std::int64_t hundredNanoseconds) {
  static constexpr const char* kUnits[] = {"b/s", "kb/s", "Mb/s", "Gb/s"};
  if (hundredNanoseconds <= 0) {
    return "-";
  }
  return Scaled(static_cast<double>(bytes) * 8e7 / static_cast<double>(hundredNanoseconds), 1000, kUnits,
                std::size(kUnits));
}

}  // namespace vantor::tools
