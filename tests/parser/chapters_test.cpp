#include "parser/chapters.h"

#include <gtest/gtest.h>

#include "fixture.h"

namespace vantor::test {
namespace {

Raw Chapters(const std::vector<Raw>& editions) { return Master(0x1043A770, editions); }
Raw Edition(const std::vector<Raw>& atoms) { return Master(0x45B9, atoms); }
Raw Atom(const std::vector<Raw>& children) { return Master(0xB6, children); }
Raw Display(const std::string& text) { return Master(0x80, {Str(0x85, text), Str(0x437C, "eng")}); }

MkvChapterEditions ReadChapters(const Raw& chapters) {
  Source source(chapters);
  MkvChapterEditions editions;
  EXPECT_EQ(ReadChapters(source.First(), editions), S_OK);
  return editions;
}

TEST(Chapters, EditionsAtomsAndDisplaysAreHeldInFileOrder) {
  const MkvChapterEditions editions = ReadChapters(Chapters({
      Edition({Atom({UInt(0x73C4, 1), UInt(0x91, 1000), UInt(0x98, 1), UInt(0x4598, 0), Display("One"), Display("Un"),
                     Atom({UInt(0x73C4, 2)})}),
               Void(3), Atom({UInt(0x73C4, 3)})}),
      Edition({}),
  }));
  ASSERT_EQ(editions.size(), 2u);
  ASSERT_EQ(editions[0].atoms.size(), 2u);
  const MkvChapterAtom& atom = editions[0].atoms[0];
  EXPECT_EQ(atom.ChapterUID.value, 1u);
  EXPECT_EQ(atom.ChapterTimeStart.value, 1000u);
  EXPECT_EQ(atom.ChapterFlagHidden.value, 1u);
  EXPECT_TRUE(atom.ChapterFlagEnabled.present);
  EXPECT_EQ(atom.displays, (std::vector<WideString>{OLESTR("One"), OLESTR("Un")}));
  ASSERT_EQ(atom.atoms.size(), 1u);
  EXPECT_EQ(atom.atoms[0].ChapterUID.value, 2u);
  EXPECT_EQ(editions[0].atoms[1].ChapterUID.value, 3u);
}

TEST(Chapters, DisplayWithoutTextIsPassedOver) {
  EXPECT_TRUE(ReadChapters(Chapters({Edition({Atom({Master(0x80, {})})})}))[0].atoms[0].displays.empty());
}

TEST(Chapters, AtomsNestedBeyondTheLimitArePassedOver) {
  Raw nested = Atom({UInt(0x73C4, 99)});
  for (int i = 0; i < 1000; ++i) nested = Atom({nested});
  const MkvChapterEditions editions = ReadChapters(Chapters({Edition({nested, Atom({UInt(0x73C4, 7)})})}));
  std::size_t depth = 0;
  for (const auto* atoms = &editions[0].atoms; !atoms->empty(); atoms = &atoms->front().atoms) ++depth;
  EXPECT_EQ(depth, kMaxChapterDepth);
  ASSERT_EQ(editions[0].atoms.size(), 2u);
  EXPECT_EQ(editions[0].atoms[1].ChapterUID.value, 7u);
}

TEST(Chapters, AtomsBeyondTheLimitArePassedOver) {
  const MkvChapterEditions editions =
      ReadChapters(Chapters({Edition(std::vector<Raw>(kMaxChapterAtoms + 10, Atom({}))), Edition({Atom({})})}));
  EXPECT_EQ(editions[0].atoms.size(), kMaxChapterAtoms);
  EXPECT_TRUE(editions[1].atoms.empty());
}

}  // namespace
}  // namespace vantor::test
