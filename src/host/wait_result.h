// WaitResult: what ended the waiting for a graph's streams.
#pragma once

namespace vantor {

// What ended it.
enum class WaitResult {
  kEnded,      // every connected stream has ended
  kFailed,     // an error was announced, for those who wait until one
  kCancelled,  // somebody cancelled the waiting
  kTimedOut,   // the time was over
};

}  // namespace vantor
