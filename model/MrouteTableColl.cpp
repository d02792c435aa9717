#include "model/MrouteTableColl.h"

namespace Brindle {

MrouteTableColl::~MrouteTableColl() {
  vrfMrouteTable_.clear();
  l2FloodsetTable_ = nullptr;
  // What is left is held by others, which may outlive the collection.
  for (auto i = oifSet_.begin(); i; i.advance()) {
    i->parentIs(nullptr);
    oifSetRemove(i.operator->());
  }
}

Zet::Ptr<MrouteTable> MrouteTableColl::vrfMrouteTableIs(L3::VrfName vrf) {
  if (MrouteTable * old = vrfMrouteTable(vrf)) return old;
  auto table = Zet::make<MrouteTable>(vrf);
  table->afIs(af_);
  table->parentIs(this);
  vrfMrouteTable_.insert(table);
  notify<&NotifieeConst::onVrfMrouteTable>(vrf);
  return table;
}

Zet::Ptr<MrouteTable> MrouteTableColl::l2FloodsetTableIs(L3::VrfName vrf) {
  if (l2FloodsetTable_) return l2FloodsetTable_;
  auto table = Zet::make<MrouteTable>(vrf);
  table->afIs(af_);
  table->parentIs(this);
  assign(l2FloodsetTable_, table, &NotifieeConst::onL2FloodsetTable);
  return table;
}

void MrouteTableColl::oifSetAdd(OifSet * set) { oifSet_.insert(Zet::Ptr<OifSet>::adopt(set)); }

void MrouteTableColl::oifSetRemove(OifSet * set) { oifSet_.remove(set).release(); }

}  // namespace Brindle
