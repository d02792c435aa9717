#include "boundary/MrtPam.h"

#include "platform/Assert.h"
#include "platform/Trace.h"

namespace Brindle::BoundaryFastdrop {

namespace {

Zet::TraceHandle traceHandle("MrtPam", false);

}  // namespace

MrtPam::MrtPam(MrtPamKey const & key, Routing::Multicast::Notify::NewPam newPam)
    : KeyedEntity(key) {
  handlePamInit(newPam);
}

void MrtPam::handlePamInit(Routing::Multicast::Notify::NewPam newPam) {
  ZET_ASSERT(af() != Nettle::ipv6(), "0 && \"IPv6 is not supported.\"");
  ZET_ASSERT(af() == Nettle::ipv4(), "0 && \"Unknown address family\"");
  ZET_TRACE(8, "Initializing Pam for IPv4");
  pamIs(newPam("MrouteMrtNotify"));
  pam_->netNsIs(netNs());
}

}  // namespace Brindle::BoundaryFastdrop
