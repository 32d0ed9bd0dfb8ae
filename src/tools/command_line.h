// The command line: what is asked for, or what to say instead.
//
//   ParseResult parsed = ParseCommandLine(argc, argv);
//   if (!parsed.options) {
//     Say(stderr, parsed.message);
//     return parsed.exitStatus;
//   }
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/file_extras.h"

namespace vantor::tools {

// Exit statuses of the tool.
inline constexpr int kExitDone = 0;
inline constexpr int kExitRefused =
    1;  // the file was refused, or the filter announced an error or lost frames; `check` found errors
inline constexpr int kExitUsage = 2;          // bad options, an unreadable path, no component, a fault of the system
inline constexpr int kExitInterrupted = 130;  // as shells say it

enum class Command { kInfo, kCheck, kSamples, kPlay, kExtract, kAttachments, kChapters, kDoctor, kReport };

enum class ChapterFormat { kText, kXml, kMetadata };

struct SeekRequest {
  std::int64_t start = 0;  // 100 ns, absolute
  std::optional<std::int64_t> stop;
};

// What is taken out of a file, and where it goes. Exactly one of the first three says of which pins; none does where
// there is only one.
struct ExtractRequest {
  std::vector<int> pins;
  std::vector<std::uint64_t> tracks;  // by the file's numbers
  bool all = false;
  std::string output;  // "-" for standard output; empty: the names follow from the file's
  std::string folder;  // of these; empty for the current one
  bool force = false;
  bool raw = false;  // what has no form of its own goes out as it is
};

struct AttachmentsOptions {
  bool extract = false;
  std::string folder;  // empty: the current one
  bool force = false;
};

struct Options {
  Command command = Command::kInfo;
  std::string file;
  std::vector<std::string> files;  // info, check
  std::string component;           // empty: the one beside the tool
  bool complete = false;           // the complete component
  bool json = false;
  bool deep = false;                 // check
  bool strict = false;               // check
  std::string output;                // report; empty: standard output
  bool force = false;                // report
  std::optional<SeekRequest> seek;   // samples
  std::optional<std::int64_t> from;  // play, extract; 100 ns, not below 0
  std::optional<std::int64_t> to;    // play, extract; not before from
  std::optional<double> rate;        // samples
  ExtractRequest extract;
  ExtrasWanted wanted;  // info
  AttachmentsOptions attachments;
  ChapterFormat chapterFormat = ChapterFormat::kText;
};

struct ParseResult {
  std::optional<Options> options;
  // Without options: the text to print on standard output when the exit status is 0, else a message.
  int exitStatus = kExitDone;
  std::string message;
};

// With words given, these are filled with what there is, and nothing is parsed (DescribeCommandLine).
struct CommandWords;
ParseResult ParseCommandLine(int argc, const char* const* argv, CommandWords* words = nullptr);

// START or START:STOP, both whole numbers; nothing when the text is anything else.
std::optional<SeekRequest> ParseSeek(const std::string& text);

}  // namespace vantor::tools
