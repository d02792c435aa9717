// The activity loop: the one thread in which a process's reactors, timers and socket handlers run.
//
// A turn calls at most one onTime() that is due and then each descriptor that is readable, so that
// a review that asks again with delay 0 starves no socket. Where nothing is due, it waits with
// epoll(7). On a simulated clock the loop moves the time itself, from due time to due time, where
// it is told how far.
//
//   Zet::Ptr<Zet::ActivityManager> loop = Zet::activityManager();
//   loop->run();                                 // an agent: until stop()
//
//   loop->clockIs(Zet::make<Zet::SimClock>());   // a test: before the machines are built
//   loop->runFor(5);
#pragma once
#include <atomic>

#include "platform/Clock.h"
#include "platform/HashMap.h"

namespace Zet {

class FileDescriptor;

// What the process's loop runs on.
class BRINDLE_API ActivityManagerConfig : public Entity {
 public:
  // The process's clock: for machines that are given none, and for System::currentTime(). The
  // real one unless another is set. It does not take the reactors of the old one over.
  Ptr<Clock> const & clock() const { return clock_; }
  // Null sets the real clock.
  void clockIs(Ptr<Clock> const &);

 protected:
  ActivityManagerConfig() = default;

 private:
  Ptr<Clock> clock_;
};

class BRINDLE_API ActivityManager : public ActivityManagerConfig {
 public:
  // Throws ErrnoException if the system gives no descriptor. Use activityManager().
  ActivityManager();

  // Turns until stop(). A simulated clock that does not follow the real one stands still.
  void run();
  // Ends run() and the others below after the present turn; if none of them runs, the next one at
  // once. May be called from signal handlers and other threads.
  void stop();
  // One turn; waits until something is due if `wait` is set. False if there was nothing to do.
  bool runOnce(bool wait);
  // Turns until nothing is due at the present time and no descriptor is readable.
  void runUntilQuiet();
  // Turns until the clock shows `time` and what is due then is done.
  void runUntil(Seconds time);
  void runFor(Seconds delay) { runUntil(clock()->shown() + delay); }

  // The clock behind System::currentTime(); null before the loop stands.
  static Clock const * processClock();

 private:
  friend class FileDescriptor;
  ~ActivityManager() override;
  // Registers a descriptor for reading; returns the number of the registration.
  U64 watch(FileDescriptor *, int fd);
  void unwatch(U64 registration, int fd);
  bool dispatch(Seconds wait);
  bool stopping();

  int epoll_;
  int wakeUp_;
  std::atomic<bool> stop_ = false;
  static_assert(std::atomic<bool>::is_always_lock_free);
  U64 lastRegistration_ = 0;
  HashMap2018<U64, FileDescriptor *> watched_;
};

// The loop of this process.
BRINDLE_API Ptr<ActivityManager> const & activityManager();

}  // namespace Zet
