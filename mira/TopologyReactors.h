// What the resolver keeps of spanning trees: the VLANs of each, and how many of its ports forward.
#pragma once

#include "model/PortChange.h"
#include "platform/Reactor.h"
#include "platform/String.h"
#include "state/Topology.h"

namespace Brindle {

class InputReactors;

// One tree, for as long as VLANs run in it.
class ZetTopo : public Zet::Sm, public Zet::HashLink {
 public:
  ZetTopo(InputReactors * reactors, Zet::String const & topo) : reactors_(reactors), topo_(topo) {}
  Zet::String const & fwkKey() const { return topo_; }
  void topoConfigIs(Zet::Ptr<Bridging::Topology::TopoConfig const> const & v) {
    zetTopoConfig_.attach(v);
    tellForwardingPorts();
  }

  auto const & vidList() const { return vidList_; }
  void vidListIs(Bridging::VlanId vid, bool v) { v ? vidList_.insert(vid) : vidList_.del(vid); }

  void handleTopoPort(Nettle::IntfId intf, PortChange change);
  // The tree has gone, though VLANs may still be said to run in it.
  void handleTopoConfigDel();
  void handleDel() override { handleTopoConfigDel(); }

 private:
  struct ZetTopoPort
      : Zet::KeyedReactor<Nettle::IntfId, Bridging::Topology::TopoPortConfig const, ZetTopo> {
    using KeyedReactor::KeyedReactor;
    void onState() override { handleState(); }
    void immediatePass() override { handleState(); }
    void handleState();
    void handleDel();
    bool forwards_ = false;  // as last seen
  };
  struct ZetTopoConfig : Zet::Reactor<Bridging::Topology::TopoConfig const, ZetTopo> {
    using Reactor::Reactor;
    void onTopoPortConfig(Nettle::IntfId const & intf) override { sm()->handlePort(intf); }
    void immediatePass() override { sm()->handlePort(); }
  };

  void handlePort(Nettle::IntfId intf);
  void handlePort();
  void markVlansDirty();
  void tellForwardingPorts() const;

  // Fixed at construction
  InputReactors * const reactors_;
  Zet::String const topo_;

  // State
  Zet::OrderedSet<Bridging::VlanId> vidList_;
  U32 forwarding_ = 0;

  // Reactors
  Zet::ReactorPtr<ZetTopoConfig> zetTopoConfig_{this};
  Zet::ReactorMap<Nettle::IntfId, ZetTopoPort> zetTopoPort_{this};
};

}  // namespace Brindle
