// What IGMP snooping learns in one VLAN, and which routes that concerns.
#pragma once

#include "platform/Reactor.h"
#include "state/Snooping.h"

namespace Brindle {

class InputReactors;

// One VLAN, while snooping is on in it. Its groups are L2 routes, too, where L2 routes are
// computed.
class ZetSnoopingVlanStatus : public Zet::Sm, public Zet::HashLink {
 public:
  using VlanStatus = Bridging::IgmpSnooping::VlanStatus;
  ZetSnoopingVlanStatus(InputReactors * reactors, Zet::Ptr<VlanStatus const> const & status)
      : reactors_(reactors),
        vid_(status->key()) {
    zetVlanStatus_.attach(status);
  }
  Bridging::VlanId const & fwkKey() const { return vid_; }
  VlanStatus const * status() const { return zetVlanStatus_.target(); }

  void handleUseVlanFloodset();
  void handleRouterIntf(Nettle::IntfId) { handleUseVlanFloodset(); }
  void handleEthGroup(Nettle::EthAddr const & group);
  // The ports behind which a group has listeners have changed.
  void handleIntf(Nettle::EthAddr const & group);
  void handleDel() override;

 private:
  struct ZetVlanStatus : Zet::Reactor<VlanStatus const, ZetSnoopingVlanStatus> {
    using Reactor::Reactor;
    void onUseVlanFloodset() override { sm()->handleUseVlanFloodset(); }
    void onRouterIntf(Nettle::IntfId const & intf) override { sm()->handleRouterIntf(intf); }
    void onEthGroup(Nettle::EthAddr const & group) override { sm()->handleEthGroup(group); }
    void immediatePass() override;
  };
  struct ZetEthGroup : Zet::KeyedReactor<Nettle::EthAddr, Bridging::IgmpSnooping::EthGroup const,
                                         ZetSnoopingVlanStatus> {
    using KeyedReactor::KeyedReactor;
    void onIntf(Nettle::IntfId const &) override { sm()->handleIntf(key()); }
  };

  // Fixed at construction
  InputReactors * const reactors_;
  Bridging::VlanId const vid_;

  // Reactors
  Zet::ReactorMap<Nettle::EthAddr, ZetEthGroup> zetEthGroup_{this};
  Zet::ReactorPtr<ZetVlanStatus> zetVlanStatus_{this};
};

}  // namespace Brindle
