// WaitResult: what ended the waiting for a graph's streams.
#pragma once

namespace vantor {

enum class WaitResult {
  kEnded,      // every connected stream has ended
  kFailed,     // an error was announced, for those who wait until one
  kCancelled,  // somebody cancelled the waiting
  kTimedOut,
};

}  // namespace vantor
