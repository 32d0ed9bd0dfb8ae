#include "support/child_process.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace vantor::test {

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments) {
  std::vector<char*> words = {const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  pid_t process = 0;
  if (posix_spawn(&process, program.c_str(), nullptr, nullptr, words.data(), environ) == 0) process_ = process;
}

int ChildProcess::Wait() {
  if (process_ == 0) return status_;
  int status = 0;
  while (waitpid(static_cast<pid_t>(process_), &status, 0) < 0 && errno == EINTR) {
  }
  process_ = 0;
  if (WIFEXITED(status)) status_ = WEXITSTATUS(status);
  return status_;
}

}  // namespace vantor::test
