// The commands of brindle-sim, a file to each subject.
#pragma once

#include "sim/CommandTable.h"

namespace Brindle::Sim {

class Host;

extern Subject<Host> const bridgingCommands;
extern Subject<Host> const lagCommands;
extern Subject<Host> const ipCommands;
extern Subject<Host> const multicastCommands;
extern Subject<Host> const platformCommands;
extern Subject<Host> const runCommands;
extern Subject<Host> const showCommands;
extern Subject<Host> const checkCommands;

// All of them.
std::span<Subject<Host> const> simCommands();

// Runs the lines of a file. Throws CommandError with the place of the first that fails.
void runScript(Host & host, std::string const & path);

}  // namespace Brindle::Sim
