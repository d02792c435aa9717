#include "programmer/MrouteSm.h"

#include "model/LogMessages.h"
#include "platform/Assert.h"
#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"
#include "programmer/MrouteProgrammer.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("MrouteSm", false);

}  // namespace

// --- Lifecycle

MrouteSm::MrouteSm(L3::VrfName vrf, Inputs const & in)
    : vrfName_(vrf),
      in_(in),
      statusWriter_(in.mfib, vrf, in.intfVlanIdTable, in.clock) {
  ZET_ASSERT(in_.clock, "clock_");
  zetClock_.attach(in_.clock);
  zetFabric_.attach(in_.fabric);
  zetMrouteTable_.attach(in_.tables.mrouteTable);
  zetL2FloodsetTable_.attach(in_.tables.l2FloodsetTable);
  zetIntfVlanIdTable_.attach(in_.intfVlanIdTable);
  handleInitialized();
}

void MrouteSm::handleInitialized() {
  if (initialized_) return;
  initialized_ = true;
  reviewTimer_ = Zet::make<Keel::ReviewTimer>(zetClock_.get(), 1.0f, 4u, 0.1f, 1.0f);
  ZET_ASSERT(chips_.size() < 16, "chips() < 16");
  deleteStaleStatus();
  handleFloodset();
}

// What an earlier life of the agent published and the resolver no longer knows. The chips are not
// touched: nobody knows those handles any more.
void MrouteSm::deleteStaleStatus() {
  auto * vrfStatus = statusWriter_.vrfStatus();
  if (!vrfStatus) return;
  for (auto i = vrfStatus->route().begin(); i; i.advance()) {
    MrouteTable const & table = *in_.tables.mrouteTable;
    if (table.mroute(i.key()) || table.boundaryMroute(i.key())) continue;
    vrfStatus->routeDel(i.key());
  }
}

void MrouteSm::handleDel() {
  ZET_TRACE(8, "Members: " << zetMroute_.size());
  routeAllocFailedMroute_.clear();
  failedMroute_.clear();
  zetMroute_.delAll();
  zetBoundaryMroute_.delAll();
}

// --- Chips

void ZetChip::handleTcamFree() {
  if (chip_->mrouteTcamFree() && routeFailed_ != 0) sm()->doKickReview();
}

void ZetChip::handleMtableFree() {
  if (!chip_->mtableFree()) return;
  lastOifFailure_ = 0;
  if (oifFailed_ != 0) sm()->doKickReview();
}

void ZetChip::handleMrouteReviewKick() {
  if (routeFailed_ != 0) sm()->doKickReview();
}

void MrouteSm::handleChip(Zet::Name name) {
  if (SwitchChip * chip = in_.fabric->chip(name)) {
    chipIs(chip);
  } else {
    chipDel(name);
  }
}

void MrouteSm::handleChips() {
  if (!in_.fabric) return;
  Zet::replay(&in_.fabric->chip(), zetChip_, [this](Zet::Name name) { handleChip(name); });
}

void MrouteSm::chipIs(Zet::Ptr<SwitchChip> const & chip) {
  if (!chip) Zet::throwNullParameter("Brindle::MrouteSm::chip");
  ZetChip * old = zetChip_.find(chip->name());
  if (old && &old->chip() == chip.get()) return;
  if (old) zetChip_.del(chip->name());
  auto zetChip = Zet::make<ZetChip>(this, chip);
  for (auto const & failed : failedMroute_) zetChip->doCountWaiting(failed.value.reason);
  zetChip_.insert(zetChip);
  zetChip->notifierIs(chip.get());
  orderChips();
}

void MrouteSm::chipDel(Zet::Name name) {
  zetChip_.del(name);
  orderChips();
}

void MrouteSm::orderChips() {
  chips_.clear();
  for (auto const & chip : in_.fabric->chip().items()) {
    if (ZetChip * zetChip = zetChip_.find(chip.key)) chips_.push_back(zetChip);
  }
}

void MrouteSm::handleMrouteBatchVersion() {
  for (ZetChip * chip : chips_) chip->chip().doCommitRouteBatch();
}

// --- Routes

void MrouteSm::handleRoutes() {
  if (!zetMrouteTable_.target()) return;
  MrouteTable const & table = *in_.tables.mrouteTable;
  Zet::replay(&table.mroute(), zetMroute_, [this](Key const & key) { handleMroute(key); });
  Zet::replay(&table.boundaryMroute(), zetBoundaryMroute_,
              [this](Key const & key) { handleBoundaryMroute(key); });
  handleMrouteBatchVersion();
}

void MrouteSm::handleMroute(Key const & key) {
  if (Mroute * mroute = in_.tables.mrouteTable->mroute(key)) {
    mrouteIs(mroute);
  } else {
    mrouteDel(key);
  }
}

void MrouteSm::mrouteIs(Zet::Ptr<Mroute const> const & mroute) {
  if (!mroute) Zet::throwNullParameter("Brindle::MrouteSm::mroute");
  auto const place = zetMroute_.placeOf(mroute->key());
  ZetMroute * old = zetMroute_.find(mroute->key(), place);
  if (old && &old->mroute() == mroute.get()) return;
  if (old) mrouteDel(mroute->key());
  auto zetMroute = Zet::make<ZetMroute>(this, mroute);
  zetMroute_.insert(zetMroute, place);
  zetMroute->notifierIs(mroute.get());
}

void MrouteSm::mrouteDel(Key const & key) {
  Zet::Ptr<ZetMroute> const old = zetMroute_.find(key);
  if (!old) return;
  zetMroute_.del(old->key());  // first: whoever hears of the end may make the route again
  old->handleDel();
}

void MrouteSm::handleBoundaryMroute(Key const & key) {
  if (BoundaryMroute * boundaryMroute = in_.tables.mrouteTable->boundaryMroute(key)) {
    boundaryMrouteIs(boundaryMroute);
  } else {
    boundaryMrouteDel(key);
  }
}

void MrouteSm::boundaryMrouteIs(Zet::Ptr<BoundaryMroute const> const & boundaryMroute) {
  if (!boundaryMroute) Zet::throwNullParameter("Brindle::MrouteSm::boundaryMroute");
  ZetBoundaryMroute * old = zetBoundaryMroute_.find(boundaryMroute->key());
  if (old && &old->boundary() == boundaryMroute.get()) return;
  if (old) boundaryMrouteDel(boundaryMroute->key());
  auto zetBoundaryMroute = Zet::make<ZetBoundaryMroute>(this, boundaryMroute);
  zetBoundaryMroute_.insert(zetBoundaryMroute);
  zetBoundaryMroute->notifierIs(boundaryMroute.get());
}

void MrouteSm::boundaryMrouteDel(Key const & key) {
  Zet::Ptr<ZetBoundaryMroute> const old = zetBoundaryMroute_.find(key);
  if (!old) return;
  zetBoundaryMroute_.del(old->key());
  old->handleDel();
}

void MrouteSm::handleFloodset(Key const & key) {
  Mroute * mroute = in_.tables.l2FloodsetTable ? in_.tables.l2FloodsetTable->mroute(key) : nullptr;
  if (mroute) {
    mrouteIs(mroute);
  } else {
    mrouteDel(key);
  }
}

void MrouteSm::handleFloodset() {
  if (!in_.tables.l2FloodsetTable) return;
  for (auto i = in_.tables.l2FloodsetTable->mroute().begin(); i; i.advance())
    handleFloodset(i.key());
}

void MrouteSm::handleInternalVlanId(Nettle::IntfId intf) {
  ZET_TRACE(8, "MrouteSm::handleInternalVlanId " << intf);
  for (auto i = zetMroute_.begin(); i; i.advance()) i->doUpdateStatus();
}

void MrouteSm::handleInternalVlanId() { ZET_ASSERT(false, "false"); }

// --- Failed routes

void MrouteSm::failedMrouteIs(FailedMroute const & v) {
  FailedMroute & member = failedMroute_.at(v.key);
  if (member == v) return;
  member = v;
  handleFailedMroute(v.key);
}

void MrouteSm::failedMrouteDel(Key const & keyOfMember) {
  Key const key = keyOfMember;
  if (failedMroute_.del(key)) handleFailedMroute(key);
}

void MrouteSm::failedMrouteDelAll() {
  for (auto i = failedMroute_.begin(); i; i.advance()) failedMrouteDel(i.key());
}

bool MrouteSm::hasFailures() const {
  bool const countsAll = !in_.rootSm->noLoggingForOifFailures();
  return !(countsAll ? failedMroute_.empty() : routeAllocFailedMroute_.empty());
}

// Tells the operator when the first route fails and when the last one is in.
void MrouteSm::handleFailedMroute(Key const & key) {
  FailedMroute const * failed = failedMroute_.find(key);
  if (failed && failed->reason >> 16) {
    routeAllocFailedMroute_.at(key) = true;
  } else {
    routeAllocFailedMroute_.del(key);
  }
  bool const full = hasFailures();
  if (full && !in_.mfib->hwResourceFull()) MROUTE_HW_RESOURCE_FULL.log({""});
  if (!full && in_.mfib->hwResourceFull()) MROUTE_HW_RESOURCE_NORMAL.log();
  in_.mfib->hwResourceFullIs(full);
}

void valueToStrep(std::string & out, MrouteSm::FailedMroute const & v) {
  out += "Value('Brindle::MrouteSm::FailedMroute', ** {'key': ";
  Zet::valueToStrep(out, v.key);
  out += ", 'reason': ";
  Zet::valueToStrep(out, v.reason);
  out += ", 'mroute': ";
  if (v.mroute) {
    Zet::valueToStrep(out, v.mroute->fwkKey());
  } else {
    out += "None";
  }
  out += "})";
}

// --- Review

void MrouteSm::doKickReview() {
  if (initialized_) reviewTimer_->doUpdateNextReview();
}

void MrouteSm::handleClock() {
  zetClock_->timeMinIs(Zet::Clock::never);
  if (!initialized_) return;
  Zet::Seconds const began = in_.clock->now();
  reviewTimer_->lastReviewTimeIs(began);
  SKEIN("MrouteSm::handleClock ", vrfName_, failedMroute_.size());
  for (auto i = failedMroute_.begin(); auto * failed = i.currNodeNonStale(); i.advance()) {
    Zet::Ptr<ZetMroute> const zetMroute = failed->value.mroute;
    if (!doRetry(*zetMroute)) break;
  }
  ZET_TRACE(8, "MrouteSm::handleClock took " << in_.clock->shown() - began << " sec");
}

// False if the route fails again: then the next ones would, too.
bool MrouteSm::doRetry(ZetMroute & zetMroute) {
  Key const & key = zetMroute.key();
  if (zetMroute.reason() == 0) {
    failedMrouteDel(key);
    return true;
  }
  if (isDirty(zetMroute.mroute())) {
    // It is about to get a new version.
    ZET_TRACE(5, "Skipping doUpdateFabric for " << key);
    zetMroute.reasonIs(0);
    return true;
  }
  zetMroute.doUpdateFabric();
  if (zetMroute.reason() == 0) {
    ZET_TRACE(5, "Successfully reloaded " << key);
    return true;
  }
  ZET_TRACE(5, "Failed to reload " << key);
  return false;
}

}  // namespace Brindle
