#include "bidir/McastBidirRoot.h"

#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("McastBidirRoot", false);

}  // namespace

McastBidirRoot::McastBidirRoot(Inputs const & in, Zet::Ptr<Fabric> const & fabric)
    : BidirRoot(in),
      fabric_(fabric) {
  handleInitialized();
}

void McastBidirRoot::doMake(L3::VrfName vrf, Zet::Ptr<BidirStatus const> const & status) {
  mcastGroupBidirSmIs(vrf, status);
  bidirDfSmIs(vrf, status);
}

void McastBidirRoot::doDelete(L3::VrfName vrf) {
  ZET_TRACE(5, "No such vrf, delete bidirGroupsm and dfsm for vrf " << vrf);
  mcastGroupBidirSmDel(vrf);
  bidirDfSmDel(vrf);
}

void McastBidirRoot::mcastGroupBidirSmIs(L3::VrfName vrf,
                                         Zet::Ptr<BidirStatus const> const & status) {
  auto const sm = Zet::make<McastGroupBidirSm>(vrf, status, fabric_, inputs().clock);
  sm->parentIs(this);
  mcastGroupBidirSm_.insert(sm);
}

void McastBidirRoot::bidirDfSmIs(L3::VrfName vrf, Zet::Ptr<BidirStatus const> const & status) {
  auto const sm =
      Zet::make<BidirDfSm>(vrf, status, fabric_, inputs().clock, inputs().intfVlanIdTable);
  sm->parentIs(this);
  bidirDfSm_.insert(sm);
}

}  // namespace Brindle
