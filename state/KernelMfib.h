// The kernel's multicast routing tables: which virtual interface (ip-mroute(8)) is which interface.
#pragma once

#include "platform/IntfId.h"
#include "platform/KeyedEntity.h"
#include "platform/RbTreeMap.h"
#include "platform/VrfName.h"

namespace Routing::KernelMfib {

// One VRF.
class Status : public Zet::KeyedEntity<L3::VrfName> {
 public:
  using KeyedEntity::KeyedEntity;

  auto const & intfIdColl() const { return intfIdColl_; }
  // Empty if nothing is known of the number.
  Nettle::IntfId intfIdColl(U16 vif) const {
    auto const * intf = intfIdColl_.find(vif);
    return intf ? *intf : Nettle::IntfId();
  }
  void intfIdCollIs(U16 vif, Nettle::IntfId intf) { intfIdColl_.at(vif) = intf; }
  void intfIdCollDel(U16 vif) { intfIdColl_.del(vif); }

 private:
  Zet::RbTreeMap<U16, Nettle::IntfId> intfIdColl_;
};

class StatusColl : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<StatusColl, Zet::Entity> {
   public:
    virtual void onVrfStatus(L3::VrfName const &) {}
  };

  auto const & vrfStatus() const { return vrfStatus_; }
  Status const * vrfStatus(L3::VrfName k) const { return vrfStatus_.find(k); }
  Zet::Ptr<Status> vrfStatusIs(L3::VrfName k) {
    return create<&NotifieeConst::onVrfStatus>(vrfStatus_, k);
  }
  void vrfStatusDel(L3::VrfName k) { erase<&NotifieeConst::onVrfStatus>(vrfStatus_, k); }

 private:
  Zet::HashMap<L3::VrfName, Status> vrfStatus_;
};

}  // namespace Routing::KernelMfib
