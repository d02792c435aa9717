// Link aggregation (IEEE 802.1AX): the members that LAGs have, and those that are configured.
#pragma once

#include "platform/DenseMap.h"
#include "platform/IntfId.h"
#include "platform/KeyedEntity.h"

namespace Interface {

// A LAG that is up, with the members that carry its traffic.
class EthLagIntfStatus : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<EthLagIntfStatus, Zet::Entity> {
   public:
    virtual void onMember(Nettle::IntfId const &) {}
  };
  using KeyedEntity::KeyedEntity;

  auto const & member() const { return member_; }
  bool member(Nettle::IntfId k) const { return member_.contains(k); }
  void memberIs(Nettle::IntfId k, bool v) { flag<&NotifieeConst::onMember>(member_, k, v); }
  void memberDel(Nettle::IntfId k) { memberIs(k, false); }

 private:
  Zet::OrderedSet<Nettle::IntfId> member_;
};

class EthLagIntfStatusDir : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<EthLagIntfStatusDir, Zet::Entity> {
   public:
    virtual void onIntfStatus(Nettle::IntfId const &) {}
  };

  auto const & intfStatus() const { return intfStatus_; }
  EthLagIntfStatus const * intfStatus(Nettle::IntfId k) const { return intfStatus_.find(k); }
  Zet::Ptr<EthLagIntfStatus> intfStatusIs(Nettle::IntfId k) {
    return create<&NotifieeConst::onIntfStatus>(intfStatus_, k);
  }
  void intfStatusDel(Nettle::IntfId k) { erase<&NotifieeConst::onIntfStatus>(intfStatus_, k); }

 private:
  Zet::DenseMap<Nettle::IntfId, EthLagIntfStatus> intfStatus_;
};

}  // namespace Interface

namespace Lag {

// What is configured of a port.
class PhyIntfConfig : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<PhyIntfConfig, Zet::Entity> {
   public:
    virtual void onLag() {}
  };
  using KeyedEntity::KeyedEntity;

  // The LAG that the port is to be a member of; none if it is to stand alone.
  Nettle::IntfId lag() const { return lag_; }
  void lagIs(Nettle::IntfId v) { assign(lag_, v, &NotifieeConst::onLag); }

 private:
  Nettle::IntfId lag_;
};

class ConfigDir : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<ConfigDir, Zet::Entity> {
   public:
    virtual void onPhyIntf(Nettle::IntfId const &) {}
  };

  auto const & phyIntf() const { return phyIntf_; }
  PhyIntfConfig const * phyIntf(Nettle::IntfId k) const { return phyIntf_.find(k); }
  Zet::Ptr<PhyIntfConfig> phyIntfIs(Nettle::IntfId k) {
    return create<&NotifieeConst::onPhyIntf>(phyIntf_, k);
  }
  void phyIntfDel(Nettle::IntfId k) { erase<&NotifieeConst::onPhyIntf>(phyIntf_, k); }

 private:
  Zet::DenseMap<Nettle::IntfId, PhyIntfConfig> phyIntf_;
};

}  // namespace Lag
