#include "streaming/hostile_recipes.h"

#include "parser/element_ids.h"
#include "support/demux_harness.h"

namespace vantor::test {

namespace {

Raw Repeat(std::size_t count, const Raw& element) {
  Raw all;
  all.reserve(count * element.size());
  for (std::size_t i = 0; i < count; ++i) all.insert(all.end(), element.begin(), element.end());
  return all;
}

// As many as fit so many bytes.
Raw FillWith(std::size_t size, const Raw& element) { return Repeat(size / element.size(), element); }

const Raw kTinyVoid{0xEC, 0x80};

// With numbers of their own, or all of the same.
std::vector<Raw> AudioTracks(std::size_t count, std::uint64_t step = 1) {
  std::vector<Raw> tracks;
  for (std::size_t i = 0; i < count; ++i) tracks.push_back(AudioTrack(1 + i * step));
  return tracks;
}
std::vector<Raw> TracksOfOneNumber(std::size_t count) { return AudioTracks(count, 0); }

// Ends with a Cluster late enough for all that is in front of it to be played: a made-up index tells the duration.
Raw FileOf(const std::vector<Raw>& tracks, const std::vector<Part>& parts) {
  std::vector<Part> all{Info(), Tracks(tracks)};
  all.insert(all.end(), parts.begin(), parts.end());
  all.emplace_back(Cluster(10'000'000, {SimpleBlock(1, 0, kKey, {9})}));
  return MkvFile(all);
}

Raw ClusterAtZero() { return Cluster(0, {SimpleBlock(1, 0, kKey, {1})}); }

Raw OneTrack(const Raw& elements) { return FileOf({AudioTrack(1)}, {ClusterAtZero(), elements}); }

Raw InACluster(const std::vector<Raw>& tracks, const Raw& children) {
  return FileOf(tracks, {Cluster(0, {SimpleBlock(1, 0, kKey, {1}), children, SimpleBlock(1, 5, kKey, {2})})});
}
Raw InACluster(const Raw& children) { return InACluster({AudioTrack(1)}, children); }

// With elements that the seek index leads to.
Raw Indexed(std::uint32_t id, const Raw& elements, const Raw& track = AudioTrack(1)) {
  return MkvFile({[id](const Positions& at) { return SeekHead({SeekEntry(id, at["it"])}); },
                  Info(1000000, 10'000'000),
                  Tracks({track}),
                  ClusterAtZero(),
                  {"it", elements}});
}
Raw IndexedCues(const Raw& children) { return Indexed(ids::kCues, Ebml(ids::kCues, children)); }

Raw StrippedFile(std::size_t headerSize, const Raw& blocks) {
  const Raw encoding = Ebml(0x5034, Join({UInt(0x4254, 3), Bin(0x4255, Fill(headerSize, 7))}));
  return InACluster({AudioTrack(1, "A_AC3", {Ebml(0x6D80, Ebml(0x6240, encoding))})}, blocks);
}

// An element of unknown size, which reaches to the end of the file.
Raw Claim(std::uint32_t id, const Raw& payload = {}) { return Join({IdBytes(id), UnknownVint(), payload}); }

Raw TracksThatClaim(std::uint32_t id, std::size_t size) {
  std::vector<Raw> tracks;
  for (std::uint64_t number = 1; number <= 20; ++number) {
    tracks.push_back(
        Ebml(0xAE, Join({UInt(0xD7, number), UInt(0x83, 2), Str(0x86, "A_AC3"), Audio(48000, 2), Claim(id)})));
  }
  return FileOf(tracks, {ClusterAtZero(), Void(size)});
}

Raw FontsThatClaim(std::size_t size) {
  const Raw font = Ebml(0x61A7, Join({Str(0x4660, "application/x-truetype-font"), Claim(0x465C)}));
  return Indexed(ids::kAttachments, Join({Ebml(ids::kAttachments, Repeat(1000, font)), Void(size)}), SubtitleTrack(1));
}

// Elements whose child claims all that is behind them: the others, and many small elements in the end.
Raw ClaimsOfTheRest(const std::vector<Raw>& tracks, std::uint32_t id, const Raw& claim, std::size_t size) {
  return FileOf(tracks,
                {ClusterAtZero(), Repeat(500, Ebml(id, claim)), Ebml(ids::kCluster, FillWith(size, kTinyVoid))});
}

// Laces that each have another frame for their large one.
Raw LacesOfOneLargeFrame(std::size_t size) {
  Raw blocks;
  for (std::size_t large = 0; large < 100; ++large) {
    std::vector<Raw> frames(101);
    frames[large] = Fill(size / 100, 7);
    const Raw block = SimpleBlock(1, 0, kKey | kXiph, XiphLace(frames));
    blocks.insert(blocks.end(), block.begin(), block.end());
  }
  return blocks;
}

// Groups whose last Block says that they are another track's.
Raw GroupsOfAnotherTrack(std::size_t size) {
  return Repeat(3, BlockGroup({Block(1, 0, 0, Fill(size / 3, 7)), Block(2, 0, 0, {})}));
}

std::vector<Raw> AvcTracksWithoutConfiguration() {
  std::vector<Raw> tracks{AudioTrack(1)};
  for (std::uint64_t number = 2; number <= 100; ++number) {
    tracks.push_back(Track(number, 1, "V_MPEG4/ISO/AVC", {Video(16, 16)}));
  }
  return tracks;
}

// Of the section that tracks without a name have, with what they want behind long lines of something else.
std::string LongDescription(std::size_t size) {
  const std::string line = "Other=" + std::string(1000, 'A') + "\n";
  std::string text = "[Stream.]\n";
  while (text.size() < size) text += line;
  return text + "CodecData=AAAAAWdkACgRAAAAAWjuPIA=\n";
}

// So many elements, made one by one from their numbers.
template <typename Make>
Raw Numbered(std::size_t count, Make&& make) {
  Raw all;
  for (std::size_t i = 0; i < count; ++i) {
    const Raw element = make(i);
    all.insert(all.end(), element.begin(), element.end());
  }
  return all;
}

// All tracks that there may be, and points that each lead one of them to the same Cluster, where none has a key frame.
Raw CuesOfManyTracks(std::size_t size) {
  constexpr std::size_t kTracks = 128;
  const std::size_t count = size / CuePoint(0, 1, 0).size();
  return MkvFile({[](const Positions& at) { return SeekHead({SeekEntry(ids::kCues, at["cues"])}); },
                  Info(1000000, 10'000'000),
                  Tracks(AudioTracks(kTracks)),
                  {"cues",
                   [=](const Positions& at) {
                     return Ebml(ids::kCues, Numbered(count, [&](std::size_t i) {
                                   return CuePoint(i * 5000 / count, 1 + i % kTracks, at["cluster"]);
                                 }));
                   }},
                  {"cluster", Cluster(0, {SimpleBlock(1, 0, 0, {1})})}});
}

// The points lead to two Clusters in turn, which are long and hold no frame to begin with.
Raw CuesOfTwoFarClusters(std::size_t size) {
  const Raw cluster = Cluster(0, {FillWith(size / 4, kTinyVoid), SimpleBlock(1, 0, 0, {1})});
  return MkvFile({[](const Positions& at) { return SeekHead({SeekEntry(ids::kCues, at["cues"])}); },
                  Info(1000000, 10'000'000),
                  Tracks({AudioTrack(1)}),
                  {"first", cluster},
                  {"second", cluster},
                  {"cues", [size](const Positions& at) {
                     return Ebml(ids::kCues, Numbered(size / 2 / CuePoint(0, 1, 0).size(), [&](std::size_t i) {
                                   return CuePoint(100, 1, at[i % 2 == 0 ? "first" : "second"]);
                                 }));
                   }}});
}

Raw ChainedSeekHeads(std::size_t size) {
  std::vector<Part> parts;
  const std::size_t count = size / 60;
  for (std::size_t i = 0; i < count; ++i) {
    parts.emplace_back(std::to_string(i), [i](const Positions& at) {
      return SeekHead({SeekEntry(ids::kSeekHead, at["0"]), SeekEntry(ids::kSeekHead, at[std::to_string(i + 1)])});
    });
  }
  parts.emplace_back(Tracks({AudioTrack(1)}));
  parts.emplace_back(ClusterAtZero());
  return MkvFile(parts);
}

}  // namespace

const std::vector<HostileRecipe>& HostileRecipes() {
  static const Raw kEmptyLace = Block(1, 0, kFixed, {254});
  static const Raw kLace = SimpleBlock(1, 0, kKey | kFixed, Join({{254}, Fill(255, 9)}));
  static const Raw kCluster = Ebml(ids::kCluster, {});
  static const std::vector<HostileRecipe> recipes = {
      // Frames.
      {"a group of many empty laces",
       [](std::size_t size) { return InACluster(BlockGroup({FillWith(size, kEmptyLace)})); },
       {2, 2.5, 1, 0.1}},
      {"a long stripped header",
       [](std::size_t size) { return StrippedFile(size / 2, FillWith(size / 2, SimpleBlock(1, 0, kKey, {9}))); },
       {1.2, 2, 1.5, 0.2}},
      {"a long stripped header and laces",
       [](std::size_t size) { return StrippedFile(size / 2, FillWith(size / 2, kLace)); },
       {1, 1.5, 1.5, 0.7}},
      {"the longest stripped header and laces",
       [](std::size_t size) { return StrippedFile(4096, FillWith(size, kLace)); },
       {1.5, 1.5, 0.5, 4100}},
      {"tracks of one number and a large block",
       [](std::size_t size) { return InACluster(TracksOfOneNumber(20), SimpleBlock(1, 1, kKey, Fill(size, 7))); },
       {0.1, 21, 21, 21}},
      {"tracks of one number and blocks that claim each other",
       [](std::size_t size) {
         return FileOf(TracksOfOneNumber(20),
                       {Repeat(100, Ebml(ids::kCluster, Claim(0xA3, {0x81, 0, 0, 0x80}))), Void(size)});
       },
       {0.4, 105, 42, 105}},
      {"tracks of one number and codec states",
       [](std::size_t size) {
         return InACluster(TracksOfOneNumber(20),
                           Repeat(2, BlockGroup({Block(1, 0, 0, {1}), Ebml(0xA4, Fill(size / 2, 7))})));
       },
       {0.1, 41, 3, 0.1}},
      {"tracks of one number and groups of another",
       [](std::size_t size) { return InACluster(TracksOfOneNumber(20), GroupsOfAnotherTrack(size)); },
       {0.1, 21, 10, 0.1}},
      {"laces that each enlarge another buffer",
       [](std::size_t size) { return InACluster(LacesOfOneLargeFrame(size)); },
       {0.2, 1.5, 1.5, 1.5}},
      {"Xiph sizes that do not end",
       [](std::size_t size) {
         return InACluster(FillWith(size, SimpleBlock(1, 0, kXiph, Join({{254}, Fill(2000, 255)}))));
       },
       {0.1, 0.1, 0.1, 0.1}},
      // Payloads.
      {"private data of each other", [](std::size_t size) { return TracksThatClaim(0x63A2, size); }, {0.1, 9, 10, 0.1}},
      {"names of each other", [](std::size_t size) { return TracksThatClaim(0x536E, size); }, {0.1, 9, 2, 0.1}},
      {"fonts of each other", FontsThatClaim, {0.2, 9, 3, 0.1}},
      // Records.
      {"empty Clusters", [](std::size_t size) { return OneTrack(FillWith(size, kCluster)); }, {6, 6, 9, 0.1, 4}},
      {"damaged headers between empty Clusters",
       [](std::size_t size) {
         return OneTrack(FillWith(size, Join({{0x00}, kCluster})));
       },
       {8, 9, 9, 0.1, 4}},
      {"Clusters without end in each other",
       [](std::size_t size) { return OneTrack(FillWith(size, Claim(ids::kCluster))); },
       {0.1, 0.1, 0.1, 0.1}},
      {"empty cue points",
       [](std::size_t size) {
         return IndexedCues(FillWith(size, {0xBB, 0x80}));
       },
       {4, 4, 12, 0.1, 4}},
      {"empty cue positions",
       [](std::size_t size) {
         return IndexedCues(Ebml(0xBB, FillWith(size, {0xB7, 0x80})));
       },
       {1.5, 1.5, 12, 0.1, 4}},
      {"empty cue references",
       [](std::size_t size) {
         return IndexedCues(Ebml(0xBB, Ebml(0xB7, FillWith(size, {0xDB, 0x80}))));
       },
       {1.5, 1.5, 12, 0.1, 4}},
      {"cue points of one Cluster",
       [](std::size_t size) { return IndexedCues(FillWith(size, CuePoint(100, 1, 0))); },
       {1.5, 2, 9, 0.1, 4}},
      {"empty Cues",
       [](std::size_t size) { return Indexed(ids::kCues, FillWith(size, Ebml(ids::kCues, {}))); },
       {4, 4, 12, 0.1, 4}},
      {"empty seek entries",
       [](std::size_t size) { return OneTrack(Ebml(ids::kSeekHead, FillWith(size, Ebml(0x4DBB, {})))); },
       {4, 4, 2, 0.1, 4}},
      {"SeekHeads that name each other", ChainedSeekHeads, {1.5, 2, 3, 0.1}},
      {"empty content encodings",
       [](std::size_t size) {
         const Raw encodings = Ebml(0x6D80, FillWith(size / 100, Ebml(0x6240, {})));
         return FileOf(std::vector<Raw>(100, AudioTrack(1, "A_AC3", {encodings})), {ClusterAtZero()});
       },
       {1.5, 1.5, 2, 0.1, 4}},
      {"empty attachments",
       [](std::size_t size) {
         return Indexed(ids::kAttachments, Ebml(ids::kAttachments, FillWith(size, Ebml(0x61A7, {}))));
       },
       {4, 4, 2, 0.1, 4}},
      {"empty chapter editions",
       [](std::size_t size) { return Indexed(ids::kChapters, Ebml(ids::kChapters, FillWith(size, Ebml(0x45B9, {})))); },
       {4, 4, 12, 0.1, 4}},
      {"empty chapter titles",
       [](std::size_t size) {
         const Raw titles = FillWith(size, Ebml(0x80, Ebml(0x85, {})));
         return Indexed(ids::kChapters, Ebml(ids::kChapters, Ebml(0x45B9, Ebml(0xB6, titles))));
       },
       {1.5, 1.5, 16, 0.1, 4}},
      {"empty Segments",
       [](std::size_t size) {
         return Join({OneTrack({}), FillWith(size, Segment({SeekHead({})}, 1))});
       },
       {1, 1, 0.1, 0.1}},
      // Walks.
      {"tiny elements in a Cluster",
       [](std::size_t size) { return InACluster(FillWith(size, kTinyVoid)); },
       {3, 3, 0.1, 0.1}},
      {"tiny elements between Clusters",
       [](std::size_t size) { return OneTrack(FillWith(size, kTinyVoid)); },
       {5, 5, 0.1, 0.1}},
      {"tiny elements in front of the time of a Cluster",
       [](std::size_t size) {
         return OneTrack(Ebml(ids::kCluster, Join({FillWith(size, kTinyVoid), UInt(0xE7, 5)})));
       },
       {8, 8, 0.1, 0.1}},
      {"tiny elements in a Void",
       [](std::size_t size) { return OneTrack(Ebml(0xEC, FillWith(size, kTinyVoid))); },
       {3, 3, 0.1, 0.1}},
      {"a group without a block",
       [](std::size_t size) { return InACluster(BlockGroup({FillWith(size, kTinyVoid)})); },
       {3, 3, 0.1, 0.1}},
      {"groups that claim each other",
       [](std::size_t size) { return ClaimsOfTheRest(AudioTracks(10), ids::kCluster, Claim(0xA0), size); },
       {120, 120, 0.2, 0.1}},
      {"siblings of Clusters that claim each other",
       [](std::size_t size) { return ClaimsOfTheRest(AudioTracks(10), 0xEC, Claim(0xEC), size); },
       {120, 120, 0.2, 0.1}},
      {"groups without end in each other",
       [](std::size_t size) { return InACluster(FillWith(size, Claim(0xA0))); },
       {0.1, 0.1, 0.1, 0.1}},
      {"bytes that identifiers begin with",
       [](std::size_t size) {
         return OneTrack(Join({{0x00}, Fill(size, 0x1F)}));
       },
       {10, 20, 0.1, 0.1}},
      {"cue points of many tracks", CuesOfManyTracks, {0.6, 0.6, 5, 0.1, 1}},
      {"cue points of two far Clusters", CuesOfTwoFarClusters, {2.1, 2.3, 6, 0.1, 1}},
      {"blocks of one of many tracks",
       [](std::size_t size) { return InACluster(AudioTracks(32), FillWith(size, SimpleBlock(1, 1, kKey, {}))); },
       {60, 70, 0.2, 0.1}},
      {"AVC tracks and a long description",
       [](std::size_t) { return InACluster(AvcTracksWithoutConfiguration(), {}); },
       {0.1, 0.1, 3, 0.1},
       LongDescription},
      {"AVC tracks without a first frame",
       [](std::size_t size) {
         return InACluster(AvcTracksWithoutConfiguration(), FillWith(size, SimpleBlock(1, 1, kKey, {})));
       },
       {16, 20, 0.2, 0.1}},
  };
  return recipes;
}

}  // namespace vantor::test
