#include "boundary/AsyncBoundarySm.h"

#include "fabric/RoomRetry.h"
#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Nettle::IntfId;
using Nettle::IpGenPrefix;

namespace {

Zet::TraceHandle traceHandle("AsyncBoundarySm", false);

IpGenPrefix const anySource("0.0.0.0/0");

}  // namespace

// --- An interface

AsyncBoundaryIntfSm::AsyncBoundaryIntfSm(IntfId intf, U32 vlanId,
                                         Zet::Ptr<AsyncFabric> const & fabric,
                                         Zet::Ptr<IntfBoundaryStatus const> const & status)
    : BoundaryIntfSmBase(status),
      intf_(intf),
      vlanId_(vlanId),
      fabric_(fabric) {
  handleBoundary();
}

void AsyncBoundaryIntfSm::handleDel() {
  for (auto i = prefixInfo_.begin(); i; i.advance()) doDeletePrefix(IpGenPrefix(i.key()));
  ZET_ASSERT(prefixInfos() == 0, "prefixInfos() == 0");
}

void AsyncBoundaryIntfSm::doAddPrefix(IpGenPrefix const & group) {
  ZET_ASSERT(vlanId() != 0, "vlanId() != 0");
  if (prefixInfo_.contains(group)) return;
  SKEIN("AsyncBoundaryIntfSm::doAddPrefix ", intf_, " ", group);
  auto const info = Zet::make<PrefixInfo>(group);
  prefixInfo_.insert(info);
  AsyncSwitchChip::RouteKey const key(anySource, group.v4Prefix().genPrefix());
  for (auto i = fabric_->chip().begin(); i; i.advance()) {
    AsyncSwitchChip & chip = *i->value;
    chip.doAllocateRoute(key, Bridging::VlanIdOrNone(vlanId_), true, 0, L3::VrfName::defaultVrf(),
                         false);
    RouteHandle const handle = chip.routeHandle();
    info->routeHandleIs(&chip, handle);
    if (handle.isNull()) continue;
    chip.doSetBridgeAction(handle, false);
    chip.doActivateRoute(handle);
  }
}

void AsyncBoundaryIntfSm::doDeletePrefix(IpGenPrefix const & group) {
  Zet::Ptr<PrefixInfo> const info(prefixInfo_.find(group));
  if (!info) return;
  SKEIN("AsyncBoundaryIntfSm::doDeletePrefix ", intf_, " ", group);
  info->doDelete();
  prefixInfo_.del(group);
}

// --- All of them

AsyncBoundarySm::AsyncBoundarySm(Inputs const & in)
    : BoundarySmBase(in.mfibStatus, in.intfVlanIdTable),
      in_(in) {
  clock_.attach(in_.clock);
  clock_->timeMinIs(Zet::Clock::never);
  reviewTimer_ = Zet::make<Keel::ReviewTimer>(clock_.get(), 1.0f, 4u, 0.1f, 1.0f);
  handleInitialized();
}

void AsyncBoundarySm::doMakeIntf(IntfId intf, Bridging::VlanId vlan,
                                 Zet::Ptr<IntfBoundaryStatus const> const & status) {
  auto const sm = Zet::make<AsyncBoundaryIntfSm>(intf, vlan.value(), in_.fabric, status);
  sm->parentIs(this);
  intfSm_.insert(sm);
}

void AsyncBoundarySm::handleClock() {
  reviewTimer_->lastReviewTimeIs(in_.clock->now());
  clock_->timeMinIs(Zet::Clock::never);
  if (!initialized()) return;
  auto const back = retryInTurn(unprogrammedIntf_, [this](auto const & waited) {
    Zet::Ptr<AsyncBoundaryIntfSm> const sm(intfSm_.find(waited.key()));
    if (sm) sm->handleBoundary();
  });
  if (!back) return;
  ZET_TRACE(5, "Failed to restore " << *back);
  if (!unprogrammedIntf_.empty()) reviewTimer_->doUpdateNextReview();
}

}  // namespace Brindle
