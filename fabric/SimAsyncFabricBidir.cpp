#include "fabric/SimAsyncFabricBidir.h"

#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("SimAsyncFabricBidir", false);

}  // namespace

SimAsyncBidirDfChip::XactPtr SimAsyncBidirDfChip::doAddDfProfile(Bridging::VlanIdOrNone vlanId,
                                                                 RpaBitmap, XactPtr const &) {
  auto const xact = dfAllocXactIs(vlanId);
  doEnd(vlanId, xact);
  return xact;
}

Zet::Ptr<Keel::Xact> SimAsyncBidirDfChip::dfAllocXactIs(Bridging::VlanIdOrNone vlanId) {
  auto & xact = dfAllocXact_.at(vlanId.value());
  if (!xact) xact = Zet::make<Keel::Xact>(vlanId.value(), "df");
  return xact;
}

void SimAsyncBidirDfChip::doEnd(Bridging::VlanIdOrNone vlanId, Zet::Ptr<Keel::Xact> const & xact,
                                Keel::XactResult result) {
  if (result == Keel::XactResult::success && dfTblSize() > dfProfiles()) {
    dfProfile_.insert(vlanId);
    xact->resultIs(Keel::XactResult::success);
  } else {
    dfProfileFailureReasonIs(defaultXactFailureReason_);
    xact->resultIs(Keel::XactResult::failure);
  }
  xact->statusVersionIs(xact->statusVersion() + 1);
}

void SimAsyncBidirDfChip::doDelDfProfile(Bridging::VlanIdOrNone vlanId) {
  dfAllocXact_.del(vlanId.value());
  dfProfile_.del(vlanId);
}

void SimAsyncBidirDfChip::doVerifyDfProfile(Bridging::VlanIdOrNone, RpaBitmap) {
  ZET_TRACE(9, name() << ": Num of dfProfiles: " << dfProfiles());
}

SimAsyncBidirDfChip * SimAsyncFabricBidir::bidirDfChip(Zet::Name name) const {
  return dynamic_cast<SimAsyncBidirDfChip *>(AsyncFabric::bidirDfChip(name));
}

Zet::Ptr<SimAsyncBidirDfChip> SimAsyncFabricBidir::bidirDfChipIs(Zet::Name name, U32 index) {
  if (auto const old = standing(bidirDfChip(name), index)) return old;
  auto const chip = Zet::make<SimAsyncBidirDfChip>(name, index);
  AsyncFabric::bidirDfChipIs(chip);
  return chip;
}

}  // namespace Brindle
