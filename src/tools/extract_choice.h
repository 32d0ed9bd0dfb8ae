// What `extract` is to write: the pins that the command line chooses, the form of each, and the names of their files.
//
//   PinChoice choice;
//   if (const std::string wrong = ChoosePins(session, options, choice); !wrong.empty()) ...
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/check/findings.h"
#include "tools/forms/track_writer.h"
#include "tools/session.h"

namespace vantor::tools {

struct ChosenPin {
  GraphPin* pin = nullptr;
  std::optional<std::uint64_t> track;  // its number in the file, where it is known
  std::optional<TrackForm> form;       // nothing: none here, and raw samples were not asked for
  std::string noForm;                  // why there is none, where the file tells it
  std::string path;                    // of the file, and of the second where there is one
  std::string companionPath;
};

struct PinChoice {
  std::vector<ChosenPin> pins;  // in their order
  Findings pinless;             // where all were asked for: of each track that has no pin
};

// Of an opened session. Otherwise why there is none to write: a sentence.
std::string ChoosePins(Session& session, const Options& options, PinChoice& choice);

// "pin 2 (AAC audio 1)".
std::string PinText(const GraphPin& pin);

}  // namespace vantor::tools
