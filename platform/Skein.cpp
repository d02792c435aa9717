#include "platform/Skein.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>

#include "platform/Clock.h"

constinit Skein::Record Skein::ring_[capacity] = {};
constinit U64 Skein::next_ = 0;
constinit Zet::Seconds Skein::time_ = 0;

void Skein::appendRecord(std::string & out, U64 number) {
  Record const & r = ring_[number % capacity];
  char const * slash = std::strrchr(r.site->file, '/');
  char head[160];
  int const length = std::snprintf(head, sizeof head, "%.6f %s:%d ", r.time,
                                   slash ? slash + 1 : r.site->file, r.site->line);
  out.append(head, std::min(static_cast<std::size_t>(length), sizeof head - 1));
  U64 const * word = r.word;
  bool afterValue = false;
  for (Kind const * k = r.kinds; k->append; word += k++->words) {
    if (afterValue && !k->literal) out += ' ';
    k->append(out, word);
    afterValue = !k->literal;
  }
}

namespace {

constinit int crashFd = -1;

void handleCrash(int signal) {
  alarm(5);  // a fault inside the allocator must not leave the process hanging in this handler
  Skein::print([](std::string_view line) {
    std::string text(line);
    text += '\n';
    [[maybe_unused]] auto written = write(crashFd, text.data(), text.size());
  });
  raise(signal);
}

}  // namespace

void Skein::printOnCrash(int fd) {
  crashFd = fd;
  struct sigaction action {};
  action.sa_handler = handleCrash;
  action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_NODEFER;
  for (int signal : {SIGABRT, SIGSEGV, SIGFPE, SIGILL}) sigaction(signal, &action, nullptr);
}

BlockTimerMsg::BlockTimerMsg(char const * what) : what_(what), began_(Zet::System::shownTime()) {}

BlockTimerMsg::~BlockTimerMsg() {
  SKEIN(Skein::Literal{what_}, " took ", Zet::System::shownTime() - began_, " sec");
}
