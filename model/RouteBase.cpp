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
  bool const added = !fastdrop_.contains(vlan);
  put<&NotifieeConst::onFastdrop>(fastdrop_, vlan, set);
  if (added) handleFastdropCount(1);
}

void RouteBase::fastdropDel(Bridging::VlanId vlan) {
  Zet::Ptr<RouteBase> self(this);
  if (erase<&NotifieeConst::onFastdrop>(fastdrop_, vlan)) handleFastdropCount(-1);
}

void RouteBase::doClearFastdrop() {
  Zet::Ptr<RouteBase> self(this);
  for (auto i = fastdrop_.begin(); i; i.advance()) fastdropDel(i.key());
}

}  // namespace Brindle
