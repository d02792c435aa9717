#include "platform/Clock.h"

#include <time.h>

#include <algorithm>
#include <exception>

#include "platform/ActivityManager.h"
#include "platform/Skein.h"

namespace Zet {

namespace {

Seconds monotonicTime() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<Seconds>(t.tv_sec) + static_cast<Seconds>(t.tv_nsec) * 1e-9;
}

}  // namespace

// --- The heap

Clock::~Clock() {
  for (Due const & d : due_) d.reactor->clock_ = nullptr;
}

void Clock::place(std::size_t at, Due const & d) const {
  due_[at] = d;
  d.reactor->place_ = at;
}

void Clock::siftUp(std::size_t at, Due const & d) const {
  while (at && d < due_[(at - 1) / 2]) {
    place(at, due_[(at - 1) / 2]);
    at = (at - 1) / 2;
  }
  place(at, d);
}

void Clock::siftDown(std::size_t at, Due const & d) const {
  for (std::size_t child; (child = 2 * at + 1) < due_.size(); at = child) {
    if (child + 1 < due_.size() && due_[child + 1] < due_[child]) ++child;
    if (d < due_[child]) break;
    place(at, due_[child]);
  }
  place(at, d);
}

void Clock::add(NotifieeConst * n, Seconds time) const {
  Due d{time, nextOrder_++, n};
  due_.push_back(d);
  n->clock_ = this;
  siftUp(due_.size() - 1, d);
}

void Clock::remove(NotifieeConst * n) const {
  std::size_t at = n->place_;
  Due last = due_.back();
  due_.pop_back();
  n->clock_ = nullptr;
  if (at == due_.size()) return;
  if (at && last < due_[(at - 1) / 2]) {
    siftUp(at, last);
  } else {
    siftDown(at, last);
  }
}

bool Clock::doRunDue() {
  Seconds const now = shown();
  while (!due_.empty() && due_.front().time <= now) {
    Due due = due_.front();
    if (!due.reactor->queued()) {  // it watches another clock by now, or none
      remove(due.reactor);
      continue;
    }
    Skein::timeIs(now);
    Ptr<Clock> self(this);
    Ptr<NotifieeConst> n(due.reactor);
    auto failed = [&](char const * what) {
      n->onNotificationException(what);
      // Left as it is, its time would keep the loop busy with it.
      if (n->queued() && due_[n->place_].order == due.order) n->timeMinIs(never);
    };
    try {
      n->onTime();
    } catch (std::exception const & e) {
      failed(e.what());
    } catch (...) {
      failed("unknown exception");
    }
    return true;
  }
  return false;
}

void Clock::NotifieeConst::timeMinIs(Seconds time) {
  if (time == timeMin()) return;
  dequeue();
  if (Clock const * c = clock(); c && time != never) c->add(this, time);
}

void Clock::NotifieeConst::zetDoZombieReactors(bool b) {
  dequeue();
  NotifieeOf::zetDoZombieReactors(b);
}

// --- Clocks

Seconds RealClock::now() const { return monotonicTime(); }

Seconds RealClock::realTimeUntil(Seconds time) const { return time - monotonicTime(); }

Seconds SimClock::now() const {
  ++reads_;
  now_ += readCost_;
  return shown();
}

Seconds SimClock::shown() const {
  return followed_ == never ? now_ : now_ + (monotonicTime() - followed_);
}

Seconds SimClock::realTimeUntil(Seconds time) const {
  return followed_ == never && time > now_ ? never : time - shown();
}

bool SimClock::doMoveTo(Seconds time) {
  if (followed_ != never) return false;
  now_ = std::max(now_, time);
  return true;
}

void SimClock::nowIs(Seconds time) {
  Ptr<SimClock> self(this);
  followIs(false);
  while (earliest() <= time) {
    now_ = std::max(now_, earliest());
    doRunDue();
  }
  now_ = std::max(now_, time);
}

void SimClock::followIs(bool follow) {
  if (follow == (followed_ != never)) return;
  now_ = shown();
  followed_ = follow ? monotonicTime() : never;
}

Seconds System::currentTime() {
  Clock const * clock = ActivityManager::processClock();
  return clock ? clock->now() : monotonicTime();
}

Seconds System::shownTime() {
  Clock const * clock = ActivityManager::processClock();
  return clock ? clock->shown() : monotonicTime();
}

}  // namespace Zet
