#include "tools/check/delivery_model.h"

#include <gtest/gtest.h>

namespace vantor::tools {
namespace {

using Fate = DeliveryModel::Fate;

TEST(DeliveryModel, WithoutAPinNothingGoesOut) {
  DeliveryModel model({.hasPin = false, .stop = 100});
  EXPECT_EQ(model.Take({0, true, 3}), 0U);
  EXPECT_EQ(model.LastFate(), Fate::kNoPin);
}

TEST(DeliveryModel, NothingGoesOutBeforeTheFirstKeyFrame) {
  DeliveryModel model({.hasPin = true, .stop = 100});
  EXPECT_EQ(model.Take({0, false, 1}), 0U);
  EXPECT_EQ(model.LastFate(), Fate::kBeforeKeyFrame);
  EXPECT_TRUE(model.IsWaiting());
  EXPECT_EQ(model.Take({10, true, 1}), 1U);
  EXPECT_FALSE(model.IsWaiting());
  EXPECT_EQ(model.Take({20, false, 2}), 2U);
  EXPECT_EQ(model.LastFate(), Fate::kDelivered);
}

TEST(DeliveryModel, BehindCodecHeadersNothingWaits) {
  DeliveryModel model({.hasPin = true, .sendsHeaders = true, .stop = 100});
  EXPECT_EQ(model.Take({0, false, 1}), 1U);
}

TEST(DeliveryModel, WhereEveryBlockIsAKeyFrameNothingWaits) {
  DeliveryModel model({.hasPin = true, .hasOnlyKeyFrames = true, .stop = 100});
  EXPECT_EQ(model.Take({0, false, 2}), 2U);
  EXPECT_EQ(model.Take({100, false, 2}), 1U);
  EXPECT_EQ(model.Take({110, false, 2}), 0U);
}

TEST(DeliveryModel, EndsBehindTheFirstFrameOfAKeyFrameAtTheEnd) {
  DeliveryModel model({.hasPin = true, .stop = 100});
  EXPECT_EQ(model.Take({0, true, 1}), 1U);
  EXPECT_EQ(model.Take({200, false, 3}), 3U) << "no key frame, no end";
  EXPECT_EQ(model.Take({100, true, 3}), 1U);
  EXPECT_EQ(model.LastFate(), Fate::kBehindEnd);
  EXPECT_EQ(model.Take({50, true, 1}), 0U);
  EXPECT_EQ(model.LastFate(), Fate::kBehindEnd);
}

TEST(DeliveryModel, ABlockWithoutFramesChangesNothing) {
  DeliveryModel model({.hasPin = true, .stop = 100});
  EXPECT_EQ(model.Take({0, true, 0}), 0U);
  EXPECT_TRUE(model.IsWaiting());
}

}  // namespace
}  // namespace vantor::tools
