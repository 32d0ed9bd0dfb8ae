// What `extract` is to write: the pins that the command line chooses, the form of each, and the names of their files.
//
//   std::vector<ChosenPin> chosen;
//   if (const std::string wrong = ChoosePins(session, options, chosen); !wrong.empty()) ...
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/forms/track_writer.h"
#include "tools/session.h"

namespace vantor::tools {

struct ChosenPin {
  GraphPin* pin = nullptr;
  std::optional<std::uint64_t> track;  // its number in the file, where it is known
  std::optional<TrackForm> form;       // nothing: none here, and raw samples were not asked for
  std::string path;                    // of the file, and of the second where there is one
  std::string companionPath;
};

// Of an opened session, in the order of the pins. Otherwise why there is none to write: a sentence.
std::string ChoosePins(Session& session, const Options& options, std::vector<ChosenPin>& chosen);

// "pin 2 (AAC audio 1)".
std::string PinText(const GraphPin& pin);

}  // namespace vantor::tools
