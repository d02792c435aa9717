#include "model/OifSet.h"

#include "model/MrouteTableColl.h"

namespace Brindle {

OifSet::OifSet(MrouteTableColl * coll, PortVlanSet const & set) : set_(set) {
  set_.saveHash();
  parentIs(coll);
  if (coll) coll->oifSetAdd(this);
}

void OifSet::zeroReferencesIs(bool) {
  // None if the collection went first, or this was never in one.
  if (auto * coll = static_cast<MrouteTableColl *>(parent())) coll->oifSetRemove(this);
}

}  // namespace Brindle
