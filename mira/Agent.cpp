#include "mira/Agent.h"

#include <string>

#include "platform/Exception.h"

namespace Brindle {

namespace {

using namespace Shoal::Multicast::Fib;

// The next index that no interface of this process has.
U32 nextOifIndex = 0;

OifIndex newOifIndex() {
  if (nextOifIndex > 0xffff) Zet::throwRangeException("more than 65536 OifIndex not allowed");
  return OifIndex(static_cast<U16>(nextOifIndex++));
}

}  // namespace

Zet::Ptr<MiraRoot> Agent::miraIs(MiraRoot::Inputs const & in) {
  if (mira_) {
    mira_->requireSameInputs(in);
    return mira_;
  }
  mira_ = Zet::make<MiraRoot>(in);
  mira_->parentIs(this);
  mira_->hasNotificationActiveIs(true);
  return mira_;
}

void Agent::miraDel() {
  if (!mira_) return;
  mira_->hasNotificationActiveIs(false);
  mira_->parentIs(nullptr);
  mira_ = nullptr;
}

void Agent::intfOifIndexIs(Nettle::IntfId intf, IntfOifIndex index) {
  if (index == IntfOifIndex()) {
    Zet::throwRangeException("IntfOifIndex::value == IntfOifIndex::none not allowed");
  }
  intfOifIndex_.at(intf) = index;
}

Agent::IntfOifIndex Agent::intfOifIndexDel(Nettle::IntfId intf) {
  IntfOifIndex const index = intfOifIndex(intf);
  intfOifIndex_.del(intf);
  return index;
}

void Agent::doMakeShoalRoutes(unsigned groupIndex, unsigned intfCount,
                              Zet::Ptr<Status> const & table) {
  U32 const group = 0xe0010000 | (groupIndex & 0xffff);
  Route route(
      RouteKey(Nettle::IpGenPrefix("1.2.3.4/32"), Nettle::IpGenPrefix(Nettle::IpGenAddr(group))));
  for (unsigned n = 1; n <= intfCount; ++n) {
    Nettle::IntfId const intf("Vlan" + std::to_string(n));
    if (intfOifIndex(intf) == IntfOifIndex()) intfOifIndexIs(intf, {newOifIndex().value});
    OifIndex const index(static_cast<U16>(intfOifIndex(intf).value));
    table->oifIndexIntfIs(index, {intf, n == 1 ? oifAccept : oifForward});
    route.oifIs(index, true);
    if (n == 1) route.iifIs(intf);
  }
  table->routeIs(route);
}

}  // namespace Brindle
