// Drops at multicast boundaries that were learned from traffic.
#pragma once

#include "platform/HashMap.h"
#include "platform/KeyedEntity.h"
#include "platform/VrfName.h"

namespace Brindle::BoundaryFastdrop {

// One VRF.
class Status : public Zet::KeyedEntity<L3::VrfName> {
 public:
  using KeyedEntity::KeyedEntity;

  // The hardware drops by group alone.
  bool hwMulticastStarGSupported() const { return hwMulticastStarGSupported_; }
  void hwMulticastStarGSupportedIs(bool v) { assign(hwMulticastStarGSupported_, v); }

 private:
  bool hwMulticastStarGSupported_ = false;
};

class StatusColl : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<StatusColl, Zet::Entity> {
   public:
    virtual void onVrfStatus(L3::VrfName const &) {}
  };

  auto const & vrfStatus() const { return vrfStatus_; }
  Status * vrfStatus(L3::VrfName k) const { return vrfStatus_.find(k); }
  Zet::Ptr<Status> vrfStatusIs(L3::VrfName k) {
    return create<&NotifieeConst::onVrfStatus>(vrfStatus_, k);
  }
  void vrfStatusDel(L3::VrfName k) { erase<&NotifieeConst::onVrfStatus>(vrfStatus_, k); }

 private:
  Zet::HashMap<L3::VrfName, Status> vrfStatus_;
};

}  // namespace Brindle::BoundaryFastdrop
