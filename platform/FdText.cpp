#include "platform/FdText.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>

namespace Zet {

namespace {

// While it lives a write to a descriptor that nobody reads from fails, and no more.
class SigpipeHeld {
 public:
  SigpipeHeld() {
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE);
    sigemptyset(&sigpipe_);
    sigaddset(&sigpipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &sigpipe_, &before_);
  }
  ~SigpipeHeld() {
    timespec const now{};
    if (!wasPending_) sigtimedwait(&sigpipe_, nullptr, &now);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  SigpipeHeld(SigpipeHeld const &) = delete;
  SigpipeHeld & operator=(SigpipeHeld const &) = delete;

 private:
  sigset_t sigpipe_;
  sigset_t before_;
  bool wasPending_;
};

bool waitForRoom(int fd) {
  pollfd wait{.fd = fd, .events = POLLOUT, .revents = 0};
  int ready;
  do {
    ready = poll(&wait, 1, 5000);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

}  // namespace

bool writeText(int fd, std::string_view text) {
  SigpipeHeld const held;
  while (!text.empty()) {
    if (!waitForRoom(fd)) return false;
    // A pipe that has room at all has room for this much, so that it does not block.
    ssize_t const taken = write(fd, text.data(), std::min<size_t>(text.size(), PIPE_BUF));
    if (taken >= 0) {
      text.remove_prefix(static_cast<size_t>(taken));
    } else if (errno != EAGAIN && errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace Zet
