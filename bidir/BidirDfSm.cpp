#include "bidir/BidirDfSm.h"

#include "fabric/RoomRetry.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("BidirDfSm", false);

using Shoal::Multicast::Fib::DfProfile;

}  // namespace

// --- Lifecycle

BidirDfSm::BidirDfSm(L3::VrfName vrfName, Zet::Ptr<BidirStatus const> const & bidirStatus,
                     Zet::Ptr<Fabric> const & fabric, Zet::Ptr<Zet::Clock const> const & clock,
                     Zet::Ptr<IntfVlanId::Table const> const & intfVlanIdTable)
    : vrfName_(vrfName),
      fabric_(fabric),
      intfVlanIdTable_(intfVlanIdTable) {
  zetBidirStatus_.attach(bidirStatus);
  zetFabric_.attach(fabric);
  clock_.attach(clock);
  zetIntfVlanIdTable_.attach(intfVlanIdTable);
  handleInitialized();
}

void BidirDfSm::handleInitialized() {
  SKEIN("BidirDfSm::handleInitialized ", vrfName_);
  clock_->timeMinIs(Zet::Clock::never);
  initialized_ = true;
  lastVlans_.adopt(*intfVlanIdTable_);
  ZET_TRACE(8, vrfName_ << " Num of vlans " << internalVlanId().size());
  handleDfProfile();
}

// --- Chips

// With a chip that goes may go what others wait for.
void BidirDfSm::handleChip(Zet::Name name) {
  Zet::Ptr<BidirDfSm> const self(this);
  Zet::Ptr<BidirDfChip> const chip(fabric_->bidirDfChip(name));
  if (!zetChip_.follow(name, chip.get()) || !initialized_) return;
  if (chip) {
    addStandingTo(chip);
  } else {
    handleDfTblFree();
  }
}

// The others are not asked: a full table would refuse what stands in it.
void BidirDfSm::addStandingTo(Zet::Ptr<BidirDfChip> const & chip) {
  auto const * const status = zetBidirStatus_.target();
  if (!status) return;
  for (auto i = status->dfProfile().begin(); i; i.advance()) {
    VlanIdOrNone const vlan = intfVlanIdTable_->intfIdToVlanId(i.key());
    U64 const bitmap = status->dfProfile(i.key()).bitmap;
    if (!vlan || !bitmap || unprogrammedDf_.contains(i.key())) continue;
    chip->doAddDfProfile(vlan, bitmap);
    if (chip->dfProfileTblFree()) continue;
    ZET_TRACE(5, "Failed to allocate dfProfile entry in chip " << chip->name());
    delDfProfile(vlan);
    unprogrammedDfIs(i.key(), true);
  }
}

void BidirDfSm::handleChip() {
  if (!zetFabric_.target()) return;
  Zet::replay(&fabric_->bidirDfChip(), zetChip_, [this](Zet::Name name) { handleChip(name); });
}

// --- Profiles

void BidirDfSm::handleDfProfile() {
  auto const * const status = zetBidirStatus_.target();
  if (!status) return;
  for (auto i = status->dfProfile().begin(); i; i.advance()) handleDfProfile(i.key());
}

void BidirDfSm::handleDfProfile(IntfId intfId) {
  if (!initialized_ || !zetBidirStatus_.target()) return;
  Zet::Ptr<BidirDfSm> const self(this);
  DfProfile const profile = zetBidirStatus_.target()->dfProfile(intfId);
  VlanIdOrNone const vlan = intfVlanIdTable_->intfIdToVlanId(intfId);
  if (!vlan) {
    ZET_TRACE(5, " No vlanId for intf " << intfId);
    return;
  }
  SKEIN("BidirDfSm::handleDfProfile ", intfId, " ", vlan, " ", profile.bitmap);
  if (profile == DfProfile()) {
    delDfProfile(vlan);
    unprogrammedDfDel(intfId);
  } else if (addDfProfile(vlan, profile.bitmap)) {
    verifyDfProfile(intfId);
  } else {
    unprogrammedDfIs(intfId, true);
  }
}

bool BidirDfSm::addDfProfile(VlanIdOrNone vlan, U64 bitmap) {
  for (auto i = fabric_->bidirDfChip().begin(); i; i.advance()) {
    Zet::Ptr<BidirDfChip> const chip(i->value);
    chip->doAddDfProfile(vlan, bitmap);
    if (chip->dfProfileTblFree()) continue;
    ZET_TRACE(5, "Failed to allocate dfProfile entry in chip " << chip->name());
    delDfProfile(vlan);
    return false;
  }
  return true;
}

void BidirDfSm::delDfProfile(VlanIdOrNone vlan) {
  for (auto i = fabric_->bidirDfChip().begin(); i; i.advance()) {
    Zet::Ptr<BidirDfChip>(i->value)->doDelDfProfile(vlan);
  }
}

void BidirDfSm::verifyDfProfile(IntfId intfId) {
  DfProfile const profile = zetBidirStatus_.target()->dfProfile(intfId);
  if (profile == DfProfile()) return;
  VlanIdOrNone const vlan = intfVlanIdTable_->intfIdToVlanId(intfId);
  for (auto i = fabric_->bidirDfChip().begin(); i; i.advance()) {
    Zet::Ptr<BidirDfChip>(i->value)->doVerifyDfProfile(vlan, profile.bitmap);
  }
}

// The machines of all VRFs hear of all interfaces, and share the tables of the chips.
bool BidirDfSm::isConcerned(IntfId intfId) const {
  auto const * const status = zetBidirStatus_.target();
  return unprogrammedDf_.contains(intfId) || (status && status->dfProfile().contains(intfId));
}

void BidirDfSm::handleInternalVlanId(IntfId intfId) {
  if (!initialized_) return;
  auto const change = lastVlans_.note(*intfVlanIdTable_, intfId);
  ZET_TRACE(8, intfId << " new VlanId " << change.is << " oldVlanId " << change.was);
  if (!change || !isConcerned(intfId)) return;
  Zet::Ptr<BidirDfSm> const self(this);
  if (change.was) delDfProfile(change.was);
  handleDfProfile(intfId);
}

// --- Retry

void BidirDfSm::handleDfTblFree() {
  kickRoomRetry(*clock_.get(), *clock_.target(), !unprogrammedDf_.empty());
}

void BidirDfSm::handleClock() {
  if (!initialized_) return;
  Zet::Ptr<BidirDfSm> const self(this);
  clock_->timeMinIs(Zet::Clock::never);
  SKEIN("BidirDfSm::handleClock ", vrfName_, " ", unprogrammedDf_.size());
  auto const back =
      retryInTurn(unprogrammedDf_, [this](auto const & waited) { handleDfProfile(waited.key()); });
  if (back) ZET_TRACE(5, "Failed to add dfProfile to intf " << *back);
}

}  // namespace Brindle
