// A brindle-publish that runs beside this process, driven by commands through a pipe. The writer of
// a table is a process of its own, as a routing protocol is.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/ShoalFiles.h"

namespace Brindle::Sim {

class PublisherProcess {
 public:
  // Starts it on the table `<protocol>.<vrf>`. Throws CommandError if that fails.
  explicit PublisherProcess(std::string const & table);
  // Ends it; the table stays.
  ~PublisherProcess();
  PublisherProcess(PublisherProcess const &) = delete;
  PublisherProcess & operator=(PublisherProcess const &) = delete;

  std::string const & table() const { return table_; }
  // Has it carry out one command; returns what it printed. When this returns the change stands in
  // shared memory. Throws CommandError with its words if it refuses.
  std::string run(std::string const & command);
  // The same without waiting for the answer; collect() waits for all that are out.
  void send(std::string const & command);
  void collect();

 private:
  void start();
  bool readLine(std::string & line);
  std::string readReply();

  std::string const table_;
  pid_t pid_ = -1;
  ZetShoal::OpenFile commands_;
  ZetShoal::OpenFile replies_;
  std::string unread_;
  unsigned out_ = 0;  // commands that have not been answered
};

// Words as one line that wordsOf() takes apart again.
std::string lineOf(std::vector<std::string> const & words);

}  // namespace Brindle::Sim
