// The static MAC groups of one VLAN, and the L2 routes that they are.
#pragma once

#include "platform/Reactor.h"
#include "state/Bridging.h"

namespace Brindle {

class MiraRoot;

// One VLAN, while its forwarding database has a configuration. Groups of IP, which belong to
// snooping, are not looked at.
class ZetBrFdbConfig : public Zet::Sm, public Zet::HashLink {
 public:
  ZetBrFdbConfig(MiraRoot * root, Zet::Ptr<Bridging::FdbConfig const> const & config)
      : root_(root),
        vid_(config->key()) {
    zetFdbConfig_.attach(config);
  }
  Bridging::VlanId const & fwkKey() const { return vid_; }
  Bridging::FdbConfig const * config() const { return zetFdbConfig_.target(); }

  // Whether a group is to have its route; without a group, each of the VLAN's.
  void handleBrEthGroup(Nettle::EthAddr const & group);
  void handleBrEthGroup();
  // The ports of a group have changed.
  void handleIntf(Nettle::EthAddr const & group);
  void handleDel() override;

 private:
  struct ZetFdbConfig : Zet::Reactor<Bridging::FdbConfig const, ZetBrFdbConfig> {
    using Reactor::Reactor;
    void onEthGroup(Nettle::EthAddr const & group) override { sm()->handleBrEthGroup(group); }
    void immediatePass() override { sm()->handleBrEthGroup(); }
  };
  struct ZetEthGroup
      : Zet::KeyedReactor<Nettle::EthAddr, Bridging::EthGroupConfig const, ZetBrFdbConfig> {
    using KeyedReactor::KeyedReactor;
    void onIntf(Nettle::IntfId const &) override { sm()->handleIntf(key()); }
  };

  // Fixed at construction
  MiraRoot * const root_;
  Bridging::VlanId const vid_;

  // Reactors
  Zet::ReactorMap<Nettle::EthAddr, ZetEthGroup> zetEthGroup_{this};
  Zet::ReactorPtr<ZetFdbConfig> zetFdbConfig_{this};
};

}  // namespace Brindle
