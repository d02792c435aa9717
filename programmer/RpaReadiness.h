// Bidirectional routes whose rendezvous point is not known yet.
#pragma once

#include "model/Mroute.h"
#include "platform/Export.h"

namespace Brindle {

// False for one that comes in nowhere and waits for the index of its rendezvous point. Tells the
// operator if there is none left for it.
BRINDLE_API bool isRpaReady(Mroute const &);

}  // namespace Brindle
