// The commands of brindle-sim, a file to each subject.
#pragma once

#include "sim/CommandTable.h"

namespace Brindle::Sim {

class Host;
struct KeyView;

extern Subject<Host> const bridgingCommands;
extern Subject<Host> const lagCommands;
extern Subject<Host> const ipCommands;
extern Subject<Host> const multicastCommands;
extern Subject<Host> const l2Commands;
extern Subject<Host> const groupCommands;
extern Subject<Host> const bidirCommands;
extern Subject<Host> const boundaryCommands;
extern Subject<Host> const fastdropCommands;
extern Subject<Host> const platformCommands;
extern Subject<Host> const asyncCommands;
extern Subject<Host> const runCommands;
extern Subject<Host> const prefixCommands;
extern Subject<Host> const showCommands;
extern Subject<Host> const explainCommands;
extern Subject<Host> const programmerCommands;
extern Subject<Host> const checkCommands;
extern Subject<Host> const verifyCommands;

// The L2 route that a line names by VLAN, and by what is flooded, MAC or ADDRESS.
KeyView floodsetKey(Arguments const & arguments);

// All of them.
std::span<Subject<Host> const> simCommands();

// Understands the lines that a host is given, and lets who watches it know of them.
class HostInterpreter {
 public:
  explicit HostInterpreter(Host & host) : host_(host), interpreter_(host, simCommands()) {}
  CommandTable const & table() const { return interpreter_.table(); }
  // Throws CommandError.
  void run(std::string_view line);

 private:
  Host & host_;
  Interpreter<Host> interpreter_;
};

// Runs the lines of a file. Throws CommandError with the place of the first that fails.
void runScript(Host & host, std::string const & path);

}  // namespace Brindle::Sim
