// Reads that fail or come short while the platform's graph connects and plays. The connection is refused, or the graph
// comes to its end with samples of the file in their order. That some are missing is known where the reads failed: the
// demultiplexer takes such a read for the end of what there is, and sends no event. Nothing stays broken: when the
// source is well again, the same graph plays the whole file.
#include <gtest/gtest.h>

#include <string>

#include "graph/faulted_player.h"
#include "realfiles/recorded_run.h"

namespace vantor::test {

namespace {

enum class ReadFault { kFails, kAllFail, kComesShort, kAllComeShort };

struct ReadFaultCase {
  const char* media;
  ReadFault fault;
};

bool IsShort(ReadFault fault) { return fault == ReadFault::kComesShort || fault == ReadFault::kAllComeShort; }

void LetReadsFail(MemoryReader& reader, ReadFault fault, std::uint64_t first) {
  const bool andLater = fault == ReadFault::kAllFail || fault == ReadFault::kAllComeShort;
  if (IsShort(fault)) {
    reader.ShortenRead(first, andLater);
  } else {
    reader.FailRead(first, E_FAIL, andLater);
  }
}

// Times, marks and names that could not be read are those by default. One block of a pin may be wrong: a frame keeps
// what was read of it, and a head that was not read is taken for the frame's.
bool IsSamePayload(const ExpectedSample& whole, const ExpectedSample& seen) {
  return seen.size == whole.size && seen.crc32 == whole.crc32;
}

class ReadFaults : public RealGraphTest, public testing::WithParamInterface<ReadFaultCase> {
 protected:
  // The graph may be as it was when it met the fault; where the fault was met by the connection, that is made anew.
  static void ExpectRecovers(FaultedPlayer& player, HRESULT connected, bool isNewConnectionNeeded) {
    LetReadsFail(player.Reader(), GetParam().fault, 0);
    if (isNewConnectionNeeded) {
      if (SUCCEEDED(connected)) {
        player.Disconnect();
      }
      ASSERT_EQ(player.Connect(), S_OK);
      ASSERT_EQ(player.ConnectPins(), S_OK);
    } else {
      ASSERT_EQ(player.Rewind(), S_OK);
    }
    ASSERT_GE(player.Play(), S_OK);
  }
};

TEST_P(ReadFaults, EndTheGraphOrderlyAndLeaveItPlayable) {
  const Raw bytes = ReadMedia(GetParam().media);
  const FaultlessPlay whole = PlayWithoutFault(TestedComponent(), bytes, 1);
  const FaultlessPlay everyPin = PlayWithoutFault(TestedComponent(), bytes);
  std::uint64_t refused = 0;
  std::uint64_t parts = 0;
  for (const std::uint64_t number : NumbersToTry(whole.reads, 12)) {
    SCOPED_TRACE("read " + std::to_string(number));
    FaultedPlayer player(TestedComponent(), bytes);
    player.mostPins = 1;
    LetReadsFail(player.Reader(), GetParam().fault, number);
    const HRESULT connected = player.Connect();
    const bool isMetByConnection = player.Reader().Reads() >= number;
    if (FAILED(connected)) {
      ASSERT_TRUE(isMetByConnection) << "refused without a fault";
      ++refused;
    } else {
      ASSERT_EQ(player.ConnectPins(), S_OK);
      ASSERT_GE(player.Play(), S_OK);
      // Where a track could not be read, the first pin is that of another.
      ExpectPartOf(everyPin.pins, player.Pins(), IsSamePayload, 1);
      const bool isWhole = player.Pins() == whole.pins;
      EXPECT_TRUE(isWhole || player.Reader().Reads() >= number) << "samples are missing, but no read failed";
      parts += isWhole ? 0 : 1;
    }
    ExpectRecovers(player, connected, isMetByConnection);
    ExpectWhole(whole.pins, player.Pins());
    if (HasFailure()) {
      return;
    }
  }
  EXPECT_GT(refused, 0U) << "without its first bytes a file is refused";
  EXPECT_GT(parts, 0U) << "no fault had consequences";
}

std::string NameOfReadFault(const testing::TestParamInfo<ReadFaultCase>& info) {
  constexpr const char* kNames[] = {"Fails", "AllFail", "ComesShort", "AllComeShort"};
  std::string name = info.param.media;
  return name.substr(0, name.find('.')) + kNames[static_cast<std::size_t>(info.param.fault)];
}

// Files that end where their duration says: behind that, a key frame that lost its mark would let playing go on.
INSTANTIATE_TEST_SUITE_P(Media, ReadFaults,
                         testing::Values(ReadFaultCase{"subtitles.mks", ReadFault::kFails},
                                         ReadFaultCase{"subtitles.mks", ReadFault::kAllFail},
                                         ReadFaultCase{"subtitles.mks", ReadFault::kComesShort},
                                         ReadFaultCase{"subtitles.mks", ReadFault::kAllComeShort},
                                         ReadFaultCase{"flac_laced.mka", ReadFault::kFails},
                                         ReadFaultCase{"flac_laced.mka", ReadFault::kComesShort},
                                         ReadFaultCase{"avc_aac.mkv", ReadFault::kFails},
                                         ReadFaultCase{"avc_no_cues.mkv", ReadFault::kAllFail},
                                         ReadFaultCase{"avc_block_groups.mkv", ReadFault::kComesShort}),
                         NameOfReadFault);

}  // namespace

}  // namespace vantor::test
