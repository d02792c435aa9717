// The state of a pair of switches that share LAGs.
#pragma once

#include "platform/DenseMap.h"
#include "platform/IntfId.h"
#include "platform/KeyedEntity.h"

namespace Mlag {

enum class IntfState : U8 { disabled, inactive, activePartial, activeFull };
constexpr auto intfStateNames =
    Zet::enumNames<IntfState::activeFull>("disabled", "inactive", "activePartial", "activeFull");
constexpr auto & zetNames(IntfState) { return intfStateNames; }

// A LAG that both switches have ports of.
class IntfStatus : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<IntfStatus, Zet::Entity> {
   public:
    virtual void onState() {}
    virtual void onLocalIntf() {}
  };
  using KeyedEntity::KeyedEntity;

  // activeFull: up on both switches.
  IntfState state() const { return state_; }
  void stateIs(IntfState v) { assign(state_, v, &NotifieeConst::onState); }

  // This switch's part of it; none if it has no port in it.
  Nettle::IntfId localIntf() const { return localIntf_; }
  void localIntfIs(Nettle::IntfId v) { assign(localIntf_, v, &NotifieeConst::onLocalIntf); }

 private:
  IntfState state_ = IntfState::disabled;
  Nettle::IntfId localIntf_;
};

class Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onIntfStatus(Nettle::IntfId const &) {}
    virtual void onPeerLinkIntf() {}
    virtual void onActive() {}
  };

  auto const & intfStatus() const { return intfStatus_; }
  IntfStatus const * intfStatus(Nettle::IntfId k) const { return intfStatus_.find(k); }
  Zet::Ptr<IntfStatus> intfStatusIs(Nettle::IntfId k) {
    return create<&NotifieeConst::onIntfStatus>(intfStatus_, k);
  }
  void intfStatusDel(Nettle::IntfId k) { erase<&NotifieeConst::onIntfStatus>(intfStatus_, k); }

  // The link between the two switches.
  Nettle::IntfId peerLinkIntf() const { return peerLinkIntf_; }
  void peerLinkIntfIs(Nettle::IntfId v) {
    assign(peerLinkIntf_, v, &NotifieeConst::onPeerLinkIntf);
  }

  // The two switches have found each other.
  bool active() const { return active_; }
  void activeIs(bool v) { assign(active_, v, &NotifieeConst::onActive); }

 private:
  Zet::DenseMap<Nettle::IntfId, IntfStatus> intfStatus_;
  Nettle::IntfId peerLinkIntf_;
  bool active_ = false;
};

}  // namespace Mlag
