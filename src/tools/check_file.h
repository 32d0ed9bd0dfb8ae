// All that there is to find in one file, as `check` prints it and `play` warns of it.
//
//   Findings found;
//   if (const int status = FindInOpened(session, false, found); status != kExitDone) return status;
#pragma once

#include "tools/findings.h"
#include "tools/session.h"

namespace vantor::tools {

// Of a session that was opened. With `isDeep` its graph is played first, for the only time. kExitDone, or the status of
// what was said: then the findings are not all.
int FindInOpened(Session& session, bool isDeep, Findings& findings);
// Of one whose file was refused.
void FindInRefused(Session& session, Findings& findings);

}  // namespace vantor::tools
