// The trace log of this process while a test runs: in a file of the test's own, written only when the test asks for it.
#pragma once

#include <memory>
#include <string>

#include "diag/file_logger.h"
#include "diag/patient_system.h"
#include "diag/trace.h"
#include "diag/trace_folder.h"
#include "platform/never_destroyed.h"

namespace vantor::test {

class ProcessTrace {
 public:
  ProcessTrace() { TraceTo(path_); }

  // All that was traced so far.
  std::string Content() const {
    logger_->Flush();
    return TraceFolder::Content(path_);
  }

 private:
  // The log keeps its last logger, and so that logger's system, until the process is gone.
  static TraceSystem& System() {
    static NeverDestroyed<PatientSystemWithoutTimer> system;
    return *system;
  }

  TraceFolder folder_;
  const WideString path_ = folder_.Path("trace.txt");
  // Made before the log asks for it, which then takes the same.
  const std::shared_ptr<FileLogger> logger_ = FileLogger::ForPath(path_, System());
};

}  // namespace vantor::test
