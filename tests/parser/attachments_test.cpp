#include "parser/attachments.h"

#include <gtest/gtest.h>

#include "fixture.h"

namespace vantor::test {
namespace {

MkvAttachmentList ReadAttachments(const Raw& attachments) {
  Source source(attachments);
  MkvAttachmentList list;
  EXPECT_EQ(ReadAttachments(source.First(), list), S_OK);
  return list;
}

TEST(Attachments, EveryChildGoesToItsField) {
  const MkvAttachmentList list = ReadAttachments(
      Attachments({Master(0x61A7, {Str(0x467E, "d\xC3\xA9"), Str(0x466E, "Gr\xC3\xBC\xC3\x9F.ttf"),
                                   Str(0x4660, "font/ttf"), UInt(0x46AE, 77), Bin(0x465C, Fill(40))})}));
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].FileDescription, OLESTR("d\u00E9"));
  EXPECT_EQ(list[0].FileName, OLESTR("Gr\u00FC\u00DF.ttf"));
  EXPECT_EQ(list[0].FileMimeType, "font/ttf");
  EXPECT_EQ(list[0].FileUID.value, 77u);
  EXPECT_EQ(list[0].dataSize, 40u);
}

TEST(Attachments, DataIsReadThroughAByteSourceAtItsPosition) {
  Source source(Join({Void(11), Attachments({Attachment("a", "b", Ramp(30))})}));
  MkvAttachmentList list;
  EXPECT_EQ(ReadAttachments(MkvElement::At(source.file, nullptr, 11), list), S_OK);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_LE(source.reader.LargestRead(), 1u) << "data must not be read while the records are";
  source.file.position = list[0].dataPosition;
  Raw bytes(static_cast<std::size_t>(list[0].dataSize));
  EXPECT_EQ(source.file.Read(bytes.data(), bytes.size()), S_OK);
  EXPECT_EQ(bytes, Ramp(30));
}

TEST(Attachments, OfTwoFileDataTheLastIsKept) {
  Source source(Attachments({Attachment("a", "b", Ramp(30), {Bin(0x465C, {1, 2})})}));
  MkvAttachmentList list;
  (void)ReadAttachments(source.First(), list);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].dataSize, 2u);
  EXPECT_EQ(list[0].dataPosition, source.file.length - 2);
}

TEST(Attachments, FileWithoutDataHasSizeZero) {
  const MkvAttachmentList list = ReadAttachments(Attachments({Master(0x61A7, {Str(0x466E, "a")})}));
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].dataSize, 0u);
  EXPECT_EQ(list[0].dataPosition, 0u);
  EXPECT_FALSE(list[0].FileUID.present);
}

TEST(Attachments, MimeTypeStopsAtAZeroByte) {
  const MkvAttachmentList list = ReadAttachments(Attachments({Master(0x61A7, {Ebml(0x4660, {'a', 0, 'b'})})}));
  EXPECT_EQ(list.at(0).FileMimeType, "a");
}

TEST(Attachments, StringWhoseReadFailsStaysEmptyAndTheWalkGoesOn) {
  MemoryReader reader(Attachments({Attachment("name", "mime", Fill(3))}));
  PlainFile file(&reader);
  const MkvElement element = MkvElement::At(file, nullptr, 0);
  reader.FailRead(7, E_ABORT);  // AttachedFile and FileName headers take three reads each
  MkvAttachmentList list;
  (void)ReadAttachments(element, list);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_TRUE(list[0].FileName.empty());
  EXPECT_EQ(list[0].FileMimeType, "mime");
  EXPECT_EQ(list[0].dataSize, 3u);
}

TEST(Attachments, FilesKeepFileOrderAndOtherChildrenAreSkipped) {
  const MkvAttachmentList list =
      ReadAttachments(Attachments({Attachment("one", "", {}), Void(9), Attachment("two", "", {})}));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].FileName, OLESTR("one"));
  EXPECT_EQ(list[1].FileName, OLESTR("two"));
}

TEST(Attachments, DataThatReachesToTheEndOfTheFileIsWithinIt) {
  Source source(Attachments({Master(0x61A7, {Ebml(0x465C, {1, 2, 3})})}));
  source.file.tolerated.Collect();
  MkvAttachmentList list;
  EXPECT_EQ(ReadAttachments(source.First(), list), S_OK);
  EXPECT_TRUE(source.file.tolerated.Notes().empty());
}

TEST(Attachments, FilesBeyondTheLimitArePassedOver) {
  EXPECT_EQ(ReadAttachments(Attachments(std::vector<Raw>(kMaxAttachedFiles + 9, Master(0x61A7, {})))).size(),
            kMaxAttachedFiles);
}

}  // namespace
}  // namespace vantor::test
