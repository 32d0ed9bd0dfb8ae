// What a command-line program needs before anything else: its arguments as UTF-8, and standard streams that take bytes
// as they are.
//
//   int main(int argc, char** argv) {
//     platform::ShareFreedMemory();
//     platform::LetWritesFail();
//     const platform::StandardStreams streams;
//     const std::vector<std::string> arguments = platform::Arguments(argc, argv);
//     return Run(arguments);
//   }
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantor::platform {

// The arguments, the program's own name first: UTF-8 on Windows, whatever the code page is; the system's own bytes
// elsewhere.
std::vector<std::string> Arguments(int argc, const char* const* argv);

// To be called before there are threads: memory that they give back is there for all of them. Each having some of its
// own makes a program of many threads keep many times what it needs.
void ShareFreedMemory() noexcept;

// A write beyond the size that a file may have fails, as others do; it does not end the program.
void LetWritesFail() noexcept;
// Ends the program at once, without anything that its objects would do, after a message on standard error; only the
// console is as it was before. For signal handlers, too.
[[noreturn]] void EndProcess(std::string_view message, int status) noexcept;

// For as long as it lives, line ends are written as they are and a console reads what is written as UTF-8. What the
// console had before is put back at its end, and at that of the program, be it EndProcess, an interrupt that nothing
// handles or the closing of the window. One a program, made before it handles any signal.
class StandardStreams {
 public:
  StandardStreams() noexcept;
  // NOLINTNEXTLINE(performance-trivially-destructible): one system has something to put back
  ~StandardStreams();
  StandardStreams(const StandardStreams&) = delete;
  StandardStreams& operator=(const StandardStreams&) = delete;
};

}  // namespace vantor::platform
