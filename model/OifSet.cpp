#include "model/OifSet.h"

#include "model/MrouteTableColl.h"

namespace Brindle {

OifSet::OifSet(MrouteTableColl * coll, PortVlanSet const & set) : set_(set) {
  set_.saveHash();
  parentIs(coll);
  coll->oifSetAdd(this);
}

void OifSet::zeroReferencesIs(bool) {
  // The parent is gone if the collection went first.
  if (auto * coll = static_cast<MrouteTableColl *>(parent())) coll->oifSetRemove(this);
}

}  // namespace Brindle
