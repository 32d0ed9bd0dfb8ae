// The system's program for registration, run as a user would.
//
//   EXPECT_EQ(RunRegsvr32("/s", path), (Regsvr32Run{0, ""}));
#pragma once

#include <ostream>
#include <string>

#include "platform/com.h"

namespace vantor::test {

struct Regsvr32Run {
  DWORD code = MAXDWORD;  // its exit code
  std::string message;    // what the box titled "Error" said that the component showed; empty for none

  bool operator==(const Regsvr32Run&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Regsvr32Run& run);

// Runs it to its end, closing a box that the component shows. A program that does not end is killed, and the test
// fails.
Regsvr32Run RunRegsvr32(const std::string& options, const std::string& path);

// False where the system has nothing to show windows on, and message boxes return at once.
bool WindowsCanBeMade();

}  // namespace vantor::test
