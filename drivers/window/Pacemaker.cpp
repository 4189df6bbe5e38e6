#include "drivers/window/Pacemaker.h"

namespace ZELPlatform {
namespace {

/// Swaps in a row that change the mind about the display.
constexpr int kEnough = 3;
/// Slow copies after which no swap is taken for a wait any more.
constexpr int kProof = 2;

}  // namespace

Pacemaker::Time Pacemaker::tickAtOrBefore(Time now) const {
  const auto since = now - origin_;
  const auto ticks = since / period_;
  return origin_ + (since < ticks * period_ ? ticks - 1 : ticks) * period_;
}

bool Pacemaker::noteSwap(Time begin, Time end) {
  const auto sinceLast = end - lastEnd_;
  const bool slow = end - begin > period_ / 3;
  lastEnd_ = end;
  if (slow && sinceLast < period_ * 3 / 4) ++slowCopies_;
  const bool waited = slow && sinceLast > period_ * 9 / 10 && slowCopies_ < kProof;
  waitsInARow_ = waited ? waitsInARow_ + 1 : 0;
  quickInARow_ = waited ? 0 : quickInARow_ + 1;
  if (waitsInARow_ >= kEnough) followsDisplay_ = true;
  if (quickInARow_ >= kEnough || slowCopies_ >= kProof) followsDisplay_ = false;
  if (!followsDisplay_ || !waited) return false;
  origin_ = end;
  return true;
}

}  // namespace ZELPlatform
