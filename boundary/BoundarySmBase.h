// What the machines for boundaries of both kinds of chips share: which interfaces have a boundary
// and a VLAN.
#pragma once

#include "model/LastInternalVlans.h"
#include "platform/Clock.h"
#include "platform/Reactor.h"
#include "state/IntfBoundary.h"

namespace Brindle {

class BRINDLE_API BoundarySmBase : public Zet::Sm {
 public:
  using MfibStatus = Routing::Multicast::Fib::Status;
  using IntfBoundaryStatus = Nettle::IntfBoundaryStatus;

  Zet::Name name() const override { return "boundary"; }
  bool initialized() const { return initialized_; }
  void handleDel() override;

  // A change of an interface's boundary or of its VLAN makes its machine anew.
  void handleIntfBoundary(Zet::Name name);
  void handleIntfBoundary();
  void handleInternalVlanId(Nettle::IntfId intf);
  // Ends the process: interfaces are followed one by one, and never as a whole.
  [[noreturn]] void handleInternalVlanId();

 protected:
  // Without a `mfibStatus` there are no boundaries.
  BoundarySmBase(Zet::Ptr<MfibStatus const> const & mfibStatus,
                 Zet::Ptr<IntfVlanId::Table const> const & intfVlanIdTable);
  // Takes up what stands. To be called at the end of the constructor.
  void handleInitialized();

  // The machine of an interface
  virtual void doMakeIntf(Nettle::IntfId intf, Bridging::VlanId vlan,
                          Zet::Ptr<IntfBoundaryStatus const> const & status) = 0;
  virtual void doDeleteIntf(Nettle::IntfId intf) = 0;
  virtual void doDeleteIntfs() = 0;
  // Takes one out of its collection and its entries out of the chips.
  template <class Map, class K> static void intfSmDel(Map & map, K const & key) {
    Zet::Ptr<typename Map::Member> const sm(map.find(key));
    if (!sm) return;
    map.del(sm->fwkKey());
    sm->parentIs(nullptr);
    sm->zetDoZombieReactors(true);
    sm->handleDel();
  }

 private:
  struct ZetMfibStatus final : Zet::Reactor<MfibStatus const, BoundarySmBase> {
    using Reactor::Reactor;
    void onIntfBoundaryStatus(Zet::Name const & name) override { sm()->handleIntfBoundary(name); }
  };
  struct ZetIntfVlanIdTable final : Zet::Reactor<IntfVlanId::Table const, BoundarySmBase> {
    using Reactor::Reactor;
    void onInternalVlanId(Nettle::IntfId const & v) override { sm()->handleInternalVlanId(v); }
  };

  // Fixed at construction
  Zet::Ptr<MfibStatus const> const mfibStatus_;
  Zet::Ptr<IntfVlanId::Table const> const intfVlanIdTable_;

  // State
  bool initialized_ = false;
  LastInternalVlans lastVlans_;

  // Reactors
  Zet::ReactorPtr<ZetMfibStatus> zetMfibStatus_{this};
  Zet::ReactorPtr<ZetIntfVlanIdTable> zetIntfVlanIdTable_{this};
};

}  // namespace Brindle
