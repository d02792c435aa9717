// Output sets, each held once: routes with equal outputs share one object, so that to compare
// pointers is to compare sets, and a chip can share one hardware entry among routes.
#pragma once

#include "model/PortVlanSet.h"
#include "platform/Entity.h"
#include "platform/HashMap.h"

namespace Brindle {

class MrouteTableColl;

// Never changes. It lives as long as a route or a chip holds it; the collection does not.
class BRINDLE_API OifSet final : public Zet::Entity, public Zet::HashLink {
 public:
  // Registers itself in the collection, if there is one. REQUIRES: the collection holds no equal
  // set; use MrouteTableColl::oifSetIs() to find or create one.
  OifSet(MrouteTableColl * coll, PortVlanSet const & set);

  PortVlanSet const & portVlanSet() const { return set_; }
  PortVlanSet const & fwkKey() const { return set_; }
  // True if the held set equals `set`.
  bool doCmpPortVlanSet(PortVlanSet const & set) const { return set_ == set; }

  // Takes itself out of the collection.
  void zeroReferencesIs(bool) override;

 private:
  PortVlanSet set_;
};
static_assert(sizeof(OifSet) <= 112);

// A reference that does not keep the set alive: null, or to a set that a route or chip holds.
using OifSetPtr = OifSet *;

}  // namespace Brindle
