#include "sim/BidirTables.h"

#include <algorithm>

#include "sim/Words.h"

namespace Brindle::Sim {

using Bridging::VlanIdOrNone;

// --- Groups

bool GroupTable::holds(Group const & group) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [&](auto const & entry) { return entry.second == group; });
}

void GroupTable::capacityIs(U32 n) {
  requireRoom("groups", n, handles());
  totalIs(n);
  announceRoom();
}

void GroupTable::announceRoom() {
  if (handles() < total()) mcastGroupTcamFreeIs(true);
}

void GroupTable::clear() {
  while (!entries_.empty()) doDelBidirGroup(entries_.begin()->first);
}

void GroupTable::doAddBidirGroup(L3::VrfName vrf, Nettle::IpGenPrefix const & prefix) {
  SimBidirGroupChip::doAddBidirGroup(vrf, prefix);
  if (!bidirGroupHandle().isNull()) entries_[bidirGroupHandle()] = {vrf, prefix};
}

void GroupTable::doDelBidirGroup(RouteHandle handle) {
  entries_.erase(handle);
  SimBidirGroupChip::doDelBidirGroup(handle);
}

// --- Profiles

void ProfileTable::capacityIs(U32 n) {
  requireRoom("profiles", n, static_cast<U32>(profiles_.size()));
  doSetCapacity(n);
  announceRoom();
}

void PromptProfileTable::announceRoom() {
  if (dfProfiles() < dfTblSize()) dfProfileTblFreeIs(true);
}

void PromptProfileTable::clear() {
  while (!profiles_.empty()) doDelDfProfile(VlanIdOrNone(profiles_.begin()->first));
}

void PromptProfileTable::doAddDfProfile(VlanIdOrNone vlan, U64 bitmap) {
  bool const isRoom = dfProfiles() < dfTblSize();
  SimBidirDfChip::doAddDfProfile(vlan, bitmap);
  if (isRoom) profiles_[vlan.value()] = bitmap;
}

void PromptProfileTable::doDelDfProfile(VlanIdOrNone vlan) {
  profiles_.erase(vlan.value());
  SimBidirDfChip::doDelDfProfile(vlan);
}

LateProfileTable::LateProfileTable(Zet::Name name, U32 index)
    : SimAsyncBidirDfChip(name, index),
      answering_(Zet::make<Answering>(*this)) {
  dfTblSizeIs(defaultCapacity);
}

void LateProfileTable::clear() {
  while (!profiles_.empty()) doDelDfProfile(VlanIdOrNone(profiles_.begin()->first));
  while (!pending_.empty()) doDelDfProfile(VlanIdOrNone(pending_.begin()->first));
}

bool LateProfileTable::isOpen(U32 vlan, RouteHandle) const {
  auto const xact = dfAllocXact(vlan);
  return xact && xact->result() == Keel::XactResult::outstanding;
}

bool LateProfileTable::end(U32 vlan, RouteHandle, Keel::XactResult result) {
  auto const bitmap = pending_.extract(vlan);
  bool const isTaken = result == Keel::XactResult::success && dfProfiles() < dfTblSize();
  if (isTaken && bitmap) profiles_[vlan] = bitmap.mapped();
  doEnd(VlanIdOrNone(vlan), dfAllocXact(vlan), result);
  return true;
}

LateProfileTable::XactPtr LateProfileTable::doAddDfProfile(VlanIdOrNone vlan, RpaBitmap bitmap,
                                                           XactPtr const &) {
  auto const xact = dfAllocXactIs(vlan);
  xact->resultIs(Keel::XactResult::outstanding);
  pending_[vlan.value()] = bitmap.bitmap;
  answering_->openIs(vlan.value());
  return xact;
}

void LateProfileTable::doDelDfProfile(VlanIdOrNone vlan) {
  pending_.erase(vlan.value());
  profiles_.erase(vlan.value());
  SimAsyncBidirDfChip::doDelDfProfile(vlan);
}

}  // namespace Brindle::Sim
