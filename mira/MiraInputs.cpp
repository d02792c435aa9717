// Inputs that a Mira watches itself, since it keeps something of them.
#include "mira/Mira.h"
#include "mira/MiraRoot.h"

namespace Brindle {}  // namespace Brindle
