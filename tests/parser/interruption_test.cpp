#include "parser/interruption.h"

#include <gtest/gtest.h>

#include "fixture.h"

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

}  // namespace
}  // namespace vantor::test
