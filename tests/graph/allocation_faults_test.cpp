// Allocations of the component that fail in the platform's graph, in each step from the connection to a seek: the step
// fails and says so, or the whole file is played, or an event tells that samples are missing. With memory again, the
// same graph plays the whole file.
//
// The component is one whose allocations can be made to fail (graph/monitored); those of the test and of its renderers
// never do.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "graph/faulted_player.h"
#include "graph/monitored/monitored_component.h"
#include "platform/platform.h"
#include "realfiles/recorded_run.h"

namespace vantor::test {

namespace {

// The library, whose entry points are the component's, and what it exports besides.
struct MonitoredComponent {
  std::unique_ptr<Component> component;
  std::unique_ptr<SharedLibrary> library;
  decltype(&ComponentAllocations) allocations = nullptr;
  decltype(&FailComponentAllocations) fail = nullptr;
};

const MonitoredComponent& Monitored() {
  static const MonitoredComponent monitored = [] {
    MonitoredComponent made;
    std::string error;
    made.component = Component::Load(VANTOR_MONITORED_COMPONENT, error);
    made.library = SharedLibrary::Load(VANTOR_MONITORED_COMPONENT, &error);
    if (!made.component || !made.library) {
      ADD_FAILURE() << error;
      return made;
    }
    made.allocations = made.library->FindFunction<decltype(ComponentAllocations)>("ComponentAllocations");
    made.fail = made.library->FindFunction<decltype(FailComponentAllocations)>("FailComponentAllocations");
    return made;
  }();
  return monitored;
}

enum class FaultedStep { kConnect, kConnectPins, kPlay, kSeek };
constexpr FaultedStep kSteps[] = {FaultedStep::kConnect, FaultedStep::kConnectPins, FaultedStep::kPlay,
                                  FaultedStep::kSeek};

// Lets allocations fail in the steps from `Arm` to `Disarm`, counted over all that the component is asked meanwhile.
class AllocationFault {
 public:
  AllocationFault(FaultedPlayer& player, std::uint64_t number, bool andLater)
      : player_(player), number_(number), andLater_(andLater) {}
  ~AllocationFault() { Disarm(); }
  AllocationFault(const AllocationFault&) = delete;
  AllocationFault& operator=(const AllocationFault&) = delete;

  void Arm() {
    player_.begin = [this] {
      before_ = Monitored().allocations();
      if (number_ > seen_) {
        Monitored().fail(number_ - seen_, andLater_);
      } else if (andLater_ && number_ != 0) {
        Monitored().fail(1, true);
      }
    };
    player_.end = [this] {
      Monitored().fail(0, 0);
      seen_ += Monitored().allocations() - before_;
    };
  }
  void Disarm() {
    player_.begin = [] {};
    player_.end = [] {};
  }
  // Allocations while armed.
  std::uint64_t Seen() const { return seen_; }
  bool WasMet() const { return number_ != 0 && seen_ >= number_; }

 private:
  FaultedPlayer& player_;
  const std::uint64_t number_;
  const bool andLater_;
  std::uint64_t before_ = 0;
  std::uint64_t seen_ = 0;
};

class AllocationFaults : public RealGraphTest, public testing::WithParamInterface<FaultedStep> {
 protected:
  void TearDown() override {
    EXPECT_TRUE(Monitored().component->CanUnloadNow()) << "an object of the monitored component is left";
    RealGraphTest::TearDown();
  }

  static HRESULT Do(FaultedPlayer& player, FaultedStep step) {
    switch (step) {
      case FaultedStep::kConnect:
        return player.Connect();
      case FaultedStep::kConnectPins:
        return player.ConnectPins();
      case FaultedStep::kPlay:
        return player.Play();
      default:
        return player.Seek(player.Duration() / 2);
    }
  }

  // What the step says where the framework has a result of its own: a pin whose types cannot be listed has none that is
  // acceptable, and a worker whose thread cannot be made has failed.
  static HRESULT OtherFailure(FaultedStep step) {
    return step == FaultedStep::kConnectPins ? VFW_E_NO_ACCEPTABLE_TYPES
           : step == FaultedStep::kPlay      ? E_FAIL
                                             : E_OUTOFMEMORY;
  }

  // All steps, the one of the test with the fault; tried again without it if it failed. The allocations it made.
  std::uint64_t PlayWithFault(const Raw& bytes, const FaultlessPlay& whole, std::uint64_t number, bool andLater) {
    FaultedPlayer player(*Monitored().component, bytes);
    AllocationFault fault(player, number, andLater);
    for (const FaultedStep step : kSteps) {
      if (step != GetParam()) {
        EXPECT_GE(Do(player, step), S_OK);
        continue;
      }
      fault.Arm();
      const HRESULT hr = Do(player, step);
      fault.Disarm();
      felt_ += FAILED(hr) || player.ToldOfLoss() ? 1 : 0;
      if (FAILED(hr)) {
        EXPECT_TRUE(hr == E_OUTOFMEMORY || hr == OtherFailure(step)) << hr;
        EXPECT_TRUE(fault.WasMet()) << "failed without a fault";
      } else if (step == FaultedStep::kPlay) {
        ExpectPartOf(whole.pins, player.Pins(), std::equal_to<>(), 0);
        EXPECT_TRUE(player.Pins() == whole.pins || player.ToldOfLoss()) << "samples are missing, and nobody is told";
      }
      if (FAILED(hr) || step == FaultedStep::kPlay) {
        EXPECT_GE(step == FaultedStep::kPlay ? player.Rewind() : S_OK, S_OK);
        EXPECT_GE(Do(player, step), S_OK) << "with memory again";
      }
      if (step == FaultedStep::kPlay) {
        ExpectWhole(whole.pins, player.Pins());
      }
      if (testing::Test::HasFailure()) {
        return 0;
      }
    }
    // The last step was the seek.
    EXPECT_GE(player.Play(), S_OK);
    ExpectWhole(whole.fromTheMiddle, player.Pins());
    return fault.Seen();
  }

  int felt_ = 0;  // how often the step failed or a loss was told
};

TEST_P(AllocationFaults, FailTheStepOrAreToldAndLeaveTheGraphPlayable) {
  ASSERT_NE(Monitored().fail, nullptr);
  const Raw bytes = ReadMedia("avc_aac.mkv");
  const FaultlessPlay whole = PlayWithoutFault(*Monitored().component, bytes);
  const std::uint64_t allocations = PlayWithFault(bytes, whole, 0, false);
  ASSERT_GT(allocations, 0U);
  for (const bool andLater : {false, true}) {
    for (const std::uint64_t number : NumbersToTry(allocations, 6)) {
      SCOPED_TRACE("allocation " + std::to_string(number) + (andLater ? " and all later" : ""));
      PlayWithFault(bytes, whole, number, andLater);
      if (HasFailure()) {
        return;
      }
    }
  }
  // A seek does without what it cannot have.
  EXPECT_TRUE(felt_ > 0 || GetParam() == FaultedStep::kSeek) << "no allocation failed";
}

std::string NameOfFaultedStep(const testing::TestParamInfo<FaultedStep>& info) {
  constexpr const char* kNames[] = {"Connecting", "ConnectingPins", "Playing", "Seeking"};
  return kNames[static_cast<std::size_t>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(, AllocationFaults, testing::ValuesIn(kSteps), NameOfFaultedStep);

}  // namespace

}  // namespace vantor::test
