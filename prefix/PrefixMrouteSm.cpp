#include "prefix/PrefixMrouteSm.h"

#include "fabric/RoomRetry.h"
#include "model/LogMessages.h"
#include "platform/Assert.h"
#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

using Routing::Multicast::Fib::PimIntf::PrefixMroute;

Zet::TraceHandle traceHandle("PrefixMrouteSm", false);

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
  lastVlans_.adopt(*in_.intfVlanIdTable);
  handleIntfStatus();
  doReconcile();
}

// What is published of an earlier life is true of those subnets that stand again. Those that came
// meanwhile are told of it.
void PrefixMrouteSm::doReconcile() {
  auto & published = *in_.prefixMrouteStatus;
  for (auto i = published.route().begin(); i; i.advance()) {
    PrefixMroute const subnet = i.key();
    auto const * const intf = in_.mfibStatus->intfStatus(subnet.intfId);
    auto const * const wanted = intf ? intf->route(subnet.prefix) : nullptr;
    bool const stands = mrouteInfo_.contains({subnet.prefix.v4Prefix(), subnet.intfId});
    if (stands && (!wanted || wanted->programmed())) continue;
    published.routeDel(subnet);
    if (stands) published.routeIs(subnet, true);
  }
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
  SwitchChip::RouteKey const routeKey(info->key(), allGroups);
  Bridging::VlanIdOrNone const vlan = in_.intfVlanIdTable->intfIdToVlanId(key.intfId);
  if (!mrouteInfo->doProgram(*in_.fabric, routeKey, vlan, key.intfId.view())) {
    doDeleteMroute(key.prefix, key.intfId);
    unprogrammedRouteIs(info);
    return;
  }
  in_.prefixMrouteStatus->routeIs(PrefixMroute{info->key(), key.intfId}, true);
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
  mrouteInfo->doDelete();
  mrouteInfo_.del(mrouteInfo->key());
  in_.prefixMrouteStatus->routeDel(PrefixMroute{prefix.genPrefix(), intf});
}

void PrefixMrouteSm::handleInternalVlanId(Nettle::IntfId intf) {
  auto const change = lastVlans_.note(*in_.intfVlanIdTable, intf);
  if (!change) return;
  SKEIN("PrefixMrouteSm::handleInternalVlanId ", intf, " ", change.is);
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
  kickRoomRetry(*clock_.get(), *in_.clock, !unprogrammedRoute_.empty());
}

void PrefixMrouteSm::handleClock() {
  clock_->timeMinIs(Zet::Clock::never);
  if (!initialized_) return;
  SKEIN("PrefixMrouteSm::handleClock ", unprogrammedRoute_.size());
  if (unprogrammedRoute_.empty()) return;
  auto const back = retryInTurn(unprogrammedRoute_, [this](auto const & waited) {
    Zet::Ptr<ZetIntfStatus> const status = intfStatus_.find(waited.value()->intfId());
    if (status) status->handleRoute(waited.key());
  });
  if (back) {
    ZET_TRACE(5, "Failed to restore " << *back);
  } else {
    PREFIX_MROUTE_HW_RESOURCE_NORMAL.log();
  }
}

}  // namespace Brindle
