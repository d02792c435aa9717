// SIGINT and SIGTERM: they end what runs, in good order.
#pragma once

namespace Brindle::Sim {

// From now on the signals end the activity loop's present run, and set interrupted().
void catchInterrupts();
bool interrupted();
void clearInterrupt();

}  // namespace Brindle::Sim
