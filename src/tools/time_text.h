// Times, sizes and rates for people.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantor::tools {

// "1:02:03.456" for a count of 100 ns; rounded down to the millisecond, with a sign before zero.
std::string TimeText(std::int64_t hundredNanoseconds);
// No media lasts longer: times beyond are damage, 100 ns.
inline constexpr std::int64_t kLongestSaneTime = std::int64_t{366} * 24 * 3600 * 10000000;
// The same for times from a file, with words in place of those that are none.
std::string SaneTimeText(std::int64_t hundredNanoseconds);
// The other way, in 100 ns: seconds, minutes:seconds or hours:minutes:seconds, the seconds with or without a fraction,
// whose digits beyond the seventh are dropped: "90", "1:30", "00:01:30.5". Behind a colon only 0 to 59 count. Nothing
// for any other text, and for a time that does not fit.
std::optional<std::int64_t> ParseTime(std::string_view text);
// "12.3 MiB"; whole bytes below 1024.
std::string SizeText(std::uint64_t bytes);
// "4.21 Mb/s", of so many bytes over so long; "-" for no time.
std::string BitRateText(std::uint64_t bytes, std::int64_t hundredNanoseconds);

}  // namespace vantor::tools
