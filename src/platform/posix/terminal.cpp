#include "platform/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace vantor::platform {

bool IsTerminal(std::FILE* stream) noexcept { return isatty(fileno(stream)) == 1; }

int TerminalWidth(std::FILE* stream, int fallback) noexcept {
  winsize size = {};
  return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : fallback;
}

void PrepareTerminal(std::FILE*) noexcept {}

}  // namespace vantor::platform
