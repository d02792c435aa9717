#include "fabric/SimFabricBidir.h"

#include "platform/Assert.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("SimFabricBidir", false);

}  // namespace

void SimBidirGroupChip::doAddBidirGroup(L3::VrfName, Nettle::IpGenPrefix const &) {
  if (total() <= handles()) {
    bidirGroupHandleIs(RouteHandle());
    mcastGroupTcamFreeIs(false);
    return;
  }
  nextHandle_ += 1;
  bidirGroupHandleIs(RouteHandle{nextHandle_});
  handle_.insert(bidirGroupHandle());
}

void SimBidirGroupChip::doDelBidirGroup(RouteHandle hd) {
  if (handle_.del(hd) && total() > handles()) mcastGroupTcamFreeIs(true);
}

void SimBidirGroupChip::doVerifyBidirGroup(RouteHandle hd, L3::VrfName,
                                           Nettle::IpGenPrefix const &) {
  ZET_ASSERT(handle(hd), "handle( hd ) && \" handle exits \"");
}

void SimBidirDfChip::doAddDfProfile(Bridging::VlanIdOrNone vlanId, U64) {
  if (dfTblSize() <= dfProfiles()) {
    dfProfileTblFreeIs(false);
  } else {
    dfProfile_.insert(vlanId);
  }
  ZET_TRACE(9, name() << ": vlanId " << vlanId << ", numProfiles " << dfProfiles());
}

void SimBidirDfChip::doDelDfProfile(Bridging::VlanIdOrNone vlanId) {
  dfProfile_.del(vlanId);
  if (dfTblSize() > dfProfiles()) dfProfileTblFreeIs(true);
}

void SimBidirDfChip::doVerifyDfProfile(Bridging::VlanIdOrNone vlanId, U64) {
  ZET_TRACE(9, name() << ": vlanId " << vlanId << ", numProfiles " << dfProfiles());
}

SimBidirGroupChip * SimFabricBidir::bidirGroupChip(Zet::Name name) const {
  return dynamic_cast<SimBidirGroupChip *>(Fabric::bidirGroupChip(name));
}

SimBidirDfChip * SimFabricBidir::bidirDfChip(Zet::Name name) const {
  return dynamic_cast<SimBidirDfChip *>(Fabric::bidirDfChip(name));
}

Zet::Ptr<SimBidirGroupChip> SimFabricBidir::bidirGroupChipIs(Zet::Name name, U32 index) {
  if (auto const old = standing(bidirGroupChip(name), index)) return old;
  auto const chip = Zet::make<SimBidirGroupChip>(name, index);
  Fabric::bidirGroupChipIs(chip);
  return chip;
}

Zet::Ptr<SimBidirDfChip> SimFabricBidir::bidirDfChipIs(Zet::Name name, U32 index) {
  if (auto const old = standing(bidirDfChip(name), index)) return old;
  auto const chip = Zet::make<SimBidirDfChip>(name, index);
  Fabric::bidirDfChipIs(chip);
  return chip;
}

}  // namespace Brindle
