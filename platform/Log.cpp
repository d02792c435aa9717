#include "platform/Log.h"

#include <syslog.h>

#include <algorithm>
#include <limits>
#include <string>

#include "platform/Clock.h"
#include "platform/Hash.h"

namespace Zet {

namespace {

constexpr Seconds kLongAgo = -std::numeric_limits<Seconds>::infinity();
constexpr U32 kFewHashes = 64;

class SyslogSink final : public LogSink {
 public:
  void onLog(LogHandle const & handle, std::string_view text) override {
    syslog(LOG_DAEMON | static_cast<int>(handle.severity()), "%s: %.*s", handle.name().c_str(),
           static_cast<int>(text.size()), text.data());
  }
};

constinit LogHandle * first_ = nullptr;
constinit SyslogSink syslogSink;
constinit LogSink * sink_ = &syslogSink;

std::string formatted(std::string_view format, std::string_view const * args, std::size_t count) {
  std::string text;
  std::size_t used = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    char const conversion = format[i] == '%' && i + 1 < format.size() ? format[i + 1] : '\0';
    if (conversion == 's' || conversion == 'd') {
      if (used < count) text += args[used++];
      ++i;
    } else {
      text += format[i];
      if (conversion == '%') ++i;
    }
  }
  return text;
}

}  // namespace

LogHandle::LogHandle(String name, LogSeverity severity, String format, String explanation,
                     String recommendedAction, double minInterval, double maxInterval,
                     unsigned char flags)
    : name_(std::move(name)),
      severity_(severity),
      format_(std::move(format)),
      explanation_(std::move(explanation)),
      recommendedAction_(std::move(recommendedAction)),
      minInterval_(minInterval),
      maxInterval_(maxInterval),
      flags_(flags) {
  doReset();
  LogHandle ** end = &first_;
  while (*end) end = &(*end)->next_;
  *end = this;
}

LogHandle::~LogHandle() {
  LogHandle ** at = &first_;
  while (*at != this) at = &(*at)->next_;
  *at = next_;
}

LogHandle * LogHandle::first() { return first_; }

bool LogHandle::okToLog(U32 hash) {
  Seconds const now = System::shownTime();
  Seconds const * last = at_.find(hash);
  if (now - last_ >= minInterval_ && (!last || now - *last >= maxInterval_)) return true;
  ++suppressed_;
  return false;
}

void LogHandle::log(U32 hash, std::string_view const * args, std::size_t count) {
  if (!okToLog(hash)) return;
  Seconds const now = System::shownTime();
  if (at_.size() >= forgetAt_) doForgetOld(now);
  at_.at(hash) = last_ = now;
  sink_->onLog(*this, formatted(format_, args, count));
}

void LogHandle::log(std::initializer_list<std::string_view> args) {
  U32 hash = 0;
  for (std::string_view a : args) hash = hashMix(hash, hashOf(a));
  log(hash, args.begin(), args.size());
}

void LogHandle::doForgetOld(Seconds now) {
  for (auto i = at_.begin(); i; i.advance()) {
    if (now - i.value() >= maxInterval_) at_.del(i.key());
  }
  forgetAt_ = std::max(kFewHashes, 2 * at_.size());
}

void LogHandle::doReset() {
  last_ = kLongAgo;
  at_.clear();
  forgetAt_ = kFewHashes;
}

void LogHandle::sinkIs(LogSink * sink) {
  sink_ = sink ? sink : &syslogSink;
  for (LogHandle * h = first_; h; h = h->next_) h->doReset();
}

}  // namespace Zet
