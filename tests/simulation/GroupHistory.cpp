#include "tests/simulation/GroupHistory.h"

#include <algorithm>

#include "tests/simulation/OraclePorts.h"

namespace Simulation {

using Brindle::OutLif;
using Brindle::PortVlan;

namespace {

constexpr U32 kindOfGroups = 4;
constexpr char macOfGroups[] = "01:00:5e:04:00:00";  // by which a LAG's one port is chosen

U32 number(std::string const & word) { return static_cast<U32>(std::stoull(word)); }

}  // namespace

void GroupHistory::note(std::vector<std::string> const & words) {
  std::string const verb = words.size() > 1 ? words[0] + " " + words[1] : words[0];
  if (verb == "group request") noteRequest(words);
  noteLives(verb);
  if (verb == "group drop") {
    auto const isGone = [&](auto const & one) {
      bool const gone = one.first.client == number(words[2]) &&
                        (words.size() == 3 || one.first.group == number(words[3]));
      if (gone && untried_.count(one.first)) orphans_.insert(one.first);
      return gone;
    };
    std::erase_if(wishes_, isGone);
    std::erase_if(groups_, isGone);
  }
  if (verb == "group replication" || verb == "lag hardware") {
    noteMode();
  }
  for (auto & [key, group] : groups_) {
    if (verb == "chip add") group.lateChips.insert(words[2]);
    if (verb == "chip del") group.lateChips.erase(words[2]);
    if (verb == "programmer start") group.lateChips.clear();
  }
}

// A programmer that starts while the review is off tries nothing before it is on; nor does one that
// has no chip, and none of those that come later is told of what stands.
void GroupHistory::noteLives(std::string const & verb) {
  auto const chips = host_.chips();
  if (verb == "programmer start" && (!isReviewOn() || chips.empty())) {
    for (auto const & one : groups_) untried_.insert(one.first);
  }
  if (!verb.starts_with("settle") || !isReviewOn()) return;
  std::erase_if(untried_, [&](GroupKey const & key) {
    return std::any_of(chips.begin(), chips.end(), [&](auto const * chip) {
      return !isLate(key, std::string(chip->name().view()));
    });
  });
}

bool GroupHistory::isReviewOn() const {
  auto const * const config = host_.hardware().reviewConfig();
  return config && config->reviewFreq() == Brindle::mrouteReviewEnabled;
}

// What comes out the same is not programmed anew.
void GroupHistory::noteMode() {
  for (auto & [key, group] : groups_) {
    auto const now = compute(wishes_[key], group.requestId);
    if (now.outputs != group.outputs) group = now;
  }
}

bool GroupHistory::isLate(GroupKey const & key, std::string const & chip) const {
  auto const group = groups_.find(key);
  return group != groups_.end() && group->second.lateChips.count(chip) != 0;
}

void GroupHistory::noteRequest(std::vector<std::string> const & words) {
  GroupKey const key{number(words[2]), number(words[3])};
  Wish wish;
  U32 vlan = 0;
  std::string what;
  for (std::size_t i = 4; i < words.size(); ++i) {
    std::string const & word = words[i];
    bool const isKeyword = word == "vlan" || word == "port" || word == "tunnel" || word == "lif" ||
                           word == "cpu" || word == "feature";
    if (isKeyword) {
      what = word;
      wish.toCpu |= word == "cpu";
    } else if (what == "vlan") {
      vlan = number(word);
    } else if (what == "port") {
      wish.members.push_back({Nettle::IntfId(word), OutLif(vlan)});
    } else if (what == "tunnel") {
      wish.members.push_back({Nettle::IntfId(word), OutLif()});
    } else if (what == "lif") {
      wish.members.back().outLif = OutLif(number(word));
    } else if (what == "feature") {
      wish.feature = number(word);
    }
  }
  groups_[key] = compute(wish, ++requests_);
  orphans_.erase(key);
  wishes_[key] = wish;
}

// A LAG stays where the chips know it and are to replicate to it. What another computation finds of
// it is what floods find, but without a VLAN where L2 sets have none.
GroupHistory::Group GroupHistory::compute(Wish const & wish, U32 requestId) const {
  auto const & policy = host_.policy();
  Group group;
  group.requestId = requestId;
  if (!wish.members.empty() && wish.members[0].outLif.value() <= 4094) {
    group.vlan = wish.members[0].outLif.value();
  }
  std::set<PortVlan> passed, lags;
  for (PortVlan member : wish.members) {
    bool const stays =
        !isLag(member.port) || (policy.groupsKeepLags && policy.hardwareLags.contains(member.port));
    if (stays) {
      passed.insert(member);
      continue;
    }
    bool const isUp = host_.records().lagStatusDir->intfStatus(member.port);
    if (isUp && host_.settings().ignoreVlanForL2Groups && member.outLif.value() <= 4094) {
      member.outLif = OutLif();
    }
    lags.insert(member);
  }
  Outputs outputs;
  outputs.toCpu = wish.toCpu;
  outputs.members = resolvedLags(host_, lags, group.vlan, Nettle::EthAddr(macOfGroups));
  outputs.members.insert(passed.begin(), passed.end());
  group.outputs = outputs.text() + " kind=" + std::to_string(kindOfGroups);
  if (wish.feature) group.outputs += " feature=" + std::to_string(wish.feature);
  return group;
}

}  // namespace Simulation
