// RPF failures and fastdrops: a stream that keeps coming in on the wrong VLAN is dropped in
// hardware, and forgotten when it has stopped.
//
// The checks of a failure stand in the order of their cost: a flood on a VLAN whose drop is being
// programmed costs a look-up in each of a few tables. What makes or deletes a fastdrop has the
// route computed at once, since a review may be far away; the chips then follow its version.
#include <algorithm>
#include <limits>

#include "mira/MiraBoundarySm.h"
#include "mira/MiraHelper.h"
#include "mira/MiraRoot.h"
#include "mira/PortVlanSetComputation.h"
#include "mira/RpfMessage.h"
#include "model/LogMessages.h"
#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanId;
using Nettle::IntfId;
using Nettle::IpGenAddr;
using Nettle::IpGenPrefix;
using Routing::Multicast::Fib::IpGenRouteKey;
using Routing::Multicast::Fib::Hardware::RouteStatus;
using namespace Shoal::Multicast::Fib;

namespace {

Zet::TraceHandle traceHandle("MiraFastdrop", false);

IpGenPrefix const kAnySource(IpGenAddr(0u), 0);

// A poll may come a little before the platform has written the second one of two activity times.
constexpr Zet::Seconds kPollSlack = 0.5;

}  // namespace

// --- Failures

void Mira::handleRpfFailure(char const * message, U32 length) {
  rpfFailureCountInc(1);
  if (!mfibConfig()->fastdrop()) {
    ZET_TRACE(8, vrf_ << ": fastdrop not enabled.");
    return;
  }
  if (length < RpfMessage::minBytes) {
    ZET_TRACE(5, "Ignored short RpfFailure " << length << " bytes");
    return;
  }
  RpfMessage const failure(message);
  if (failure.vlan() == 0 || failure.vlan() > VlanId::max) {
    ZET_TRACE(5, "Ignored RpfFailure for invalid VLAN ID " << failure.vlan());
    return;
  }
  VlanId const vlan(failure.vlan());
  if (noFastdropVlan(vlan)) {
    ZET_TRACE(8, "fastdrop creation disabled on " << vlan);
    return;
  }
  ZET_TRACE(8, "Recvd RpfFailure <" << failure.source() << ", " << failure.group() << ", " << vlan
                                    << "> " << length << " bytes");
  if (Zet::Ptr<Mroute> const mroute = mrouteOf(IpGenPrefix(failure.source()), failure.group())) {
    if (!isDeniedByBoundary(failure.group(), vlan)) doCountRpfFailure(mroute, vlan);
    return;
  }
  ZET_TRACE(8, "S,G route not found");
  handleRpfFailureWc(vlan.value(), failure.group());
}

void Mira::handleRpfFailureWc(U32 vlan, IpGenAddr const & group) {
  ZET_ASSERT(group.af() == Nettle::ipv4(), "g.af() == Nettle::ipv4()");
  Zet::Ptr<Mroute> const mroute = mrouteOf(kAnySource, group);
  if (!mroute || !(mroute->shoalRoute().flags() & Route::installStarG)) {
    ZET_TRACE(8, "*,G route not programmed");
    return;
  }
  ZET_TRACE(8, "acceptingVlan " << mroute->acceptingVlanId() << " rpaId " << mroute->rpaId());
  if (mroute->rpaId() != rpaNone) {
    auto const & helper = miraRoot_->miraHelper();
    if (helper && !helper->useBidirFastdropRoute()) {
      ZET_TRACE(8, "No need to install fastdrop for Bidir ( " << vlan << ", " << group << " )");
      return;
    }
    ZET_TRACE(8, "Install fastdrop for Bidir ( " << vlan << ", " << group << " )");
  }
  doCountRpfFailure(mroute, VlanId(vlan));
}

// The boundary's own drop takes care of it.
bool Mira::isDeniedByBoundary(IpGenAddr const & group, VlanId vlan) const {
  return miraBoundarySm_ &&
         miraBoundarySm_->isAddrInTrie(group, intfVlanIdTable()->vlanIdToIntfId(vlan));
}

// A frame may hold any address; what is no multicast group may be the key of another kind of route.
Zet::Ptr<Mroute> Mira::mrouteOf(IpGenPrefix const & source, IpGenAddr const & group) const {
  if (!group.isMulticast()) return nullptr;
  return mrouteTable_->mroute(IpGenRouteKey(source, IpGenPrefix(group)));
}

void Mira::doCountRpfFailure(Zet::Ptr<Mroute> const & mroute, VlanId vlan) {
  if (!mayHaveFastdrop(mroute, vlan)) return;
  U16 const count = static_cast<U16>(mroute->rpfFailureCount(vlan) + 1);
  mroute->rpfFailureCountIs(vlan, count);
  if (count < fastdropRpfFailureThreshold_) {
    ZET_TRACE(8, "rpfFailureCount hasn't reached threshold for fastdrop");
    return;
  }
  if (mrouteTable_->fastdropCount() >= mfibConfig()->maxFastdrops()) {
    ZET_TRACE(5, "fastdropCount reached max limit");
    return;
  }
  doMakeFastdrop(mroute, vlan);
}

bool Mira::mayHaveFastdrop(Zet::Ptr<Mroute> const & mroute, VlanId vlan) {
  if (mroute->fastdrop().contains(vlan)) {
    ZET_TRACE(8, "Fastdrop already added");
    return false;
  }
  if (mroute->acceptingVlanId() == vlan) {
    if (mroute->key().isStarG()) {
      ZET_TRACE(8, "rpfFailure in iif? ignoring rpfFailure. iif " << vlan);
    } else {
      ZET_TRACE(8, "rpfFailure in iif? Ignoring");
    }
    return false;
  }
  IntfId const intf = intfVlanIdTable()->vlanIdToIntfId(vlan);
  if (!intf) {
    ZET_TRACE(8, "Ignoring rpfFailure on VLAN " << vlan << " with no interface");
    return false;
  }
  bool const onFastFailover = sparseModeStatus() && sparseModeStatus()->fastFailoverIntf(intf);
  if (onFastFailover) ZET_TRACE(8, "rpfFailure on fast failover interface");
  if (isNotifyingOrStaticOrFrrFastdrop(intf, mroute, this, onFastFailover)) {
    ZET_TRACE(8, "rpfFailure on notifying/static/frr fastdrop interface "
                     << intf << "; ignoring " << mroute->key().pretty());
    return false;
  }
  if (!isBorder(*mroute, vlan)) return true;
  ZET_TRACE(8, "Not creating fastdrop for mbr interface " << intf << " vlan " << vlan);
  return false;
}

// What comes in from another domain may be for this route, which is accepted nowhere yet sent out.
// A bidirectional one never has a VLAN that it is accepted in.
bool Mira::isBorder(Mroute const & mroute, VlanId vlan) const {
  if (!mbrVlan(vlan) || mroute.acceptingVlanId()) return false;
  if (mroute.key().isStarG() && mroute.rpaId() != rpaNone) return false;
  auto const & oifSet = mroute.oifSet();
  return oifSet && !oifSet->portVlanSet().portVlan().empty();
}

bool isNotifyingOrStaticOrFrrFastdrop(IntfId intf, Zet::Ptr<Mroute> const & mroute,
                                      Zet::Ptr<Mira> const & mira, bool onFastFailover) {
  if (mroute->shoalRoute().isDefault() || !mira->mfibShoalDir()) return false;
  Route route;
  Status const * const table = mira->mfibShoalDir()->mfibShoal(mroute->key(), route);
  if (!table) return false;
  for (RouteIntfIteratorConst i(route, table); i; i.advance()) {
    if (i.intf() != intf) continue;
    if (i.has(oifFrr)) return true;
    if (i.has(oifNotify) && !(onFastFailover && i.has(oifForward))) return true;
  }
  return false;
}

// --- Fastdrops come and go

// Its set is empty until the route is computed.
void Mira::doMakeFastdrop(Zet::Ptr<Mroute> const & mroute, VlanId vlan) {
  SKEIN("Mira::doMakeFastdrop ", vrf_, " ", mroute->key(), " vlan ", vlan);
  ZET_TRACE(5, "rpfFailureCount reached threshold for fastdrop mroute " << mroute->key().pretty());
  PortVlanSet set;
  set.keyKindIs(Routing::Multicast::Fib::mroute_);
  set.fastdropSetIs(true);
  set.saveHash();
  mroute->fastdropIs(vlan, getOifSet(miraRoot_, set));
  mroute->rpfFailureCountDel(vlan);
  doRefreshFastdrops(mroute);
  doUpdateFastdropClock();
  doNotifyBatch();
}

void Mira::doRefreshFastdrops(Zet::Ptr<Mroute> const & mroute) {
  mroute->fastdropDirtyIs(true);
  doRefreshPortVlanSet(mroute);
}

// At its end a review says itself that its batch is complete.
void Mira::doNotifyBatch() {
  if (status()->batchEnabled() && !reviewPending_) mrouteTable_->mrouteBatchVersionInc(1);
}

void Mira::doUpdateFastdropClock() {
  bool const any = mrouteTable_->fastdropCount() != 0;
  fastdropClock_->timeMinIs(any ? clock()->now() + fastdropPollingInterval_ : Zet::Clock::never);
}

void Mira::handleFastdropClock() {
  SKEIN("Mira::handleFastdropClock ", vrf_, " fastdrops ", mrouteTable_->fastdropCount());
  if (!initialized_) return;
  Zet::Seconds const now = clock()->now();
  auto const & routes = mrouteTable_->fastdropMroute();
  for (auto i = routes.begin(); i; i.advance()) {
    Zet::Ptr<Mroute> const mroute = mrouteTable_->mroute(i.key());
    if (doAgeFastdrops(*mroute, now)) doRefreshFastdrops(mroute);
  }
  doUpdateFastdropClock();
  doNotifyBatch();
}

// True if one was deleted and the chips may hold it.
bool Mira::doAgeFastdrops(Mroute & mroute, Zet::Seconds now) {
  auto const * const vrfStatus = status()->vrfStatus(vrf_);
  Zet::Ptr<RouteStatus const> const routeStatus(vrfStatus ? vrfStatus->route(mroute.key())
                                                          : nullptr);
  if (!routeStatus) {
    ZET_TRACE(5, "no route status " << mroute.key().pretty());
    mroute.doClearFastdrop();
    return false;
  }
  bool gone = false;
  for (auto i = mroute.fastdrop().begin(); i; i.advance()) {
    gone |= doAgeFastdrop(mroute, i.key(), *routeStatus, now);
  }
  return gone;
}

// One goes if the chips did not take it, or the VLAN was the backup path's, or nothing has come in
// there for two polls.
bool Mira::doAgeFastdrop(Mroute & mroute, VlanId vlan, RouteStatus const & status,
                         Zet::Seconds now) {
  IntfId const intf = intfVlanIdTable()->vlanIdToIntfId(vlan);
  double const * const activity = status.fastdropLastPollTime().find(Zet::String(intf.view()));
  if (!intf || !activity) {
    ZET_TRACE(5, mroute.key().pretty() << ": fastdrop not programmed in vlan " << vlan);
    mroute.fastdropDel(vlan);
    if (mroute.prevFrr() == vlan) mroute.prevFrrIs({});
    return true;
  }
  if (mroute.prevFrr() == vlan) {
    ZET_TRACE(5, mroute.key().pretty() << ": previous MoFrr interface " << intf
                                       << ": delete fastdrop at previous MoFrr interface " << vlan);
    mroute.fastdropDel(vlan);
    mroute.prevFrrIs({});
    return true;
  }
  Zet::Seconds const age = now - *activity;
  if (age >= 2.0 * fastdropPollingInterval_ - kPollSlack) {
    ZET_TRACE(5, mroute.key().pretty() << ": deleting inactive fastdrop in vlan " << vlan);
    mroute.fastdropDel(vlan);
    return true;
  }
  ZET_TRACE(5, mroute.key().pretty()
                   << ": fastdrop active in vlan " << vlan << ' ' << age << " secs ago");
  return false;
}

void Mira::handleClearFastdrop() {
  SKEIN("Mira::handleClearFastdrop ", vrf_);
  if (!initialized_) return;
  auto const & routes = mrouteTable_->fastdropMroute();
  for (auto i = routes.begin(); i; i.advance()) {
    Zet::Ptr<Mroute> const mroute = mrouteTable_->mroute(i.key());
    mroute->doClearFastdrop();
    doRefreshFastdrops(mroute);
  }
  fastdropClock_->timeMinIs(Zet::Clock::never);
  if (miraBoundarySm_) miraBoundarySm_->handleClearFastdrop();
}

// They age: a stream that has stopped is forgotten, one that goes on is still to be dropped.
void Mira::doFlushFastdrops(Zet::String const &) {}

// --- The limit

void Mira::handleFastdropCount() {
  U32 const count = mrouteTable_->fastdropCount();
  if (count >= mfibConfig()->maxFastdrops()) {
    if (!fastdropLimitReached_) {
      fastdropLimitReached_ = true;
      MROUTE_FASTDROP_LIMIT_EXCEEDED.log({vrf_.view()});
      fastdropLogClock_->timeMinIs(Zet::Clock::never);
    }
  } else if (fastdropLimitReached_) {
    fastdropLogClock_->timeMinIs(clock()->now() + fastdropClockLogDelay_);
  }
  auto * const vrfStatus = status()->vrfStatus(vrf_);
  if (vrfStatus) {
    vrfStatus->fastdropCountIs(
        static_cast<U16>(std::min<U32>(count, std::numeric_limits<U16>::max())));
  }
}

void Mira::handleFastdropLogClock() {
  fastdropLogClock_->timeMinIs(Zet::Clock::never);
  if (!fastdropLimitReached_ || mrouteTable_->fastdropCount() >= mfibConfig()->maxFastdrops()) {
    return;
  }
  MROUTE_FASTDROP_LIMIT_NO_LONGER_EXCEEDED.log({vrf_.view()});
  fastdropLimitReached_ = false;
}

}  // namespace Brindle
