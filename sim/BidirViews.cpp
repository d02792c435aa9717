#include "sim/BidirViews.h"

#include <algorithm>
#include <set>

#include "sim/BidirAgent.h"
#include "sim/Host.h"
#include "sim/TextTable.h"
#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

using Nettle::IntfId;
using Shoal::Multicast::Fib::BidirStatus;
using Group = GroupTable::Group;

constexpr char const * leftBehind = "left behind";

std::string textOf(auto const & name) { return std::string(name.view()); }

std::vector<U32> pointsOf(U64 bitmap) {
  std::vector<U32> out;
  for (U32 i = 0; i < 64; ++i) {
    if (bitmap >> i & 1) out.push_back(i);
  }
  return out;
}

// Gathers what the machines have of each VRF.
class Bidir {
 public:
  explicit Bidir(Host const & host) : host_(host), chips_(host.chips()) {}

  BidirView take() {
    for (auto vrf : host_.bidir().vrfs().items()) view_.vrfs.push_back(textOf(vrf));
    for (auto af : {Nettle::ipv4(), Nettle::ipv6()}) {
      auto const * const root = host_.bidir().root(af);
      if (!root) continue;
      for (auto i = root->mcastGroupBidirSm().begin(); i; i.advance()) addGroups(*i);
      if (host_.hardware().asyncFabric()) continue;
      for (auto i = root->bidirDfSm().begin(); i; i.advance()) {
        addProfiles(i->vrfName(), *i->bidirStatus(), [&](IntfId intf) {
          return i->unprogrammedDf().contains(intf) ? "waits for room" : "not in hardware";
        });
      }
    }
    addLateProfiles();
    addLeftBehind();
    for (auto const * chip : chips_) {
      view_.chips.push_back(
          {textOf(chip->name()), chip->groups()->handles(), chip->groups()->total(),
           static_cast<U32>(chip->profiles().profiles().size()), chip->profiles().capacity()});
    }
    std::sort(view_.groups.begin(), view_.groups.end(), [](auto const & a, auto const & b) {
      return std::tie(a.vrf, a.groups) < std::tie(b.vrf, b.groups);
    });
    std::sort(view_.profiles.begin(), view_.profiles.end(), [](auto const & a, auto const & b) {
      return std::tie(a.vrf, a.intf, a.vlan) < std::tie(b.vrf, b.intf, b.vlan);
    });
    return std::move(view_);
  }

 private:
  void addGroups(McastGroupBidirSm const & sm);
  template <class Trouble>
  void addProfiles(L3::VrfName vrf, BidirStatus const & status, Trouble trouble);
  void addLateProfiles();
  void addLeftBehind();
  bool inAllChips(auto const & isHeld) const {
    return !chips_.empty() && std::all_of(chips_.begin(), chips_.end(), isHeld);
  }

  Host const & host_;
  std::vector<Chip *> const chips_;
  BidirView view_;
  std::set<Group> groups_;  // that some machine knows of
  std::set<U32> vlans_;
};

void Bidir::addGroups(McastGroupBidirSm const & sm) {
  for (auto const & prefix : sm.bidirStatus()->bidirGroup().items()) {
    Group const group{sm.vrfName(), prefix};
    bool const stands = inAllChips([&](Chip const * c) { return c->groups()->holds(group); });
    bool const waits = sm.unprogrammedPrefix().contains(prefix);
    view_.groups.push_back({textOf(group.vrf), Zet::textOf(prefix),
                            stands  ? "in hardware"
                            : waits ? "waits for room"
                                    : "not in hardware"});
    groups_.insert(group);
  }
}

template <class Trouble>
void Bidir::addProfiles(L3::VrfName vrf, BidirStatus const & status, Trouble trouble) {
  for (auto intf : status.dfProfile().items()) {
    U64 const bitmap = status.dfProfile(intf).bitmap;
    U32 const vlan = host_.records().intfVlanIdTable->intfIdToVlanId(intf).value();
    bool const stands = inAllChips([&](Chip const * chip) {
      auto const held = chip->profiles().profiles().find(vlan);
      return held != chip->profiles().profiles().end() && held->second == bitmap;
    });
    std::string const state = vlan == 0 ? "no VLAN" : stands ? "in hardware" : trouble(intf);
    view_.profiles.push_back({textOf(vrf), textOf(intf), vlan, pointsOf(bitmap), state});
    vlans_.insert(vlan);
  }
}

void Bidir::addLateProfiles() {
  auto const * const root = host_.bidir().async();
  if (!root) return;
  for (auto i = root->asyncBidirDfSm().begin(); i; i.advance()) {
    addProfiles(i->vrfName(), *i->bidirStatus(), [&](IntfId intf) {
      auto const * const profile = i->dfProfileInfo(intf);
      bool const isKnown = profile && profile->reason();
      return "not in hardware" + (isKnown ? ":" + profile->reason().pretty() : std::string());
    });
  }
}

void Bidir::addLeftBehind() {
  std::set<Group> groups;
  std::set<U32> vlans;
  for (auto const * chip : chips_) {
    for (auto const & [handle, group] : chip->groups()->entries()) groups.insert(group);
    for (auto const & [vlan, bitmap] : chip->profiles().profiles()) vlans.insert(vlan);
  }
  for (auto const & group : groups) {
    if (groups_.contains(group)) continue;
    view_.groups.push_back({textOf(group.vrf), Zet::textOf(group.prefix), leftBehind});
  }
  for (U32 const vlan : vlans) {
    if (!vlans_.contains(vlan)) view_.profiles.push_back({"-", "-", vlan, {}, leftBehind});
  }
}

std::string numbersOf(std::vector<U32> const & numbers) {
  std::string out;
  for (U32 const n : numbers) out += (out.empty() ? "" : " ") + std::to_string(n);
  return out.empty() ? "-" : out;
}

}  // namespace

BidirView bidirView(Host const & host) { return Bidir(host).take(); }

void print(std::ostream & out, BidirView const & view) {
  out << "Bidirectional PIM in VRF " << (view.vrfs.empty() ? "-" : joined(view.vrfs)) << '\n';
  if (!view.groups.empty()) {
    TextTable groups({"VRF", "Groups", "State"});
    for (auto const & one : view.groups) groups.add({one.vrf, one.groups, one.state});
    groups.print(out);
  }
  if (!view.profiles.empty()) {
    TextTable profiles({"VRF", "Interface", "VLAN", "Forwarder for", "State"});
    for (auto const & one : view.profiles) {
      profiles.add({one.vrf, one.intf, one.vlan ? std::to_string(one.vlan) : "-",
                    numbersOf(one.points), one.state});
    }
    profiles.print(out);
  }
  for (auto const & chip : view.chips) {
    out << "Chip " << chip.name << ": " << chip.groups << " of " << chip.groupCapacity
        << " groups, " << chip.profiles << " of " << chip.profileCapacity << " profiles\n";
  }
}

nlohmann::ordered_json toJson(BidirView const & view) {
  using Json = nlohmann::ordered_json;
  Json groups = Json::array(), profiles = Json::array(), chips = Json::array();
  for (auto const & one : view.groups) {
    groups.push_back({{"vrf", one.vrf}, {"groups", one.groups}, {"state", one.state}});
  }
  for (auto const & one : view.profiles) {
    profiles.push_back({{"vrf", one.vrf},
                        {"interface", one.intf},
                        {"vlan", one.vlan},
                        {"points", one.points},
                        {"state", one.state}});
  }
  for (auto const & one : view.chips) {
    chips.push_back({{"chip", one.name},
                     {"groups", one.groups},
                     {"groupCapacity", one.groupCapacity},
                     {"profiles", one.profiles},
                     {"profileCapacity", one.profileCapacity}});
  }
  return {{"vrfs", view.vrfs},
          {"groups", std::move(groups)},
          {"profiles", std::move(profiles)},
          {"chips", std::move(chips)}};
}

}  // namespace Brindle::Sim
