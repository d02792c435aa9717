#include "platform/ReviewTimer.h"

#include <algorithm>
#include <cmath>

#include "platform/Assert.h"

namespace Keel {

namespace {

// 0.1f is a little more than 0.1: without this a clock that moves by 0.1 would fall short of it.
Zet::Seconds toMicroseconds(float seconds) {
  return std::round(static_cast<double>(seconds) * 1e6) * 1e-6;
}

}  // namespace

ReviewTimer::ReviewTimer(Zet::Clock::NotifieeConst * clock, float fillInterval, unsigned maxCredits,
                         float minDelay, float maxDelay)
    : clock_(clock),
      fillInterval_(fillInterval),
      maxCredits_(maxCredits),
      minDelay_(minDelay),
      maxDelay_(maxDelay),
      credits_(maxCredits) {
  ZET_ASSERT(clock_ && clock_->clock(), "clock_");
  earnedTo_ = clock_->clock()->now();
}

void ReviewTimer::doUpdateNextReview() {
  if (reviewPending() || !clock_->clock()) return;
  Zet::Seconds const now = clock_->clock()->now();
  doEarn(now);
  clock_->timeMinIs(now + doSpend());
}

void ReviewTimer::doUpdateNextReviewImmediately() {
  if (!clock_->clock()) return;
  Zet::Seconds const now = clock_->clock()->now();
  if (clock_->timeMin() > now) clock_->timeMinIs(now);
}

void ReviewTimer::doEarn(Zet::Seconds now) {
  Zet::Seconds const fill = toMicroseconds(fillInterval_);
  double const earned = fill > 0 ? (now - earnedTo_) / fill : maxCredits_;
  credits_ = std::min(credits_ + earned, static_cast<double>(maxCredits_));
  earnedTo_ = now;
}

// Returns the delay of the review that is paid for.
Zet::Seconds ReviewTimer::doSpend() {
  Zet::Seconds const fill = toMicroseconds(fillInterval_);
  Zet::Seconds const toEarn = (1 - credits_) * fill;
  Zet::Seconds const delay =
      std::min(std::max(toMicroseconds(minDelay_), toEarn), toMicroseconds(maxDelay_));
  // No debt beyond what is earned until the review: maxDelay would be paid for again and again.
  credits_ = std::max(credits_ - 1, fill > 0 ? std::min(0.0, -delay / fill) : 0.0);
  return delay;
}

}  // namespace Keel
