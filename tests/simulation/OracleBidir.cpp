#include "tests/simulation/OracleBidir.h"

#include <algorithm>

#include "sim/AsyncChip.h"
#include "sim/BidirAgent.h"

namespace Simulation {

using Brindle::Sim::LateProfileTable;
using Brindle::Sim::PromptProfileTable;
using Nettle::ipv4;

namespace {

std::string textOf(std::map<std::string, U64> const & standing) {
  std::string out;
  for (auto const & [chip, bitmap] : standing) {
    out += " " + chip + "=" + std::to_string(bitmap);
  }
  return out.empty() ? " nowhere" : out;
}

LateProfileTable const & lateTable(Brindle::Sim::Chip const & chip) {
  return static_cast<LateProfileTable const &>(chip.profiles());
}

}  // namespace

// --- Following the script

void BidirOracle::note(Words const & words, Published const & published) {
  bool const isChip = words.size() > 2 && words[0] == "chip";
  if (isChip && words[1] == "del") {
    left_.erase(words[2]);
    for (auto & [vlan, state] : vlans_) state.standing.erase(words[2]);
  }
  if (words[0] == "programmer" && words[1] == "start") {
    left_.clear();
    vlans_.clear();
  }
  auto const before = std::exchange(published_, published);
  auto const now = following();
  noteEnded(now);
  noteClaims(now);
  for (auto const & [owner, bitmap] : claims(now)) {
    auto const table = before.find(owner.table);
    bool const isAnew =
        table != before.end() && table->second.takeovers != published_[owner.table].takeovers;
    bool const chipComes = isChip && words[1] == "add";
    if (isAnew || chipComes) speak(where_.at(owner), owner, bitmap);
  }
  // A table that is read from its beginning may have what has gone from it told, too.
  bool const isRead = std::any_of(now.begin(), now.end(),
                                  [this](auto const & table) { return !following_.count(table); });
  for (auto & [vlan, state] : vlans_) state.loose |= isRead && state.claims.empty();
  following_ = now;
  std::size_t needed = 0;
  for (auto const & [vlan, state] : vlans_) needed += !found(vlan).empty() || !state.claims.empty();
  for (auto const * chip : host_.chips()) wasFull_ |= chip->profiles().capacity() <= needed;
}

std::set<BidirName> BidirOracle::following() const {
  std::set<BidirName> out;
  if (!host_.hardware().runs()) return out;
  for (auto vrf : host_.bidir().vrfs().items()) {
    for (auto af : {ipv4(), Nettle::ipv6()}) out.emplace(vrf, af);
  }
  return out;
}

U32 BidirOracle::vlanOf(IntfId intf) const {
  return host_.records().intfVlanIdTable->intfIdToVlanId(intf).value();
}

// Chips that answer later take profiles of IPv4 alone, and who puts them there does not look at the
// groups.
std::map<BidirOracle::Owner, U64> BidirOracle::claims(std::set<BidirName> const & tables) const {
  std::map<Owner, U64> out;
  bool const later = chipsAnswerLater(host_);
  for (auto const & [name, pim] : published_) {
    bool const isRead = later ? name.second == ipv4() : !pim.damaged;
    if (!isRead || !tables.count(name)) continue;
    for (auto const & [intf, bitmap] : pim.profiles) out[{name, intf}] = bitmap;
  }
  return out;
}

// What a machine leaves behind stays as it is.
void BidirOracle::noteEnded(std::set<BidirName> const & now) {
  for (auto const & table : following_) {
    if (now.count(table)) continue;
    for (auto const * chip : host_.chips()) {
      auto & left = left_[nameOf(*chip)];
      std::erase_if(left, [&](Group const & one) {
        return one.vrf == table.first && one.prefix.af() == table.second;
      });
      left.merge(groupsOf(*chip, table));
    }
  }
  for (auto & [vlan, state] : vlans_) {
    auto const ended = [&](Owner const & owner) { return !now.count(owner.table); };
    bool const any = std::any_of(state.speakers.begin(), state.speakers.end(), ended) ||
                     std::any_of(state.claims.begin(), state.claims.end(),
                                 [&](auto const & one) { return ended(one.first); });
    if (!any) continue;
    leave(vlan);
    for (auto * owners : {&state.speakers, &state.waiting, &state.stuck, &state.changed}) {
      std::erase_if(*owners, ended);
    }
    std::erase_if(state.claims, [&](auto const & one) { return ended(one.first); });
  }
  std::erase_if(where_, [&](auto const & one) { return !now.count(one.first.table); });
}

// A chip may yet do what it was asked for.
void BidirOracle::leave(U32 vlan) {
  Vlan & state = vlans_[vlan];
  state.standing = found(vlan);
  if (!chipsAnswerLater(host_)) return;
  for (auto const * chip : host_.chips()) state.mixed |= lateTable(*chip).isOpen(vlan, {});
}

// Who is told of a profile, or of an internal VLAN, writes it; of a VLAN that a routed interface
// has got or lost since it is not another's internal VLAN, or is, nobody is told.
void BidirOracle::noteClaims(std::set<BidirName> const & now) {
  auto const wanted = claims(now);
  for (auto const & [owner, bitmap] : wanted) where_.try_emplace(owner, vlanOf(owner.intf));
  auto const & table = *host_.records().intfVlanIdTable;
  for (auto & [owner, vlan] : where_) {
    U32 const is = vlanOf(owner.intf);
    auto const last = internal_.find(owner.intf);
    U32 const wasInternal = last == internal_.end() ? 0 : last->second;
    bool const isTold = wasInternal != table.internalVlanId(owner.intf).value();
    auto const want = wanted.find(owner);
    U64 const bitmap = want == wanted.end() ? 0 : want->second;
    auto const & claims = vlans_[vlan].claims;
    auto const claim = claims.find(owner);
    U64 const before = claim == claims.end() ? 0 : claim->second;
    for (U32 one : {vlan, is}) {
      if (vlan == is) continue;
      isTold ? speak(one, owner) : miss(one, bitmap);
    }
    if (bitmap != before || (vlan != is && isTold)) speak(is, owner, bitmap);
    vlan = is;
  }
  for (auto & [vlan, state] : vlans_) state.claims.clear();
  for (auto const & [owner, bitmap] : wanted) {
    vlans_[where_.at(owner)].claims[owner] = bitmap;
  }
  internal_.clear();
  for (auto const & entry : table.internalVlanId().items()) {
    internal_[entry.key] = entry.value.value();
  }
}

void BidirOracle::miss(U32 vlan, U64 bitmap) {
  Vlan & state = vlans_[vlan];
  state.open = state.loose = true;
  if (bitmap) state.spoken.insert(bitmap);
}

void BidirOracle::speak(U32 vlan, Owner const & owner, U64 bitmap) {
  Vlan & state = vlans_[vlan];
  state.speakers.insert(owner);
  state.changed.insert(owner);
  if (bitmap) state.spoken.insert(bitmap);
}

// --- In the chips

BidirOracle::Groups BidirOracle::groupsOf(Chip const & chip, BidirName const & table) const {
  Groups out;
  for (auto const & [handle, group] : chip.groups()->entries()) {
    if (group.vrf == table.first && group.prefix.af() == table.second) out.insert(group);
  }
  return out;
}

BidirOracle::Standing BidirOracle::found(U32 vlan) const {
  Standing out;
  for (auto const * chip : host_.chips()) {
    auto const & all = chip->profiles().profiles();
    if (auto const one = all.find(vlan); one != all.end()) out[nameOf(*chip)] = one->second;
  }
  return out;
}

bool BidirOracle::isSomeFull(bool ofGroups) const {
  auto const chips = host_.chips();
  return std::any_of(chips.begin(), chips.end(), [ofGroups](Chip const * chip) {
    return ofGroups ? chip->groups()->handles() >= chip->groups()->total()
                    : chip->profiles().profiles().size() >= chip->profiles().capacity();
  });
}

// Some chip has said that it is full, and is to say when it is no more.
bool BidirOracle::isRoomDue() const {
  auto const chips = host_.chips();
  return std::any_of(chips.begin(), chips.end(), [](Chip const * chip) {
    return !static_cast<PromptProfileTable const &>(chip->profiles()).dfProfileTblFree();
  });
}

bool BidirOracle::waits(Owner const & owner) const {
  auto const & [vrf, af] = owner.table;
  return host_.bidir().root(af)->bidirDfSm(vrf)->unprogrammedDf().contains(owner.intf);
}

bool BidirOracle::isTriedLater(Owner const & owner) const {
  auto const * machine = host_.bidir().async()->asyncBidirDfSm(owner.table.first);
  auto const * failed = machine->failedDfProfile().find(owner.intf);
  return failed && failed->dfProfileInfo->reason();
}

void BidirOracle::compare(bool isHealed) {
  compareGroups();
  for (auto const * chip : host_.chips()) {
    for (auto const & one : chip->profiles().profiles()) vlans_[one.first];
  }
  vlans_.erase(0);
  for (auto & [vlan, state] : vlans_) compareVlan(vlan, state, isHealed);
  auto const wanted = claims(following_);
  std::erase_if(where_, [&](auto const & one) { return !wanted.count(one.first); });
  wasFull_ = false;
}

// --- Groups

void BidirOracle::compareGroups() {
  std::map<std::string, Groups> found;
  for (auto const * chip : host_.chips()) {
    auto & here = found[nameOf(*chip)];
    for (auto const & [handle, group] : chip->groups()->entries()) here.insert(group);
    for (auto const & group : left_[nameOf(*chip)]) {
      auto const one = here.find(group);
      if (one == here.end()) {
        Findings::differ(nameOf(*chip) + " has lost " + Zet::textOf(group.prefix) + " of " +
                         std::string(group.vrf.view()) + ", which was left behind");
      } else {
        here.erase(one);
      }
    }
  }
  for (auto const & table : following_) compareGroups(table, found);
  for (auto const & [chip, groups] : found) {
    for (auto const & group : groups) {
      Findings::differ(chip + ": nobody wants " + Zet::textOf(group.prefix) + " of " +
                       std::string(group.vrf.view()));
    }
  }
}

void BidirOracle::compareGroups(BidirName const & table, std::map<std::string, Groups> & found) {
  auto const read = published_.find(table);
  if (read == published_.end() || read->second.damaged || found.empty()) return;
  for (auto const & prefix : read->second.groups) {
    Group const group{table.first, prefix};
    std::size_t holders = 0;
    for (auto & [chip, groups] : found) {
      auto const one = groups.find(group);
      if (one == groups.end()) continue;
      ++holders;
      groups.erase(one);
    }
    std::string const name =
        "group " + Zet::textOf(prefix) + " of " + std::string(table.first.view());
    auto const * machine = host_.bidir().root(table.second)->mcastGroupBidirSm(table.first);
    shown_ += name + " is in " + std::to_string(holders) + " chips\n";
    if (holders == found.size()) continue;
    if (holders) Findings::differ(name + " is in some chips only");
    if (!isSomeFull(true)) Findings::differ(name + " is in no chip, though all have room");
    if (!machine->unprogrammedPrefix().contains(prefix)) {
      Findings::differ(name + " is in no chip, and nobody tries it again");
    }
  }
}

// --- Profiles

void BidirOracle::differ(U32 vlan, Standing const & found, std::string const & expected) {
  Findings::differ("profile of VLAN " + std::to_string(vlan) + ": expected " + expected +
                   ", found" + textOf(found));
}

void BidirOracle::compareVlan(U32 vlan, Vlan & state, bool isHealed) {
  Standing const here = found(vlan);
  if (!here.empty()) shown_ += "profile of VLAN " + std::to_string(vlan) + textOf(here) + "\n";
  bool const later = chipsAnswerLater(host_);
  std::set<Owner> all = state.speakers;
  if (later) {
    for (auto const & [owner, bitmap] : state.claims) all.insert(owner);
  }
  if (later) state.mixed |= all.size() > 1 || state.open;
  if (state.mixed || state.open || all.size() > 1) {
    compareOpen(vlan, state, here);
  } else if (all.empty()) {
    bool const mayGo = state.loose && state.claims.empty() && here.empty();
    if (here != state.standing && !mayGo) differ(vlan, here, "as it was:" + textOf(state.standing));
  } else if (later && !state.claims.empty()) {
    compareLate(vlan, state, here, isHealed);
  } else {
    compareOwned(vlan, state, *all.begin(), here);
  }
  rest(state, here);
}

void BidirOracle::rest(Vlan & state, Standing const & found) {
  state.standing = found;
  auto const stuck = std::exchange(state.stuck, {});
  auto const changed = std::exchange(state.changed, {});
  state.waiting.clear();
  if (!mayBeUnderWay(state)) state.spoken.clear();
  for (auto const & [owner, bitmap] : state.claims) state.spoken.insert(bitmap);
  if (!chipsAnswerLater(host_)) {
    for (auto const & [owner, bitmap] : state.claims) {
      if (!waits(owner)) continue;
      state.waiting.insert(owner);
      bool const stays = stuck.count(owner) && !changed.count(owner);
      if (stays || !isRoomDue()) state.stuck.insert(owner);
    }
  }
  state.speakers = state.waiting;
  if (found.empty()) state.loose = false;
  state.open = false;
}

// One has spoken of the VLAN, and is the only one.
void BidirOracle::compareOwned(U32 vlan, Vlan const & state, Owner const & owner,
                               Standing const & found) {
  auto const claim = state.claims.find(owner);
  if (claim == state.claims.end()) {
    if (!found.empty()) differ(vlan, found, "none");
    return;
  }
  Standing wanted;
  for (auto const * chip : host_.chips()) wanted[nameOf(*chip)] = claim->second;
  if (found == wanted) return;
  bool const isChanged = state.changed.count(owner) != 0;
  bool const isOthers = !isChanged && found == state.standing;
  if (!found.empty() && !isOthers) return differ(vlan, found, "in all chips:" + textOf(wanted));
  if (!waits(owner)) return differ(vlan, found, "waiting, or in all chips:" + textOf(wanted));
  // Changed while a chip was exactly full it went out of all of them, and there was room again
  // before it began to wait for that.
  bool const mayBeStuck = isChanged ? wasFull_ : state.stuck.count(owner) != 0;
  if (!isSomeFull(false) && !mayBeStuck) differ(vlan, found, "in all chips:" + textOf(wanted));
}

// What is not in all chips is tried again, once a second.
void BidirOracle::compareLate(U32 vlan, Vlan const & state, Standing const & found, bool isHealed) {
  auto const & [owner, bitmap] = *state.claims.begin();
  Standing wanted;
  for (auto const * chip : host_.chips()) wanted[nameOf(*chip)] = bitmap;
  if (found == wanted) return;
  if (isHealed || !isTriedLater(owner))
    return differ(vlan, found, "in all chips:" + textOf(wanted));
  auto const chips = host_.chips();
  bool const isUnderWay = std::any_of(chips.begin(), chips.end(), [vlan](Chip const * chip) {
    return lateTable(*chip).isOpen(vlan, {});
  });
  if (!isUnderWay && !found.empty() && found != state.standing) {
    return differ(vlan, found, "none, since it has failed");
  }
  compareOpen(vlan, state, found);
}

// A chip may yet take what has been replaced meanwhile.
bool BidirOracle::mayBeUnderWay(Vlan const & state) const {
  if (!chipsAnswerLater(host_)) return false;
  auto const isTried = [this](auto const & one) { return isTriedLater(one.first); };
  return state.mixed || std::any_of(state.claims.begin(), state.claims.end(), isTried);
}

void BidirOracle::compareOpen(U32 vlan, Vlan const & state, Standing const & found) {
  for (auto const & [chip, bitmap] : found) {
    auto const before = state.standing.find(chip);
    bool const stays = before != state.standing.end() && before->second == bitmap;
    if (!stays && !state.spoken.count(bitmap)) differ(vlan, found, "what was ever published");
  }
}

}  // namespace Simulation
