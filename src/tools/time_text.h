// Times, sizes and rates for people.
#pragma once

#include <cstdint>
#include <string>

namespace vantor::tools {

// "1:02:03.456" for a count of 100 ns; rounded down to the millisecond, with a sign before zero.
std::string TimeText(std::int64_t hundred_nanoseconds);
// "12.3 MiB"; whole bytes below 1024.
std::string SizeText(std::uint64_t bytes);
// "4.21 Mb/s", of so many bytes over so long; "-" for no time.
std::string BitRateText(std::uint64_t bytes, std::int64_t hundred_nanoseconds);

}  // namespace vantor::tools
