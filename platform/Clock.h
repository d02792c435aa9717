// Time: what tells it, and the reactors that are called when it has come.
//
// A reactor on a clock says with timeMinIs() when its onTime() is next called. Nothing clears that
// time when it has come: the first thing that onTime() does is timeMinIs(Clock::never), and who
// wants to go on sets a new time. Reactors with equal times are called in the order in which they
// asked. All times are in seconds on the scale of the clock's now().
#pragma once
#include <limits>
#include <vector>

#include "platform/Entity.h"
#include "platform/Seconds.h"

namespace Zet {

// The source of time of an activity loop.
class BRINDLE_API Clock : public Entity {
 public:
  static constexpr double never = std::numeric_limits<double>::infinity();
  class NotifieeConst;

  // Reads the clock.
  virtual Seconds now() const = 0;
  // The same for the loop and for traces, whose reads are not charged to who is measured.
  virtual Seconds shown() const { return now(); }
  // Seconds of real time until the clock shows `time`; never if it does not move by itself.
  virtual Seconds realTimeUntil(Seconds time) const = 0;
  // Moves a clock that stands still; false if it moves by itself.
  virtual bool doMoveTo(Seconds) { return false; }

  // The time of the next onTime(); never if no reactor waits.
  Seconds earliest() const { return due_.empty() ? never : due_.front().time; }
  // Calls the one onTime() that is most overdue; false if none is due.
  bool doRunDue();

 protected:
  Clock() = default;
  ~Clock() override;

 private:
  // A binary heap by (time, order); each reactor knows its place in it.
  struct Due {
    Seconds time;
    U64 order;
    NotifieeConst * reactor;
    bool operator<(Due const & o) const { return time != o.time ? time < o.time : order < o.order; }
  };
  void add(NotifieeConst *, Seconds time) const;
  void remove(NotifieeConst *) const;
  void place(std::size_t at, Due const &) const;
  void siftUp(std::size_t at, Due const &) const;
  void siftDown(std::size_t at, Due const &) const;

  mutable std::vector<Due> due_;
  mutable U64 nextOrder_ = 0;
};

class BRINDLE_API Clock::NotifieeConst : public NotifieeOf<Clock, Entity> {
 public:
  // The time has come. May do anything, also delete this reactor. What it throws goes to
  // onNotificationException(); a time that it had not cleared by then is cleared.
  virtual void onTime() {}

  // When onTime() is next called; Clock::never for a zombie, and after a change of clocks.
  Seconds timeMin() const { return queued() ? clock_->due_[place_].time : Clock::never; }
  // Does nothing without a clock.
  void timeMinIs(Seconds time);
  // The clock that is watched, or null.
  Clock const * clock() const { return static_cast<Clock const *>(notifierBase()); }
  void zetDoZombieReactors(bool) override;

 protected:
  ~NotifieeConst() override { dequeue(); }

 private:
  friend class Clock;
  bool queued() const { return clock_ && clock_ == clock(); }
  void dequeue() {
    if (clock_) clock_->remove(this);
  }

  Clock const * clock_ = nullptr;  // in whose heap this is
  std::size_t place_ = 0;
};

// The time of CLOCK_MONOTONIC (clock_gettime(2)).
class BRINDLE_API RealClock : public Clock {
 public:
  Seconds now() const override;
  Seconds realTimeUntil(Seconds time) const override;
};

// A clock that is moved by hand, or follows the real one from any time on.
class BRINDLE_API SimClock : public Clock {
 public:
  explicit SimClock(Seconds now = 0) : now_(now) {}

  // Charges the cost of a read.
  Seconds now() const override;
  Seconds shown() const override;
  Seconds realTimeUntil(Seconds time) const override;
  bool doMoveTo(Seconds time) override;

  // Steps through each due time up to `time` and calls what is due there. Never moves backwards.
  void nowIs(Seconds time);
  // How far a read of the clock moves it: makes a time budget run out after an exact number of
  // reads. 0 by default.
  void readCostIs(Seconds cost) { readCost_ = cost; }
  U64 reads() const { return reads_; }
  // Whether the clock runs with the real one.
  void followIs(bool);

 private:
  mutable Seconds now_;  // where followed_: what this clock showed at that real time
  mutable U64 reads_ = 0;
  Seconds readCost_ = 0;
  Seconds followed_ = never;
};

// The process's time.
struct BRINDLE_API System {
  // Reads the clock of the activity loop (see ActivityManager.h), so that a process on a simulated
  // clock reads simulated time; until the loop stands, the real clock. Only differences mean
  // something. Costs some 20 ns.
  static Seconds currentTime();
  // The same, not charged (see Clock::shown).
  static Seconds shownTime();
};

}  // namespace Zet
