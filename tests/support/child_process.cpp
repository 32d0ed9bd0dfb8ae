#include "support/child_process.h"

#include "platform/file_path.h"
#include "platform/platform.h"

namespace vantor::test {

ChildProcess::~ChildProcess() { Wait(); }

std::string ProgramBeside(const std::string& name) {
  const std::filesystem::path own = platform::ToPath(ModulePath());
  return platform::FromPath((own.parent_path() / name).replace_extension(own.extension()));
}

}  // namespace vantor::test
