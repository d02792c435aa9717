// Compares what agents asked for with the routes that stand for it, with the sets in each chip and
// with what the agents were told.
#pragma once

#include <map>

#include "tests/simulation/GroupHistory.h"
#include "tests/simulation/Standing.h"

namespace Simulation {

class GroupComparison : public Findings {
 public:
  GroupComparison(Brindle::Sim::Host const & host, GroupHistory const & history,
                  Circumstances const & circumstances);

 private:
  using GroupKey = Multicast::Group::GroupKey;
  using Group = GroupHistory::Group;
  // What stands of a group in a chip.
  struct Standing {
    U32 multicastId;
    bool active;
    std::string outputs;
  };

  void compareTable();
  void compareGroup(GroupKey const & key, Group const & group);
  void compareAnswer(GroupKey const & key, Group const & group, bool failed);
  void compareChip(Brindle::Sim::Chip const & chip, GroupKey const & key, Group const & group);
  void compareIds();
  void compareUnasked();
  bool mayBeDeletedLater() const;
  void differ(GroupKey const & key, std::string const & what);

  Brindle::Sim::Host const & host_;
  GroupHistory const & history_;
  std::map<GroupKey, Group> const & groups_;
  Circumstances const & circumstances_;
  std::map<std::string, std::map<GroupKey, Standing>> standing_;  // by chip
};

}  // namespace Simulation
