#include "platform/program.h"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <csignal>

namespace vantor::platform {

std::vector<std::string> Arguments(int argc, const char* const* argv) { return {argv, argv + argc}; }

void ShareFreedMemory() noexcept {
#if defined(__GLIBC__)
  // Two, since with one the threads would wait for each other.
  mallopt(M_ARENA_MAX, 2);  // NOLINT(concurrency-mt-unsafe): there is one thread
#endif
}

void LetWritesFail() noexcept { std::signal(SIGXFSZ, SIG_IGN); }
void EndProcess(std::string_view message, int status) noexcept {
  std::signal(SIGPIPE, SIG_IGN);
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, message.data(), message.size());
  _exit(status);
}

// A stream that the program was started without gets a stand-in: else the next file opened would get its number, and
// be written to. Reading from this one ends at once, and writing fails as it should.
StandardStreams::StandardStreams() noexcept {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) {
      // The lowest number that is free, which is this one.
      static_cast<void>(open("/dev/null", O_RDONLY));
    }
  }
}

StandardStreams::~StandardStreams() = default;

}  // namespace vantor::platform
