#include "drivers/window/Pacemaker.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;
using ZELPlatform::Pacemaker;

constexpr milliseconds kPeriod{20};
const Pacemaker::Time kStart{std::chrono::hours(1)};

/// Composes once a period from `first` on, each swap taking `swap`; returns how many ended on a tick.
int swapRegularly(Pacemaker& pacemaker, Pacemaker::Time first, int count, milliseconds swap) {
  int ticks = 0;
  for (int i = 0; i < count; ++i) {
    const auto begin = first + i * kPeriod;
    ticks += pacemaker.noteSwap(begin, begin + swap) ? 1 : 0;
  }
  return ticks;
}

TEST(Pacemaker, TicksLieOnAnEvenGrid) {
  const Pacemaker pacemaker(kPeriod, kStart);
  EXPECT_EQ(pacemaker.tickAtOrBefore(kStart), kStart);
  EXPECT_EQ(pacemaker.tickAfter(kStart), kStart + kPeriod);
  EXPECT_EQ(pacemaker.tickAtOrBefore(kStart + milliseconds(59)), kStart + 2 * kPeriod);
  EXPECT_EQ(pacemaker.tickAfter(kStart + milliseconds(59)), kStart + 3 * kPeriod);
  EXPECT_EQ(pacemaker.tickAtOrBefore(kStart - milliseconds(1)), kStart - kPeriod);
}

TEST(Pacemaker, FollowsADisplayThatIsWaitedForAndLetsGoOfOneThatIsNot) {
  Pacemaker pacemaker(kPeriod, kStart);
  const auto first = kStart + milliseconds(3);
  EXPECT_EQ(swapRegularly(pacemaker, first, 10, milliseconds(1)), 0);
  EXPECT_FALSE(pacemaker.followsDisplay());

  EXPECT_GT(swapRegularly(pacemaker, first + 10 * kPeriod, 10, milliseconds(14)), 5);
  EXPECT_TRUE(pacemaker.followsDisplay());
  const auto lastEnd = first + 19 * kPeriod + milliseconds(14);
  EXPECT_EQ(pacemaker.tickAfter(lastEnd), lastEnd + kPeriod);

  swapRegularly(pacemaker, first + 20 * kPeriod, 10, milliseconds(1));
  EXPECT_FALSE(pacemaker.followsDisplay());
  EXPECT_EQ(pacemaker.tickAfter(lastEnd), lastEnd + kPeriod) << "the timer goes on from the display's last refresh";
}

TEST(Pacemaker, ASlowCopyIsNotTakenForTheDisplayForLong) {
  // A driver that does not wait, but copies for 8 ms; following it would compose every 9 ms.
  Pacemaker pacemaker(kPeriod, kStart);
  auto begin = kStart;
  int early = 0;
  for (int i = 0; i < 100; ++i) {
    const auto end = begin + milliseconds(8);
    const bool tick = pacemaker.noteSwap(begin, end);
    const auto next = tick ? end + milliseconds(1) : pacemaker.tickAfter(begin);
    early += next - begin < kPeriod ? 1 : 0;
    begin = next;
  }
  EXPECT_LE(early, 4);
  EXPECT_FALSE(pacemaker.followsDisplay());
}

}  // namespace
