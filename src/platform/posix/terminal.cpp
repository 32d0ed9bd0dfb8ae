#include "platform/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/posix/broken_pipe.h"

namespace vantor::platform {

bool IsTerminal(std::FILE* stream) noexcept { return isatty(fileno(stream)) == 1; }

int TerminalWidth(std::FILE* stream, int fallback) noexcept {
  winsize size = {};
  return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : fallback;
}

void WriteMessage(std::FILE* stream, const char* bytes, std::size_t size) noexcept {
  const BrokenPipeHeldBack noSignal;
  static_cast<void>(std::fwrite(bytes, 1, size, stream));
  static_cast<void>(std::fflush(stream));
}

void PrepareTerminal(std::FILE*) noexcept {}

}  // namespace vantor::platform
