#include "tools/finding_cases.h"

namespace vantor::tools::checking {
namespace {

using namespace vantor::test;  // NOLINT(google-build-using-namespace): the builders

Raw Encoding(std::uint64_t scope, const Raw& how) {
  return Master(0x6D80, {Master(0x6240, {UInt(0x5032, scope), how})});
}

}  // namespace

Raw ZlibOf(std::uint64_t scope) { return Encoding(scope, Master(0x5034, {UInt(0x4254, 0)})); }

Raw EncryptionOf(std::uint64_t scope) {
  return Master(0x6D80, {Master(0x6240, {UInt(0x5032, scope), UInt(0x5033, 1), Master(0x5035, {UInt(0x47E1, 5)})})});
}

Raw With(const std::function<void(Plan&)>& change) {
  Plan plan;
  change(plan);
  return plan.File();
}

Raw WithTrack(const Raw& track) {
  return With([&](Plan& plan) { plan.tracks = {track}; });
}

Raw HiddenCluster(std::size_t more) {
  const Raw children = Join({UInt(0xE7, 0), SimpleBlock(1, 0, kKey, Ramp(20))});
  const Raw cluster = EbmlWithSize(0x1F43B675, children.size() + more, children, 8);
  return MkvFile({[](const Positions& at) { return SeekHead({SeekEntry(0x1F43B675, at["void"] + 2)}); },
                  Info(1000000, 480),
                  Tracks({Plan::Vp8(1)}),
                  {"void", Bin(0xEC, cluster)},
                  Cluster(0, Plan().first),
                  Cluster(400, Plan().second)});
}

namespace {

Raw AttachedFonts() {
  return With([](Plan& plan) {
    plan.tracks.push_back(Track(2, 17, "S_TEXT/UTF8"));
    plan.second.push_back(BlockGroup({Block(2, 0, 0, Text("text")), BlockDuration(80)}));
    plan.more.emplace_back("fonts", Attachments({Attachment("some.otf", "font/otf", Ramp(10))}));
    // In its full width whatever it is, so that the Segment's parts can be laid out twice.
    Positions at;
    Plan named = plan;
    named.seekEntries = {SeekEntry(0x1941A469, 0)};
    (void)Layout(named.Parts(), at);
    plan.seekEntries = {SeekEntry(0x1941A469, at["fonts"])};
  });
}

}  // namespace

std::vector<FindingCase> FindingCases() {
  return {
      // ---- Refused ----
      {"file-empty", kErrorOnly, [] { return Raw(); }, true},
      {"not-matroska", kErrorOnly, [] { return Text("no media at all"); }, true},
      {"header-damaged", kErrorOnly, [] { return Raw{0x1A, 0x45, 0xDF, 0xA3, 0x9F, 0x42}; }, true},
      {"document-type", kErrorOnly,
       [] {
         return Join({EbmlHeader("other"), Segment(Plan().Parts())});
       },
       true},
      {"version-too-new", kErrorOnly,
       [] {
         return Join({EbmlHeader("matroska", 3), Segment(Plan().Parts())});
       },
       true},
      {"no-segment", kErrorOnly, [] { return EbmlHeader(); }, true},
      {"no-cluster", kErrorOnly,
       [] {
         return MkvFile({Info(), Tracks({Plan::Vp8(1)})});
       },
       true},
      {"cluster-entry-wrong", kErrorOnly,
       [] { return With([](Plan& plan) { plan.seekEntries = {SeekEntry(0x1F43B675, 3)}; }); }, true},
      {"private-data-broken", kErrorOnly,
       [] {
         return WithTrack(Track(1, 2, "A_VORBIS", {CodecPrivate({2, 255, 255})}));
       },
       true},
      // ---- Tracks ----
      {"codec-unsupported", kErrorOnly, [] { return WithTrack(Track(1, 1, "V_AV1", {Video(320, 240)})); }},
      {"codec-id-zeroes", kErrorOnly,
       [] { return WithTrack(Track(1, 1, std::string("V_VP8\0", 6), {Video(320, 240)})); }},
      {"track-kind", kErrorOnly, [] { return WithTrack(Track(1, 18, "B_VOBBTN")); }},
      {"private-data-missing", kErrorOnly, [] { return WithTrack(Track(1, 1, "V_MPEG2", {Video(320, 240)})); }},
      {"private-data-unusable", kErrorOnly,
       [] {
         return WithTrack(Track(1, 1, "V_MPEG2", {Video(320, 240), CodecPrivate(Ramp(20))}));
       }},
      {"private-data-encoded", kErrorOnly,
       [] {
         return WithTrack(Plan::Vp8(1, {CodecPrivate(Ramp(20)), ZlibOf(2)}));
       }},
      {"private-data-encrypted", kErrorOnly,
       [] {
         return WithTrack(Plan::Vp8(1, {CodecPrivate(Ramp(20)), EncryptionOf(2)}));
       }},
      {"frames-compressed", kErrorOnly, [] { return WithTrack(Plan::Vp8(1, {ZlibOf(1)})); }},
      {"frames-encrypted", kErrorOnly, [] { return WithTrack(Plan::Vp8(1, {EncryptionOf(1)})); }},
      {"tracks-unread", kErrorOnly,
       [] {
         // Three elements are met before the Tracks.
         return MkvFile({SeekHead({}),
                         SeekHead({}),
                         Info(1000000, 80),
                         Tracks({Plan::Vp8(1)}),
                         {"first", Cluster(0, Plan().first)}});
       }},
      {"track-over-limit", kErrorOnly,
       [] {
         return With([](Plan& plan) {
           for (std::uint64_t number = 2; number <= 129; ++number) plan.tracks.push_back(Plan::Mp3(number));
           plan.second.push_back(SimpleBlock(129, 0, kKey, Ramp(9)));
         });
       }},
      // ---- Packets ----
      {"no-key-frame", kErrorOnly,
       [] {
         return With([](Plan& plan) {
           plan.tracks.push_back(Plan::Mp3(2));
           plan.first.push_back(SimpleBlock(2, 0, 0, Ramp(9)));
           plan.second.push_back(SimpleBlock(2, 0, 0, Ramp(8)));
         });
       }},
      {"key-frame-late", kErrorOnly,
       [] {
         return With([](Plan& plan) {
           plan.tracks.push_back(Plan::Mp3(2));
           plan.first.push_back(SimpleBlock(2, 0, 0, Ramp(9)));
           plan.second.push_back(SimpleBlock(2, 0, kKey, Ramp(8)));
         });
       }},
      {"end-early", kErrorOnly, [] { return With([](Plan& plan) { plan.duration = 300; }); }},
      {"cluster-endless", kErrorOnly, [] { return With([](Plan& plan) { plan.isFirstEndless = true; }); }},
      {"clusters-skipped", kErrorOnly,
       [] {
         return With([](Plan& plan) {
           Positions at;
           Plan named = plan;
           named.seekEntries = {SeekEntry(0x1F43B675, 0)};
           (void)Layout(named.Parts(), at);
           plan.seekEntries = {SeekEntry(0x1F43B675, at["second"])};
         });
       }},
      {"second-segment", kErrorOnly,
       [] {
         return Join({MkvFile(Plan().Parts()), Segment(Plan().Parts())});
       }},
      {"block-unread", kErrorOnly,
       [] {
         return With([](Plan& plan) { plan.second.push_back(SimpleBlock(1, 60, kFixed, Join({{0xFF}, Ramp(256)}))); });
       }},
      // ---- Index ----
      {"index-missing", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.hasIndex = false;
           plan.second.resize(1);
         });
       }},
      {"index-unreachable", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.isIndexNamed = false;
           plan.second.resize(1);
         });
       }},
      {"index-wrong", kWarningOnly, [] { return With([](Plan& plan) { plan.indexedTime = 300; }); }},
      {"index-range", kWarningOnly, [] { return With([](Plan& plan) { plan.indexedTime = 900; }); }},
      {"seek-entry-wrong", kWarningOnly,
       [] { return With([](Plan& plan) { plan.seekEntries = {SeekEntry(0x1254C367, 7)}; }); }},
      // ---- Times ----
      {"end-before-last-block", kWarningOnly, [] { return With([](Plan& plan) { plan.duration = 420; }); }},
      {"duration-differs", kWarningOnly, [] { return With([](Plan& plan) { plan.duration = 90000; }); }},
      {"duration-missing", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.duration = -1;
           plan.hasIndex = false;
           plan.second.resize(1);
         });
       }},
      {"duration-unusable", kWarningOnly, [] { return With([](Plan& plan) { plan.duration = 4e10; }); }},
      {"start-not-zero", kNoteOnly,
       [] {
         return With([](Plan& plan) {
           plan.firstTime = 40;
           plan.secondTime = plan.indexedTime = 440;
         });
       }},
      {"headers-held-back", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.firstTime = 40;
           plan.secondTime = plan.indexedTime = 440;
           const Raw headers = Join({{2, 3, 4}, Ramp(3), Ramp(4), Ramp(5)});
           plan.tracks.push_back(Track(2, 2, "A_VORBIS", {Audio(48000, 2), CodecPrivate(headers)}));
           plan.first.push_back(SimpleBlock(2, 0, kKey, Ramp(9)));
         });
       }},
      {"no-frame-time", kWarningOnly, [] { return WithTrack(Track(1, 1, "V_VP8", {Video(320, 240)})); }},
      {"cluster-without-time", kWarningOnly,
       [] {
         return With(
             [](Plan& plan) { plan.more.emplace_back(Master(0x1F43B675, {SimpleBlock(1, 60, kKey, Ramp(5))})); });
       }},
      // ---- Structure ----
      {"cut-short", kWarningOnly,
       [] {
         Raw file = Plan().File();
         file.resize(file.size() - 3);
         return file;
       }},
      {"damage", kWarningOnly,
       [] { return With([](Plan& plan) {
              plan.more.emplace_back(Join({Raw(40, 0), Void(10), Cues({})}));
            }); }},
      {"block-damaged", kWarningOnly,
       [] { return With([](Plan& plan) {
              plan.second.push_back(SimpleBlock(1, 60, kXiph, {1, 200, 1, 2, 3}));
            }); }},
      {"header-value", kWarningOnly, [] { return With([](Plan& plan) { plan.info = {Bin(0x4461, Ramp(9))}; }); }},
      {"limit", kWarningOnly,
       [] {
         std::vector<Raw> encodings(20, Master(0x6240, {UInt(0x5032, 4)}));
         return WithTrack(Plan::Vp8(1, {Master(0x6D80, encodings)}));
       }},
      {"not-checked", kWarningOnly, [] { return HiddenCluster(0); }},
      {"no-frames", kWarningOnly,
       [] {
         return MkvFile({Info(), Tracks({}), Cues({})});
       }},
      {"track-number-twice", kWarningOnly,
       [] { return With([](Plan& plan) {
              plan.tracks = {Plan::Vp8(1), Plan::Vp8(1)};
            }); }},
      {"blocks-without-track", kWarningOnly,
       [] { return With([](Plan& plan) { plan.first.push_back(SimpleBlock(9, 0, kKey, Ramp(5))); }); }},
      {"track-empty", kNoteOnly, [] { return With([](Plan& plan) { plan.tracks.push_back(Plan::Mp3(2)); }); }},
      {"track-disabled", kNoteOnly, [] { return WithTrack(Plan::Vp8(1, {UInt(0xB9, 0)})); }},
      {"linked-segments", kNoteOnly, [] { return With([](Plan& plan) { plan.info = {Bin(0x3EB923, Ramp(16))}; }); }},
      {"ordered-chapters", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.more.emplace_back("chapters", Master(0x1043A770, {Master(0x45B9, {UInt(0x45DD, 1)})}));
           Positions at;
           Plan named = plan;
           named.seekEntries = {SeekEntry(0x1043A770, 0)};
           (void)Layout(named.Parts(), at);
           plan.seekEntries = {SeekEntry(0x1043A770, at["chapters"])};
         });
       }},
      {"font-ignored", kWarningOnly, AttachedFonts},
      {"attachments-unreachable", kWarningOnly,
       [] {
         return With([](Plan& plan) {
           plan.more.emplace_back(Attachments({Attachment("a.ttf", "application/x-truetype-font", Ramp(10))}));
         });
       }},
      {"text-invalid", kNoteOnly, [] { return With([](Plan& plan) {
                                         plan.info = {Bin(0x7BA9, {0xFF, 0xFE})};
                                       }); }},
  };
}

}  // namespace vantor::tools::checking
