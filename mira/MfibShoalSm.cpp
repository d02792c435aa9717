#include "mira/MfibShoalSm.h"

#include <utility>

#include "mira/Mira.h"
#include "mira/MiraRoot.h"
#include "mira/SameInput.h"
#include "platform/ActivityManager.h"
#include "platform/Assert.h"
#include "platform/Budget.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

using Routing::Multicast::Fib::mroute_;
using Routing::Multicast::Fib::PimIntf::PrefixKey;
using Shoal::Multicast::Fib::rpaNone;

Zet::TraceHandle traceHandle("MfibShoalSm", false);

// How long a cooperative walk may hold the loop, and how often it looks.
constexpr Zet::Seconds walkQuantum = 30.0;
constexpr unsigned walkStride = 50;

// Where the cooperative walk goes on: one for the process, since it gives up the loop for all.
MfibShoalSm::RouteKey walkBookmark;

// The group of connected prefixes: all of IPv4 multicast.
Nettle::IpGenPrefix const & allGroups() {
  static Nettle::IpGenPrefix const prefix("224.0.0.0/4");
  return prefix;
}

bool isPrefixKey(MfibShoalSm::RouteKey const & key) {
  return key.group().length() == 4 && key.group() == allGroups();
}

}  // namespace

// --- Lifecycle

MfibShoalSm::MfibShoalSm(Key const & key, Inputs const & in, Mira * mira)
    : key_(key),
      in_(in),
      mira_(mira) {
  zetMfibShoal_.attach(in_.mfibShoal);
  zetIpStatus_.attach(in_.ipStatus);
  zetPimIntfStatus_.attach(in_.pimIntfStatus);
  handleInitialized();
}

void MfibShoalSm::requireSameInputs(Inputs const & in) const {
  requireSameInput("mfibShoal", in.mfibShoal, in_.mfibShoal);
  requireSameInput("mrouteTable", in.mrouteTable, in_.mrouteTable);
  requireSameInput("ipStatus", in.ipStatus, in_.ipStatus);
  requireSameInput("pimIntfStatus", in.pimIntfStatus, in_.pimIntfStatus);
}

void MfibShoalSm::handleInitialized() {
  SKEIN("MfibShoalSm::handleInitialized ", mira_->vrfName(), " table ", key_.number());
  if (!mira_->initialized()) return;
  ZET_ASSERT(in_.mfibShoal, "mfibShoal_");
  initialized_ = true;
  handleRoute();
  if (in_.mfibShoal->routes() != 0) return;
  ZET_TRACE(5, "MfibShoalDir just created with no L3 routes; kicking a review");
  mira_->doKickReview();
}

// Whoever takes the table away has walked it. What it did not hold any more then, or what the whole
// VRF took with it, must not lean on an interface for ever.
void MfibShoalSm::handleDel() {
  for (auto i = unprogrammedWcRoute_.begin(); i; i.advance()) doStopWaiting(i.key());
  for (auto i = leaning_.begin(); i; i.advance()) doLean(i.key(), {});
  doDropIdleIntfs();
}

// The next table that needs one of these interfaces shall find none, and track it.
void MfibShoalSm::doDropIdleIntfs() {
  for (auto i = prefixIntfSm_.begin(); i; i.advance()) {
    IntfStatus const * status = i->intfStatus();
    bool const idle = status->refCount() == 0 && status->route().empty();
    if (idle && in_.pimIntfStatus->intfStatus(i.key()) == status) {
      in_.pimIntfStatus->intfStatusDel(i.key());
    }
  }
  prefixIntfSm_.clear();
}

// --- Ingest

void MfibShoalSm::handleRoute() {
  if (!initialized_) return;
  for (auto i = in_.mfibShoal->routeBegin(); i; i.advance()) handleRoute(i.key());
  handlePrefixes();
  if (!mira_->l3Enabled()) {
    doForceDelete();
  } else if (forceDelRoutes_) {
    handleRoutesLost();
  }
}

void MfibShoalSm::handlePrefixes() {
  auto const & prefixes = in_.pimIntfStatus->srcToIntfMap();
  for (auto i = prefixes.begin(); i; i.advance()) {
    if (i.key().vrfName != mira_->vrfName()) continue;
    if (Zet::Ptr<ZetIntfStatus> intf = intfStatus_.find(i.value())) {
      intf->handleIntfStatusRoute(i.key().prefix);
    }
  }
}

void MfibShoalSm::doForceDelete() {
  auto const & mroutes = in_.mrouteTable->mroute();
  if (mroutes.empty()) return;
  for (auto i = mroutes.begin(); i; i.advance()) {
    if (i.key().kind() != mroute_ || i->markedForDeletion()) continue;
    ZET_TRACE(7, "Force deleting " << i.key() << " from mrouteTable");
    doMarkForDeletion(*i);
    mira_->markMrouteDirty(i.ptr());
  }
  mira_->doKickReview();
}

// Which keys the table has lost is not known: each route that is not what the tables say, or was
// computed from something else, may be one of them. A computation reads what is not told yet.
void MfibShoalSm::handleRoutesLost() {
  SKEIN("MfibShoalSm::handleRoutesLost ", mira_->vrfName(), " table ", key_.number());
  if (!initialized_) return;
  auto const * dir = mira_->mfibShoalDir();
  auto const & mroutes = in_.mrouteTable->mroute();
  Route best;
  for (auto i = mroutes.begin(); i; i.advance()) {
    RouteKey const & key = i.key();
    if (key.kind() != mroute_ || i->markedForDeletion()) continue;
    bool const held = dir && dir->mfibShoal(key, best);
    bool const same = held && best == i->shoalRoute() && best == i->lastSeenShoalRoute();
    if (!same) handleRoute(key);
  }
  for (auto i = leaning_.begin(); i; i.advance()) handleRoute(i.key());
}

void MfibShoalSm::handleRouteWithCodef(bool restart) {
  SKEIN("MfibShoalSm::handleRouteWithCodef ", mira_->vrfName(), " restart ", restart);
  if (!initialized_) return;
  if (restart) walkBookmark = {};
  auto const & table = *in_.mfibShoal;
  auto i = walkBookmark == RouteKey() ? table.routeBegin() : table.routeFrom(walkBookmark);
  if (!i) i = table.routeBegin();
  Keel::Budget const budget(walkQuantum);
  Keel::Paced<walkStride> routes;
  while (i) {
    handleRoute(i.key());
    i.advance();
    if (routes.inc() && budget.over() && i) {
      walkBookmark = i.key();
      if (!clock_) clock_.attach(Zet::activityManager()->clock());
      clock_->timeMinIs(clock_.target()->now());
      return;
    }
  }
  walkBookmark = {};
}

void MfibShoalSm::ZetClock::onTime() {
  timeMinIs(Zet::Clock::never);
  sm()->handleClock();
}

void MfibShoalSm::handleRoute(RouteKey const & key) {
  if (!initialized_) return;
  if (key.kind() != mroute_) {
    ZET_TRACE(5, "Ignoring " << key << ": not an IP multicast route");
    return;
  }
  bool const prefixRoute = isPrefixKey(key);
  if (prefixRoute && in_.mrouteTable->af() != Nettle::ipv4()) return;

  Route route;
  bool exists = in_.mfibShoal->routeRead(key, route);
  Nettle::IntfId iif = route.iif();
  if (prefixRoute) {
    iif = in_.pimIntfStatus->srcToIntfMap(PrefixKey{key.source(), mira_->vrfName()});
    exists = !iif.empty();
    if (exists && forceDelRoutes_ && mira_->mfibShoalSm().size() > 1) return;
  }
  bool const l3Enabled = mira_->l3Enabled();
  bool const wanted = l3Enabled && !forceDelRoutes_ && exists;
  Hindrance const hindered = wanted ? hindrance(route) : Hindrance::none;
  // A backup alone leaves a route as it is; see doAddRoute().
  bool const usable = hindered == Hindrance::none || hindered == Hindrance::backupWithoutInput;
  if (hindered == Hindrance::noInputVlan || hindered == Hindrance::backupWithoutInput) {
    wantsVlan_.at(key) = iif;
  } else {
    wantsVlan_.del(key);
  }
  if (wanted && usable) {
    doAddRoute(key, route, iif);
  } else if (!l3Enabled || !doHandOver(key)) {
    doDeleteRoute(key);
  }
}

Bridging::VlanIdOrNone MfibShoalSm::vlanOf(Nettle::IntfId intf) const {
  return mira_->intfVlanIdTable()->intfIdToVlanId(intf);
}

void MfibShoalSm::handleIntfVlanId(Nettle::IntfId intf) {
  SKEIN("MfibShoalSm::handleIntfVlanId ", mira_->vrfName(), " ", intf);
  for (auto i = wantsVlan_.begin(); i; i.advance()) {
    if (i.value() == intf) handleRoute(i.key());
  }
}

MfibShoalSm::Hindrance MfibShoalSm::hindrance(Route const & route) const {
  bool const star = route.isStarG();
  if (star && !(route.flags() & Route::installStarG)) return Hindrance::notToInstall;
  if (vlanOf(route.iif())) return Hindrance::none;
  if (star) return Hindrance::noInputVlan;
  return vlanOf(route.iifFrr()) ? Hindrance::backupWithoutInput : Hindrance::none;
}

void MfibShoalSm::doAddRoute(RouteKey const & key, Route const & route, Nettle::IntfId iif) {
  SKEIN("MfibShoalSm::handleRoute(): Add ", key, " iif ", iif, " rpaId ", route.rpaId());
  if (route.isStarG() && !handleWcRouteAdd(key, route)) return;
  Bridging::VlanIdOrNone const acceptingVlan = vlanOf(route.iif());
  if (hindrance(route) == Hindrance::backupWithoutInput) {
    SKEIN("MfibShoalSm::handleRoute(): Skip processing iif/iifFrr ", route.iif(), route.iifFrr());
    return;
  }
  Zet::Ptr<Mroute> mroute = in_.mrouteTable->mroute(key);
  if (!mroute) {
    ZET_TRACE(7, "Creating new Mroute with iif " << iif << " and key " << key << " and rpaId "
                                                 << route.rpaId());
    mroute = in_.mrouteTable->mrouteIs(key);
    mroute->acceptingVlanIdIs(acceptingVlan);
  } else if (route.priority() < mroute->shoalRoute().priority() && !mroute->markedForDeletion()) {
    ZET_TRACE(7, "Found route with higher priority, not using this." << key);
    return;
  } else if (!mroute->acceptingVlanId() && iif.kind() != Nettle::IntfKind::null0) {
    ZET_TRACE(7, "Updating Mroute with iif " << iif << " and key " << key);
    mroute->acceptingVlanIdIs(acceptingVlan);
  }
  ZET_TRACE(7, "Creating new Mroute with rpaId " << route.rpaId());
  doUse(mroute, route);
}

// The route has gone from this table while routing stays on: true if another table holds it. To be
// told of a key that had left all tables before is no news: who has published it since is told,
// too, and knows whether it is to be installed, and when.
bool MfibShoalSm::doHandOver(RouteKey const & key) {
  auto const * dir = mira_->mfibShoalDir();
  Route route;
  auto const * other = dir ? dir->nextBestShoal(in_.mfibShoal.get(), key, route) : nullptr;
  if (!other) return false;
  Zet::Ptr<Mroute> const mroute = in_.mrouteTable->mroute(key);
  if (mroute && mroute->markedForDeletion()) return false;
  ZET_TRACE(5, "Route " << key << " deleted from " << in_.mfibShoal->name()
                        << ", now using route from " << other->name());
  if (key.isStarG()) handleWcRouteDel(key);
  if (mroute) {
    doUse(mroute, route);
  } else {
    mira_->doKickReview();
  }
  return true;
}

void MfibShoalSm::doUse(Zet::Ptr<Mroute> const & mroute, Route const & route) {
  // No mark of a VLAN has reached it since, so what it knows of its outputs may be out of date.
  if (mroute->markedForDeletion()) mroute->lastSeenShoalRouteIs(Route(mroute->key()));
  mroute->markedForDeletionIs(false);
  mroute->rpaIdIs(route.rpaId());
  mroute->shoalRouteIs(route);
  mira_->markMrouteDirty(mroute);
  mira_->doKickReview();
}

void MfibShoalSm::doDeleteRoute(RouteKey const & key) {
  ZET_TRACE(7, "Delete " << key << " in vrf " << mira_->vrfName());
  SKEIN("MfibShoalSm::handleRoute(): Del ", key);
  Zet::Ptr<Mroute> mroute = in_.mrouteTable->mroute(key);
  if (mroute) doMarkForDeletion(*mroute);
  if (key.isStarG()) handleWcRouteDel(key);
  mira_->markMrouteDirty(mroute);
  mira_->doKickReview();
}

// Its bits leave the table's union of filters, once; it gets new ones when it is computed again.
void MfibShoalSm::doMarkForDeletion(Mroute & mroute) {
  in_.mrouteTable->doUpdateVrfVlanFilter(0, mroute.vlanFilter());
  mroute.vlanFilterIs(0);
  mroute.markedForDeletionIs(true);
}

// --- Waiting (*,G) routes

bool MfibShoalSm::handleWcRouteAdd(RouteKey const & key, Route const & route) {
  SKEIN("MfibShoalSm::handleWcRouteAdd ", key, " iif ", route.iif(), " notify ", route.notify());
  // Only sparse mode waits, and only subnets of IPv4 are tracked.
  if (route.rpaId() != rpaNone || in_.mrouteTable->af() != Nettle::ipv4()) {
    doStopWaiting(key);
    doLean(key, {});
    return true;
  }
  // A route that waits and is published anew is let through; to be told again is no news.
  Route const * waiting = unprogrammedWcRoute_.find(key);
  bool const anew = waiting && !(*waiting == route);
  if (anew) doStopWaiting(key);
  Nettle::IntfId const notify = route.notify() == route.iif() ? Nettle::IntfId() : route.notify();
  bool const tracksIif = doTrack(route.iif());
  bool const tracksNotify = doTrack(notify);
  doLean(key, {in_.pimIntfStatus->intfStatus(route.iif()), in_.pimIntfStatus->intfStatus(notify)});
  if (tracksIif) prefixIntfSmIs(route.iif());
  if (tracksNotify) prefixIntfSmIs(notify);
  if (anew || ready(route)) {
    ZET_TRACE(7, mira_->vrfName() << ", adding to mrouteTable key: " << key);
    doStopWaiting(key);
    return true;
  }
  unprogrammedWcRoute_.at(key) = route;
  doShowWaiting(route);
  return false;
}

void MfibShoalSm::handleWcRouteDel(RouteKey const & key) {
  SKEIN("MfibShoalSm::handleWcRouteDel ", key);
  ZET_TRACE(7, mira_->vrfName() << ", request to delete from mrouteTable key: " << key);
  bool const waited = doStopWaiting(key);
  if (!waited && !in_.mrouteTable->mroute(key)) {
    ZET_TRACE(7, mira_->vrfName() << ", route was never programmed");
  }
  doLean(key, {});
}

// Makes the record of an interface if there is none, and the interface runs IP: only such an
// interface has connected prefixes. True if its prefixes are to be tracked from now on, as soon as
// the route is counted: a machine that finds nobody leaning would count no prefix.
bool MfibShoalSm::doTrack(Nettle::IntfId intf) {
  if (in_.pimIntfStatus->intfStatus(intf) || !in_.ipStatus->ipIntfStatus(intf)) return false;
  in_.pimIntfStatus->intfStatusIs(intf);
  return true;
}

void MfibShoalSm::prefixIntfSmIs(Nettle::IntfId intf) {
  prefixIntfSm_.insert(
      Zet::make<PrefixIntfSm>(PrefixIntfSmIs{.intf = intf,
                                             .ipIntfStatus = in_.ipStatus->ipIntfStatus(intf),
                                             .intfStatus = in_.pimIntfStatus->intfStatus(intf),
                                             .pimIntfStatus = in_.pimIntfStatus}));
}

// Each interface counts a route once, however often the route is published, and is rid of the very
// count when the route goes or names another. New counts come first: one that falls to 0 on the way
// would lose its prefixes.
void MfibShoalSm::doLean(RouteKey const & key, Leaning const & wanted) {
  Leaning const * held = leaning_.find(key);
  Leaning const old = held ? *held : Leaning();
  if (old == wanted) return;
  if (wanted.iif) wanted.iif->refCountInc(1);
  if (wanted.notify) wanted.notify->refCountInc(1);
  if (wanted == Leaning()) {
    leaning_.del(key);
  } else {
    leaning_.at(key) = wanted;
  }
  if (old.iif) old.iif->refCountDec(1);
  if (old.notify) old.notify->refCountDec(1);
}

bool MfibShoalSm::ready(Nettle::IntfId intf) const {
  if (!in_.ipStatus->ipIntfStatus(intf)) return true;
  auto const * status = in_.pimIntfStatus->intfStatus(intf);
  return !status || status->routesProgrammed();
}

bool MfibShoalSm::ready(Route const & route) const {
  return ready(route.iif()) && ready(route.notify());
}

// Publishes on its interfaces that a route waits.
void MfibShoalSm::doShowWaiting(Route const & route) {
  RouteKey const & key = route.key();
  if (auto * iif = in_.pimIntfStatus->intfStatus(route.iif())) {
    ZET_TRACE(7,
              mira_->vrfName() << ", adding to toAddWc key: " << key << ", iif: " << route.iif());
    iif->toAddWcIs(route);
  }
  auto * notify = in_.pimIntfStatus->intfStatus(route.notify());
  if (!notify || route.notify() == route.iif() || !in_.ipStatus->ipIntfStatus(route.notify())) {
    return;
  }
  ZET_TRACE(
      7, mira_->vrfName() << ", adding to toAddWc key: " << key << ", notify: " << route.notify());
  notify->toAddWcIs(route);
}

// True if the route waited.
bool MfibShoalSm::doStopWaiting(RouteKey const & key) {
  Route const * held = unprogrammedWcRoute_.find(key);
  if (!held) return false;
  Route const route = *held;
  unprogrammedWcRoute_.del(key);
  for (auto intf : {route.iif(), route.notify()}) {
    if (auto * status = in_.pimIntfStatus->intfStatus(intf)) status->toAddWcDel(key);
  }
  // A route of this key in another table may wait for the same interface.
  for (auto sm = mira_->mfibShoalSm().begin(); sm; sm.advance()) {
    if (Route const * other = sm->unprogrammedWcRoute_.find(key)) sm->doShowWaiting(*other);
  }
  return true;
}

// Not all that wait for the interface stand in its toAddWc: it may have got IP, and a record, after
// they came, and a route of another VRF has the same place there. What cannot go in yet is read
// anew all the same, to lean on an interface that has got IP.
void MfibShoalSm::processWcRoutesForIntf(Nettle::IntfId intf) {
  SKEIN("MfibShoalSm::processWcRoutesForIntf ", mira_->vrfName(), " ", intf);
  for (auto i = unprogrammedWcRoute_.begin(); i; i.advance()) {
    Route const & route = i.value();
    if (route.iif() != intf && route.notify() != intf) continue;
    if (ready(route)) {
      ZET_TRACE(7, mira_->vrfName()
                       << ", transferring mroute : " << i.key() << " from toAddWc to mrouteTable");
    }
    handleRoute(i.key());
  }
}

void MfibShoalSm::handleIpIntfStatus(Nettle::IntfId intf) {
  SKEIN("MfibShoalSm::handleIpIntfStatus ", mira_->vrfName(), " ", intf);
  Ip::IpIntfStatus const * status = in_.ipStatus->ipIntfStatus(intf);
  if (Zet::Ptr<PrefixIntfSm> const sm = prefixIntfSm(intf)) sm->ipIntfStatusIs(status);
  processWcRoutesForIntf(intf);
}

// --- Connected prefixes

void MfibShoalSm::handlePimIntfStatus(Nettle::IntfId intf) {
  SKEIN("MfibShoalSm::handlePimIntfStatus ", mira_->vrfName(), " ", intf);
  if (Zet::Ptr<IntfStatus> status = in_.pimIntfStatus->intfStatus(intf)) {
    intfStatus_.attach(intf, status);
  } else {
    intfStatus_.del(intf);
    prefixIntfSm_.del(intf);
  }
}

void MfibShoalSm::handlePimIntfStatus() {
  replay(&in_.pimIntfStatus->intfStatus(), intfStatus_,
         [&](Nettle::IntfId const & intf) { handlePimIntfStatus(intf); });
}

// The prefix may be another VRF's interface's, and the last to go: then the interface's record goes
// before each table has been told.
void MfibShoalSm::handleSrcToIntfMap(PrefixKey const & prefix) {
  if (prefix.vrfName == mira_->vrfName()) handleRoute(RouteKey(prefix.prefix, allGroups()));
}

void MfibShoalSm::ZetIntfStatus::handleIntfStatusRoute(Nettle::IpGenPrefix const & prefix) {
  // The last step may take away all that is used here.
  Zet::Ptr<ZetIntfStatus> self(this);
  Zet::Ptr<MfibShoalSm> machine(sm());
  Zet::Ptr<IntfStatus> status = notifier();
  SKEIN("MfibShoalSm::handleIntfStatusRoute ", key(), " ", prefix);
  RouteKey const routeKey(prefix, allGroups());
  machine->handleRoute(routeKey);
  if (Zet::Ptr<Mroute> mroute = machine->in_.mrouteTable->mroute(routeKey)) {
    mroute->acceptingVlanIdIs(machine->vlanOf(key()));
  }
  if (status && status->refCount() == 0 && status->route().empty()) {
    machine->in_.pimIntfStatus->intfStatusDel(key());
  }
}

void MfibShoalSm::ZetIntfStatus::handleRoutesProgrammed() {
  if (target()->routesProgrammed()) sm()->processWcRoutesForIntf(key());
}

void MfibShoalSm::ZetIntfStatus::immediatePass() {
  if (!target()) return;
  auto const & prefixes = target()->route();
  for (auto i = prefixes.begin(); i; i.advance()) handleIntfStatusRoute(i.key());
  if (target()) handleRoutesProgrammed();
}

}  // namespace Brindle
