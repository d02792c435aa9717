// Spanning-tree topologies: which ports forward, and which topology each VLAN runs in.
#pragma once

#include "platform/DenseMap.h"
#include "platform/IntfId.h"
#include "platform/KeyedEntity.h"
#include "platform/String.h"

namespace Bridging::Topology {

enum class PortState : U8 { disabled, discarding, learning, forwarding };
constexpr auto portStateNames =
    Zet::enumNames<PortState::forwarding>("disabled", "discarding", "learning", "forwarding");
constexpr auto & zetNames(PortState) { return portStateNames; }

class TopoPortConfig : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<TopoPortConfig, Zet::Entity> {
   public:
    virtual void onState() {}
  };
  using KeyedEntity::KeyedEntity;

  PortState state() const { return state_; }
  void stateIs(PortState v) { assign(state_, v, &NotifieeConst::onState); }

 private:
  PortState state_ = PortState::disabled;
};

// One spanning tree.
class TopoConfig : public Zet::KeyedEntity<Zet::String> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<TopoConfig, Zet::Entity> {
   public:
    virtual void onTopoPortConfig(Nettle::IntfId const &) {}
  };
  using KeyedEntity::KeyedEntity;

  auto const & topoPortConfig() const { return topoPortConfig_; }
  TopoPortConfig const * topoPortConfig(Nettle::IntfId k) const { return topoPortConfig_.find(k); }
  Zet::Ptr<TopoPortConfig> topoPortConfigIs(Nettle::IntfId k) {
    return create<&NotifieeConst::onTopoPortConfig>(topoPortConfig_, k);
  }
  void topoPortConfigDel(Nettle::IntfId k) {
    erase<&NotifieeConst::onTopoPortConfig>(topoPortConfig_, k);
  }

 private:
  Zet::DenseMap<Nettle::IntfId, TopoPortConfig> topoPortConfig_;
};

class Config : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Config, Zet::Entity> {
   public:
    virtual void onVidToTopoMap(VlanId const &) {}
    virtual void onTopoConfig(Zet::String const &) {}
  };

  // The topology of each VLAN; iterates over the VLANs that have one.
  auto const & vidToTopoMap() const { return vidToTopoMap_; }
  TopoConfig const * vidToTopoMap(VlanId k) const {
    VidTopo const * t = vidToTopoMap_.find(k);
    return t ? t->topo.get() : nullptr;
  }
  void vidToTopoMapIs(VlanId k, Zet::Ptr<TopoConfig const> const & v) {
    if (!v) return vidToTopoMapDel(k);
    VidTopo * t = vidToTopoMap_.find(k);
    if (t && t->topo == v) return;
    if (!t) {
      vidToTopoMap_.insert(Zet::make<VidTopo>(k));
      t = vidToTopoMap_.find(k);
    }
    t->topo = v;
    notify<&NotifieeConst::onVidToTopoMap>(k);
  }
  void vidToTopoMapDel(VlanId k) { erase<&NotifieeConst::onVidToTopoMap>(vidToTopoMap_, k); }

  auto const & topoConfig() const { return topoConfig_; }
  TopoConfig const * topoConfig(Zet::String const & k) const { return topoConfig_.find(k); }
  Zet::Ptr<TopoConfig> topoConfigIs(Zet::String const & k) {
    return create<&NotifieeConst::onTopoConfig>(topoConfig_, k);
  }
  void topoConfigDel(Zet::String const & k) { erase<&NotifieeConst::onTopoConfig>(topoConfig_, k); }

 private:
  struct VidTopo : Zet::RefCounted, Zet::HashLink {
    explicit VidTopo(VlanId v) : vlan(v) {}
    VlanId const & fwkKey() const { return vlan; }
    VlanId const vlan;
    Zet::Ptr<TopoConfig const> topo;
  };
  Zet::DenseMap<VlanId, VidTopo> vidToTopoMap_;
  Zet::HashMap<Zet::String, TopoConfig> topoConfig_;
};

}  // namespace Bridging::Topology
