#include "platform/ActivityManager.h"

#include <errno.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "platform/Exception.h"
#include "platform/FileDescriptor.h"
#include "platform/Skein.h"

namespace Zet {

namespace {

constinit Clock const * processClock_ = nullptr;

constexpr U64 kWakeUp = 0;

void addToEpoll(int epoll, int fd, U64 registration) {
  epoll_event e{};
  e.events = EPOLLIN;
  e.data.u64 = registration;
  if (epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &e) < 0) throwErrnoException("epoll_ctl", errno);
}

// epoll_wait(2) counts in milliseconds; rounded down, the loop would spin through the last one.
int milliseconds(Seconds wait) {
  constexpr Seconds kLongest = 1e6;
  if (wait == Clock::never) return -1;
  return static_cast<int>(std::ceil(std::clamp(wait, 0.0, kLongest) * 1000));
}

}  // namespace

void ActivityManagerConfig::clockIs(Ptr<Clock> const & clock) {
  clock_ = clock ? clock : make<RealClock>();
  processClock_ = clock_.get();
}

Clock const * ActivityManager::processClock() { return processClock_; }

ActivityManager::ActivityManager()
    : epoll_(epoll_create1(EPOLL_CLOEXEC)),
      wakeUp_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  if (epoll_ < 0 || wakeUp_ < 0) throwErrnoException("epoll_create1", errno);
  addToEpoll(epoll_, wakeUp_, kWakeUp);
  clockIs(nullptr);
}

ActivityManager::~ActivityManager() {
  processClock_ = nullptr;
  close(wakeUp_);
  close(epoll_);
}

// Never destroyed: the order in which globals die would decide who may still use it.
Ptr<ActivityManager> const & activityManager() {
  static Ptr<ActivityManager> const & loop = *new Ptr<ActivityManager>(make<ActivityManager>());
  return loop;
}

// --- Turns

void ActivityManager::run() {
  while (!stopping()) runOnce(true);
}

void ActivityManager::stop() {
  stop_ = true;
  U64 one = 1;
  int const error = errno;
  [[maybe_unused]] auto written = write(wakeUp_, &one, sizeof one);
  errno = error;
}

bool ActivityManager::stopping() { return stop_.exchange(false); }

bool ActivityManager::runOnce(bool wait) {
  bool const ran = clock()->doRunDue();
  Seconds const until = ran || !wait ? 0 : clock()->realTimeUntil(clock()->earliest());
  return dispatch(until) || ran;
}

void ActivityManager::runUntilQuiet() {
  while (!stopping() && runOnce(false)) continue;
}

void ActivityManager::runUntil(Seconds time) {
  while (!stopping()) {
    if (runOnce(false)) continue;
    if (clock()->shown() >= time) return;
    Seconds const next = std::min(clock()->earliest(), time);
    if (!clock()->doMoveTo(next)) dispatch(clock()->realTimeUntil(next));
  }
}

// A handler may end any registration, so each event is looked up by its number.
bool ActivityManager::dispatch(Seconds wait) {
  epoll_event events[16];
  int const count = epoll_wait(epoll_, events, std::size(events), milliseconds(wait));
  if (count < 0 && errno != EINTR) throwErrnoException("epoll_wait", errno);
  if (count > 0) Skein::timeIs(clock()->shown());
  bool ran = false;
  for (int i = 0; i < count; ++i) {
    U64 const id = events[i].data.u64;  // a copy: the structure is packed
    if (id == kWakeUp) {
      U64 drained;
      [[maybe_unused]] auto got = read(wakeUp_, &drained, sizeof drained);
    } else if (auto ** fd = watched_.find(id)) {
      Ptr<FileDescriptor> keep(*fd);
      keep->readableCountInc();
      ran = true;
    }
  }
  return ran;
}

// --- Descriptors

U64 ActivityManager::watch(FileDescriptor * d, int fd) {
  U64 const registration = ++lastRegistration_;
  addToEpoll(epoll_, fd, registration);
  watched_.at(registration) = d;
  return registration;
}

// The owner may have closed the descriptor already, which has taken it out of the set.
void ActivityManager::unwatch(U64 registration, int fd) {
  watched_.del(registration);
  epoll_ctl(epoll_, EPOLL_CTL_DEL, fd, nullptr);
}

}  // namespace Zet
