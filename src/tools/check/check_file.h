// All that there is to find in one file, as `check` prints it and `play` warns of it.
//
//   Findings found;
//   if (const int status = FindInOpened(session, {.isDeep = true}, found); status != kExitDone) return status;
#pragma once

#include "tools/check/findings.h"
#include "tools/file_facts.h"
#include "tools/session.h"

namespace vantor::tools {

struct CheckDepth {
  bool isDeep = false;        // the session's graph is played first, for the only time
  bool asksComplete = false;  // of each error, what the complete component makes of it
};

// Of a session that was opened. kExitDone, or the status of what was said: then the findings are not all. The
// listener, where there is one, is told of what the pass over the blocks meets.
int FindInOpened(Session& session, const CheckDepth& depth, Findings& findings, FactsListener* listener = nullptr);
// Of one whose file was refused.
void FindInRefused(Session& session, const CheckDepth& depth, Findings& findings);

}  // namespace vantor::tools
