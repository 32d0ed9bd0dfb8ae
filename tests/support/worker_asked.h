// Looks at whether a pin's worker is being told something, for the tests in which that has to happen at one moment.
#pragma once

#include "filter/output_pin.h"

namespace vantor::test {

// Whether a command waits for the pin's worker to answer it. Any thread.
inline bool IsWorkerAsked(const CVXMkvDmxOutputPin& pin) {
  struct Window : CAMThread {
    using CAMThread::CheckRequest;
  };
  const CAMThread& thread = pin;
  return (thread.*&Window::CheckRequest)(nullptr) != FALSE;
}

}  // namespace vantor::test
