#include "sim/Interrupt.h"

#include <csignal>

#include "platform/ActivityManager.h"

namespace Brindle::Sim {

namespace {

std::sig_atomic_t volatile seen = 0;
Zet::ActivityManager * loop = nullptr;

void handle(int) {
  seen = 1;
  loop->stop();
}

}  // namespace

void catchInterrupts() {
  loop = Zet::activityManager().get();
  struct sigaction action {};
  action.sa_handler = handle;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // The end of a publisher shows in what is read from it.
  std::signal(SIGPIPE, SIG_IGN);
}

bool interrupted() { return seen != 0; }

void clearInterrupt() {
  if (!seen) return;
  seen = 0;
  loop->runUntilQuiet();  // a stop that no run has seen yet would end the next one
}

}  // namespace Brindle::Sim
