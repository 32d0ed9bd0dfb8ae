// InterruptExit: while it lives, an interrupt (Ctrl-C) ends the program with kExitInterrupted and a message. What is
// being printed is printed first, so that no answer and no line of one breaks off:
//
//   int main() {
//     const InterruptExit onInterrupt;
//     ...
//     { const InterruptHold whole; std::fputs("an answer\n", stdout); }
//   }
//
// A second interrupt does what it always does, and so does the first where the program was started to ignore it. What a
// command does on its own in the meantime goes before (InterruptWatch).
#pragma once

namespace vantor::tools {

class InterruptExit {
 public:
  InterruptExit() noexcept;
  ~InterruptExit();
  InterruptExit(const InterruptExit&) = delete;
  InterruptExit& operator=(const InterruptExit&) = delete;

 private:
  void (*previous_)(int) = nullptr;
};

// While one lives, the end waits. They nest.
class InterruptHold {
 public:
  InterruptHold() noexcept;
  ~InterruptHold();
  InterruptHold(const InterruptHold&) = delete;
  InterruptHold& operator=(const InterruptHold&) = delete;
};

}  // namespace vantor::tools
