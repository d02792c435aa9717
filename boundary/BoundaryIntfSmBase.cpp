#include "boundary/BoundaryIntfSmBase.h"

#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("BoundaryIntfSmBase", false);

}  // namespace

BoundaryIntfSmBase::BoundaryIntfSmBase(Zet::Ptr<IntfBoundaryStatus const> const & intf) {
  zetIntf_.attach(intf);
}

void BoundaryIntfSmBase::handleBoundary() {
  if (!zetIntf_.target()) return;
  auto const & boundary = zetIntf_.target()->boundary();
  for (auto i = boundary.begin(); i; i.advance()) handleBoundary(i.key());
}

void BoundaryIntfSmBase::handleBoundary(Nettle::IpGenPrefix const & groupOfMember) {
  Nettle::IpGenPrefix const group = groupOfMember;
  if (group.af() != Nettle::ipv4()) {
    ZET_TRACE(5, zetIntf_.target()->intfId() << ": no IPv4 prefix: " << group);
  } else if (zetIntf_.target()->boundary(group)) {
    doAddPrefix(group);
  } else {
    doDeletePrefix(group);
  }
}

}  // namespace Brindle
