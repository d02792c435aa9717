#include "platform/Trace.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/Clock.h"
#include "platform/Exception.h"

namespace Zet {

namespace {

class StderrSink final : public TraceSink {
 public:
  void onTrace(TraceRecord const & r) override {
    char const * slash = std::strrchr(r.file, '/');
    std::fprintf(stderr, "%.6f %.*s/%u %s:%d %s %.*s\n", System::shownTime(),
                 static_cast<int>(r.facility.size()), r.facility.data(), r.level,
                 slash ? slash + 1 : r.file, r.line, r.function, static_cast<int>(r.text.size()),
                 r.text.data());
  }
};

struct Rule {
  std::string pattern;
  U8 levels;
};

constinit TraceHandle * first_ = nullptr;
constinit StderrSink stderrSink;
constinit TraceSink * sink_ = &stderrSink;

bool matches(char const * pattern, char const * name) {
  if (*pattern == '*') return matches(pattern + 1, name) || (*name && matches(pattern, name + 1));
  if (!*pattern || *pattern != *name) return *pattern == *name;
  return matches(pattern + 1, name + 1);
}

std::vector<Rule> parse(std::string_view setting) {
  std::vector<Rule> rules;
  while (!setting.empty()) {
    std::string_view const part = setting.substr(0, setting.find(','));
    setting.remove_prefix(std::min(part.size() + 1, setting.size()));
    std::size_t const slash = part.size() - 2;
    if (part.size() < 3 || part[slash] != '/' || part.back() < '0' || part.back() > '9') {
      std::string const text = "trace setting '" + std::string(part) +
                               "': expected <facility>/<level>, with a level from 0 to 9";
      throwRangeException(text.c_str());
    }
    rules.push_back({std::string(part.substr(0, slash)), static_cast<U8>(part.back() - '0' + 1)});
  }
  return rules;
}

std::vector<Rule> fromEnvironment() {
  char const * setting = std::getenv("BRINDLE_TRACE");
  if (!setting) return {};
  try {
    return parse(setting);
  } catch (RangeException const & e) {
    std::fprintf(stderr, "BRINDLE_TRACE: %s\n", e.what());
    return {};
  }
}

// Handles are built and used before main, in any order.
std::vector<Rule> & rules() {
  static std::vector<Rule> & r = *new std::vector<Rule>(fromEnvironment());
  return r;
}

}  // namespace

TraceHandle::TraceHandle(char const * name, bool on) : name_(name), on_(on), next_(first_) {
  first_ = this;
  apply();
}

TraceHandle::~TraceHandle() {
  TraceHandle ** at = &first_;
  while (*at != this) at = &(*at)->next_;
  *at = next_;
}

void TraceHandle::apply() {
  U8 levels = on_ ? 10 : 0;
  for (Rule const & r : rules()) {
    if (matches(r.pattern.c_str(), name_)) levels = r.levels;
  }
  levels_ = levels;
}

void TraceHandle::levelsIs(std::string_view setting) {
  rules() = parse(setting);
  for (TraceHandle * h = first_; h; h = h->next_) h->apply();
}

void TraceHandle::sinkIs(TraceSink * sink) { sink_ = sink ? sink : &stderrSink; }

TraceHelper * TraceHelper::createIfEnabled(TraceHandle const & handle, unsigned level,
                                           Buffer & buffer) {
  return handle.enabled(level) ? &buffer.emplace(handle, level) : nullptr;
}

void TraceHelper::trace(char const * file, int line, char const * function) {
  sink_->onTrace({handle_.name(), level_, file, line, function, text_});
}

}  // namespace Zet
