#include "tools/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <vector>

namespace vantor::tools {
namespace {

using testing::HasSubstr;
using testing::Not;

ParseResult Parse(std::vector<const char*> words) {
  words.insert(words.begin(), "vantor-mkv");
  return ParseCommandLine(static_cast<int>(words.size()), words.data());
}

void ExpectWrongUse(const std::vector<const char*>& words, const char* part) {
  const ParseResult result = Parse(words);
  EXPECT_FALSE(result.options);
  EXPECT_EQ(result.exitStatus, kExitUsage);
  EXPECT_THAT(result.message, HasSubstr(part));
  EXPECT_THAT(result.message, Not(HasSubstr("\n"))) << "one line";
}

TEST(CommandLine, TellsTheThreeCommandsApart) {
  EXPECT_EQ(Parse({"info", "a.mkv"}).options->command, Command::kInfo);
  EXPECT_EQ(Parse({"samples", "a.mkv"}).options->command, Command::kSamples);
  EXPECT_EQ(Parse({"play", "a.mkv"}).options->command, Command::kPlay);
  EXPECT_EQ(Parse({"play", "a.mkv"}).options->file, "a.mkv");
}

TEST(CommandLine, WithoutOptionsNothingIsSet) {
  const Options options = *Parse({"samples", "a.mkv"}).options;
  EXPECT_FALSE(options.json);
  EXPECT_FALSE(options.seek);
  EXPECT_FALSE(options.rate);
  EXPECT_EQ(options.component, "");
  EXPECT_FALSE(options.complete);
}

TEST(CommandLine, TheCompleteComponentMayBeAskedForByEveryCommand) {
  for (const char* command : {"info", "samples", "play"}) {
    EXPECT_TRUE(Parse({command, "--complete", "a.mkv"}).options->complete) << command;
    EXPECT_TRUE(Parse({"--complete", command, "a.mkv"}).options->complete) << command;
  }
}

TEST(CommandLine, TakesOptionsBeforeAndBehindTheFile) {
  EXPECT_TRUE(Parse({"info", "--json", "a.mkv"}).options->json);
  EXPECT_TRUE(Parse({"info", "a.mkv", "--json"}).options->json);
  EXPECT_EQ(Parse({"--component", "x.so", "play", "a.mkv"}).options->component, "x.so");
  EXPECT_EQ(Parse({"play", "a.mkv", "--component", "x.so"}).options->component, "x.so");
}

TEST(CommandLine, TakesAPathThatBeginsWithASlashForAFile) {
  EXPECT_EQ(Parse({"info", "/media/a.mkv"}).options->files, std::vector<std::string>{"/media/a.mkv"});
}

TEST(CommandLine, TakesASeekWithAndWithoutStop) {
  const Options startOnly = *Parse({"samples", "a.mkv", "--seek", "50000000"}).options;
  EXPECT_EQ(startOnly.seek->start, 50000000);
  EXPECT_FALSE(startOnly.seek->stop);
  const Options both = *Parse({"samples", "a.mkv", "--seek", "1:2"}).options;
  EXPECT_EQ(both.seek->start, 1);
  EXPECT_EQ(both.seek->stop, 2);
}

TEST(CommandLine, TakesASeekBelowZero) {
  EXPECT_EQ(Parse({"samples", "a.mkv", "--seek=-5"}).options->seek->start, -5);
  EXPECT_EQ(Parse({"samples", "a.mkv", "--seek", "-5:-1"}).options->seek->stop, -1);
}

TEST(CommandLine, TakesSeveralFilesToCheck) {
  const Options options = *Parse({"check", "a.mkv", "b.mkv", "--deep", "--strict", "--json"}).options;
  EXPECT_EQ(options.command, Command::kCheck);
  EXPECT_EQ(options.files, (std::vector<std::string>{"a.mkv", "b.mkv"}));
  EXPECT_TRUE(options.deep && options.strict && options.json);
}

TEST(CommandLine, TakesHelpAsAWord) {
  const ParseResult help = Parse({"help"});
  EXPECT_EQ(help.exitStatus, kExitDone);
  EXPECT_EQ(help.message, Parse({"--help"}).message);
}

TEST(CommandLine, TakesACommandToHelpWith) {
  for (const char* command : {"info", "check", "samples", "play"}) {
    const ParseResult help = Parse({"help", command});
    EXPECT_EQ(help.exitStatus, kExitDone);
    EXPECT_EQ(help.message, Parse({command, "--help"}).message);
    EXPECT_NE(help.message, Parse({"help"}).message);
  }
  ExpectWrongUse({"help", "dance"}, "there is no \"dance\": info, ");
  ExpectWrongUse({"help", "info", "extract"}, "help takes one command at a time, and \"extract\" is one more");
}

TEST(CommandLine, SaysPlainlyWhichCommandsTakeOneFile) {
  ExpectWrongUse({"samples", "a.mkv", "b.mkv"}, "samples takes one file at a time, and \"b.mkv\" is one more");
  ExpectWrongUse({"play", "a.mkv", "b.mkv"}, "play takes one file at a time, and \"b.mkv\" is one more");
  ExpectWrongUse({"doctor", "a.mkv"}, "doctor takes no file, and \"a.mkv\" was given");
}

TEST(CommandLine, NamesAnOptionThatThereIsNotAndNotWhatStandsBesideIt) {
  ExpectWrongUse({"samples", "--loudly", "a.mkv"}, "samples has no option --loudly;");
  ExpectWrongUse({"samples", "--pin", "1", "a.mkv"}, "samples has no option --pin;");
}

TEST(CommandLine, SaysWhatIsWrongWithTheOptionsOfACommandAndWhereToReadOfThem) {
  ExpectWrongUse({"extract"}, "extract wants the name of a file; see vantor-mkv extract --help");
  ExpectWrongUse({"check"}, "check wants the name of a file; see vantor-mkv check --help");
  ExpectWrongUse({"extract", "a.mkv", "-o", "b", "-d", "c"}, "--output and --folder exclude each other;");
  ExpectWrongUse({"extract", "a.mkv", "--pin", "1", "--all"}, "--pin and --all exclude each other;");
  ExpectWrongUse({"extract", "a.mkv", "--pin"}, "--pin wants a value;");
  ExpectWrongUse({"extract", "a.mkv", "-o", "b", "-o", "c"}, "--output may be given once;");
  ExpectWrongUse({"attachments", "a.mkv", "-d", "b"}, "--folder requires --extract; see vantor-mkv attachments --help");
  ExpectWrongUse({"dance"}, "is wanted; see vantor-mkv --help");
}

TEST(CommandLine, TakesNoEmptyNameForAPlaceToWriteTo) {
  ExpectWrongUse({"extract", "a.mkv", "-o", ""}, "-o wants the name of a file;");
  ExpectWrongUse({"extract", "a.mkv", "-d", ""}, "-d wants the name of a folder;");
  ExpectWrongUse({"attachments", "a.mkv", "--extract", "-d", ""}, "-d wants the name of a folder;");
  ExpectWrongUse({"report", "a.mkv", "--json", "-o", ""}, "-o wants the name of a file;");
  ExpectWrongUse({"extract", "a.mkv", "--output=", "--force"}, "--output wants a value; see vantor-mkv extract");
  ExpectWrongUse({"info", "a.mkv", "--nosuch="}, "info has no option --nosuch=");
  ExpectWrongUse({"extract", "a.mkv", "-o", "--force"}, "-o wants the name of a file;");
  EXPECT_EQ(Parse({"extract", "a.mkv", "-o", "-"}).options->extract.output, "-");
  EXPECT_EQ(Parse({"extract", "a.mkv", "-o", "./-x="}).options->extract.output, "./-x=");
  EXPECT_EQ(Parse({"extract", "--", "--output="}).options->file, "--output=");
}

TEST(CommandLine, TakesARate) { EXPECT_EQ(Parse({"samples", "a.mkv", "--rate", "2.5"}).options->rate, 2.5); }

TEST(CommandLine, RefusesSeeksThatAreNoNumbers) {
  for (const char* seek : {"x", "", "1:", ":2", "1:2:3", "1.5", "1 ", "99999999999999999999"}) {
    EXPECT_FALSE(ParseSeek(seek)) << seek;
  }
  ExpectWrongUse({"samples", "a.mkv", "--seek", "soon"}, "\"soon\"");
}

TEST(CommandLine, ReadsTheWholeRangeOfPositions) {
  EXPECT_EQ(ParseSeek("9223372036854775807")->start, INT64_MAX);
  EXPECT_EQ(ParseSeek("-9223372036854775808")->start, INT64_MIN);
}

TEST(CommandLine, RefusesRatesThatAreNotAboveZero) {
  for (const char* rate : {"0", "-1", "nan", "inf"}) {
    ExpectWrongUse({"samples", "a.mkv", "--rate", rate}, "--rate");
  }
  ExpectWrongUse({"samples", "a.mkv", "--rate", "fast"}, "--rate wants a number above 0, not \"fast\"");
}

TEST(CommandLine, TakesThePartToPlay) {
  const Options both = *Parse({"play", "--from", "90", "--to", "00:01:30.5", "a.mkv"}).options;
  EXPECT_EQ(both.from, 900000000);
  EXPECT_EQ(both.to, 905000000);
  EXPECT_EQ(Parse({"play", "a.mkv", "--from=1:30"}).options->from, 900000000);
  EXPECT_FALSE(Parse({"play", "a.mkv", "--from=1:30"}).options->to);
  EXPECT_FALSE(Parse({"play", "a.mkv", "--to", "2"}).options->from);
  EXPECT_EQ(Parse({"play", "a.mkv", "--from", "2", "--to", "2"}).options->to, 20000000);
}

TEST(CommandLine, RefusesPartsThatAreNone) {
  ExpectWrongUse({"play", "a.mkv", "--from", "soon"},
                 "--from wants a time such as 90, 1:30 or 00:01:30.5, not \"soon\"");
  ExpectWrongUse({"play", "a.mkv", "--to", "1:75"}, "--to wants a time");
  ExpectWrongUse({"play", "a.mkv", "--from", "2", "--to", "1.9"}, "--to lies before --from");
  ExpectWrongUse({"info", "a.mkv", "--from", "2"}, "--from");
  ExpectWrongUse({"samples", "a.mkv", "--to", "2"}, "--to");
}

TEST(CommandLine, TakesWhatToExtractAndWhere) {
  const Options pins = *Parse({"extract", "--pin", "2", "--pin", "3", "a.mkv", "-d", "parts", "--from", "1"}).options;
  EXPECT_EQ(pins.command, Command::kExtract);
  EXPECT_EQ(pins.file, "a.mkv");
  EXPECT_EQ(pins.extract.pins, (std::vector<int>{2, 3}));
  EXPECT_EQ(pins.extract.folder, "parts");
  EXPECT_EQ(pins.from, 10000000);
  EXPECT_FALSE(pins.extract.force || pins.extract.raw || pins.extract.all);
  const Options track = *Parse({"extract", "a.mkv", "--track", "7", "-o", "-", "--force", "--raw"}).options;
  EXPECT_EQ(track.extract.tracks, std::vector<std::uint64_t>{7});
  EXPECT_EQ(track.extract.output, "-");
  EXPECT_TRUE(track.extract.force && track.extract.raw);
  ExpectWrongUse({"extract", "a.mkv", "--pin", "1", "--all"}, "--all");
  ExpectWrongUse({"extract", "a.mkv", "--pin", "1", "--track", "1"}, "--track");
  ExpectWrongUse({"extract", "a.mkv", "-o", "b", "-d", "c"}, "exclude each other");
  for (const char* number : {"x", "1x", "", "1.5", "99999999999999999999"}) {
    ExpectWrongUse({"extract", "a.mkv", "--pin", number},
                   ("--pin wants the number of a pin, as info shows it, not \"" + std::string(number) + "\"").c_str());
  }
  ExpectWrongUse({"extract", "a.mkv", "--track", "-1"}, "--track wants the number of a track, as info shows it");
  ExpectWrongUse({"extract", "a.mkv", "--from", "2", "--to", "1"}, "--to lies before --from");
}

TEST(CommandLine, RefusesWhatItDoesNotKnow) {
  ExpectWrongUse({}, "a command is wanted");
  ExpectWrongUse({"--bogus", "info", "a.mkv"}, "--bogus");
  ExpectWrongUse({"encode", "a.mkv"}, "no \"encode\"");
  ExpectWrongUse({"info"}, "info wants the name of a file");
  ExpectWrongUse({"play", "a.mkv", "b.mkv"}, "b.mkv");
  ExpectWrongUse({"info", "a.mkv", "--seek", "1"}, "--seek");
  ExpectWrongUse({"play", "a.mkv", "--json"}, "--json");
}

TEST(CommandLine, HelpBeginsWithExamples) {
  const ParseResult result = Parse({"--help"});
  EXPECT_EQ(result.exitStatus, kExitDone);
  EXPECT_LT(result.message.find("Examples:"), result.message.find("Options:"));
  for (const char* command : {"info", "samples", "play", "Exit status"}) {
    EXPECT_THAT(result.message, HasSubstr(command));
  }
}

TEST(CommandLine, EveryCommandHasHelp) {
  EXPECT_THAT(Parse({"samples", "--help"}).message, HasSubstr("START[:STOP]"));
  EXPECT_THAT(Parse({"info", "--help"}).message, HasSubstr("--json"));
  EXPECT_EQ(Parse({"play", "--help"}).exitStatus, kExitDone);
}

TEST(CommandLine, TellsItsVersion) {
  const ParseResult result = Parse({"--version"});
  EXPECT_EQ(result.exitStatus, kExitDone);
  int major = -1;
  int minor = -1;
  int patch = -1;
  int length = -1;
  EXPECT_EQ(std::sscanf(result.message.c_str(), "vantor-mkv %d.%d.%d\n%n", &major, &minor, &patch, &length), 3);
  EXPECT_EQ(length, static_cast<int>(result.message.size()));
}

}  // namespace
}  // namespace vantor::tools
