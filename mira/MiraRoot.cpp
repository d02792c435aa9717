#include "mira/MiraRoot.h"

#include <cstdlib>

#include "mira/InputReactors.h"
#include "mira/MfibDirSm.h"
#include "mira/MiraHelper.h"
#include "mira/MiraL2.h"
#include "mira/SameInput.h"
#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("MiraRoot", false);

bool const noFastdropsAtLoad = std::getenv("MIRA_NO_FASTDROPS") != nullptr;

char const * trueOrFalse(bool v) { return v ? "True" : "False"; }

// A name that is too long for a VRF is none.
bool mayBeVrf(Zet::Name const & name) { return name.view().size() <= L3::VrfName::maxLength; }

// Calls f(name, member, required) for each input.
template <class F> void eachInput(F f) {
  using In = MiraRoot::Inputs;
  constexpr bool required = true, optional = false;
  f("mrouteTableColl", &In::mrouteTableColl, required);
  f("clock", &In::clock, required);
  f("brTopo", &In::brTopo, required);
  f("vlanStatusDir", &In::vlanStatusDir, required);
  f("lagStatusDir", &In::lagStatusDir, required);
  f("snoopingStatus", &In::snoopingStatus, required);
  f("mfibVrfConfig", &In::mfibVrfConfig, required);
  f("mfibDir", &In::mfibDir, optional);
  f("mfibDirName", &In::mfibDirName, optional);
  f("status", &In::status, required);
  f("fastdropClock", &In::fastdropClock, optional);
  f("fastdropLogClock", &In::fastdropLogClock, optional);
  f("intfVlanIdTable", &In::intfVlanIdTable, required);
  f("lagOperation", &In::lagOperation, optional);
  f("l2Enabled", &In::l2Enabled, optional);
  f("pimEnabled", &In::pimEnabled, required);
  f("routingInfoDir", &In::routingInfoDir, required);
  f("mlagStatus", &In::mlagStatus, required);
  f("brConfig", &In::brConfig, required);
  f("staticNatInfo", &In::staticNatInfo, optional);
  f("reviewInfo", &In::reviewInfo, required);
  f("allVrfStatusLocal", &In::allVrfStatusLocal, required);
  f("ipStatus", &In::ipStatus, required);
  f("pimIntfStatus", &In::pimIntfStatus, required);
  f("prefixMrouteStatusDir", &In::prefixMrouteStatusDir, optional);
  f("ignoreVlanForL2Groups", &In::ignoreVlanForL2Groups, optional);
  f("portPropertyMask", &In::portPropertyMask, optional);
  f("boundaryFastdropStatusColl", &In::boundaryFastdropStatusColl, optional);
  f("mbrIntf", &In::mbrIntf, optional);
  f("sparseModeStatus", &In::sparseModeStatus, optional);
}

void requireInputs(MiraRoot::Inputs const & in) {
  eachInput([&](char const * name, auto member, bool required) {
    if (!required || in.*member != std::remove_cvref_t<decltype(in.*member)>()) return;
    Zet::throwNullParameter(std::string("Brindle::MiraRoot::") + name);
  });
}

}  // namespace

bool MiraRoot::noFastdrops() { return noFastdropsAtLoad; }

// --- Start and end

MiraRoot::MiraRoot(Inputs in) : in_(std::move(in)) {
  requireInputs(in_);
  zetAllVrfStatusLocal_.attach(in_.allVrfStatusLocal);
  zetRoutingInfoDir_.attach(in_.routingInfoDir);
  zetMfibVrfConfig_.attach(in_.mfibVrfConfig);
  nsfTimer_.attach(in_.clock);
  zetBoundaryFastdropStatusColl_.attach(in_.boundaryFastdropStatusColl);
  handleVrf();
  mfibShoalDirIs();
  handleSocket();
  handleInitialized();
}

MiraRoot::~MiraRoot() = default;

void MiraRoot::requireSameInputs(Inputs const & in) const {
  eachInput([&](char const * name, auto member, bool) {
    requireSameInput(name, in.*member, in_.*member);
  });
}

Zet::Ptr<Shoal::Multicast::Fib::MfibShoalDir> const & MiraRoot::mfibShoalDirIs() {
  if (!shoalDir_) {
    shoalDir_ = Zet::make<Shoal::Multicast::Fib::MfibShoalDir>();
    zetShoalDir_.attach(shoalDir_);
  }
  return shoalDir_;
}

void MiraRoot::entityManagerIs(Zet::Ptr<Quay::EntityManager> const & v) {
  if (entityManager_ == v) return;
  entityManager_ = v;
  handleInitialized();
}

void MiraRoot::handleInitialized() {
  SKEIN("MiraRoot::handleInitialized");
  if (!entityManager_ || initialized_) return;
  inputReactors_ = Zet::make<InputReactors>(this);
  doInitializeVidToTopoMap();
  mfibDirSm_ = Zet::make<MfibDirSm>(in_.mfibDir, in_.mfibDirName, shoalDir_);
  parentIntfToSubIntfDir_ = Zet::make<Fjord::ParentIntfToSubIntfDir>();
  subIntfConfigDir_ = dynamic_cast<Interface::SubIntfConfigDir const *>(
      entityManager_->getEntity("interface/config/subintf").get());
  subIntfMappingSm_ =
      Zet::make<Fjord::SubIntfMappingSm>(subIntfConfigDir_, parentIntfToSubIntfDir_);
  inputReactors_->watchLags();
  inputReactors_->pimVxlanStatusIs(pimVxlanStatus_);
  initialized_ = true;
  doNsfInit();
  doCreateMiraL2();
  doEvalMiraEnabled();
  handleVrf();
  handleMfibVrfConfig();
  handleRoutingInfo();
  handleIntfConfig();
  if (!noFastdrops()) doOpenSocket();
  inputReactors_->watchSlices();
}

void MiraRoot::handleDel() {
  initialized_ = false;
  inputReactors_ = nullptr;
  for (auto i = mira_.begin(); i; i.advance()) miraDel(i.key());
  doDeleteMiraL2();
  doCloseSocket();
  if (miraHelper_ && miraHelper_->miraRoot() == this) miraHelper_->miraRootDel();
}

void MiraRoot::miraHelperIs(Zet::Ptr<MiraHelper> const & v) {
  if (!assign(miraHelper_, v) || !initialized_) return;
  inputReactors_->markAllVlansDirty();
  // It may want a core-side floodset.
  for (Bridging::VlanId vid : vxlanVlan_.items()) doUpdateVlanFloodsets(vid);
}
void MiraRoot::lagOperationIs(LagOperation v) {
  if (assign(in_.lagOperation, v) && initialized_) inputReactors_->markAllVlansDirty();
}
void MiraRoot::boundaryFastdropStatusCollIs(Zet::Ptr<BoundaryFastdrop::StatusColl> const & v) {
  if (in_.boundaryFastdropStatusColl == v) return;
  in_.boundaryFastdropStatusColl = v;
  zetBoundaryFastdropStatusColl_.attach(v);
}
void MiraRoot::handleBoundaryFastdrop(L3::VrfName const & vrf) {
  auto const & all = in_.boundaryFastdropStatusColl;
  if (Zet::Ptr<Mira> const mira = mira_.find(vrf)) {
    mira->boundaryFastdropStatusIs(all ? all->vrfStatus(vrf) : nullptr);
  }
}
void MiraRoot::handleBoundaryFastdrop() {
  for (auto i = mira_.begin(); i; i.advance()) handleBoundaryFastdrop(i.key());
}
void MiraRoot::pimVxlanStatusIs(Zet::Ptr<Routing::Multicast::Vxlan::Status const> const & v) {
  pimVxlanStatus_ = v;
  for (auto i = mira_.begin(); i; i.advance()) i->pimVxlanStatusIs(v);
  if (inputReactors_) inputReactors_->pimVxlanStatusIs(v);
}

// --- Inputs of a VRF

// Of one of the inputs of a VRF.
void MiraRoot::handlePresence(char const * input, L3::VrfName const & vrf, bool present) {
  SKEIN("MiraRoot: ", Skein::Literal{input}, " of ", vrf, " present: ", present);
  if (!initialized_) return;
  if (present) {
    doCreateMira(vrf);
  } else {
    doDeleteMira(vrf);
  }
}

void MiraRoot::handleVrf(L3::VrfName const & vrf) {
  handlePresence("vrf", vrf, in_.allVrfStatusLocal->vrf(vrf));
}

void MiraRoot::handleVrf() {
  auto const & vrfs = in_.allVrfStatusLocal->vrf();
  for (auto i = vrfs.begin(); i; i.advance()) handleVrf(i.key());
}

void MiraRoot::handleRoutingInfo(Zet::Name const & name) {
  handlePresence("routingInfo", L3::VrfName(name.view()),
                 static_cast<bool>(in_.routingInfoDir->entityPtr(name)));
}

void MiraRoot::handleRoutingInfo() {
  auto const & infos = in_.routingInfoDir->entityPtr();
  for (auto i = infos.begin(); i; i.advance()) {
    if (mayBeVrf(i.key())) handleRoutingInfo(i.key());
  }
}

void MiraRoot::handleMfibVrfConfig(L3::VrfName const & vrf) {
  handlePresence("mfibVrfConfig", vrf, in_.mfibVrfConfig->config(vrf));
}

void MiraRoot::handleMfibVrfConfig() {
  auto const & configs = in_.mfibVrfConfig->config();
  for (auto i = configs.begin(); i; i.advance()) handleMfibVrfConfig(i.key());
}

void MiraRoot::handleMfibShoalDir(L3::VrfName const & vrf) {
  handlePresence("mfibShoalDir", vrf, shoalDir_->shoalColl(vrf));
}

void MiraRoot::handleMfibShoalDir() {
  auto const & colls = shoalDir_->shoalColl();
  for (auto i = colls.begin(); i; i.advance()) handleMfibShoalDir(i.key());
}

// --- A Mira comes and goes

// The default VRF needs no tables, and it is not asked whether it exists.
bool MiraRoot::mayHaveMira(L3::VrfName const & vrf) const {
  bool const configured =
      in_.mfibVrfConfig->config(vrf) && in_.routingInfoDir->entityPtr(vrf.name());
  if (vrf == L3::VrfName::defaultVrf()) return configured;
  return configured && shoalDir_->shoalColl(vrf) && in_.allVrfStatusLocal->vrf(vrf);
}

void MiraRoot::doCreateMira(L3::VrfName const & vrf) {
  if (!initialized_ || !entityManager_) {
    ZET_TRACE(5, "Not creating Mira. initialized: " << trueOrFalse(initialized_)
                                                    << " entityManager: "
                                                    << trueOrFalse(!!entityManager_));
    return;
  }
  if (!mayHaveMira(vrf)) {
    ZET_TRACE(5, "Not creating Mira. initialized: "
                     << trueOrFalse(initialized_) << " vrf: " << vrf
                     << " shoalColl: " << trueOrFalse(shoalDir_->shoalColl(vrf))
                     << " mira: " << trueOrFalse(mira_.contains(vrf)));
    return;
  }
  Zet::Ptr<MrouteTable> const table = in_.mrouteTableColl->vrfMrouteTableIs(vrf);
  table->afIs(in_.mrouteTableColl->af());
  in_.status->vrfStatusIs(vrf);
  Zet::Ptr<Mira> mira = mira_.find(vrf);
  if (!mira) mira = doMakeMira(vrf, table);
  // Each of these may be another one than when the Mira was made.
  mira->mfibConfigIs(in_.mfibVrfConfig->config(vrf));
  mira->routingGenInfoIs(routingGenInfo(vrf));
  mira->markedForDeletionIs(false);
  mira->mfibShoalDirIs(shoalDir_->shoalColl(vrf));
}

Zet::Ptr<Mira> MiraRoot::doMakeMira(L3::VrfName const & vrf, Zet::Ptr<MrouteTable> const & table) {
  auto const & boundary = in_.boundaryFastdropStatusColl;
  Mira::Inputs const in{.miraRoot = this,
                        .mrouteTable = table,
                        .mfibConfig = in_.mfibVrfConfig->config(vrf),
                        .routingGenInfo = routingGenInfo(vrf),
                        .boundaryFastdropStatus = boundary ? boundary->vrfStatusIs(vrf) : nullptr};
  Zet::Ptr<Mira> const mira = Zet::make<Mira>(vrf, in);
  mira->parentIs(this);
  mira_.insert(mira);
  if (vrf != L3::VrfName::defaultVrf()) mira->mfibShoalDirIs(shoalDir_->shoalColl(vrf));
  mira->pimVxlanStatusIs(pimVxlanStatus_);
  mira->nsfMiraEnabledIs(nsfMiraEnabledForAllVrfs_);
  if (vrf == L3::VrfName::defaultVrf()) doMaybeInitializeL2Routes();
  doCreateIntfConfigSm(vrf);
  ZET_TRACE(1, "Created Mira for VRF " << vrf << ", nsfMiraEnabled: " << nsfMiraEnabledForAllVrfs_);
  return mira;
}

Zet::Ptr<Routing::RoutingGenInfo const> MiraRoot::routingGenInfo(L3::VrfName const & vrf) const {
  return dynamic_cast<Routing::RoutingGenInfo const *>(
      in_.routingInfoDir->entityPtr(vrf.name()).get());
}

void MiraRoot::miraDel(L3::VrfName const & vrf) {
  Zet::Ptr<Mira> const mira = mira_.find(vrf);
  if (!mira) return;
  for (auto i = intfConfigSm_.begin(); i; i.advance()) {
    if (i->mira() == mira.get()) intfConfigSmDel(i.key());
  }
  mira->parentIs(nullptr);
  mira_.del(vrf);
}

void MiraRoot::doDeleteMira(L3::VrfName const & vrf) {
  if (!initialized_) return;
  Zet::Ptr<Mira> const mira = mira_.find(vrf);
  if (!mira || vrf == L3::VrfName::defaultVrf()) return;
  mira->markedForDeletionIs(true);
  if (!mira->mrouteTable()->mroute().empty()) {
    mira->doMarkAllRoutesDirty();
    return;
  }
  mira->boundaryFastdropStatusIs(nullptr);
  miraDel(vrf);
  in_.mrouteTableColl->vrfMrouteTableDel(vrf);
  doMaybeDeleteReviewInfo(vrf);
  ZET_TRACE(1, "Deleted Mira for VRF " << vrf);
}

void MiraRoot::doMaybeDeleteReviewInfo(L3::VrfName const & vrf) {
  if (in_.mrouteTableColl->af() == Nettle::ipv4()) {
    in_.reviewInfo->reviewDel(vrf);
  } else {
    in_.reviewInfo->review6Del(vrf);
  }
}

// --- Hardware routing

void MiraRoot::doMaybeUpdateHardwareRoutingEnable() {
  bool enabled = false;
  for (auto i = mira_.begin(); i; i.advance()) enabled = enabled || i->l3Enabled();
  in_.status->routingEnabledIs(enabled);
  if (enabled || in_.status->hwRouting()) return;
  ZET_TRACE(3, "Urpf triggered disable, increment the counter");
  in_.status->waitForRoutingDisabledCntInc(1);
}

}  // namespace Brindle
