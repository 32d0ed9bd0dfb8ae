// What lies beside the streams: the stream description file next to the media file, and fonts among the attachments.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "graph/real_graph.h"
#include "platform/platform.h"

namespace vantor::test {

namespace {

class SideFiles : public RealGraphTest {};

class Payloads final : public SampleListener {
 public:
  HRESULT OnSample(IMediaSample* sample) noexcept override {
    BYTE* data = nullptr;
    if (SUCCEEDED(sample->GetPointer(&data))) {
      all.emplace_back(data, data + sample->GetActualDataLength());
    }
    return S_OK;
  }
  std::vector<Raw> all;
};

TEST_F(SideFiles, AStreamDescriptionGivesAnAvcPinWhoseStartCodesBecomeLengths) {
  const Raw frame{0, 0, 0, 1, 0x65, 0xAA, 0xBB, 0, 0, 0, 1, 0x65, 0xCC};
  const MediaCopy media(
      MkvFile({Info(1000000, 100), Tracks({Track(1, 1, "V_MPEG4/ISO/AVC", {Video(16, 16), Str(0x536E, "Main")})}),
               Part("cluster", Cluster(0, {SimpleBlock(1, 0, kKey, frame), SimpleBlock(1, 40, 0, frame)})),
               Part([](const Positions& at) { return Cues({CuePoint(0, 1, at["cluster"])}); })}),
      "movie.mkv");
  {
    RealGraph graph;
    ASSERT_EQ(graph.Open(media.Path()), S_OK);
    EXPECT_EQ(graph.PinCount(), 1) << "the track tells nothing of its configuration";
  }
  std::ofstream(media.Beside("movie.conf"), std::ios::binary)
      << "[Stream.Main]\r\nCodecData=AAAAAWdkACgRAAAAAWjuPIA=\r\n";
  RealGraph graph;
  ASSERT_EQ(graph.Open(media.Path()), S_OK);
  ASSERT_EQ(graph.PinCount(), 2);
  const auto payloads = std::make_shared<Payloads>();
  graph.AddRenderer(1, payloads);
  graph.PlayToEnd();
  const Raw converted{0, 0, 0, 3, 0x65, 0xAA, 0xBB, 0, 0, 0, 2, 0x65, 0xCC};
  EXPECT_EQ(payloads->all, (std::vector<Raw>{converted, converted}));
}

// ---- Fonts.

// The same number of letters, so that one can take the other's place in the file. The second is of no system.
constexpr std::string_view kFamily = "DejaVu Sans";
constexpr std::string_view kRenamedFamily = "Vantor Sans";

// Names lie in a font file as single bytes and as big-endian pairs.
void Rename(Raw& font, bool inPairs) {
  const auto spread = [&](std::string_view text) {
    Raw bytes;
    for (const char letter : text) {
      if (inPairs) {
        bytes.push_back(0);
      }
      bytes.push_back(static_cast<std::uint8_t>(letter));
    }
    return bytes;
  };
  const Raw from = spread(kFamily);
  const Raw to = spread(kRenamedFamily);
  for (auto at = font.begin(); (at = std::search(at, font.end(), from.begin(), from.end())) != font.end();) {
    at = std::copy(to.begin(), to.end(), at);
  }
}

// The font at the path in the environment, renamed; empty when none is given.
Raw TestFont() {
  const char* const path = std::getenv("VANTOR_TEST_FONT");  // NOLINT(concurrency-mt-unsafe): nothing sets it
  if (path == nullptr) {
    return {};
  }
  std::ifstream file(path, std::ios::binary);
  Raw font{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  Rename(font, false);
  Rename(font, true);
  return font;
}

// GDI, looked up as the program runs.
class Gdi {
 public:
  Gdi() : library_(SharedLibrary::Load("gdi32.dll")) {}

  bool Knows(std::string_view family) const {
    const auto create = library_->FindFunction<decltype(CreateCompatibleDC)>("CreateCompatibleDC");
    const auto list = library_->FindFunction<decltype(EnumFontFamiliesExW)>("EnumFontFamiliesExW");
    const auto end = library_->FindFunction<decltype(DeleteDC)>("DeleteDC");
    LOGFONTW wanted = {};
    wanted.lfCharSet = DEFAULT_CHARSET;
    std::copy(family.begin(), family.end(), wanted.lfFaceName);
    int count = 0;
    const HDC context = create(nullptr);
    EXPECT_NE(context, nullptr);
    list(context, &wanted, Count, reinterpret_cast<LPARAM>(&count), 0);
    end(context);
    return count > 0;
  }

 private:
  static int CALLBACK Count(const LOGFONTW*, const TEXTMETRICW*, DWORD, LPARAM counter) {
    ++*reinterpret_cast<int*>(counter);
    return 1;
  }

  std::unique_ptr<SharedLibrary> library_;
};

int TemporaryFonts() {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path())) {
    count += entry.path().filename().wstring().rfind(L"g_f", 0) == 0 ? 1 : 0;
  }
  return count;
}

TEST_F(SideFiles, AnAttachedFontIsKnownToGdiWhileTheFileIsConnected) {
  const Raw font = TestFont();
  if (font.empty()) {
    GTEST_SKIP() << "no font: VANTOR_TEST_FONT names none that can be read";
  }
  // Loaded before the filter is made, as in every program that shows something.
  const Gdi gdi;
  const MediaCopy media(
      MkvFile({Part([](const Positions& at) { return SeekHead({SeekEntry(0x1941A469, at["attachments"])}); }),
               Info(1000000, 100), Tracks({Track(1, 17, "S_TEXT/UTF8")}),
               Part("attachments", Attachments({Attachment("font.ttf", "application/x-truetype-font", font)})),
               Cluster(0, {SimpleBlock(1, 0, kKey, Text("text"))})}),
      "fonts.mkv");
  ASSERT_FALSE(gdi.Knows(kRenamedFamily));
  const int files = TemporaryFonts();
  {
    RealGraph graph;
    ASSERT_EQ(graph.Open(media.Path()), S_OK);
    EXPECT_TRUE(gdi.Knows(kRenamedFamily));
    ASSERT_EQ(graph->Disconnect(graph.Pin(0).Get()), S_OK);
    EXPECT_FALSE(gdi.Knows(kRenamedFamily)) << "gone with the connection";
    EXPECT_EQ(TemporaryFonts(), files);
    ASSERT_EQ(graph->Disconnect(FirstPin(graph.Reader()).Get()), S_OK);
    ASSERT_EQ(graph.ConnectInput(), S_OK);
    EXPECT_TRUE(gdi.Knows(kRenamedFamily));
  }
  EXPECT_FALSE(gdi.Knows(kRenamedFamily)) << "gone with the filter";
  EXPECT_EQ(TemporaryFonts(), files);
}

}  // namespace
}  // namespace vantor::test
