#include <algorithm>

#include "tools/commands.h"
#include "tools/doctor_facts.h"
#include "tools/doctor_text.h"
#include "tools/messages.h"
#include "tools/output.h"

namespace vantor::tools {

int RunDoctor(const Options& options, std::FILE* out, std::FILE* messages) {
  const DoctorFacts facts = GatherFacts(options, platform::SystemClasses());
  const std::vector<Ailment> ailments = FindAilments(facts);
  if (!Print(out, options.json ? DoctorJson(facts, ailments) : DoctorText(facts, ailments))) {
    Say(messages, CannotWrite("the answer"));
    return kExitUsage;
  }
  const bool isWell =
      std::none_of(ailments.begin(), ailments.end(), [](const Ailment& ailment) { return ailment.isFault; });
  return isWell ? kExitDone : kExitRefused;
}

}  // namespace vantor::tools
