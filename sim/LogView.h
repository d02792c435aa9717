// The operator's log, as a syslog would show it.
#pragma once

#include <deque>
#include <ostream>
#include <string>

#include "platform/Log.h"

namespace Brindle::Sim {

// Takes the messages of the library, shows each at once and keeps the newest.
class LogView final : public Zet::LogSink {
 public:
  struct Entry {
    Zet::Seconds time;
    std::string name;
    std::string severity;
    std::string text;
    std::string explanation;
    std::string action;
  };
  explicit LogView(std::ostream & out);
  ~LogView();

  std::deque<Entry> const & entries() const { return entries_; }
  void clear() { entries_.clear(); }

  void onLog(Zet::LogHandle const & handle, std::string_view text) override;

  // "12.300 error MROUTE_HW_RESOURCE_FULL: Hardware resources ..."
  static std::string line(Entry const & entry);

 private:
  std::ostream & out_;
  std::deque<Entry> entries_;
};

}  // namespace Brindle::Sim
