#include "mira/Mira.h"

#include <algorithm>

#include "mira/MiraBoundarySm.h"
#include "mira/MiraRoot.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("Mira", false);

}  // namespace

// --- Lifecycle

Mira::Mira(L3::VrfName const & vrf, Inputs const & in)
    : vrf_(vrf),
      miraRoot_(in.miraRoot),
      mrouteTable_(in.mrouteTable) {
  zetMfibConfig_.attach(in.mfibConfig);
  zetRoutingGenInfo_.attach(in.routingGenInfo);
  zetStatus_.attach(status());
  zetClock_.attach(clock());
  zetIntfVlanIdTable_.attach(intfVlanIdTable());
  zetStaticNatInfo_.attach(staticNatInfo());
  zetMbrIntf_.attach(mbrIntf());
  fastdropClock_.attach(miraRoot_->fastdropClock());
  fastdropLogClock_.attach(miraRoot_->fastdropLogClock());
  zetMrouteTable_.attach(mrouteTable_);
  handleInitialized();
  boundaryFastdropStatusIs(in.boundaryFastdropStatus);
}

Mira::~Mira() = default;

void Mira::handleInitialized() {
  SKEIN("Mira::handleInitialized ", vrf_);
  if (initialized_) return;
  dirtyInfo_ = Zet::make<DirtyInfo>();
  dirtyChangeSet_ = Zet::make<DirtyChangeSet>();
  mrouteTable_->dirtyInfoIs(Zet::make<DirtyInfo>());
  mrouteTable_->boundaryDirtyInfoIs(Zet::make<DirtyInfo>());
  initialized_ = true;
  handleRouting();
  handleL3Enabled();
  doMarkAllVlansDirty();
  mrouteTable_->mroutesInitializedIs(false);
  internalVlanId_ = intfVlanIdTable()->internalVlanId();
  handleMbr();
  doKickReview();
}

// What one table's machine gives back may be told to another one, which would ask for a review.
void Mira::handleDel() {
  initialized_ = false;
  noFastdropVlanDelAll();
  for (auto i = mfibShoalSm_.begin(); i; i.advance()) mfibShoalSmDel(i.key());
  if (miraBoundarySm_) miraBoundarySm_->parentIs(nullptr);
  miraBoundarySm_ = nullptr;
}

void Mira::boundaryFastdropStatusIs(Zet::Ptr<BoundaryFastdrop::Status> const & v) {
  if (miraBoundarySm_) return miraBoundarySm_->fastdropStatusIs(v);
  if (!v || !initialized_) return;
  miraBoundarySm_ = Zet::make<MiraBoundarySm>(this, v);
  miraBoundarySm_->parentIs(this);
}

// What the reviews deleted while the VRF was going stands in the tables still.
void Mira::markedForDeletionIs(bool v) {
  if (markedForDeletion_ == v) return;
  markedForDeletion_ = v;
  if (v) return;
  for (auto i = mfibShoalSm_.begin(); i; i.advance()) i->handleRoute();
}

// --- Routing

void Mira::handleRouting() {
  SKEIN("Mira::handleRouting ", vrf_);
  auto const * info = routingGenInfo();
  if (!nsfMiraEnabled_) {
    ZET_TRACE(5, vrf_ << ": Disabling multicast routing because Mira is disabled");
    l3EnabledIs(false);
  } else if (!info) {
    ZET_TRACE(5, vrf_ << ": Enabling multicast routing because no routingStatus");
    l3EnabledIs(true);
  } else if (info->routing() && mfibConfig()->routing() && status()->hwRouting()) {
    ZET_TRACE(5, vrf_ << ": Enabling multicast routing");
    l3EnabledIs(true);
  } else {
    ZET_TRACE(5, vrf_ << ": Disabling multicast routing");
    l3EnabledIs(false);
  }
}

void Mira::nsfMiraEnabledIs(bool v) {
  if (nsfMiraEnabled_ == v) return;
  nsfMiraEnabled_ = v;
  handleRouting();
  // Whatever was asked for before came to nothing.
  if (v) doKickReview();
}

void Mira::l3EnabledIs(bool v) {
  if (l3Enabled_ == v) return;
  l3Enabled_ = v;
  handleL3Enabled();
}

void Mira::handleL3Enabled() {
  SKEIN("Mira::handleL3Enabled ", vrf_, " ", l3Enabled_);
  if (initialized_ && mfibShoalDir()) handleMfibShoal();
}

// --- Tables

void Mira::mfibShoalDirIs(Zet::Ptr<MfibShoalColl const> const & v) {
  if (mfibShoalDir() == v.get()) return;
  zetMfibShoalDir_.attach(v);
  if (!v) handleMfibShoal();
  // A review that came before the tables did has passed over the routes.
  doKickReview();
}

void Mira::handleMfibShoal() {
  auto const * dir = mfibShoalDir();
  replay(dir ? &dir->shoalPtr() : nullptr, mfibShoalSm_,
         [&](StatusKey const & table) { handleMfibShoal(table); });
}

void Mira::handleMfibShoal(StatusKey const & table) {
  SKEIN("Mira::handleMfibShoal ", vrf_, " table ", table.number());
  if (!initialized_) return;
  auto const * dir = mfibShoalDir();
  if (l3Enabled_ && dir && dir->shoalPtr().contains(table)) {
    Zet::Ptr<Shoal::Multicast::Fib::Status const> const status(dir->shoalPtr(table));
    if (!status) {
      ZET_TRACE(5, vrf_ << " Empty mfibShoal!");
      return;
    }
    ZET_TRACE(5, vrf_ << " Creating mfibShoalSm for " << status->name());
    mfibShoalSmIs(table, {.mfibShoal = status,
                          .mrouteTable = mrouteTable_,
                          .ipStatus = ipStatus(),
                          .pimIntfStatus = pimIntfStatus()});
    return;
  }
  if (Zet::Ptr<MfibShoalSm> sm = mfibShoalSm_.find(table)) {
    ZET_TRACE(5, vrf_ << " Deleting mfibShoalSm for " << sm->inputs().mfibShoal->name());
    if (l3Enabled_) sm->forceDelRoutesIs(true);
    sm->handleRoute();
    mfibShoalSmDel(table);
  }
  miraRoot_->doMaybeUpdateHardwareRoutingEnable();
}

Zet::Ptr<MfibShoalSm> Mira::mfibShoalSmIs(StatusKey const & table, MfibShoalSm::Inputs const & in) {
  Zet::Ptr<MfibShoalSm> sm = mfibShoalSm_.find(table);
  if (sm) {
    sm->requireSameInputs(in);
  } else {
    sm = Zet::make<MfibShoalSm>(table, in, this);
    sm->parentIs(this);
    mfibShoalSm_.insert(sm);
  }
  return sm;
}

void Mira::mfibShoalSmDel(StatusKey const & table) {
  if (MfibShoalSm * const sm = mfibShoalSm_.find(table)) sm->parentIs(nullptr);
  mfibShoalSm_.del(table);
}

// --- The queue of changed routes

void Mira::doGrowDirtyMroute() {
  std::vector<ZetDirtyMroute> wider(std::max<std::size_t>(64, 2 * dirtyMroute_.size()));
  for (U32 n = dirtyMrouteMetadata_.head; n != dirtyMrouteMetadata_.tail; ++n) {
    wider[n & (wider.size() - 1)] = dirtyMrouteAt(n);
  }
  dirtyMroute_.swap(wider);
}

// --- Multicast border routers

void Mira::handleMbr(Nettle::IntfId intf) {
  SKEIN("Mira::handleMbr ", vrf_, " ", intf);
  Bridging::VlanIdOrNone const vlan = intfVlanIdTable()->intfIdToVlanId(intf);
  if (mbrIntf() && mbrIntf()->intf(intf)) {
    mbrVlan_.insert(vlan);
  } else {
    mbrVlan_.del(vlan);
  }
  doMarkAllRoutesDirty();
}

void Mira::handleMbr() {
  mbrVlan_.clear();
  if (!mbrIntf()) return;
  auto const & intfs = mbrIntf()->intf();
  for (auto i = intfs.begin(); i; i.advance()) handleMbr(i.key());
}

}  // namespace Brindle
