// make_seeds FOLDER: writes seeds for the fuzz targets: small files, each around one corner of the format, into
// FOLDER/files, and what the targets take that read no files into FOLDER/lacing, FOLDER/description, FOLDER/arguments.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/other_seeds.h"
#include "support/mkv_builder.h"

namespace {

using namespace vantor::test;
using vantor::fuzz::Seed;

constexpr std::uint32_t kInfo = 0x1549A966;
constexpr std::uint32_t kTracks = 0x1654AE6B;
constexpr std::uint32_t kCues = 0x1C53BB6B;
constexpr std::uint32_t kSeekHead = 0x114D9B74;
constexpr std::uint32_t kAttachments = 0x1941A469;
constexpr std::uint32_t kCluster = 0x1F43B675;

// A Void element that says how the file is sought: when and where the second seek goes, the first,
// and their count.
Raw SeekTail() { return {0xEC, 0x85, 0, 200, 1, 100, 2}; }

Raw Blocks(std::uint64_t track) {
  return Join({SimpleBlock(track, 0, kKey, Ramp(40)), SimpleBlock(track, 20, 0, Ramp(30)),
               SimpleBlock(track, 40, kKey, Ramp(20))});
}

// Two clusters of the track, found by cues through a seek index.
Raw FileOf(const Raw& track) {
  return Join({MkvFile({
                   {"index",
                    [](const Positions& at) {
                      return SeekHead({SeekEntry(kInfo, at["info"]), SeekEntry(kTracks, at["tracks"]),
                                       SeekEntry(kCues, at["cues"])});
                    }},
                   {"info", Info(1000000, 200.0)},
                   {"tracks", Tracks({track})},
                   {"first", Cluster(0, {Blocks(1)})},
                   {"second", Cluster(100, {Blocks(1)})},
                   {"cues",
                    [](const Positions& at) {
                      return Cues({CuePoint(0, 1, at["first"]), CuePoint(100, 1, at["second"])});
                    }},
               }),
               SeekTail()});
}

Raw Bytes(std::string_view hex) {
  Raw bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(std::string(hex.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

Raw AvcConfig() {
  return Bytes(
      "0142C01EFFE1000467"
      "42C01E"
      "01000468CE3C80");
}

Raw XiphHeaders() {
  const Raw identification = Join({{1}, Text("vorbis"), Fill(4), {2}, BigEndian(0x80BB0000, 4), Fill(13)});
  return Join({{2, static_cast<std::uint8_t>(identification.size()), 9},
               identification,
               Text("\3vorbisxx"),
               Text("\5vorbissetup")});
}

Raw WaveFormat() { return Bytes("0200020044AC000010B102000400100000000000"); }

Raw BitmapHeader(std::string_view fourCc) {
  return Join({Bytes("2800000040010000F000000001001800"), Text(fourCc), Fill(20), Ramp(8)});
}

void AddCodecs(std::vector<Seed>& seeds) {
  struct Codec {
    std::string_view id;
    Raw privateData;
  };
  const Raw elementaryStream = Join({Bytes("000001B001000001B58913000001"), Ramp(20)});
  const Raw sequenceHeader = Bytes("000001B31600F0C4FFFFE180000001B5148A00010000");
  const std::vector<Codec> video = {{"V_MPEG4/ISO/AVC", AvcConfig()},
                                    {"V_MPEG4/ISO/ASP", elementaryStream},
                                    {"V_MPEGH/ISO/HEVC", Fill(23, 1)},
                                    {"V_MPEG1", sequenceHeader},
                                    {"V_MPEG2", sequenceHeader},
                                    {"V_MS/VFW/FOURCC", BitmapHeader("XVID")},
                                    {"V_MS/VFW/FOURCC", BitmapHeader("H264")},
                                    {"V_MS/VFW/FOURCC", BitmapHeader("DX50")},
                                    {"V_REAL/RV40", Ramp(40)},
                                    {"V_SNOW", {}},
                                    {"V_THEORA", XiphHeaders()},
                                    {"V_VP8", {}},
                                    {"V_VP9", {}},
                                    {"V_MPEG4/ISO/AVC", {}}};
  const std::vector<Codec> audio = {{"A_AAC", Bytes("1190")},
                                    {"A_AAC/MPEG4/LC/SBR", {}},
                                    {"A_AC3", {}},
                                    {"A_EAC3", {}},
                                    {"A_DTS", {}},
                                    {"A_FLAC", Join({Text("fLaC"), Bytes("80000022"), Ramp(34)})},
                                    {"A_MPEG/L1", {}},
                                    {"A_MPEG/L2", {}},
                                    {"A_MPEG/L3", {}},
                                    {"A_MS/ACM", WaveFormat()},
                                    {"A_OPUS", Join({Text("OpusHead"), Ramp(11)})},
                                    {"A_PCM/FLOAT/IEEE", {}},
                                    {"A_PCM/INT/LIT", {}},
                                    {"A_PCM/INT/BIG", {}},
                                    {"A_REAL/COOK", Ramp(80)},
                                    {"A_TTA1", Ramp(22)},
                                    {"A_VORBIS", XiphHeaders()},
                                    {"A_VORBIS2", XiphHeaders()},
                                    {"A_WAVPACK4", Bytes("1004")}};
  const std::vector<Codec> subtitles = {{"S_TEXT/UTF8", {}},
                                        {"S_TEXT/ASS", Text("[Script Info]")},
                                        {"S_TEXT/SSA", Text("[")},
                                        {"S_TEXT/USF", {}},
                                        {"S_VOBSUB", Text("size: 720x480")}};
  const auto add = [&](const std::vector<Codec>& codecs, std::uint64_t type, const Raw& settings) {
    for (const Codec& codec : codecs) {
      std::vector<Raw> more;
      if (!settings.empty()) more.push_back(settings);
      if (!codec.privateData.empty()) more.push_back(CodecPrivate(codec.privateData));
      seeds.push_back({"codec" + std::to_string(seeds.size()), FileOf(Track(1, type, codec.id, more))});
    }
  };
  add(video, 1, Video(320, 240, {UInt(0x54B0, 640), UInt(0x54BA, 480)}));
  add(audio, 2, Audio(48000, 2, {UInt(0x6264, 16)}));
  add(subtitles, 17, {});
}

// More pins than a graph usually has, in one cluster.
void AddManyTracks(std::vector<Seed>& seeds) {
  std::vector<Raw> tracks;
  std::vector<Raw> blocks;
  for (std::uint64_t number = 1; number <= 12; ++number) {
    tracks.push_back(Track(number, number % 2 + 1, number % 2 == 0 ? "V_VP8" : "A_AC3"));
    blocks.push_back(SimpleBlock(number, 0, kKey, Ramp(6)));
  }
  seeds.push_back({"many_tracks", Join({MkvFile({Info(), Tracks(tracks), Cluster(0, blocks)}), SeekTail()})});
}

// One plain track and these clusters, without cues.
Raw Clusters(const std::vector<Raw>& clusters, const std::vector<Raw>& trackMore = {}) {
  std::vector<Part> parts = {Info(), Tracks({Track(1, 2, "A_MPEG/L3", trackMore)})};
  for (const Raw& cluster : clusters) parts.emplace_back(cluster);
  return Join({MkvFile(parts), SeekTail()});
}

void AddBlocks(std::vector<Seed>& seeds) {
  const std::vector<Raw> frames = {Ramp(300), Ramp(7), Ramp(12)};
  const std::vector<Raw> equal = {Ramp(9), Ramp(9), Ramp(9)};
  seeds.push_back({"lacing", Clusters({Cluster(0, {SimpleBlock(1, 0, kKey | kXiph, XiphLace(frames)),
                                                   SimpleBlock(1, 10, kKey | kFixed, FixedLace(equal)),
                                                   SimpleBlock(1, 20, kKey | kEbml, EbmlLace(frames))})})});
  seeds.push_back({"lace_of_256", Clusters({Cluster(0, {SimpleBlock(1, 0, kKey | kXiph, Fill(300, 0xFF))})})});
  seeds.push_back({"groups", Clusters({Cluster(5, {BlockGroup({Block(1, 0, 0, Ramp(5)), BlockDuration(40)}),
                                                   BlockGroup({ReferenceBlock(-40), Block(1, 40, 0, Ramp(5)),
                                                               Master(0x75A1, {Master(0xA6, {Bin(0xA5, Ramp(3))})})}),
                                                   BlockGroup({})})})});
  seeds.push_back(
      {"stripped",
       Clusters({Cluster(0, {Blocks(1)})},
                {Master(0x6D80, {Master(0x6240, {Master(0x5034, {UInt(0x4254, 3), Bin(0x4255, Ramp(4))})})})})});
  seeds.push_back(
      {"live", Join({EbmlHeader("webm"), UnknownSizeSegment({Info(), Tracks({Track(1, 1, "V_VP8", {Video(64, 64)})}),
                                                             UnknownSize(kCluster, {UInt(0xE7, 0), Blocks(1)}),
                                                             UnknownSize(kCluster, {UInt(0xE7, 60), Blocks(1)})})})});
  seeds.push_back({"damage_between_clusters", Clusters({Cluster(0, {Blocks(1)}), Raw{0, 1, 2, 3, 0x10, 0x1F, 0x43},
                                                        Cluster(100, {Blocks(1)}), Void(9)})});
  seeds.push_back({"damage_in_cluster", Clusters({Cluster(0, {Blocks(1), Raw{0, 0, 0}, Blocks(1)}), Blocks(1)})});
  seeds.push_back({"cut_frame",
                   Join({EbmlHeader(), Segment({Info(), Tracks({Track(1, 2, "A_AC3")}),
                                                EbmlWithSize(kCluster, 5000, SimpleBlock(1, 0, kKey, Ramp(9)), 4)})})});
}

void AddIndexes(std::vector<Seed>& seeds) {
  seeds.push_back({"chained_index",
                   MkvFile({{"one",
                             [](const Positions& at) {
                               return SeekHead({SeekEntry(kSeekHead, at["two"]), SeekEntry(kTracks, at["tracks"])});
                             }},
                            {"info", Info(1000000, 60.0)},
                            {"tracks", Tracks({Track(1, 1, "V_VP9", {Video(16, 16)}), Track(2, 2, "A_AC3")})},
                            {"first", Cluster(0, {Blocks(1), Blocks(2)})},
                            {"two",
                             [](const Positions& at) {
                               return SeekHead({SeekEntry(kCues, at["cues"]), SeekEntry(kAttachments, at["files"])});
                             }},
                            {"cues", [](const Positions& at) { return Cues({CuePoint(0, 1, at["first"])}); }},
                            {"more", [](const Positions& at) { return Cues({CuePoint(9, 2, at["first"])}); }},
                            {"files", Attachments({Attachment("a.ttf", "application/x-truetype-font", Ramp(50)),
                                                   Attachment("b.jpg", "image/jpeg", Ramp(10))})}})});
  seeds.push_back(
      {"fonts",
       Join({MkvFile({{"one",
                       [](const Positions& at) {
                         return SeekHead({SeekEntry(kTracks, at["tracks"]), SeekEntry(kAttachments, at["files"])});
                       }},
                      {"info", Info(1000000, 60.0)},
                      {"tracks", Tracks({Track(1, 17, "S_TEXT/ASS", {CodecPrivate(Text("[V4+]"))})})},
                      {"files", Attachments({Attachment("a.ttf", "application/x-truetype-font", Ramp(50)),
                                             Attachment("b.ttf", "application/x-truetype-font", Ramp(9))})},
                      {"first", Cluster(0, {Blocks(1)})}}),
             SeekTail()})});
}

bool Write(const std::filesystem::path& folder, const std::vector<Seed>& seeds) {
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  for (const Seed& seed : seeds) {
    std::ofstream file(folder / seed.name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(seed.bytes.data()), static_cast<std::streamsize>(seed.bytes.size()));
    if (!file.flush()) {
      std::fprintf(stderr, "cannot write %s\n", (folder / seed.name).c_str());
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int count, char** words) {
  if (count != 2) {
    std::fprintf(stderr, "usage: make_seeds FOLDER\n");
    return 2;
  }
  const std::filesystem::path folder = words[1];
  std::vector<Seed> files;
  AddCodecs(files);
  AddBlocks(files);
  AddIndexes(files);
  AddManyTracks(files);
  const bool written = Write(folder / "files", files) && Write(folder / "lacing", vantor::fuzz::LacingSeeds()) &&
                       Write(folder / "description", vantor::fuzz::DescriptionSeeds()) &&
                       Write(folder / "arguments", vantor::fuzz::ArgumentSeeds());
  return written ? 0 : 1;
}
