#include "sim/LogView.h"

#include <cstdio>

#include "platform/Clock.h"

namespace Brindle::Sim {

namespace {

constexpr std::size_t maxEntries = 1000;

}  // namespace

LogView::LogView(std::ostream & out) : out_(out) { Zet::LogHandle::sinkIs(this); }

LogView::~LogView() { Zet::LogHandle::sinkIs(nullptr); }

void LogView::onLog(Zet::LogHandle const & handle, std::string_view text) {
  if (entries_.size() == maxEntries) entries_.pop_front();
  entries_.push_back({Zet::System::shownTime(), handle.name().c_str(),
                      Zet::stringValue(handle.severity()), std::string(text),
                      handle.explanation().c_str(), handle.recommendedAction().c_str()});
  out_ << "log: " << line(entries_.back()) << '\n';
}

std::string LogView::line(Entry const & entry) {
  char time[32];
  std::snprintf(time, sizeof time, "%.3f", entry.time);
  return std::string(time) + " " + entry.severity + " " + entry.name + ": " + entry.text;
}

}  // namespace Brindle::Sim
