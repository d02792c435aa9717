// What the roots of bidirectional PIM (RFC 5015) for both kinds of chips share: they follow the
// VRFs that have it on, and mount the table that the protocol publishes of each.
#pragma once

#include "platform/Mount.h"
#include "platform/Reactor.h"
#include "state/IntfVlanId.h"
#include "state/MulticastFib.h"
#include "state/ShoalBidir.h"

namespace Brindle {

class BRINDLE_API BidirRoot : public Zet::Sm {
 public:
  using VrfSet = Routing::Multicast::Fib::BidirStatus;
  using BidirStatus = Shoal::Multicast::Fib::BidirStatus;
  struct Inputs {
    Nettle::AddressFamily af = Nettle::ipv4();
    Zet::Ptr<VrfSet const> vrfset{};
    Zet::Ptr<Zet::Clock const> clock{};
    Zet::Ptr<IntfVlanId::Table const> intfVlanIdTable{};
    // Where the tables lie; empty for the machine's usual place.
    Zet::Name tables{};
  };

  bool initialized() const { return initialized_; }
  Nettle::AddressFamily af() const { return in_.af; }
  // The VRF may have come or gone. One whose table cannot be mounted is left alone, and the
  // operator told.
  void handleBidirVrf(L3::VrfName vrf);

 protected:
  // Throws ShoalError if the system does not let it watch files, RangeException if an input but
  // `vrfset` is null.
  explicit BidirRoot(Inputs const & in);
  // Takes up the VRFs that stand. To be called at the end of the constructor.
  void handleInitialized();
  Inputs const & inputs() const { return in_; }

  // The machines of a VRF.
  virtual bool doHas(L3::VrfName vrf) const = 0;
  virtual void doMake(L3::VrfName vrf, Zet::Ptr<BidirStatus const> const & status) = 0;
  virtual void doDelete(L3::VrfName vrf) = 0;
  // Takes one out of its collection.
  template <class Map> static void smDel(Map & map, L3::VrfName vrf) {
    Zet::Ptr<typename Map::Member> const sm(map.find(vrf));
    if (!sm) return;
    map.del(vrf);
    sm->parentIs(nullptr);
  }

 private:
  struct ZetVrfset final : Zet::Reactor<VrfSet const, BidirRoot> {
    using Reactor::Reactor;
    void onBidirEnabledVrf(L3::VrfName const & vrf) override { sm()->handleBidirVrf(vrf); }
  };

  // Fixed at construction
  Inputs const in_;
  ZetShoal::MountInfo const mountInfo_;
  Zet::Ptr<ZetShoal::Mount> const mount_;

  // State
  bool initialized_ = false;

  // Reactors
  Zet::ReactorPtr<ZetVrfset> zetVrfset_{this};
};

}  // namespace Brindle
