#include "model/RouteBase.h"

namespace Brindle {

void RouteBase::dirtyIs(bool v) {
  if (dirty_ == v) return;
  dirty_ = v;
  handleDirty();
  notify(&NotifieeConst::onDirty);
}

void RouteBase::fastdropIs(Bridging::VlanId vlan, Zet::Ptr<OifSet> const & set) {
  Zet::Ptr<RouteBase> self(this);
  Zet::Ptr<OifSet> const * const held = fastdrop_.find(vlan);
  if (held && *held == set) return;
  bool const added = !held;
  fastdrop_.at(vlan) = set;
  // Counted before anybody is told, who may delete it.
  if (added) handleFastdropCount(1);
  notify<&NotifieeConst::onFastdrop>(vlan);
}

void RouteBase::fastdropDel(Bridging::VlanId vlan) {
  Zet::Ptr<RouteBase> self(this);
  if (!fastdrop_.del(vlan)) return;
  handleFastdropCount(-1);
  notify<&NotifieeConst::onFastdrop>(vlan);
}

void RouteBase::doClearFastdrop() {
  Zet::Ptr<RouteBase> self(this);
  for (auto i = fastdrop_.begin(); i; i.advance()) fastdropDel(i.key());
}

}  // namespace Brindle
