// The gate that holds all reviews back after a restart.
//
// The chips still forward what the last run of the agent programmed. To review before the protocols
// have published their routes again would take those away, so each VRF with multicast on is waited
// for, within limits.
#include "mira/MiraRoot.h"
#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("NsfGate", false);

}  // namespace

void MiraRoot::mfibReadyStatusIs(Zet::Ptr<ReadyStatus const> const & v) {
  zetMfibReadyStatus_.attach(v);
  doEvalMiraEnabled();
}
void MiraRoot::staticMfibReadyStatusIs(Zet::Ptr<ReadyStatus const> const & v) {
  zetStaticMfibReadyStatus_.attach(v);
  doEvalMiraEnabled();
}
void MiraRoot::bidirMfibReadyStatusIs(Zet::Ptr<ReadyStatus const> const & v) {
  zetBidirMfibReadyStatus_.attach(v);
  doEvalMiraEnabled();
}
void MiraRoot::mcastEnabledStatusIs(Zet::Ptr<VrfEnabledStatus const> const & v) {
  zetMcastEnabledStatus_.attach(v);
  doEvalMiraEnabled();
}
void MiraRoot::mcastPimStatusIs(Zet::Ptr<PimStatus const> const & v) {
  zetMcastPimStatus_.attach(v);
  doEvalMiraEnabled();
}

bool MiraRoot::allNsfStatuses() const {
  return mcastEnabledStatus() && mfibReadyStatus() && staticMfibReadyStatus() &&
         bidirMfibReadyStatus() && mcastPimStatus();
}

Zet::Seconds MiraRoot::nsfTimer() const { return nsfTimer_->timeMin(); }

void MiraRoot::ZetNsfTimer::onTime() {
  timeMinIs(Zet::Clock::never);
  sm()->doNsfComplete();
}

void MiraRoot::doNsfInit() {
  if (!initialized_ || !nsfTimer_ || !allNsfStatuses()) {
    doNsfComplete();
    return;
  }
  SKEIN("NSF restart started");
  ZET_TRACE(1, "doNsfInit(), Starting NSF timer");
  nsfTimer_->timeMinIs(in_.clock->now() + nsfTimerPeriod());
}

// What the VRF still lacks; null if nothing.
char const * MiraRoot::missingReadiness(L3::VrfName const & vrf) const {
  if (mcastPimStatus()->pimEnabledSparseModeVrf(vrf) && !mfibReadyStatus()->vrfReady(vrf)) {
    return ", sparse-mode mfibReady: false";
  }
  if (mcastPimStatus()->pimEnabledBidirVrf(vrf) && !bidirMfibReadyStatus()->vrfReady(vrf)) {
    return ", bidir mfibReady: false";
  }
  // Asked whatever protocols run there.
  return staticMfibReadyStatus()->vrfReady(vrf) ? nullptr : ", static mfibReady: false";
}

void MiraRoot::doEvalMiraEnabled() {
  SKEIN("MiraRoot::doEvalMiraEnabled");
  if (!initialized_ || nsfMiraEnabledForAllVrfs_) return;
  ZET_ASSERT(allNsfStatuses(),
             "mcastEnabledStatus() && mfibReadyStatus() && staticMfibReadyStatus() && "
             "bidirMfibReadyStatus() && mcastPimStatus()");
  Zet::Ptr<VrfEnabledStatus const> const enabled = mcastEnabledStatus();
  auto const & vrfs = enabled->vrf();
  for (auto i = vrfs.begin(); i; i.advance()) {
    if (char const * missing = missingReadiness(i.key())) {
      ZET_TRACE(5, "vrf: " << i.key() << missing);
      return;
    }
  }
  doNsfComplete();
}

void MiraRoot::doNsfComplete() {
  if (!initialized_) return;
  SKEIN("NSF restart finished");
  if (nsfTimer_) {
    ZET_TRACE(1, "doNsfComplete(), Stopping NSF timer");
    nsfTimer_->timeMinIs(Zet::Clock::never);
  }
  nsfMiraEnabledForAllVrfsIs(true);
  for (auto i = mira_.begin(); i; i.advance()) i->nsfMiraEnabledIs(true);
}

}  // namespace Brindle
