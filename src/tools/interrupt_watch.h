// InterruptWatch: while it lives, an interrupt (Ctrl-C) sets a flag instead of ending the program; a second one does
// what it always does. What writes files has one that outlives them: so it ends in order, and they go.
//
//   const InterruptWatch watch;
//   while (!InterruptWatch::Interrupted()) Use(graph);
#pragma once

namespace vantor::tools {

class InterruptWatch {
 public:
  InterruptWatch();
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

  // Since the watch was set up; never where there is none.
  static bool Interrupted();

 private:
  void (*previous_)(int) = nullptr;
};

}  // namespace vantor::tools
