#include "tools/event_name.h"

#include <fmt/format.h>

#include <cstdint>

namespace vantor::tools {
namespace {

struct Row {
  LONG code;
  const char* name;
};

constexpr Row kRows[] = {
    {EC_COMPLETE, "EC_COMPLETE"},
    {EC_USERABORT, "EC_USERABORT"},
    {EC_ERRORABORT, "EC_ERRORABORT"},
    {EC_TIME, "EC_TIME"},
    {EC_REPAINT, "EC_REPAINT"},
    {EC_STREAM_ERROR_STOPPED, "EC_STREAM_ERROR_STOPPED"},
    {EC_STREAM_ERROR_STILLPLAYING, "EC_STREAM_ERROR_STILLPLAYING"},
    {EC_ERROR_STILLPLAYING, "EC_ERROR_STILLPLAYING"},
    {EC_PALETTE_CHANGED, "EC_PALETTE_CHANGED"},
    {EC_VIDEO_SIZE_CHANGED, "EC_VIDEO_SIZE_CHANGED"},
    {EC_QUALITY_CHANGE, "EC_QUALITY_CHANGE"},
    {EC_SHUTTING_DOWN, "EC_SHUTTING_DOWN"},
    {EC_CLOCK_CHANGED, "EC_CLOCK_CHANGED"},
    {EC_OPENING_FILE, "EC_OPENING_FILE"},
    {EC_BUFFERING_DATA, "EC_BUFFERING_DATA"},
    {EC_NEED_RESTART, "EC_NEED_RESTART"},
};

}  // namespace

std::string EventName(LONG code) {
  for (const Row& row : kRows) {
    if (row.code == code) {
      return row.name;
    }
  }
  return fmt::format("0x{:08X}", static_cast<std::uint32_t>(code));
}

}  // namespace vantor::tools
