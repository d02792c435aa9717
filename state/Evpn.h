// What EVPN says of the peers of multihomed segments (RFC 7432): by which interfaces a VLAN's
// flooded traffic may go towards each peer.
#pragma once

#include <string>

#include "platform/IntfId.h"
#include "platform/IpGenAddr.h"
#include "platform/KeyedEntity.h"
#include "platform/RbTreeMap.h"

namespace Evpn {

// One peer, by the address of its tunnel endpoint, in one VLAN.
class EvpnPeerVlanFloodStatus : public Zet::KeyedEntity<Nettle::IpGenAddr> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<EvpnPeerVlanFloodStatus, Zet::Entity> {
   public:
    virtual void onInitialSyncComplete() {}
    virtual void onFloodFilter(Nettle::IntfId const &) {}
  };
  using KeyedEntity::KeyedEntity;

  // The filter is complete.
  bool initialSyncComplete() const { return initialSyncComplete_; }
  void initialSyncCompleteIs(bool v) {
    assign(initialSyncComplete_, v, &NotifieeConst::onInitialSyncComplete);
  }

  // The interfaces by which the traffic may be flooded.
  auto const & floodFilter() const { return floodFilter_; }
  bool floodFilter(Nettle::IntfId k) const { return floodFilter_.contains(k); }
  void floodFilterIs(Nettle::IntfId k, bool v) {
    flag<&NotifieeConst::onFloodFilter>(floodFilter_, k, v);
  }
  void floodFilterDel(Nettle::IntfId k) { floodFilterIs(k, false); }

  // For traces.
  std::string stringValue() const {
    std::string text = Zet::textOf(key()) + (initialSyncComplete_ ? " synced:" : " not synced:");
    for (Nettle::IntfId intf : floodFilter_.items()) text += ' ' + Zet::textOf(intf);
    return text;
  }

 private:
  bool initialSyncComplete_ = false;
  Zet::OrderedSet<Nettle::IntfId> floodFilter_;
};

// The peers of one VLAN.
class EvpnVlanFilteredFloodSet : public Zet::KeyedEntity<Bridging::VlanId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<EvpnVlanFilteredFloodSet, Zet::Entity> {
   public:
    virtual void onTepFilter(Nettle::IpGenAddr const &) {}
  };
  using KeyedEntity::KeyedEntity;

  auto const & tepFilter() const { return tepFilter_; }
  EvpnPeerVlanFloodStatus const * tepFilter(Nettle::IpGenAddr const & k) const {
    return tepFilter_.find(k);
  }
  Zet::Ptr<EvpnPeerVlanFloodStatus> tepFilterIs(Nettle::IpGenAddr const & k) {
    return create<&NotifieeConst::onTepFilter>(tepFilter_, k);
  }
  void tepFilterDel(Nettle::IpGenAddr const & k) {
    erase<&NotifieeConst::onTepFilter>(tepFilter_, k);
  }

 private:
  Zet::HashMap<Nettle::IpGenAddr, EvpnPeerVlanFloodStatus> tepFilter_;
};

class EvpnVlanFilteredFloodSetDir : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<EvpnVlanFilteredFloodSetDir, Zet::Entity> {
   public:
    virtual void onVlanFloodSet(Bridging::VlanId const &) {}
  };

  auto const & vlanFloodSet() const { return vlanFloodSet_; }
  EvpnVlanFilteredFloodSet const * vlanFloodSet(Bridging::VlanId k) const {
    return vlanFloodSet_.find(k);
  }
  Zet::Ptr<EvpnVlanFilteredFloodSet> vlanFloodSetIs(Bridging::VlanId k) {
    return create<&NotifieeConst::onVlanFloodSet>(vlanFloodSet_, k);
  }
  void vlanFloodSetDel(Bridging::VlanId k) {
    erase<&NotifieeConst::onVlanFloodSet>(vlanFloodSet_, k);
  }

 private:
  Zet::HashMap<Bridging::VlanId, EvpnVlanFilteredFloodSet> vlanFloodSet_;
};

}  // namespace Evpn
