// One boundary route on all chips: a drop entry for each VLAN on which its traffic may not cross.
//
// A ZetBoundaryMroute is the reactor of MrouteSm on one BoundaryMroute. It follows each VLAN of it
// by itself. A standing entry is pointed at a new set without a gap. What a chip refuses is given
// up for that VLAN on the chips that were asked before it, and is not retried.
#pragma once

#include "model/BoundaryMroute.h"
#include "platform/Reactor.h"
#include "programmer/ChipInfo.h"

namespace Brindle {

class MrouteSm;

class BRINDLE_API ZetBoundaryMroute final : public Zet::Reactor<BoundaryMroute const, MrouteSm>,
                                            public Zet::HashLink {
 public:
  using Key = Routing::Multicast::Fib::IpGenRouteKey;

  ZetBoundaryMroute(MrouteSm * sm, Zet::Ptr<BoundaryMroute const> const & boundary)
      : Reactor(sm),
        boundary_(boundary) {}
  Key const & fwkKey() const { return boundary_->key(); }
  Key const & key() const { return boundary_->key(); }
  BoundaryMroute const & boundary() const { return *boundary_; }

  // Lifecycle
  void onFastdrop(Bridging::VlanId const & vlan) override { handleBoundaryFastdrop(vlan); }
  void immediatePass() override;
  void handleBoundaryFastdrop(Bridging::VlanId vlan);
  // The route has gone from its table.
  void handleDel();

  // Programming. REQUIRES: the VLAN has an output set.
  void doUpdateFabricBoundaryFastdrop(Bridging::VlanId vlan);
  void doDelBoundaryFastdrop(Bridging::VlanId vlan);
  void doUpdateStatus();

  // Failure mask of the VLAN that was programmed last, as a ZetMroute's, less what was counted out
  // since.
  U32 reason() const { return reason_; }
  void reasonIs(U32 v);
  ChipInfos const & chipInfo() const { return chipInfo_; }

 private:
  void handleReason();
  void dropGone();
  U32 allocateSets(Zet::Ptr<OifSet> const &);
  U32 allocateEntry(ChipInfo &, Bridging::VlanId);
  void activate(ChipInfo &, Bridging::VlanId);
  void cleanUp(U32 chips, Bridging::VlanId);

  Zet::Ptr<BoundaryMroute const> const boundary_;
  ChipInfos chipInfo_;
  U32 reason_ = 0;
};

}  // namespace Brindle
