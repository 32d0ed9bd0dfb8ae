#include "parser/interruption.h"

#include <gtest/gtest.h>

#include <vector>

#include "fixture.h"
#include "parser/element_table.h"

namespace vantor::test {
namespace {

TEST(InterruptionPoll, AsksOnceInManySteps) {
  Source source({});
  int asked = 0;
  source.file.interrupted = [&] { return ++asked == 2; };
  InterruptionPoll poll(source.file);
  for (std::uint32_t step = 1; step < 2 * InterruptionPoll::kSteps; ++step) ASSERT_FALSE(poll.Interrupted()) << step;
  EXPECT_EQ(asked, 1);
  EXPECT_TRUE(poll.Interrupted());
}

TEST(InterruptionPoll, AsksAtOnceWhereThatIsWanted) {
  Source source({});
  int asked = 0;
  source.file.interrupted = [&] { return ++asked == 1; };
  InterruptionPoll poll(source.file, InterruptionPoll::First::kAtOnce);
  EXPECT_TRUE(poll.Interrupted());
  for (std::uint32_t step = 1; step < InterruptionPoll::kSteps; ++step) ASSERT_FALSE(poll.Interrupted()) << step;
  EXPECT_EQ(asked, 1);
}

TEST(InterruptionPoll, GoesOnWhenThereIsNobodyToAsk) {
  Source source({});
  InterruptionPoll poll(source.file, InterruptionPoll::First::kAtOnce);
  EXPECT_FALSE(poll.Interrupted());
}

TEST(InterruptionPoll, EndsTheWalkOverARecordsChildren) {
  Source source(Master(0xAE, std::vector<Raw>(InterruptionPoll::kSteps, Void(2))));
  EXPECT_EQ(ReadChildren(source.First(), {}), S_OK);
  source.file.interrupted = [] { return true; };
  EXPECT_EQ(ReadChildren(source.First(), {}), E_ABORT);
}

}  // namespace
}  // namespace vantor::test
