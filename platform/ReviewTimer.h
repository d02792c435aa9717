// Paces the reviews of a machine.
#pragma once
#include "platform/Clock.h"

namespace Keel {

// Decides when a requested review runs: soon after a few requests, ever later under a steady
// stream of them, and never later than maxDelay.
//
// Credits are earned one each fillInterval, up to maxCredits, which is also what there is at first.
// A request spends one and gets minDelay; where there is less than one, the review waits until it
// is earned, though at least minDelay and at most maxDelay. So after the first maxCredits requests
// a steady stream gets one review each fillInterval, or each maxDelay if that is shorter.
//
// The machine owns the timer and the reactor; there is no state of "pending" beside the reactor's
// timeMin, so setting that to Clock::never cancels a request.
class BRINDLE_API ReviewTimer : public Zet::Entity {
 public:
  // All but maxCredits in seconds.
  ReviewTimer(Zet::Clock::NotifieeConst * clock, float fillInterval, unsigned maxCredits,
              float minDelay, float maxDelay);

  // Asks for a review; does nothing while one is pending.
  void doUpdateNextReview();
  // Asks for a review now, whatever the credits say; brings a pending one forward.
  void doUpdateNextReviewImmediately();
  // A review has been asked for and has not begun.
  bool reviewPending() const { return clock_->timeMin() != Zet::Clock::never; }

  float fillInterval() const { return fillInterval_; }
  void fillIntervalIs(float seconds) { fillInterval_ = seconds; }
  unsigned maxCredits() const { return maxCredits_; }
  void maxCreditsIs(unsigned credits) { maxCredits_ = credits; }
  float minDelay() const { return minDelay_; }
  void minDelayIs(float seconds) { minDelay_ = seconds; }
  float maxDelay() const { return maxDelay_; }
  void maxDelayIs(float seconds) { maxDelay_ = seconds; }
  // When the last review began; kept for the owner, who sets it then.
  Zet::Seconds lastReviewTime() const { return lastReviewTime_; }
  void lastReviewTimeIs(Zet::Seconds time) { lastReviewTime_ = time; }

 private:
  void doEarn(Zet::Seconds now);
  Zet::Seconds doSpend();

  Zet::Ptr<Zet::Clock::NotifieeConst> const clock_;
  float fillInterval_;
  unsigned maxCredits_;
  float minDelay_;
  float maxDelay_;
  Zet::Seconds lastReviewTime_ = 0;
  double credits_;  // below 0: spent before they were earned
  Zet::Seconds earnedTo_;
};

}  // namespace Keel
