// VLANs and their bridging configuration, as the bridging agents publish them.
#pragma once

#include "platform/DenseMap.h"
#include "platform/EthAddr.h"
#include "platform/IntfId.h"
#include "platform/KeyedEntity.h"

namespace Bridging {

enum class VlanPortMode : U8 { none, untagged, tagged };
constexpr auto vlanPortModeNames =
    Zet::enumNames<VlanPortMode::tagged>("none", "untagged", "tagged");
constexpr auto & zetNames(VlanPortMode) { return vlanPortModeNames; }

// How a port is in a VLAN; by default it is not.
struct VlanPortStatus {
  VlanPortMode mode = VlanPortMode::none;

  bool operator==(VlanPortStatus const &) const = default;
  static constexpr char const * zetType = "Bridging::VlanPortStatus";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&VlanPortStatus::mode>("mode")};
  }
};

// A VLAN that is up.
class VlanStatus : public Zet::KeyedEntity<VlanId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<VlanStatus, Zet::Entity> {
   public:
    virtual void onVlanPortStatus(Nettle::IntfId const &) {}
  };
  using KeyedEntity::KeyedEntity;
  VlanId vlanId() const { return key(); }

  // The ports that are up in the VLAN.
  auto const & vlanPortStatus() const { return vlanPortStatus_; }
  VlanPortStatus vlanPortStatus(Nettle::IntfId k) const { return lookup(vlanPortStatus_, k); }
  void vlanPortStatusIs(Nettle::IntfId k, VlanPortStatus v) {
    put<&NotifieeConst::onVlanPortStatus>(vlanPortStatus_, k, v);
  }
  void vlanPortStatusDel(Nettle::IntfId k) {
    erase<&NotifieeConst::onVlanPortStatus>(vlanPortStatus_, k);
  }

 private:
  Zet::RbTreeMap<Nettle::IntfId, VlanPortStatus> vlanPortStatus_;
};

class VlanStatusDir : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<VlanStatusDir, Zet::Entity> {
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

// What is configured of a VLAN.
class VlanConfig : public Zet::KeyedEntity<VlanId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<VlanConfig, Zet::Entity> {
   public:
    virtual void onMacLearning() {}
    virtual void onIntf(Nettle::IntfId const &) {}
  };
  using KeyedEntity::KeyedEntity;

  bool macLearning() const { return macLearning_; }
  void macLearningIs(bool v) { assign(macLearning_, v, &NotifieeConst::onMacLearning); }

  // The configured ports, up or not.
  auto const & intf() const { return intf_; }
  bool intf(Nettle::IntfId k) const { return intf_.contains(k); }
  void intfIs(Nettle::IntfId k, bool v) { flag<&NotifieeConst::onIntf>(intf_, k, v); }
  void intfDel(Nettle::IntfId k) { intfIs(k, false); }

 private:
  bool macLearning_ = false;
  Zet::OrderedSet<Nettle::IntfId> intf_;
};

// The ports of a configured MAC group.
class EthGroupConfig : public Zet::KeyedEntity<Nettle::EthAddr> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<EthGroupConfig, Zet::Entity> {
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

// The configured part of a VLAN's forwarding database.
class FdbConfig : public Zet::KeyedEntity<VlanId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<FdbConfig, Zet::Entity> {
   public:
    virtual void onEthGroup(Nettle::EthAddr const &) {}
  };
  using KeyedEntity::KeyedEntity;

  auto const & ethGroup() const { return ethGroup_; }
  EthGroupConfig const * ethGroup(Nettle::EthAddr const & k) const { return ethGroup_.find(k); }
  Zet::Ptr<EthGroupConfig> ethGroupIs(Nettle::EthAddr const & k) {
    return create<&NotifieeConst::onEthGroup>(ethGroup_, k);
  }
  void ethGroupDel(Nettle::EthAddr const & k) { erase<&NotifieeConst::onEthGroup>(ethGroup_, k); }

 private:
  Zet::HashMap<Nettle::EthAddr, EthGroupConfig> ethGroup_;
};

// What is configured of a switched port.
class SwitchIntfConfig : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  // The switchport mode of ports that nothing is flooded to.
  static constexpr U8 modeNoFlooding = 6;

  class NotifieeConst : public Zet::NotifieeOf<SwitchIntfConfig, Zet::Entity> {
   public:
    virtual void onFloodingEnabled() {}
    virtual void onSwitchportMode() {}
  };
  using KeyedEntity::KeyedEntity;

  bool floodingEnabled() const { return floodingEnabled_; }
  void floodingEnabledIs(bool v) { assign(floodingEnabled_, v, &NotifieeConst::onFloodingEnabled); }

  U8 switchportMode() const { return switchportMode_; }
  void switchportModeIs(U8 v) { assign(switchportMode_, v, &NotifieeConst::onSwitchportMode); }

 private:
  bool floodingEnabled_ = true;
  U8 switchportMode_ = 0;
};

class Config : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Config, Zet::Entity> {
   public:
    virtual void onVlanConfig(VlanId const &) {}
    virtual void onFdbConfig(VlanId const &) {}
    virtual void onSwitchIntfConfig(Nettle::IntfId const &) {}
  };

  auto const & vlanConfig() const { return vlanConfig_; }
  VlanConfig const * vlanConfig(VlanId k) const { return vlanConfig_.find(k); }
  Zet::Ptr<VlanConfig> vlanConfigIs(VlanId k) {
    return create<&NotifieeConst::onVlanConfig>(vlanConfig_, k);
  }
  void vlanConfigDel(VlanId k) { erase<&NotifieeConst::onVlanConfig>(vlanConfig_, k); }

  // By forwarding database, which is the VLAN's own.
  auto const & fdbConfig() const { return fdbConfig_; }
  FdbConfig const * fdbConfig(VlanId k) const { return fdbConfig_.find(k); }
  Zet::Ptr<FdbConfig> fdbConfigIs(VlanId k) {
    return create<&NotifieeConst::onFdbConfig>(fdbConfig_, k);
  }
  void fdbConfigDel(VlanId k) { erase<&NotifieeConst::onFdbConfig>(fdbConfig_, k); }

  // A port without a record floods.
  auto const & switchIntfConfig() const { return switchIntfConfig_; }
  SwitchIntfConfig const * switchIntfConfig(Nettle::IntfId k) const {
    return switchIntfConfig_.find(k);
  }
  Zet::Ptr<SwitchIntfConfig> switchIntfConfigIs(Nettle::IntfId k) {
    return create<&NotifieeConst::onSwitchIntfConfig>(switchIntfConfig_, k);
  }
  void switchIntfConfigDel(Nettle::IntfId k) {
    erase<&NotifieeConst::onSwitchIntfConfig>(switchIntfConfig_, k);
  }

 private:
  Zet::DenseMap<VlanId, VlanConfig> vlanConfig_;
  Zet::DenseMap<VlanId, FdbConfig> fdbConfig_;
  Zet::DenseMap<Nettle::IntfId, SwitchIntfConfig> switchIntfConfig_;
};

}  // namespace Bridging
