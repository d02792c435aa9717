#include "boundary/BoundaryFastdropRootSm.h"

#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle::BoundaryFastdrop {

namespace {

Zet::TraceHandle traceHandle("BoundaryFastdropRootSm", false);

}  // namespace

// --- Lifecycle

BoundaryFastdropRootSm::BoundaryFastdropRootSm(Inputs const & in) : in_(in) {
  zetAllVrfStatusLocal_.attach(in_.allVrfStatusLocal);
  zetVrfConfig_.attach(in_.vrfConfig);
  vifStatusColl_.attach(in_.kernelMfibStatusColl);
  handleInitialized();
}

void BoundaryFastdropRootSm::handleInitialized() {
  SKEIN("BoundaryFastdropRootSm::handleInitialized");
  initialized_ = true;
  handleVrf();
}

void BoundaryFastdropRootSm::handleDel() {
  initialized_ = false;
  for (auto i = boundaryFastdropSm_.begin(); i; i.advance()) doDeleteBoundaryFastdropSm(i.key());
}

// --- Inputs

void BoundaryFastdropRootSm::handleVrfStatusLocal(L3::VrfName vrf) {
  if (auto const * status = in_.allVrfStatusLocal->vrf(vrf)) {
    vrfStatusLocalIs(status);
  } else {
    vrfStatusLocalDel(vrf);
  }
  handleVrf(vrf);
}

void BoundaryFastdropRootSm::handleVrfStatusLocal() {
  if (!zetAllVrfStatusLocal_.target()) return;
  Zet::replay(&in_.allVrfStatusLocal->vrf(), vrfStatusLocal_,
              [this](L3::VrfName vrf) { handleVrfStatusLocal(vrf); });
}

void BoundaryFastdropRootSm::vrfStatusLocalIs(Zet::Ptr<VrfStatusLocal const> const & status) {
  if (!status) {
    Zet::throwNullParameter("Brindle::BoundaryFastdrop::BoundaryFastdropRootSm::vrfStatusLocal");
  }
  vrfStatusLocal_.attach(status->key(), status);
}

void BoundaryFastdropRootSm::handleMfibConfig(L3::VrfName vrf) {
  if (auto const * config = in_.vrfConfig->config(vrf)) {
    mfibConfigSmIs(config);
  } else {
    mfibConfigSmDel(vrf);
  }
  handleVrf(vrf);
}

void BoundaryFastdropRootSm::handleMfibConfig() {
  if (!zetVrfConfig_.target()) return;
  Zet::replay(&in_.vrfConfig->config(), mfibConfigSm_,
              [this](L3::VrfName vrf) { handleMfibConfig(vrf); });
}

void BoundaryFastdropRootSm::mfibConfigSmIs(Zet::Ptr<MfibConfig const> const & config) {
  if (!config) {
    Zet::throwNullParameter("Brindle::BoundaryFastdrop::BoundaryFastdropRootSm::mfibConfigSm");
  }
  mfibConfigSm_.attach(config->key(), config);
}

// --- VRFs

bool BoundaryFastdropRootSm::vrfReady(L3::VrfName vrf) const { return !netNs(vrf).empty(); }

bool BoundaryFastdropRootSm::mcastReady(L3::VrfName vrf) const {
  auto const * config = in_.vrfConfig ? in_.vrfConfig->config(vrf) : nullptr;
  return config && config->routing() && in_.kernelMfibStatusColl &&
         in_.kernelMfibStatusColl->vrfStatus(vrf);
}

Nettle::NamespaceName BoundaryFastdropRootSm::netNs(L3::VrfName vrf) const {
  if (vrf == L3::VrfName::defaultVrf()) return Nettle::NamespaceName::defaultNamespace();
  auto const * status = in_.allVrfStatusLocal ? in_.allVrfStatusLocal->vrf(vrf) : nullptr;
  return status ? status->networkNamespace() : Nettle::NamespaceName();
}

void BoundaryFastdropRootSm::handleVrf(L3::VrfName vrf) {
  if (!initialized_) return;
  SKEIN("BoundaryFastdropRootSm::handleVrf ", vrf);
  if (vrfReady(vrf) && mcastReady(vrf)) {
    doCreateBoundaryFastdropSm(vrf);
  } else {
    doDeleteBoundaryFastdropSm(vrf);
  }
}

void BoundaryFastdropRootSm::handleVrf() {
  if (!initialized_) return;
  Zet::replay(in_.vrfConfig ? &in_.vrfConfig->config() : nullptr, boundaryFastdropSm_,
              [this](L3::VrfName vrf) { handleVrf(vrf); });
}

// --- Machines

void BoundaryFastdropRootSm::doCreateBoundaryFastdropSm(L3::VrfName vrf) {
  auto const * vifStatus = in_.kernelMfibStatusColl->vrfStatus(vrf);
  if (!vifStatus) {
    ZET_TRACE(5, "vifStatus is NULL. Not creating boundaryFastdropSm");
    return;
  }
  Nettle::NamespaceName const there = netNs(vrf);
  ZET_TRACE(8, "namespace is: " << there);
  if (there.empty()) {
    ZET_TRACE(0, "Error: namespace not set");
    SKEIN("BoundaryFastdropRootSm: namespace not set ", vrf);
    return;
  }
  // An open socket stays: its end would empty the kernel's table, and leave it to others.
  MrtPamKey const key{af(), there};
  Zet::Ptr<MrtPam> const standing(mrtPam_.find(key));
  doDeleteBoundaryFastdropSm(vrf);
  if (standing && !mrtPam_.contains(key)) mrtPam_.insert(standing);
  boundaryFastdropSm_.insert(Zet::make<BoundaryFastdropSm>(
      vrf, BoundaryFastdropSm::Inputs{.mrtPam = mrtPamIs(key),
                                      .status = in_.statusColl->vrfStatusIs(vrf),
                                      .mfibStatus = in_.mfibStatus,
                                      .vifStatus = vifStatus,
                                      .routingHwStatus = in_.routingHwStatus,
                                      .mode = in_.mode}));
}

// A socket goes with the last machine that reads it.
void BoundaryFastdropRootSm::doDeleteBoundaryFastdropSm(L3::VrfName vrf) {
  if (auto const * const sm = boundaryFastdropSm_.find(vrf)) {
    Zet::Ptr<MrtPam> const mrtPam = sm->mrtPam();
    boundaryFastdropSm_.del(vrf);
    bool shared = false;
    for (auto i = boundaryFastdropSm_.begin(); i; i.advance()) shared |= i->mrtPam() == mrtPam;
    if (!shared) mrtPam_.del(mrtPam->key());
  }
  in_.statusColl->vrfStatusDel(vrf);
}

Zet::Ptr<MrtPam> BoundaryFastdropRootSm::mrtPamIs(MrtPamKey const & key) {
  if (!mrtPam_.contains(key)) mrtPam_.insert(Zet::make<MrtPam>(key, in_.newPam));
  return mrtPam_.find(key);
}

}  // namespace Brindle::BoundaryFastdrop
