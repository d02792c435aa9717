#include "prefix/PrefixMrouteSm.h"

#include "model/LogMessages.h"
#include "platform/Assert.h"
#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

using Routing::Multicast::Fib::PimIntf::PrefixMroute;

Zet::TraceHandle traceHandle("PrefixMrouteSm", false);

// Between a chip's word of room and the retry: several such words bring one pass.
constexpr Zet::Seconds retryDelay = 0.0001;

Nettle::IpGenPrefix const allGroups("224.0.0.0/4");

}  // namespace

// --- Lifecycle

PrefixMrouteSm::PrefixMrouteSm(Inputs const & in) : in_(in) {
  zetMfibStatus_.attach(in_.mfibStatus);
  zetFabric_.attach(in_.fabric);
  clock_.attach(in_.clock);
  zetIntfVlanIdTable_.attach(in_.intfVlanIdTable);
  handleInitialized();
}

void PrefixMrouteSm::handleInitialized() {
  SKEIN("PrefixMrouteSm::handleInitialized");
  clock_->timeMinIs(Zet::Clock::never);
  initialized_ = true;
  internalVlanId_ = in_.intfVlanIdTable->internalVlanId();
  handleIntfStatus();
}

// --- Interfaces

void PrefixMrouteSm::handleMfibStatus(Nettle::IntfId intf) {
  if (auto const * status = in_.mfibStatus->intfStatus(intf)) {
    intfStatusIs(status);
  } else {
    intfStatusDel(intf);
  }
}

void PrefixMrouteSm::handleMfibStatus() {
  if (!zetMfibStatus_.target()) return;
  Zet::replay(&in_.mfibStatus->intfStatus(), intfStatus_,
              [this](Nettle::IntfId intf) { handleMfibStatus(intf); });
}

void PrefixMrouteSm::handleIntfStatus() {
  if (!initialized_) return;
  for (auto i = intfStatus_.begin(); i; i.advance()) i->handleRoute();
}

void PrefixMrouteSm::intfStatusIs(Zet::Ptr<IntfStatus const> const & status) {
  if (!status) Zet::throwNullParameter("Brindle::PrefixMrouteSm::intfStatus");
  intfStatus_.attach(status->intfId(), status);
}

// Its last subnets may have gone without a word to this machine: who was told first may have taken
// the status away.
void PrefixMrouteSm::intfStatusDel(Nettle::IntfId intf) {
  intfStatus_.del(intf);
  IntfInfo const * info = intfInfo_.find(intf);
  if (!info) return;
  auto const prefixes = info->prefix();
  for (auto const & prefix : prefixes.items()) doDeleteMroute(prefix, intf);
}

void PrefixMrouteSm::ZetIntfStatus::handleRoute(Nettle::IpGenPrefix const & prefix) {
  SKEIN("PrefixMrouteSm::handleRoute ", key(), " ", prefix);
  if (Zet::Ptr<PrefixRouteInfo const> const info = target()->route(prefix)) {
    sm()->doAddMroute(info);
  } else {
    sm()->doDeleteMroute(prefix.v4Prefix(), key());
  }
}

void PrefixMrouteSm::ZetIntfStatus::handleRoute() {
  Zet::Ptr<IntfStatus const> const status = notifier();
  if (!sm()->initialized() || !status) return;
  auto const & routes = status->route();
  for (auto i = routes.begin(); i && target(); i.advance()) handleRoute(i.key());
}

// --- Chips

void PrefixMrouteSm::handleChip(Zet::Name name) {
  if (SwitchChip * chip = in_.fabric->chip(name)) {
    chipIs(chip);
  } else {
    chipDel(name);
  }
}

void PrefixMrouteSm::handleChip() {
  if (!zetFabric_.target()) return;
  Zet::replay(&in_.fabric->chip(), chip_, [this](Zet::Name name) { handleChip(name); });
}

void PrefixMrouteSm::chipIs(Zet::Ptr<SwitchChip> const & chip) {
  if (!chip) Zet::throwNullParameter("Brindle::PrefixMrouteSm::chip");
  chip_.attach(chip->name(), chip);
}

void PrefixMrouteSm::chipDel(Zet::Name name) { chip_.del(name); }

// --- Programming

void PrefixMrouteSm::doAddMroute(Zet::Ptr<PrefixRouteInfo const> const & info) {
  PrefixIntfKey const key{info->key().v4Prefix(), info->intfId()};
  if (mrouteInfo_.find(key)) return;
  auto const mrouteInfo = Zet::make<MrouteInfo>(key);
  mrouteInfo_.insert(mrouteInfo);
  if (!intfInfo_.find(key.intfId)) intfInfo_.insert(Zet::make<IntfInfo>(key.intfId));
  intfInfo_.find(key.intfId)->prefixIs(key.prefix);
  auto const & chips = in_.fabric->chip();
  for (auto i = chips.begin(); i; i.advance()) {
    if (doProgram(*mrouteInfo, i->value)) continue;
    doDeleteMroute(key.prefix, key.intfId);
    unprogrammedRouteIs(info);
    return;
  }
  in_.prefixMrouteStatus->routeIs(PrefixMroute{info->key(), key.intfId}, true);
}

// False if the chip has no room.
bool PrefixMrouteSm::doProgram(MrouteInfo & mrouteInfo, Zet::Ptr<SwitchChip> const & chip) {
  PrefixIntfKey const & key = mrouteInfo.key();
  SwitchChip::RouteKey const routeKey(key.prefix.genPrefix(), allGroups);
  Bridging::VlanIdOrNone const vlan = in_.intfVlanIdTable->intfIdToVlanId(key.intfId);
  chip->doAllocateRoute(routeKey, vlan, true, nullptr, false, false, 0, L3::VrfName::defaultVrf());
  RouteHandle const handle = chip->routeHandle();
  if (handle.isNull()) {
    ZET_TRACE(5, "Failed to allocate tcam entry in chip " << chip->index());
    SKEIN("PrefixMrouteSm::doAddMroute: Failed to allocate tcam entry for key: ", routeKey, " ",
          key.intfId);
    PREFIX_MROUTE_HW_RESOURCE_FULL.log();
    return false;
  }
  chip->doSetBridgeAction(handle, false);
  chip->doActivateRoute(handle);
  mrouteInfo.routeHandleIs(chip, handle);
  return true;
}

// Nothing stands of a subnet that no chip has room for.
void PrefixMrouteSm::doDeleteMroute(Nettle::Prefix const & prefix, Nettle::IntfId intf) {
  Zet::Ptr<MrouteInfo> const mrouteInfo = mrouteInfo_.find({prefix, intf});
  if (!mrouteInfo) return;
  if (IntfInfo * intfInfo = intfInfo_.find(intf)) {
    intfInfo->prefixDel(prefix);
  } else {
    ZET_TRACE(5, "Failed to find prefix: " << prefix << " in intf info: " << intf);
    SKEIN("PrefixMrouteSm::doDeleteMroute: Failed to find prefix: ", prefix, " ", intf);
  }
  for (auto i = mrouteInfo->routeHandle().begin(); i; i.advance()) {
    MrouteInfo::Entry const entry = i->value;
    entry.chip->doDeleteRoute(entry.handle);
    mrouteInfo->routeHandleDel(entry.chip);
  }
  mrouteInfo_.del(mrouteInfo->key());
  in_.prefixMrouteStatus->routeDel(PrefixMroute{prefix.genPrefix(), intf});
}

void PrefixMrouteSm::handleInternalVlanId(Nettle::IntfId intf) {
  Bridging::VlanIdOrNone const vlan = in_.intfVlanIdTable->internalVlanId(intf);
  Bridging::VlanIdOrNone const * held = internalVlanId_.find(intf);
  if (vlan == (held ? *held : Bridging::VlanIdOrNone())) return;
  SKEIN("PrefixMrouteSm::handleInternalVlanId ", intf, " ", vlan);
  if (vlan) {
    internalVlanId_.at(intf) = vlan;
  } else {
    internalVlanId_.del(intf);
  }
  IntfInfo const * info = intfInfo_.find(intf);
  if (!info) return;
  auto const prefixes = info->prefix();
  for (auto const & prefix : prefixes.items()) {
    doDeleteMroute(prefix, intf);
    auto const * status = in_.mfibStatus->intfStatus(intf);
    auto const * route = status ? status->route(prefix.genPrefix()) : nullptr;
    if (route) doAddMroute(route);
  }
}

void PrefixMrouteSm::handleInternalVlanId() { ZET_ASSERT(false, "false"); }

// --- Retry

void PrefixMrouteSm::unprogrammedRouteIs(Zet::Ptr<PrefixRouteInfo const> const & info) {
  if (!info) Zet::throwNullParameter("Brindle::PrefixMrouteSm::unprogrammedRoute");
  unprogrammedRoute_.at(info->key()) = info;
}

// Any change of a chip's word brings a pass; one in vain ends at its first subnet.
void PrefixMrouteSm::handleTcamFree() {
  if (unprogrammedRoute_.empty() || clock_->timeMin() != Zet::Clock::never) return;
  clock_->timeMinIs(in_.clock->now() + retryDelay);
}

void PrefixMrouteSm::handleClock() {
  clock_->timeMinIs(Zet::Clock::never);
  if (!initialized_) return;
  SKEIN("PrefixMrouteSm::handleClock ", unprogrammedRoute_.size());
  while (!unprogrammedRoute_.empty()) {
    auto const first = unprogrammedRoute_.begin();
    Nettle::IpGenPrefix const prefix = first.key();
    Nettle::IntfId const intf = first.value()->intfId();
    unprogrammedRouteDel(prefix);
    if (Zet::Ptr<ZetIntfStatus> const status = intfStatus_.find(intf)) status->handleRoute(prefix);
    if (unprogrammedRoute_.contains(prefix)) {
      ZET_TRACE(5, "Failed to restore " << prefix);
      return;
    }
    if (unprogrammedRoute_.empty()) PREFIX_MROUTE_HW_RESOURCE_NORMAL.log();
  }
}

}  // namespace Brindle
