#include "mediatypes/stream_description.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "mediatypes/base64.h"
#include "platform/text.h"
#include "support/mkv_builder.h"
#include "support/temporary_folder.h"

namespace vantor::test {
namespace {

const Raw kDescribedSequence = {0x67, 0x64, 0x00, 0x28, 0xAC, 0xD9};
const Raw kDescribedPicture = {0x68, 0xEB, 0xE3};
const Raw kDescribedAnnexB = Join({{0, 0, 0, 1}, kDescribedSequence, {0, 0, 0, 1}, kDescribedPicture});
// The record of these two sets.
const Raw kRecord = Join({{1, 0x64, 0x00, 0x28, 0xFF, 0xE1, 0, 6}, kDescribedSequence, {1, 0, 3}, kDescribedPicture});

std::string Base64(const Raw& bytes) {
  CVKBase64Encoder encoder;
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 57) {
    encoder.Reset();
    const std::size_t count = std::min<std::size_t>(57, bytes.size() - at);
    encoder.Encode(bytes.data() + at, static_cast<std::int32_t>(count));
    text.append(encoder.Data(), encoder.Data() + encoder.Length());
  }
  return text;
}

// An upstream pin with its filter, in one object on the stack; only what the lookup asks for is there. References taken
// on it must be back at the end.
class FakeUpstream final : public IPin, public IBaseFilter, public IFileSourceFilter {
 public:
  virtual ~FakeUpstream() { EXPECT_EQ(references_, 0); }

  // What the steps of the lookup answer.
  HRESULT pinInfo = S_OK;
  bool hasFilter = true;
  bool isFileSource = true;
  HRESULT currentFile = S_OK;
  bool hasName = true;
  WideString name;
  int timesAsked = 0;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = nullptr;
    if (!SameGuid(iid, IID_IFileSourceFilter) || !isFileSource) return E_NOINTERFACE;
    *object = static_cast<IFileSourceFilter*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references_); }
  ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references_); }

  HRESULT STDMETHODCALLTYPE QueryPinInfo(PIN_INFO* info) override {
    if (FAILED(pinInfo)) return pinInfo;
    info->pFilter = hasFilter ? static_cast<IBaseFilter*>(this) : nullptr;
    if (hasFilter) AddRef();
    return pinInfo;
  }
  HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR* file, AM_MEDIA_TYPE* type) override {
    ++timesAsked;
    *file = nullptr;
    if (type != nullptr) {
      // Callers own the format block.
      *type = {};
      type->cbFormat = 100;
      type->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(100));
    }
    if (FAILED(currentFile) || !hasName) return currentFile;
    const std::size_t size = (name.size() + 1) * sizeof(WCHAR);
    *file = static_cast<LPOLESTR>(CoTaskMemAlloc(size));
    std::memcpy(*file, name.c_str(), size);
    return currentFile;
  }

  // Never asked for.
  HRESULT STDMETHODCALLTYPE Load(LPCOLESTR, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetClassID(CLSID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Stop() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Pause() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetState(DWORD, FILTER_STATE*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetSyncSource(IReferenceClock**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE EnumPins(IEnumPins**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE FindPin(LPCWSTR, IPin**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE QueryFilterInfo(FILTER_INFO*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE JoinFilterGraph(IFilterGraph*, LPCWSTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE QueryVendorInfo(LPWSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Connect(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Disconnect() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE ConnectedTo(IPin**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE ConnectionMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE QueryDirection(PIN_DIRECTION*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE QueryId(LPWSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE QueryAccept(const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE EnumMediaTypes(IEnumMediaTypes**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE EndOfStream() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE BeginFlush() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE EndFlush() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return E_NOTIMPL; }

 private:
  int references_ = 0;
};

class StreamDescriptionTest : public testing::Test {
 protected:
  void SetUp() override {
    upstream_.name = (folder_ / "a.b.mkv").string<WCHAR>();
    track_.Name = OLESTR("Main");
  }

  void WriteDescription(const std::string& text, const std::string& fileName = "a.b.conf") {
    folder_.Write(fileName, text);
  }

  // The private data that the file gives the track, or nothing.
  Raw Read() {
    Bytes codecPrivate = {9, 9};
    if (StreamDescription(&upstream_).Read(track_, codecPrivate)) return codecPrivate;
    EXPECT_EQ(codecPrivate, (Bytes{9, 9}));
    return {};
  }

  const TemporaryFolder folder_;
  FakeUpstream upstream_;
  MkvTrackEntry track_;
};

TEST(StreamDescriptionPath, TextFromTheLastPointOnIsReplaced) {
  EXPECT_EQ(StreamDescriptionPath(OLESTR("C:\\v\\a.b.mkv")), OLESTR("C:\\v\\a.b.conf"));
  EXPECT_EQ(StreamDescriptionPath(OLESTR("movie.mkv")), OLESTR("movie.conf"));
  EXPECT_EQ(StreamDescriptionPath(OLESTR("movie.")), OLESTR("movie.conf"));
  EXPECT_EQ(StreamDescriptionPath(OLESTR("C:\\v.x\\movie")), OLESTR("C:\\v.conf"));
}

TEST(StreamDescriptionPath, WithoutAPointThereIsNone) {
  EXPECT_TRUE(StreamDescriptionPath(OLESTR("C:\\v\\movie")).empty());
  EXPECT_TRUE(StreamDescriptionPath({}).empty());
}

TEST_F(StreamDescriptionTest, SectionOfTheTracksNameGivesTheRecord) {
  WriteDescription("[Stream.Other]\r\nCodecData=AAAA\r\n[Stream.Main]\r\nCodecData=" + Base64(kDescribedAnnexB) +
                   "\r\n");
  EXPECT_EQ(Read(), kRecord);
}

TEST_F(StreamDescriptionTest, StoredConfigurationBoxIsTaken) {
  const Raw box = Join({BigEndian(kRecord.size() + 8, 4), Text("avcC"), kRecord});
  WriteDescription("[Stream.Main]\nCodecData=" + Base64(box));
  EXPECT_EQ(Read(), kRecord);
}

TEST_F(StreamDescriptionTest, OfTwoSequenceSetsOnlyTheFirstIsTaken) {
  WriteDescription("[Stream.Main]\nCodecData=" + Base64(Join({kDescribedAnnexB, {0, 0, 0, 1, 0x67, 1, 2, 3, 4}})));
  EXPECT_EQ(Read(), kRecord);
}

TEST_F(StreamDescriptionTest, TrackWithoutNameHasTheSectionWithNothingAfterThePoint) {
  track_.Name.clear();
  WriteDescription("[Stream.]\nCodecData=" + Base64(kDescribedAnnexB));
  EXPECT_EQ(Read(), kRecord);
}

TEST_F(StreamDescriptionTest, MissingFileSectionOrKeyGiveNone) {
  EXPECT_EQ(Read(), Raw{});
  WriteDescription("[Stream.Main]\nCodecData=" + Base64(kDescribedAnnexB), "a.conf");
  EXPECT_EQ(Read(), Raw{});
  WriteDescription("[Stream.Mai]\nCodecData=" + Base64(kDescribedAnnexB));
  EXPECT_EQ(Read(), Raw{});
  WriteDescription("[Stream.Main]\nCodecDat=" + Base64(kDescribedAnnexB));
  EXPECT_EQ(Read(), Raw{});
  WriteDescription("[Stream.Main]\nCodecData=");
  EXPECT_EQ(Read(), Raw{});
}

TEST_F(StreamDescriptionTest, UndecodableOrUselessTextGivesNone) {
  for (const std::string& value : {std::string("!!!!"), Base64(Fill(40, 1)), Base64({0, 0, 0, 1, 0x67, 1, 2, 3}),
                                   Base64(Join({{0, 0, 0, 1}, kDescribedSequence}))}) {
    WriteDescription("[Stream.Main]\nCodecData=" + value);
    EXPECT_EQ(Read(), Raw{}) << value;
  }
}

TEST_F(StreamDescriptionTest, ValueIsCutTo1023Characters) {
  // 765 bytes are 1020 characters; what follows is cut away, and with it the rest of a picture set of 2-byte lengths.
  const Raw slice = Join({{0x65}, Fill(765 - 8 - 2 - 1, 7)});
  const Raw fits = Join({BigEndian(6, 2), kDescribedSequence, BigEndian(slice.size(), 2), slice});
  ASSERT_EQ(fits.size(), 765U);
  WriteDescription("[Stream.Main]\nCodecData=" + Base64(Join({fits, {0}})));
  EXPECT_EQ(Read(), Raw{});
  const Raw picture = Join({{0x68}, Fill(765 - 8 - 2 - 1, 7)});
  const Raw whole = Join({BigEndian(6, 2), kDescribedSequence, BigEndian(picture.size(), 2), picture});
  WriteDescription("[Stream.Main]\nCodecData=" + Base64(whole));
  EXPECT_EQ(Read().size(), 8 + kDescribedSequence.size() + 3 + picture.size());
  const Raw longer = Join({{0x68}, Fill(768 - 8 - 2 - 1, 7)});  // 1024 characters
  WriteDescription("[Stream.Main]\nCodecData=" +
                   Base64(Join({BigEndian(6, 2), kDescribedSequence, BigEndian(longer.size(), 2), longer})));
  EXPECT_EQ(Read(), Raw{});
}

TEST_F(StreamDescriptionTest, NamesBeyondAsciiNameTheirSectionInASixteenBitFile) {
  track_.Name = Utf8ToWide("Bild \xE4\xB8\xAD");
  const WideString text =
      OLESTR("[Stream.") + track_.Name + OLESTR("]\r\nCodecData=") + Utf8ToWide(Base64(kDescribedAnnexB));
  std::string bytes = "\xFF\xFE";
  for (const WCHAR letter : text) {
    bytes.push_back(static_cast<char>(letter & 0xFF));
    bytes.push_back(static_cast<char>(letter >> 8));
  }
  WriteDescription(bytes);
  EXPECT_EQ(Read(), kRecord);
}

TEST_F(StreamDescriptionTest, EveryFailingStepOfFindingTheSourceGivesNone) {
  WriteDescription("[Stream.Main]\nCodecData=" + Base64(kDescribedAnnexB));
  ASSERT_EQ(Read(), kRecord);
  Bytes codecPrivate;
  EXPECT_FALSE(StreamDescription(nullptr).Read(track_, codecPrivate));
  upstream_.pinInfo = E_FAIL;
  EXPECT_EQ(Read(), Raw{});
  upstream_.pinInfo = S_OK;
  upstream_.hasFilter = false;
  EXPECT_EQ(Read(), Raw{});
  upstream_.hasFilter = true;
  upstream_.isFileSource = false;
  EXPECT_EQ(Read(), Raw{});
  upstream_.isFileSource = true;
  upstream_.currentFile = E_FAIL;
  EXPECT_EQ(Read(), Raw{});
  upstream_.currentFile = S_OK;
  upstream_.hasName = false;
  EXPECT_EQ(Read(), Raw{});
  upstream_.hasName = true;
  EXPECT_EQ(Read(), kRecord);
}

TEST_F(StreamDescriptionTest, FileIsLookedForOnceForAllTracksOfAConnection) {
  WriteDescription("[Stream.Main]\nCodecData=" + Base64(kDescribedAnnexB));
  StreamDescription description(&upstream_);
  EXPECT_EQ(upstream_.timesAsked, 0);
  MkvTrackEntry other;
  Bytes codecPrivate;
  EXPECT_FALSE(description.Read(other, codecPrivate));
  EXPECT_TRUE(description.Read(track_, codecPrivate));
  EXPECT_EQ(codecPrivate, kRecord);
  EXPECT_EQ(upstream_.timesAsked, 1);
}

TEST_F(StreamDescriptionTest, SourceWithoutAPointInItsPathGivesNone) {
  upstream_.name = OLESTR("movie");
  EXPECT_EQ(Read(), Raw{});
}

}  // namespace
}  // namespace vantor::test
