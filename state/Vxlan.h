// Which routed interfaces have their multicast carried over VXLAN by PIM.
#pragma once

#include "platform/Entity.h"
#include "platform/IntfId.h"
#include "platform/RbTreeMap.h"

namespace Routing::Multicast::Vxlan {

class Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onVxlanIntf(Nettle::IntfId const &) {}
  };

  auto const & vxlanIntf() const { return vxlanIntf_; }
  bool vxlanIntf(Nettle::IntfId k) const { return vxlanIntf_.contains(k); }
  void vxlanIntfIs(Nettle::IntfId k, bool v) {
    flag<&NotifieeConst::onVxlanIntf>(vxlanIntf_, k, v);
  }
  void vxlanIntfDel(Nettle::IntfId k) { vxlanIntfIs(k, false); }

 private:
  Zet::OrderedSet<Nettle::IntfId> vxlanIntf_;
};

}  // namespace Routing::Multicast::Vxlan
