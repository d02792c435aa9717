// The messages to the operator while it stands, as "NAME: text".
#pragma once
#include <string>
#include <vector>

#include "platform/Log.h"

namespace Tests {

struct LogLines final : Zet::LogSink {
  LogLines() { Zet::LogHandle::sinkIs(this); }
  ~LogLines() { Zet::LogHandle::sinkIs(nullptr); }
  void onLog(Zet::LogHandle const & handle, std::string_view text) override {
    lines.push_back(std::string(handle.name()) + ": " + std::string(text));
  }
  std::vector<std::string> lines;
};

}  // namespace Tests
