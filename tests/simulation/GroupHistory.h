// What the chips must hold for the groups that agents ask for: each as the switch was when it was
// asked for, or when LAGs were to be replicated to in another manner. It follows the script, and
// computes each set from the published records alone.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "sim/Host.h"
#include "tests/simulation/Oracle.h"

namespace Simulation {

class GroupHistory {
 public:
  using GroupKey = Multicast::Group::GroupKey;
  struct Group {
    U32 requestId = 0;
    U32 vlan = 0;
    std::string outputs;  // as textOf() has them
    // Chips that came since: no review tells them of it, but the group's next version.
    std::set<std::string> lateChips;
  };

  explicit GroupHistory(Brindle::Sim::Host const & host) : host_(host) {}

  // After a line that the switch has taken.
  void note(std::vector<std::string> const & words);
  std::map<GroupKey, Group> const & groups() const { return groups_; }
  // No group may be in the chip yet, or not this one.
  bool isLate(GroupKey const & key, std::string const & chip) const;
  // Dropped before the present programmer had tried it: what an earlier one told of it stays.
  bool isOrphan(GroupKey const & key) const { return orphans_.count(key) != 0; }

 private:
  // What a client wants.
  struct Wish {
    std::vector<Brindle::PortVlan> members;
    bool toCpu = false;
    U32 feature = 0;
  };
  void noteMode();
  void noteLives(std::string const & verb);
  bool isReviewOn() const;
  void noteRequest(std::vector<std::string> const & words);
  Group compute(Wish const & wish, U32 requestId) const;

  Brindle::Sim::Host const & host_;
  std::map<GroupKey, Wish> wishes_;
  std::map<GroupKey, Group> groups_;
  U32 requests_ = 0;
  std::set<GroupKey> untried_;
  std::set<GroupKey> orphans_;
};

}  // namespace Simulation
