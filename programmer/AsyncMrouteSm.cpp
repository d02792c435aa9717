#include "programmer/AsyncMrouteSm.h"

#include "model/LogMessages.h"
#include "platform/Assert.h"
#include "platform/CollectionText.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("AsyncMrouteSm", false);

}  // namespace

// --- Lifecycle

AsyncMrouteSm::AsyncMrouteSm(L3::VrfName vrf, Inputs const & in)
    : vrfName_(vrf),
      in_(in),
      statusWriter_(in.mfib, vrf, in.intfVlanIdTable, in.clock) {
  ZET_ASSERT(in_.reviewConfig, "reviewConfig_");
  zetClock_.attach(in_.clock);
  zetFabric_.attach(in_.fabric);
  zetMrouteTable_.attach(in_.tables.mrouteTable);
  zetL2FloodsetTable_.attach(in_.tables.l2FloodsetTable);
  zetIntfVlanIdTable_.attach(in_.intfVlanIdTable);
  zetReviewConfig_.attach(in_.reviewConfig);
  handleInitialized();
}

void AsyncMrouteSm::handleInitialized() {
  if (initialized_) return;
  initialized_ = true;
  ZET_ASSERT(in_.clock, "clock_");
  reviewTimer_ = Zet::make<Keel::ReviewTimer>(
      zetClock_.get(), 1.0f, 4u, static_cast<float>(minDelay()), static_cast<float>(maxDelay()));
  ZET_ASSERT(in_.fabric->chips() < 16, "fabric()->chips() < 16");
  l2Status_ = Zet::make<L2Status>();
  failureCounters_ = Zet::make<FailureCounters>();
  zetFailureCounters_.attach(failureCounters_);
  handleFloodset();
  // They were there before the machine could program them.
  for (auto i = zetMroute_.begin(); i; i.advance()) {
    guarded(*i, [&] { i->handleChange(); });
  }
}

// One that cannot be programmed does not keep the others from it.
void AsyncMrouteSm::guarded(ZetMroute & zetMroute, auto const & step) {
  try {
    step();
  } catch (Zet::Exception const & e) {
    zetMroute.onNotificationException(e.what());
  }
}

void AsyncMrouteSm::doReleaseRoutes() {
  for (auto i = zetMroute_.begin(); i; i.advance()) {
    if (testKill_) {
      i->doLeaveBehind();
    } else {
      mrouteDel(i.key());
    }
  }
  initialized_ = false;
  failedMroute_.clear();
  zetMroute_.delAll();
}

void AsyncMrouteSm::requireSameInputs(Inputs const & in) const {
  Zet::requireSameMember("mcastGroupStatus", in.mcastGroupStatus, in_.mcastGroupStatus);
  Zet::requireSameMember("pimIntfStatus", in.pimIntfStatus, in_.pimIntfStatus);
  Zet::requireSameMember("reviewConfig", in.reviewConfig, in_.reviewConfig);
  Zet::requireSameMember("intfVlanIdTable", in.intfVlanIdTable, in_.intfVlanIdTable);
  Zet::requireSameMember("mrouteTable", in.tables.mrouteTable, in_.tables.mrouteTable);
  Zet::requireSameMember("fabric", in.fabric, in_.fabric);
  Zet::requireSameMember("clock", in.clock, in_.clock);
}

// --- Routes

void AsyncMrouteSm::follow(MrouteTable const * table, Key const & key) {
  Mroute * const mroute = table ? table->mroute(key) : nullptr;
  if (mroute) {
    mrouteIs(mroute);
  } else {
    mrouteDel(key);
  }
}

void AsyncMrouteSm::handleMroute(Key const & key) { follow(in_.tables.mrouteTable.get(), key); }

void AsyncMrouteSm::handleRoutes() {
  if (!zetMrouteTable_.target()) return;
  auto const & routes = in_.tables.mrouteTable->mroute();
  for (auto i = routes.begin(); i; i.advance()) handleMroute(i.key());
}

void AsyncMrouteSm::handleFloodset(Key const & key) {
  MrouteTable const * const table = in_.tables.l2FloodsetTable.get();
  bool const stands = table && table->mroute(key);
  ZET_TRACE(8, (stands ? "Create Mroute for floodset: " : "Delete Mroute for floodset: ") << key);
  follow(table, key);
}

void AsyncMrouteSm::handleFloodset() {
  if (!in_.tables.l2FloodsetTable) return;
  auto const & floodsets = in_.tables.l2FloodsetTable->mroute();
  for (auto i = floodsets.begin(); i; i.advance()) handleFloodset(i.key());
  for (auto i = zetMroute_.begin(); i; i.advance()) {
    auto const kind = i.key().kind();
    bool const isIp = kind == Routing::Multicast::Fib::mroute_;
    bool const isGroup = kind == Routing::Multicast::Fib::mcastGroup_;
    if (!isIp && !isGroup && !floodsets.contains(i.key())) handleFloodset(i.key());
  }
}

void AsyncMrouteSm::l2FloodsetTableIs(Zet::Ptr<MrouteTable const> const & v) {
  if (in_.tables.l2FloodsetTable == v) return;
  in_.tables.l2FloodsetTable = v;
  zetL2FloodsetTable_.attach(v);
}

void AsyncMrouteSm::mrouteIs(Zet::Ptr<Mroute const> const & mroute) {
  if (!mroute) Zet::throwNullParameter("Brindle::AsyncMrouteSm::mroute");
  auto const place = zetMroute_.placeOf(mroute->key());
  ZetMroute * old = zetMroute_.find(mroute->key(), place);
  if (old && &old->mroute() == mroute.get()) return;
  if (old) return old->mrouteIs(mroute);
  auto zetMroute = Zet::make<ZetMroute>(this, mroute);
  zetMroute_.insert(zetMroute, place);
  zetMroute->notifierIs(mroute.get());
}

void AsyncMrouteSm::mrouteDel(Key const & key) {
  Zet::Ptr<ZetMroute> const old = zetMroute_.find(key);
  if (!old) return;
  zetMroute_.del(old->key());  // first: whoever hears of the end may make the route again
  old->handleDel();
}

void AsyncMrouteSm::handleChip(Zet::Name name) {
  if (in_.fabric->chip(name)) return;  // it is asked with the next change of each route
  for (auto i = zetMroute_.begin(); i; i.advance()) i->handleChipGone();
}

void AsyncMrouteSm::handleInternalVlanId(Nettle::IntfId intf) {
  ZET_TRACE(8, "AsyncMrouteSm::handleInternalVlanId " << intf);
  for (auto i = zetMroute_.begin(); i; i.advance()) i->doUpdateStatus();
}

void AsyncMrouteSm::reconcileMfib() {
  auto * vrfStatus = statusWriter_.vrfStatus();
  if (!vrfStatus) return;
  for (auto i = vrfStatus->route().begin(); i; i.advance()) {
    if (!in_.tables.mrouteTable->mroute(i.key())) vrfStatus->routeDel(i.key());
  }
}

// --- What the operator is told

void AsyncMrouteSm::handleMroutesHwOverflow() {
  U32 const failed = failureCounters_->failedMroutesHwOverflow();
  if (failed == 0 && mroutesFull_) {
    MROUTE_HW_RESOURCE_NORMAL.log();
    ZET_TRACE(5, "Mroutes are no longer overflowing");
    ZET_ASSERT(mfib(), "mfib()");
    ZET_ASSERT(l2Status(), "l2Status()");
    mfib()->hwResourceFullIs(false);
    mroutesFull_ = false;
  } else if (failed == 1 && !mroutesFull_) {
    std::string const why = failureCounters_->lastHwOverflowReason().logExplain();
    MROUTE_HW_RESOURCE_FULL.log({why});
    ZET_TRACE(5, "We no longer have room to program mroutes with reason " << why);
    mfib()->hwResourceFullIs(true);
    mroutesFull_ = true;
  }
}

void AsyncMrouteSm::handleEthGroupsHwOverflow() {
  U32 const failed = failureCounters_->failedEthGroupsHwOverflow();
  if (failed == 0 && ethGroupsFull_) {
    IGMPSNOOPING_HW_RESOURCE_NORMAL.log();
    ZET_TRACE(5, "EthGroups are no longer overflowing");
    ethGroupsFull_ = false;
  } else if (failed == 1 && !ethGroupsFull_) {
    std::string const why = failureCounters_->lastHwOverflowReason().logExplain();
    IGMPSNOOPING_HW_RESOURCE_FULL.log({why});
    ZET_TRACE(5, "We no longer have room to program ethGroups with reason " << why);
    ethGroupsFull_ = true;
  }
}

void AsyncMrouteSm::handleBlockedRoutes() {
  bool const backlog = failureCounters_->blockedRoutes() != 0;
  ZET_TRACE(8, (backlog ? "Routes are backloged due to programming congestion"
                        : "Routes are no longer backloged due to programming congestion"));
  in_.reviewConfig->routeBacklogIs(backlog);
}

// --- Review

void AsyncMrouteSm::handleReviewFreq() {
  if (!initialized_) return;
  if (isReviewEnabled()) {
    ZET_TRACE(8, "enabling review");
    doKickReview(false);
  } else {
    ZET_TRACE(8, "disabling review");
    zetClock_->timeMinIs(Zet::Clock::never);
  }
}

void AsyncMrouteSm::doKickReview(bool immediately) {
  if (!initialized_) return;
  if (!isReviewEnabled()) {
    ZET_TRACE(8, "Review blocked by reviewConfig");
    return;
  }
  if (immediately) {
    zetClock_->timeMinIs(in_.clock->now());
  } else {
    reviewTimer_->doUpdateNextReview();
  }
}

void AsyncMrouteSm::handleClock() {
  constexpr U32 routesAClockRead = 10;
  zetClock_->timeMinIs(Zet::Clock::never);
  if (!initialized_) return;
  Zet::Ptr<AsyncMrouteSm> const self(this);
  Zet::Seconds const began = Zet::System::currentTime();
  Zet::Seconds const deadline = began + reviewQuantum_;
  SKEIN("AsyncMrouteSm::handleClock ", vrfName_, failedMroute_.size());
  U32 routes = 0;
  auto i = failedMroute_.startAt(bookmark_);
  for (; auto * failed = i.currNodeNonStale(); i.advance()) {
    bool const looks = routes != 0 && routes % routesAClockRead == 0;
    if (looks && Zet::System::currentTime() > deadline) break;
    ++routes;
    Zet::Ptr<ZetMroute> const zetMroute = failed->value.mroute;
    guarded(*zetMroute, [&] { review(*zetMroute); });
  }
  ZET_TRACE(8, "Review retried " << routes << " routes");
  reviewTimer_->lastReviewTimeIs(in_.clock->now());
  auto * const next = i.currNodeNonStale();
  resumeReview(!next, next ? next->fwkKey() : Key());
  ZET_TRACE(8, "AsyncMrouteSm::handleClock took " << Zet::System::shownTime() - began << " sec");
}

void AsyncMrouteSm::review(ZetMroute & zetMroute) {
  Key const key = zetMroute.key();
  if (!zetMroute.reason()) {
    ZET_TRACE(8, "mroute has no reason");
    failedMrouteDel(key);
  } else if (isDirty(zetMroute.mroute())) {
    // It is about to get a new version.
    ZET_TRACE(8, "Skipping doUpdateFabric for " << key << " and clearing form failed routes");
    zetMroute.reasonIs({});
  } else if (zetMroute.inProgress()) {
    ZET_TRACE(8, "Skipping doUpdateFabric for " << key << ", it is currently in progress");
  } else {
    zetMroute.doRetry();
  }
}

// A pass that began in the middle of the list is followed by one for the part before.
void AsyncMrouteSm::resumeReview(bool finished, Key const & next) {
  if (!finished) {
    bookmark_ = next;
    doKickReview(true);
  } else if (bookmark_ != Key()) {
    bookmark_ = Key();
    doKickReview(false);
  }
}

}  // namespace Brindle
