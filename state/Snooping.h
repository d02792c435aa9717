// What IGMP snooping has learned (RFC 4541).
#pragma once

#include "platform/DenseMap.h"
#include "platform/EthAddr.h"
#include "platform/IntfId.h"
#include "platform/KeyedEntity.h"

namespace Bridging::IgmpSnooping {

// The ports of a VLAN behind which a group has listeners.
class EthGroup : public Zet::KeyedEntity<Nettle::EthAddr> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<EthGroup, Zet::Entity> {
   public:
    virtual void onIntf(Nettle::IntfId const &) {}
  };
  using KeyedEntity::KeyedEntity;

  auto const & intf() const { return intf_; }
  bool intf(Nettle::IntfId k) const { return intf_.contains(k); }
  void intfIs(Nettle::IntfId k, bool v) { flag<&NotifieeConst::onIntf>(intf_, k, v); }
  void intfDel(Nettle::IntfId k) { intfIs(k, false); }

 private:
  Zet::OrderedSet<Nettle::IntfId> intf_;
};

// A VLAN in which snooping is on.
class VlanStatus : public Zet::KeyedEntity<VlanId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<VlanStatus, Zet::Entity> {
   public:
    virtual void onUseVlanFloodset() {}
    virtual void onRouterIntf(Nettle::IntfId const &) {}
    virtual void onEthGroup(Nettle::EthAddr const &) {}
  };
  using KeyedEntity::KeyedEntity;

  // Groups go to all ports for now, as after a change of the topology.
  bool useVlanFloodset() const { return useVlanFloodset_; }
  void useVlanFloodsetIs(bool v) { assign(useVlanFloodset_, v, &NotifieeConst::onUseVlanFloodset); }

  // The ports behind which a multicast router is.
  auto const & routerIntf() const { return routerIntf_; }
  bool routerIntf(Nettle::IntfId k) const { return routerIntf_.contains(k); }
  void routerIntfIs(Nettle::IntfId k, bool v) {
    flag<&NotifieeConst::onRouterIntf>(routerIntf_, k, v);
  }
  void routerIntfDel(Nettle::IntfId k) { routerIntfIs(k, false); }

  auto const & ethGroup() const { return ethGroup_; }
  EthGroup const * ethGroup(Nettle::EthAddr const & k) const { return ethGroup_.find(k); }
  Zet::Ptr<EthGroup> ethGroupIs(Nettle::EthAddr const & k) {
    return create<&NotifieeConst::onEthGroup>(ethGroup_, k);
  }
  void ethGroupDel(Nettle::EthAddr const & k) { erase<&NotifieeConst::onEthGroup>(ethGroup_, k); }

 private:
  bool useVlanFloodset_ = false;
  Zet::OrderedSet<Nettle::IntfId> routerIntf_;
  Zet::HashMap<Nettle::EthAddr, EthGroup> ethGroup_;
};

class Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onVlanStatus(VlanId const &) {}
  };

  auto const & vlanStatus() const { return vlanStatus_; }
  VlanStatus const * vlanStatus(VlanId k) const { return vlanStatus_.find(k); }
  Zet::Ptr<VlanStatus> vlanStatusIs(VlanId k) {
    return create<&NotifieeConst::onVlanStatus>(vlanStatus_, k);
  }
  void vlanStatusDel(VlanId k) { erase<&NotifieeConst::onVlanStatus>(vlanStatus_, k); }

 private:
  Zet::DenseMap<VlanId, VlanStatus> vlanStatus_;
};

}  // namespace Bridging::IgmpSnooping
