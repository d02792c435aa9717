#include "boundary/BoundarySm.h"

#include "fabric/RoomRetry.h"
#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Nettle::IntfId;

namespace {

Zet::TraceHandle traceHandle("BoundarySm", false);

}  // namespace

// --- Lifecycle

BoundarySm::BoundarySm(Inputs const & in)
    : BoundarySmBase(in.mfibStatus, in.intfVlanIdTable),
      in_(in) {
  zetPrefixMrouteStatus_.attach(in_.prefixMrouteStatus);
  zetFabric_.attach(in_.fabric);
  clock_.attach(in_.clock);
  clock_->timeMinIs(Zet::Clock::never);
  handleInitialized();
}

// --- Interfaces

void BoundarySm::doMakeIntf(IntfId intf, Bridging::VlanId vlan,
                            Zet::Ptr<IntfBoundaryStatus const> const & status) {
  Zet::String const name(intf.view());
  auto const sm = Zet::make<BoundaryIntfSm>(name, vlan, in_.fabric, status,
                                            in_.prefixMrouteStatus->intfStatus(intf), this);
  sm->parentIs(this);
  intfSm_.insert(sm);
}

void BoundarySm::handleIntfStatus(IntfId intf) {
  Zet::Ptr<BoundaryIntfSm> const sm(intfSm_.find(Zet::String(intf.view())));
  if (sm) sm->prefixIntfStatusIs(in_.prefixMrouteStatus->intfStatus(intf));
}

// --- Chips

void BoundarySm::handleChip(Zet::Name name) {
  if (SwitchChip * chip = in_.fabric->chip(name)) {
    chipIs(chip);
  } else {
    chipDel(name);
  }
}

void BoundarySm::handleChip() {
  if (!zetFabric_.target()) return;
  Zet::replay(&in_.fabric->chip(), chip_, [this](Zet::Name name) { handleChip(name); });
}

void BoundarySm::chipIs(Zet::Ptr<SwitchChip> const & chip) {
  if (!chip) Zet::throwNullParameter("Brindle::BoundarySm::chip");
  chip_.attach(chip->name(), chip);
}

void BoundarySm::chipDel(Zet::Name name) { chip_.del(name); }

// --- Retry

void BoundarySm::handleTcamFree() {
  kickRoomRetry(*clock_.get(), *in_.clock, !unprogrammedIntf_.empty());
}

void BoundarySm::handleClock() {
  clock_->timeMinIs(Zet::Clock::never);
  if (!initialized()) return;
  SKEIN("BoundarySm::handleClock ", unprogrammedIntf_.size());
  auto const back = retryInTurn(unprogrammedIntf_, [this](auto const & waited) {
    Zet::Ptr<BoundaryIntfSm> const sm(intfSm_.find(waited.key()));
    if (sm) sm->handleBoundary();
  });
  if (back) ZET_TRACE(5, "Failed to restore " << *back);
}

}  // namespace Brindle
