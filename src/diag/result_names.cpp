#include "diag/result_names.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "diag/name_tables.h"

namespace vantor {
namespace {

constexpr std::uint32_t kFirstWinsock = 0x80072710;  // errors 10000 to 11999 of the system
constexpr std::uint32_t kLastWinsock = 0x80072EDF;
constexpr std::uint32_t kFirstRaster = 0x8005F000;
constexpr std::uint32_t kLastRaster = 0x8005FFFF;

const char* Formatted(const char* format, ...) {
  thread_local char text[100];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return text;
}

const char* NameOrNumber(std::span<const NameRow> rows, std::uint32_t code) {
  const char* name = FindName(rows, code);
  return name != nullptr ? name : Formatted("0x%08X", static_cast<unsigned>(code));
}

const char* WinsockName(std::uint32_t key) {
  const char* name = FindName(WinsockNameRows(), key);
  const auto number = static_cast<unsigned>(key);
  return name != nullptr ? name : Formatted("Unknown Winsock error (%d=0x%08X)", static_cast<int>(key), number);
}

}  // namespace

const char* FindName(std::span<const NameRow> rows, std::uint32_t code) {
  if (rows.empty()) return nullptr;
  if (code == rows.front().code) return rows.front().text;
  if (code == rows.back().code) return rows.back().text;
  if (code < rows.front().code || code > rows.back().code) return nullptr;
  std::size_t low = 0;
  std::size_t high = rows.size() - 1;
  for (;;) {
    const std::size_t middle = (low + high) / 2;
    if (middle == low) return nullptr;
    if (rows[middle].code == code) return rows[middle].text;
    (rows[middle].code < code ? low : high) = middle;
  }
}

const char* LookupResultName(HRESULT result) {
  const auto code = static_cast<std::uint32_t>(result);
  if (code >= kFirstWinsock && code <= kLastWinsock) return WinsockName(code & 0xFFFF);
  if (code < kFirstRaster || code > kLastRaster) return NameOrNumber(ResultNameRows(), code);
  return Formatted("Vantor Raster Error (%d)", static_cast<int>(kFirstRaster) - static_cast<int>(code));
}

const char* LookupEventName(long event) { return NameOrNumber(EventNameRows(), static_cast<std::uint32_t>(event)); }

const char* LookupMessageName(std::uint32_t message) { return NameOrNumber(MessageNameRows(), message); }

}  // namespace vantor
