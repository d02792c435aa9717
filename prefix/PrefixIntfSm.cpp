#include "prefix/PrefixIntfSm.h"

#include <algorithm>

#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

using Routing::Multicast::Fib::PimIntf::PrefixKey;

Zet::TraceHandle traceHandle("PrefixIntfSm", false);

}  // namespace

// --- Lifecycle

PrefixIntfSm::PrefixIntfSm(PrefixIntfSmIs const & in)
    : intfId_(in.intf),
      pimIntfStatus_(in.pimIntfStatus) {
  zetIpIntfStatus_.attach(in.ipIntfStatus);
  zetIntfStatus_.attach(in.intfStatus);
  handleInitialized();
}

void PrefixIntfSm::handleInitialized() {
  SKEIN("PrefixIntfSm::handleInitialized ", intfId_);
  if (ipIntfStatus()) doAddAddresses();
  initialized_ = true;
}

// The last subnet that goes takes the status away if nobody leans on it, and this machine with it.
bool PrefixIntfSm::hasGone() const { return pimIntfStatus_->intfStatus(intfId_) != intfStatus(); }

// --- Addresses

void PrefixIntfSm::doAddAddresses() {
  vrf_ = ipIntfStatus()->vrf();
  handlePrimary();
  auto const & secondaries = ipIntfStatus()->activeSecondaryWithMask();
  for (auto i = secondaries.begin(); i; i.advance()) handleSecondary(i.key());
}

// What the old record had goes from the VRF that it was in, before anything of the new one comes.
void PrefixIntfSm::ipIntfStatusIs(Zet::Ptr<IpIntfStatus const> const & v) {
  if (ipIntfStatus() == v.get()) return;
  SKEIN("PrefixIntfSm::ipIntfStatusIs ", intfId_, " stands: ", static_cast<bool>(v));
  Zet::Ptr<PrefixIntfSm> self(this);
  Zet::Ptr<IpIntfStatus const> const old(ipIntfStatus());
  zetIpIntfStatus_.attach(nullptr);
  handlePrimary();
  if (old) {
    auto const & secondaries = old->activeSecondaryWithMask();
    for (auto i = secondaries.begin(); i && !hasGone(); i.advance()) handleSecondary(i.key());
  }
  if (!v || hasGone()) return;
  zetIpIntfStatus_.attach(v);
  doAddAddresses();
}

void PrefixIntfSm::handlePrimary() {
  Zet::Ptr<PrefixIntfSm> self(this);
  auto const * ip = ipIntfStatus();
  Nettle::Prefix const wanted(ip ? ip->activeAddrWithMask() : Nettle::IpAddrWithMask());
  if (wanted == prefix_) {
    ZET_TRACE(8, intfId_ << ": Prefix did not change");
    return;
  }
  if (!prefix_.isNull()) {
    ZET_TRACE(5, intfId_ << ": Deleting old prefix route for prefix " << prefix_);
    doDeletePrefix(prefix_);
    if (hasGone()) return;
  }
  prefix_ = wanted;
  ZET_TRACE(5, intfId_ << ": Setting new prefix: " << prefix_);
  if (prefix_.isNull()) {
    ZET_TRACE(5, intfId_ << ": New prefix is null");
    return;
  }
  ZET_TRACE(5, intfId_ << ": Adding new prefix route for prefix " << prefix_);
  doAddPrefix(prefix_);
}

void PrefixIntfSm::handleSecondary(Nettle::IpAddrWithMask const & address) {
  auto const * ip = ipIntfStatus();
  Nettle::Prefix const subnet(address);
  if (ip && ip->activeSecondaryWithMask(address)) {
    ZET_TRACE(5, intfId_ << ": Adding new prefix route for prefix " << subnet);
    doAddPrefix(subnet);
  } else {
    ZET_TRACE(5, intfId_ << ": Deleting prefix route for prefix " << subnet);
    doDeletePrefix(subnet);
  }
}

void PrefixIntfSm::handleVrf() {
  L3::VrfName const old = vrf_;
  vrf_ = ipIntfStatus()->vrf();
  if (vrf_ == old) return;
  SKEIN("PrefixIntfSm::handleVrf ", intfId_, " ", vrf_);
  auto const & prefixes = intfStatus()->route();
  for (auto i = prefixes.begin(); i; i.advance()) {
    pimIntfStatus_->srcToIntfMapDel(PrefixKey{i.key(), old});
    pimIntfStatus_->srcToIntfMapIs(PrefixKey{i.key(), vrf_}, intfId_);
  }
}

void PrefixIntfSm::doAddPrefix(Nettle::Prefix const & prefix) {
  SKEIN("PrefixIntfSm::doAddPrefix ", intfId_, " ", prefix);
  Zet::Ptr<IntfStatus> const status(intfStatus());
  pimIntfStatus_->srcToIntfMapIs(PrefixKey{prefix.genPrefix(), vrf_}, intfId_);
  status->routeIs(prefix.genPrefix());
}

void PrefixIntfSm::doDeletePrefix(Nettle::Prefix const & prefix) {
  SKEIN("PrefixIntfSm::doDeletePrefix ", intfId_, " ", prefix);
  Zet::Ptr<IntfStatus> const status(intfStatus());
  pimIntfStatus_->srcToIntfMapDel(PrefixKey{prefix.genPrefix(), vrf_});
  status->routeDel(prefix.genPrefix());
}

// --- The subnets that are wanted

void PrefixIntfSm::handleRefCount() {
  Zet::Ptr<PrefixIntfSm> self(this);
  Zet::Ptr<IntfStatus> const status(intfStatus());
  if (status->refCount() != 0) return;
  SKEIN("PrefixIntfSm::handleRefCount: none left on ", intfId_);
  ZET_TRACE(5, intfId_ << ": No more wc routes.  Deleting prefix routes.");
  auto const & prefixes = status->route();
  for (auto i = prefixes.begin(); i; i.advance()) {
    pimIntfStatus_->srcToIntfMapDel(PrefixKey{i.key(), vrf_});
  }
  status->routeDelAll();
  ZET_TRACE(5, intfId_ << ": Forcibly setting routesProgrammed to false.");
  status->routesProgrammedIs(false);
}

void PrefixIntfSm::ZetIntfStatus::handleRoute(Nettle::IpGenPrefix const & prefix) {
  if (Zet::Ptr<PrefixRouteInfo> const info = target()->route(prefix)) {
    sm()->routeIs(info);
  } else {
    sm()->routeDel(prefix);
  }
}

void PrefixIntfSm::ZetIntfStatus::immediatePass() {
  if (!target()) return;
  auto const & prefixes = target()->route();
  for (auto i = prefixes.begin(); i; i.advance()) handleRoute(i.key());
}

// What the chips took at once, before it could be watched, counts here: no change will tell.
void PrefixIntfSm::routeIs(Zet::Ptr<PrefixRouteInfo> const & info) {
  if (!info) Zet::throwNullParameter("Brindle::PrefixIntfSm::route");
  Zet::Ptr<PrefixIntfSm> self(this);
  ZetRoute const * standing = route_.find(info->key());
  if (standing && standing->target() != info.get()) routeDel(info->key());
  if (!route_.find(info->key())) {
    route_.attach(info->key(), info);
    if (info->programmed()) programmedRouteCountInc(1);
  }
  handleRoute(info->key());
}

void PrefixIntfSm::routeDel(Nettle::IpGenPrefix const & prefix) {
  Zet::Ptr<ZetRoute> const zetRoute = route_.find(prefix);
  if (!zetRoute) return;
  Zet::Ptr<PrefixRouteInfo> const info = zetRoute->notifier();
  route_.del(prefix);
  zetRoute->handleDelete(*info);
}

void PrefixIntfSm::handleRoute(Nettle::IpGenPrefix const & prefix) {
  if (intfStatus()->route(prefix)) doUpdateRoutesProgrammed();
}

void PrefixIntfSm::doUpdateRoutesProgrammed() {
  Zet::Ptr<IntfStatus> const status(intfStatus());
  bool const programmed = programmedRouteCount_ == status->route().size();
  ZET_TRACE(5, intfId_ << ": Setting programmed state of intf to " << programmed);
  status->routesProgrammedIs(programmed);
}

// A subnet that is delayed while nobody leans on the interface is not counted when it comes.
void PrefixIntfSm::programmedRouteCountDec(U32 n) {
  programmedRouteCount_ -= std::min(n, programmedRouteCount_);
}

// Counts each change: a subnet does not become unprogrammed as long as it is wanted.
void PrefixIntfSm::ZetRoute::handleProgrammed() {
  Zet::Ptr<PrefixIntfSm> const machine(sm());
  SKEIN("PrefixIntfSm::handleProgrammed ", machine->intfId(), " ", key());
  if (machine->intfStatus()->refCount() == 0) return;
  machine->programmedRouteCountInc(1);
  machine->doUpdateRoutesProgrammed();
}

void PrefixIntfSm::ZetRoute::handleProgrammerDel() {
  Zet::Ptr<PrefixIntfSm> const machine(sm());
  SKEIN("PrefixIntfSm::handleProgrammerDel ", machine->intfId(), " ", key());
  if (machine->intfStatus()->refCount() == 0) return;
  machine->programmedRouteCountDec(1);
  machine->doUpdateRoutesProgrammed();
}

void PrefixIntfSm::ZetRoute::handleDelete(PrefixRouteInfo const & info) {
  if (info.programmed()) {
    ZET_TRACE(5, sm()->intfId() << ": Deleting a programmed route.  Decrementing counter.");
    sm()->programmedRouteCountDec(1);
  }
  sm()->doUpdateRoutesProgrammed();
}

}  // namespace Brindle
