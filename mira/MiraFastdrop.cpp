// RPF failures and fastdrops: a stream that keeps coming in on the wrong VLAN is dropped in
// hardware.
#include "mira/Mira.h"
#include "mira/MiraRoot.h"

namespace Brindle {

void Mira::handleRpfFailure(char const *, U32) { rpfFailureCountInc(1); }

void Mira::handleClearFastdrop() {}

// They age: a stream that has stopped is forgotten, one that goes on is still to be dropped.
void Mira::doFlushFastdrops(Zet::String const &) {}

}  // namespace Brindle
