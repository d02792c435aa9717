// Timers are called in order and survive what callbacks do; the loop serves timers and descriptors
// side by side, on the real clock and on a simulated one.
#include "platform/Clock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <random>
#include <stdexcept>
#include <vector>

#include "platform/ActivityManager.h"
#include "platform/Exception.h"
#include "platform/FileDescriptor.h"

namespace {

using Zet::Clock;

struct Alarm : Clock::NotifieeConst {
  explicit Alarm(Clock const * c, std::function<void(Alarm &)> f = {}) : act(std::move(f)) {
    notifierIs(c);
  }
  ~Alarm() override { zetDoZombieReactors(true); }
  void onTime() override {
    ++calls;
    timeMinIs(Clock::never);
    if (act) act(*this);
  }
  void onNotificationException(char const *) noexcept override { ++exceptions; }
  std::function<void(Alarm &)> act;
  int calls = 0;
  int exceptions = 0;
};

using Times = std::vector<double>;

Zet::Ptr<Alarm> alarmAt(Zet::Ptr<Zet::SimClock> const & c, double time,
                        std::function<void(Alarm &)> f = {}) {
  auto a = Zet::make<Alarm>(c.get(), std::move(f));
  a->timeMinIs(time);
  return a;
}

}  // namespace

TEST(Clock, EachDueTimeIsVisitedInOrderAndEqualOnesAsAsked) {
  auto clock = Zet::make<Zet::SimClock>();
  std::string order;
  Times times;
  auto note = [&](char c) {
    return [&, c](Alarm &) {
      order += c;
      times.push_back(clock->now());
    };
  };
  auto late = alarmAt(clock, 3, note('l'));
  auto a = alarmAt(clock, 2, note('a'));
  auto again = alarmAt(clock, 2, [&](Alarm & self) {
    note('r')(self);
    if (self.calls < 3) self.timeMinIs(clock->now());  // behind those that wait
  });
  auto d = alarmAt(clock, 2, note('d'));
  clock->nowIs(2.5);
  EXPECT_EQ(order, "ardrr");
  EXPECT_EQ(times, Times(5, 2.0));
  EXPECT_EQ(clock->now(), 2.5);
  clock->nowIs(1);
  EXPECT_EQ(clock->now(), 2.5) << "time went backwards";
  EXPECT_EQ(clock->earliest(), 3);
}

TEST(Clock, AnyMixOfRequestsIsServedInOrder) {
  std::mt19937 random(1);
  auto draw = [&](U32 n) { return static_cast<int>(random() % n); };
  for (int round = 0; round < 200; ++round) {
    auto clock = Zet::make<Zet::SimClock>();
    std::multimap<double, int> expected;
    std::map<int, Zet::Ptr<Alarm>> alarms;
    std::vector<int> called, wanted;
    auto forget = [&](int n) {
      std::erase_if(expected, [n](auto const & e) { return e.second == n; });
    };
    for (int step = 0; step < 60; ++step) {
      int n = draw(12);
      auto & a = alarms[n];
      if (!a) a = Zet::make<Alarm>(clock.get(), [&called, n](Alarm &) { called.push_back(n); });
      double time = draw(8);
      switch (draw(5)) {
        case 0:
          a = nullptr, forget(n);
          break;
        case 1:
          a->timeMinIs(Clock::never), forget(n);
          break;
        default:
          if (a->timeMin() == time) break;
          forget(n);
          expected.emplace(time, n);
          a->timeMinIs(time);
      }
    }
    for (auto & [time, n] : expected) wanted.push_back(n);
    clock->nowIs(100);
    EXPECT_EQ(called, wanted);
    EXPECT_EQ(clock->earliest(), Clock::never);
  }
}

TEST(Clock, CallbacksMayThrowDeleteAndReplace) {
  auto clock = Zet::make<Zet::SimClock>(), other = Zet::make<Zet::SimClock>();
  struct Forgetful : Alarm {
    using Alarm::Alarm;
    void onTime() override {
      if (++calls == 1) throw std::runtime_error("before its time was cleared");
      throw 1;
    }
  };
  auto thrower = Zet::make<Forgetful>(clock.get());
  thrower->timeMinIs(1);
  Zet::Ptr<Alarm> victim, zombie, mover, self;
  self = alarmAt(clock, 1, [&](Alarm &) {
    victim = nullptr;
    zombie->zetDoZombieReactors(true);
    mover->notifierIs(other.get());
    self = nullptr;
  });
  victim = alarmAt(clock, 1, [](Alarm &) { FAIL() << "called though it was deleted"; });
  zombie = alarmAt(clock, 1);
  mover = alarmAt(clock, 1);
  clock->nowIs(5);
  EXPECT_EQ(thrower->exceptions, 1) << "a time that was not cleared would come for ever";
  EXPECT_EQ(self, nullptr);
  EXPECT_EQ(zombie->calls, 0);
  EXPECT_EQ(zombie->timeMin(), Clock::never);
  zombie->timeMinIs(6);
  EXPECT_EQ(zombie->timeMin(), Clock::never);
  EXPECT_EQ(mover->timeMin(), Clock::never) << "it belongs to the old clock's time";
  mover->timeMinIs(7);
  thrower->timeMinIs(7);
  clock->nowIs(10);
  EXPECT_EQ(thrower->exceptions, 2);
  other->nowIs(10);
  EXPECT_EQ(mover->calls, 1);
}

namespace {

// A pipe in the loop.
struct Pipe : Zet::FileDescriptor::NotifieeConst {
  explicit Pipe(std::function<void(Pipe &)> f = {}) : act(std::move(f)) {
    EXPECT_EQ(pipe(ends), 0);
    in->descriptorIs(ends[0]);
    notifierIs(in.get());
  }
  ~Pipe() override {
    detach();
    in->descriptorIs(-1);
    close(ends[0]);
    close(ends[1]);
  }
  void say(char c) { EXPECT_EQ(write(ends[1], &c, 1), 1); }
  void onReadableCount() override {
    ++calls;
    char c;
    if (reads && read(ends[0], &c, 1) == 1) heard += c;
    if (act) act(*this);
  }
  std::function<void(Pipe &)> act;
  Zet::Ptr<Zet::FileDescriptor> in = Zet::make<Zet::FileDescriptor>("pipe");
  int ends[2];
  bool reads = true;
  std::string heard;
  int calls = 0;
};

class Loop : public ::testing::Test {
 protected:
  Loop() { loop->clockIs(clock); }
  ~Loop() override { loop->clockIs(nullptr); }
  Zet::Ptr<Zet::ActivityManager> loop = Zet::activityManager();
  Zet::Ptr<Zet::SimClock> clock = Zet::make<Zet::SimClock>(100);
};

}  // namespace

TEST_F(Loop, AReviewThatAsksAgainAtOnceStarvesNoSocket) {
  auto p = Zet::make<Pipe>(), q = Zet::make<Pipe>();
  int before = 0;
  auto busy = alarmAt(clock, 100, [&](Alarm & self) {
    before += p->heard.size() < 3 || q->heard.empty();
    if (self.calls < 50) self.timeMinIs(clock->now());
  });
  auto other = alarmAt(clock, 100);
  for (char c : {'a', 'b', 'c'}) p->say(c);
  q->say('x');
  loop->runUntilQuiet();
  EXPECT_EQ(busy->calls, 50);
  EXPECT_EQ(other->calls, 1);
  EXPECT_EQ(p->heard, "abc") << "level-triggered: one byte a turn";
  EXPECT_EQ(q->heard, "x");
  EXPECT_LE(before, 4);
}

TEST_F(Loop, SimulatedTimeGoesFromDueTimeToDueTime) {
  Times times;
  Zet::Ptr<Pipe> p = Zet::make<Pipe>([&](Pipe &) { times.push_back(-clock->now()); });
  auto a = alarmAt(clock, 101, [&](Alarm & self) {
    times.push_back(Zet::System::currentTime());
    p->say('.');
    if (self.calls < 2) self.timeMinIs(103);
  });
  auto later = alarmAt(clock, 105);
  loop->runFor(4);
  EXPECT_EQ(times, (Times{101, -101, 103, -103}));
  EXPECT_EQ(clock->now(), 104);
  loop->runUntil(105);
  EXPECT_EQ(later->calls, 1) << "what is due at the end is done";
}

TEST_F(Loop, HandlersMayEndEachOthersDescriptors) {
  Zet::Ptr<Pipe> p, q;
  auto endBoth = [&](Pipe &) { p = q = nullptr; };
  p = Zet::make<Pipe>(endBoth);
  q = Zet::make<Pipe>(endBoth);
  p->say('.');
  q->say('.');
  loop->runUntilQuiet();
  EXPECT_EQ(p, nullptr);

  auto r = Zet::make<Pipe>();
  r->in->descriptorIs(-1);
  r->say('a');
  loop->runUntilQuiet();
  EXPECT_EQ(r->calls, 0);
  r->in->nonBlockingIs(true);  // for what comes
  r->in->descriptorIs(r->ends[0]);
  EXPECT_TRUE(fcntl(r->ends[0], F_GETFL) & O_NONBLOCK);
  loop->runUntilQuiet();
  EXPECT_EQ(r->heard, "a");

  int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  EXPECT_THROW(r->in->descriptorIs(file), Zet::ErrnoException);
  EXPECT_EQ(r->in->descriptor(), -1);
  close(file);
}

TEST_F(Loop, RunsOnTheRealClockUntilASignalStopsIt) {
  loop->clockIs(nullptr);
  auto a = Zet::make<Alarm>(loop->clock().get());
  a->timeMinIs(loop->clock()->now() + 0.002);
  struct sigaction action {
  }, old{};
  action.sa_handler = [](int) { Zet::activityManager()->stop(); };
  sigaction(SIGALRM, &action, &old);
  itimerval timer{{0, 0}, {0, 20'000}};
  setitimer(ITIMER_REAL, &timer, nullptr);
  loop->run();
  EXPECT_EQ(a->calls, 1);
  sigaction(SIGALRM, &old, nullptr);
  loop->stop();
  loop->run();  // ended before it began
}

TEST_F(Loop, ASimulatedClockMayFollowTheRealOne) {
  clock->followIs(true);
  auto a = alarmAt(clock, 100.002);
  loop->runUntil(100.003);
  EXPECT_EQ(a->calls, 1);
  clock->followIs(false);
  double const stands = clock->now();
  EXPECT_GE(stands, 100.003);
  EXPECT_EQ(clock->now(), stands);
}
