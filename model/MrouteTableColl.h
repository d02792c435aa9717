// The root of the route tables of one address family, and of the output sets that they share.
#pragma once

#include "model/MrouteTable.h"

namespace Brindle {

class BRINDLE_API MrouteTableColl : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<MrouteTableColl, Zet::Entity> {
   public:
    virtual void onAf() {}
    virtual void onVrfMrouteTable(L3::VrfName const &) {}
    virtual void onL2FloodsetTable() {}
  };
  explicit MrouteTableColl(Nettle::AddressFamily af = Nettle::ipv4()) : af_(af) {}
  ~MrouteTableColl() override;

  Nettle::AddressFamily af() const { return af_; }
  void afIs(Nettle::AddressFamily v) { assign(af_, v, &NotifieeConst::onAf); }

  auto const & vrfMrouteTable() const { return vrfMrouteTable_; }
  MrouteTable * vrfMrouteTable(L3::VrfName k) const { return vrfMrouteTable_.find(k); }
  Zet::Ptr<MrouteTable> vrfMrouteTableIs(L3::VrfName);
  void vrfMrouteTableDel(L3::VrfName k) {
    erase<&NotifieeConst::onVrfMrouteTable>(vrfMrouteTable_, k);
  }
  void vrfMrouteTableDelAll() { eraseAll<&NotifieeConst::onVrfMrouteTable>(vrfMrouteTable_); }
  void vrfMrouteTableNotify(L3::VrfName k) { notify<&NotifieeConst::onVrfMrouteTable>(k); }

  // The one table of L2 routes; null if there is none.
  Zet::Ptr<MrouteTable> const & l2FloodsetTable() const { return l2FloodsetTable_; }
  Zet::Ptr<MrouteTable> l2FloodsetTableIs(L3::VrfName);
  void l2FloodsetTableDel() {
    assign(l2FloodsetTable_, Zet::Ptr<MrouteTable>(), &NotifieeConst::onL2FloodsetTable);
  }

  // The sets that are in use, by content. REQUIRES of a look-up: saveHash() of the set.
  auto const & oifSet() const { return oifSet_; }
  OifSetPtr oifSet(PortVlanSet const & k) const { return oifSet_.find(k); }
  // Finds the set, or copies `k` into a new one.
  Zet::Ptr<OifSet> oifSetIs(PortVlanSet const & k) {
    if (OifSet * found = oifSet_.find(k)) return found;
    return Zet::make<OifSet>(this, k);
  }

 private:
  friend class OifSet;
  void oifSetAdd(OifSet *);
  void oifSetRemove(OifSet *);

  Nettle::AddressFamily af_;
  // The table believes that it holds a reference to each set; it is never counted.
  Zet::HashMap<PortVlanSet, OifSet> oifSet_;
  Zet::HashMap<L3::VrfName, MrouteTable> vrfMrouteTable_;
  Zet::Ptr<MrouteTable> l2FloodsetTable_;
};

}  // namespace Brindle
