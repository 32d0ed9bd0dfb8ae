#include "fuzz/other_seeds.h"

#include <cstdint>
#include <string_view>

namespace vantor::fuzz {

namespace {

using namespace vantor::test;

std::vector<Seed> Numbered(std::string_view name, const std::vector<Raw>& inputs) {
  std::vector<Seed> seeds;
  for (const Raw& input : inputs) seeds.push_back({std::string(name) + std::to_string(seeds.size()), input});
  return seeds;
}

Raw Stripping(std::uint64_t order, const Raw& prefix) {
  return Master(0x6240, {UInt(0x5031, order), UInt(0x5032, 1), UInt(0x5033, 0),
                         Master(0x5034, {UInt(0x4254, 3), Bin(0x4255, prefix)})});
}

}  // namespace

std::vector<Seed> LacingSeeds() {
  const std::vector<Raw> frames = {Ramp(300), Ramp(7), Ramp(0), Ramp(12)};
  const std::vector<Raw> equal = {Ramp(9), Ramp(9), Ramp(9)};
  const std::vector<Raw> laced = {SimpleBlock(1, 0, kKey, Ramp(20)), SimpleBlock(1, 0, kKey | kXiph, XiphLace(frames)),
                                  SimpleBlock(1, 1, kFixed, FixedLace(equal)),
                                  SimpleBlock(1, 2, kEbml, EbmlLace(frames)),
                                  BlockGroup({Block(1, 0, kEbml, EbmlLace(frames)), BlockDuration(40)})};
  std::vector<Raw> inputs;
  for (const Raw& block : laced) {
    inputs.push_back(block);
    inputs.push_back(Join({Master(0x6D80, {Stripping(0, Ramp(4))}), block}));
  }
  inputs.push_back(Join({Master(0x6D80, {Stripping(1, Ramp(4)), Stripping(0, Ramp(9))}), Join(laced)}));
  inputs.push_back(Join({Master(0x6D80, {Master(0x6240, {UInt(0x5033, 1), Master(0x5035, {UInt(0x47E1, 5)})})}),
                         laced[1], EbmlWithSize(0xA3, 500, BlockPayload(1, 0, kXiph, XiphLace(equal)))}));
  return Numbered("lacing", inputs);
}

std::vector<Seed> DescriptionSeeds() {
  // A configuration of one sequence and one picture parameter set, as units between start codes and as a record.
  const Raw units = Text("[Stream.Main]\r\nCodecData=AAAAAWdCwB7aBQfkAAAAAWjOPIA=\r\n");
  const Raw record = Text(
      "; made by hand\n[stream.main]\nCodecData = \"AAAAG2F2Y0MBQsAe/+EABGdCwB4BAARozjyA\"\n"
      "[Stream.]\nCodecData=AAAAAWdCwB7aBQfkAAAAAWjOPIA=\n");
  const Raw lengths = Text("\xEF\xBB\xBF[Stream.\xC3\x84=] x]\nCodecData='AAdnQsAe2gUHAARozjyA'\n");
  Raw wide = {0xFF, 0xFE};
  for (const std::uint8_t letter : units) {
    wide.push_back(letter);
    wide.push_back(0);
  }
  Raw swapped = {0xFE, 0xFF};
  for (const std::uint8_t letter : record) {
    swapped.push_back(0);
    swapped.push_back(letter);
  }
  return Numbered("description", {units, record, lengths, wide, swapped, {}});
}

std::vector<Seed> ArgumentSeeds() {
  return Numbered("arguments", {Text("info\nmovie.mkv"),
                                Text("info\n--json\nmovie.mkv\n--component\nother.so"),
                                Text("samples\n--seek\n50000000:-1\n--rate=1.5\nmovie.mkv"),
                                Text("samples\nmovie.mkv\n--seek=0"),
                                Text("play\n--from\n1:30\n--to=00:02:00.5\nmovie.mkv"),
                                Text("check\n--deep\n--strict\n--json\nmovie.mkv\nother.webm"),
                                Text("extract\n--pin=2\n--track\n7\n--from=1:30\n--to\n95.5\nmovie.mkv\n-o\n-"),
                                Text("extract\nmovie.mkv\n--all\n--raw\n--force\n-d\nparts"),
                                Text("attachments\nmovie.mkv\n--extract\n-d\nfonts\n--json"),
                                Text("chapters\nmovie.mkv\n--format=ffmetadata"),
                                Text("report\nmovie.mkv\n-o\nreport.html\n--force"),
                                Text("doctor\n--json\n--component\nother.so"),
                                Text("--complete\ninfo\n--chapters\n--tags\n--attachments\nmovie.mkv"),
                                Text("help\nextract"),
                                Text("extract\nmovie.mkv\n--output=\n--force"),
                                Text("--help"),
                                Text("play\n-h"),
                                Text("--version"),
                                Text("--help-all"),
                                Text("info\n--\n--json"),
                                Text("nothing\nmovie.mkv"),
                                Text("samples\n--rate\nnan\nmovie.mkv"),
                                {}});
}

}  // namespace vantor::fuzz
