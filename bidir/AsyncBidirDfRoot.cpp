#include "bidir/AsyncBidirDfRoot.h"

#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("AsyncBidirDfRoot", false);

BidirRoot::Inputs forIpv4(BidirRoot::Inputs in) {
  in.af = Nettle::ipv4();
  return in;
}

}  // namespace

AsyncBidirDfRoot::AsyncBidirDfRoot(Inputs const & in, Zet::Ptr<AsyncFabric> const & fabric)
    : BidirRoot(forIpv4(in)),
      fabric_(fabric) {
  handleInitialized();
}

void AsyncBidirDfRoot::doMake(L3::VrfName vrf, Zet::Ptr<BidirStatus const> const & status) {
  auto const sm =
      Zet::make<AsyncBidirDfSm>(vrf, status, fabric_, inputs().clock, inputs().intfVlanIdTable);
  sm->parentIs(this);
  asyncBidirDfSm_.insert(sm);
}

void AsyncBidirDfRoot::doDelete(L3::VrfName vrf) {
  ZET_TRACE(5, "No such vrf, delete the sm " << vrf);
  smDel(asyncBidirDfSm_, vrf);
}

}  // namespace Brindle
