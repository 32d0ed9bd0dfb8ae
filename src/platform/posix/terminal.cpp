#include "platform/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <ctime>

namespace vantor::platform {

bool IsTerminal(std::FILE* stream) noexcept { return isatty(fileno(stream)) == 1; }

int TerminalWidth(std::FILE* stream, int fallback) noexcept {
  winsize size = {};
  return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : fallback;
}

// The signal of a broken pipe goes to the thread that writes, and is taken off again before anybody else sees it.
void WriteMessage(std::FILE* stream, const char* bytes, std::size_t size) noexcept {
  sigset_t brokenPipe;
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);
  sigset_t pending;
  const bool wasPending = sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
  sigset_t before;
  const bool isHeldBack = pthread_sigmask(SIG_BLOCK, &brokenPipe, &before) == 0;
  static_cast<void>(std::fwrite(bytes, 1, size, stream));
  static_cast<void>(std::fflush(stream));
  if (!isHeldBack) return;
  const timespec noTime = {};
  if (!wasPending) sigtimedwait(&brokenPipe, nullptr, &noTime);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void PrepareTerminal(std::FILE*) noexcept {}

}  // namespace vantor::platform
