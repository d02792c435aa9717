// Multicast boundaries on chips that answer later: one entry for each denied prefix of groups, for
// sources anywhere. No transaction is waited for. The agent makes this machine where it has such
// chips.
#pragma once

#include "boundary/BoundaryIntfSmBase.h"
#include "boundary/BoundarySmBase.h"
#include "fabric/AsyncFabric.h"
#include "fabric/TcamEntry.h"
#include "platform/ReviewTimer.h"

namespace Brindle {

class AsyncBoundarySm;

// The boundary of one interface.
class BRINDLE_API AsyncBoundaryIntfSm final : public BoundaryIntfSmBase {
 public:
  // A denied prefix of groups, with its entry in each chip; null where a chip had no room.
  class PrefixInfo final : public Zet::KeyedEntity<Nettle::IpGenPrefix>,
                           public ChipHandles<AsyncSwitchChip> {
   public:
    using KeyedEntity::KeyedEntity;
  };

  AsyncBoundaryIntfSm(Nettle::IntfId intf, U32 vlanId, Zet::Ptr<AsyncFabric> const & fabric,
                      Zet::Ptr<IntfBoundaryStatus const> const & status);
  Nettle::IntfId const & fwkKey() const { return intf_; }
  U32 vlanId() const { return vlanId_; }

  // Takes all entries out of the chips.
  void handleDel() override;
  auto const & prefixInfo() const { return prefixInfo_; }
  U32 prefixInfos() const { return prefixInfo_.size(); }

 private:
  void doAddPrefix(Nettle::IpGenPrefix const & group) override;
  void doDeletePrefix(Nettle::IpGenPrefix const & group) override;

  // Fixed at construction
  Nettle::IntfId const intf_;
  U32 const vlanId_;
  Zet::Ptr<AsyncFabric> const fabric_;

  // State
  Zet::HashMap<Nettle::IpGenPrefix, PrefixInfo> prefixInfo_;
};

class BRINDLE_API AsyncBoundarySm final : public BoundarySmBase {
 public:
  struct Inputs {
    Zet::Ptr<MfibStatus const> mfibStatus;
    Zet::Ptr<AsyncFabric> fabric;
    Zet::Ptr<Zet::Clock const> clock;
    Zet::Ptr<IntfVlanId::Table const> intfVlanIdTable;
  };
  explicit AsyncBoundarySm(Inputs const &);

  auto const & intfSm() const { return intfSm_; }
  AsyncBoundaryIntfSm * intfSm(Nettle::IntfId intf) const { return intfSm_.find(intf); }
  bool testKill() const { return testKill_; }
  void testKillIs(bool v) { testKill_ = v; }

  // Interfaces that are to be tried again; who notes one asks for the review.
  auto const & unprogrammedIntf() const { return unprogrammedIntf_; }
  void unprogrammedIntfIs(Nettle::IntfId intf, bool v) {
    v ? unprogrammedIntf_.insert(intf) : unprogrammedIntf_.del(intf);
  }
  Zet::Ptr<Keel::ReviewTimer> const & reviewTimer() const { return reviewTimer_; }
  void handleClock();

 private:
  struct ZetClock final : Zet::Reactor<Zet::Clock const, AsyncBoundarySm> {
    using Reactor::Reactor;
    void onTime() override { sm()->handleClock(); }
  };

  void doMakeIntf(Nettle::IntfId intf, Bridging::VlanId vlan,
                  Zet::Ptr<IntfBoundaryStatus const> const & status) override;
  void doDeleteIntf(Nettle::IntfId intf) override { intfSmDel(intfSm_, intf); }
  void doDeleteIntfs() override {
    for (auto i = intfSm_.begin(); i; i.advance()) intfSmDel(intfSm_, i.key());
  }

  // Fixed at construction
  Inputs const in_;

  // State
  bool testKill_ = false;
  Zet::HashMap<Nettle::IntfId, AsyncBoundaryIntfSm> intfSm_;
  Zet::OrderedSet<Nettle::IntfId> unprogrammedIntf_;
  Zet::Ptr<Keel::ReviewTimer> reviewTimer_;

  // Reactors
  Zet::ReactorPtr<ZetClock> clock_{this};
};

inline Zet::Ptr<AsyncBoundarySm> asyncBoundarySmFactory(AsyncBoundarySm::Inputs const & in) {
  return Zet::make<AsyncBoundarySm>(in);
}

}  // namespace Brindle
