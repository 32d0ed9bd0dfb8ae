// Another program, started and waited for.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vantor::test {

class ChildProcess {
 public:
  // Starts the program. The paths and arguments are UTF-8 and hold no quotation marks.
  ChildProcess(const std::string& program, const std::vector<std::string>& arguments);
  // Waits for its end.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Its exit status, once it has ended; -1 when it could not be started or was ended by force.
  int Wait();

 private:
  std::intptr_t process_ = 0;
  int status_ = -1;
};

// The program of that name beside the one that runs.
std::string ProgramBeside(const std::string& name);

}  // namespace vantor::test
