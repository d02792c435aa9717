#include "mira/MiraL2.h"

namespace Brindle {

void MiraL2::handleDel() {}

}  // namespace Brindle
