#include "tools/progress_bar.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "platform/terminal.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

constexpr int kFallbackWidth = 80;

bool ColourWanted() {
  const char* const noColour = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): nothing here sets it
  return noColour == nullptr || *noColour == '\0';
}

}  // namespace

// The bar takes the columns that the text leaves, but for the last one: a full line would make the terminal begin the
// next. With too few for a bar the text stands alone.
std::string ProgressLine(std::int64_t position, std::int64_t duration, int width, bool coloured) {
  position = std::max<std::int64_t>(position, 0);
  if (duration <= 0) {
    return TimeText(position);
  }
  const double share = std::min(1.0, static_cast<double>(position) / static_cast<double>(duration));
  std::string text = fmt::format(" {:3.0f}%  {} / {}", share * 100, TimeText(position), TimeText(duration));
  const int room = std::max(width - 1 - static_cast<int>(text.size()) - 2, 0);
  if (room < 4) {
    return text;
  }
  const auto done = static_cast<std::size_t>(share * room);
  const std::string filled(done, '#');
  const std::string rest(static_cast<std::size_t>(room) - done, '-');
  return fmt::format("[{}{}{}{}]{}", coloured ? "\x1b[32m" : "", filled, coloured ? "\x1b[0m" : "", rest, text);
}

ProgressBar::ProgressBar(std::FILE* stream)
    : stream_(stream), shown_(platform::IsTerminal(stream)), coloured_(ColourWanted()) {
  if (shown_) {
    platform::PrepareTerminal(stream);
  }
}

// A terminal that has gone away is no reason to stop.
void ProgressBar::Show(const std::string& text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stream_));
  static_cast<void>(std::fflush(stream_));
}

void ProgressBar::Draw(std::int64_t position, std::int64_t duration) {
  if (!shown_) {
    return;
  }
  const int width = platform::TerminalWidth(stream_, kFallbackWidth);
  Show(fmt::format("\r{}\x1b[K", ProgressLine(position, duration, width, coloured_)));
  drawn_ = true;
}

void ProgressBar::Clear() {
  if (drawn_) {
    Show("\r\x1b[K");
    drawn_ = false;
  }
}

}  // namespace vantor::tools
