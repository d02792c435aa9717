// Which VLAN a routed interface uses inside the switch, and which interface routes a VLAN.
#pragma once

#include <array>

#include "state/Ip.h"

namespace IntfVlanId {

// An entry of internalVlanId decides in both directions. Without one, "Vlan%d" (or what was
// declared to be the routed interface of a VLAN) has the VLAN of its name, unless that is another
// interface's internal VLAN; and the VLAN has that interface, if there is IP on it.
class Table : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Table, Zet::Entity> {
   public:
    virtual void onInternalVlanId(Nettle::IntfId const &) {}
  };

  // 0 takes the entry away. Two interfaces of one VLAN are for the agent to avoid: the VLAN's
  // interface is then the last one set.
  auto const & internalVlanId() const { return internalVlanId_; }
  Bridging::VlanIdOrNone internalVlanId(Nettle::IntfId k) const {
    return lookup(internalVlanId_, k);
  }
  void internalVlanIdIs(Nettle::IntfId k, Bridging::VlanIdOrNone v) {
    if (!v) return internalVlanIdDel(k);
    if (internalVlanId(k) == v) return;
    forget(k);
    while (vlanOfIntf_.size() <= k.index()) vlanOfIntf_.push_back({});
    vlanOfIntf_[k.index()] = v;
    intfOfVlan_[v.value()] = k;
    put<&NotifieeConst::onInternalVlanId>(internalVlanId_, k, v);
  }
  void internalVlanIdDel(Nettle::IntfId k) {
    forget(k);
    erase<&NotifieeConst::onInternalVlanId>(internalVlanId_, k);
  }

  // Says on which interfaces there is IP. Nobody is told of a change.
  void ipStatusIs(Zet::Ptr<Ip::Status const> v) { ipStatus_ = std::move(v); }

  // These two cost a few instructions: they are asked for each output of each route.

  // 0 if the interface has no VLAN.
  Bridging::VlanIdOrNone intfIdToVlanId(Nettle::IntfId intf) const {
    U32 const i = intf.index();
    if (i < vlanOfIntf_.size() && vlanOfIntf_[i]) return vlanOfIntf_[i];
    Bridging::VlanIdOrNone const routed = intf.routedVlan();
    return intfOfVlan_[routed.value()].empty() ? routed : Bridging::VlanIdOrNone();
  }
  // None if no interface routes the VLAN.
  Nettle::IntfId vlanIdToIntfId(Bridging::VlanIdOrNone vlan) const {
    Nettle::IntfId const intf = intfOfVlan_[vlan.value()];
    return intf.empty() && vlan && ipStatus_ ? routedIntf(Bridging::VlanId(vlan)) : intf;
  }

 private:
  void forget(Nettle::IntfId intf) {
    Bridging::VlanIdOrNone const vlan = internalVlanId(intf);
    if (!vlan) return;
    vlanOfIntf_[intf.index()] = {};
    auto & holder = intfOfVlan_[vlan.value()];
    if (holder != intf) return;
    holder = {};
    for (auto const & entry : internalVlanId_.items()) {
      if (entry.value == vlan && entry.key != intf) holder = entry.key;
    }
  }
  Nettle::IntfId routedIntf(Bridging::VlanId vlan) const {
    auto const intf = Nettle::IntfId::ofVlan(vlan);
    bool const routes = ipStatus_->ipIntfStatus(intf) && intfIdToVlanId(intf) == vlan;
    return routes ? intf : Nettle::IntfId();
  }

  Zet::RbTreeMap<Nettle::IntfId, Bridging::VlanIdOrNone> internalVlanId_;
  Zet::Ptr<Ip::Status const> ipStatus_;
  // The same entries, by the numbers of their keys and of their values.
  Zet::CompactVector<Bridging::VlanIdOrNone> vlanOfIntf_;
  std::array<Nettle::IntfId, Bridging::VlanId::max + 1> intfOfVlan_{};
};

}  // namespace IntfVlanId
