// Agents that ask for replication groups.
//
// As with chips that answer later, which alone have such groups, all of it is drawn from a stream
// of its own: the script of a seed is else what it would be without.
#include "tests/simulation/Generator.h"

namespace Simulation {

void Generator::configureGroups() { asksForGroups_ = async_ && agents_.percent(60); }

// With as many as one in five of the others; a seed has many or few of each sort.
void Generator::weighGroups() {
  using G = Generator;
  if (!asksForGroups_) return;
  groupEvents_ = {{10, &G::groupRequest}, {6, &G::groupDrop}, {3, &G::groupAgain},
                  {3, &G::groupLag},      {3, &G::groupMode}, {2, &G::clientGo},
                  {2, &G::groupTwins},    {2, &G::groupFull}};
  for (auto & event : groupEvents_) {
    event.weight *= agents_.percent(15) ? 0 : agents_.between(1, 3);
    groupWeight_ += event.weight;
  }
}

void Generator::groupEvent() {
  if (groupWeight_ == 0 || !agents_.percent(20)) return;
  U32 at = agents_.below(groupWeight_);
  auto event = groupEvents_.begin();
  while (at >= event->weight) at -= event++->weight;
  (this->*event->make)();
}

// A group that is dropped goes with a review of its VRF, which needs a table.
void Generator::tearDownGroups() {
  if (!asksForGroups_) return;
  add("attach pim.default");
  for (auto const * client : {"1", "2", "3"}) {
    if (agents_.percent(50)) add({"group drop ", client, " 1"});
    add({"group drop ", client});
  }
  add("settle");
}

std::string Generator::groupName() {
  return std::to_string(agents_.between(1, 3)) + " " + std::to_string(agents_.between(1, 4));
}

std::string Generator::groupPort() {
  if (agents_.percent(30)) return "Port-Channel" + std::to_string(agents_.between(1, 4));
  if (agents_.percent(8)) return agents_.of({"Cpu", "Vxlan1", "PeerEthernet4"});
  return "p" + std::to_string(agents_.between(1, 9));
}

std::string Generator::groupPorts() {
  std::string text = groupPort();
  while (agents_.percent(55)) text += " " + groupPort();
  return text;
}

// Of ports of a VLAN, which need not exist, of logical interfaces, or of nothing. A LAG may be
// behind a logical interface, too; 0 is no VLAN, and what is above 4094 is none either.
std::string Generator::groupMembers() {
  std::string text;
  U32 const sort = agents_.below(10);
  if (sort < 6) {
    text = " vlan " + agents_.of({"10", "20", "30", "4094"}) + " port " + groupPorts();
  } else if (sort < 9) {
    std::string const lif = agents_.of({"0", "5000", "4095", "4294967295"});
    do {
      text += " tunnel " + groupPort() + " lif " + lif;
    } while (agents_.percent(50));
  }
  if (agents_.percent(25)) text += " cpu";
  if (agents_.percent(15)) text += " feature " + agents_.of({"1", "65536", "4294967295"});
  return text;
}

void Generator::groupRequest() { add({"group request ", groupName(), groupMembers()}); }

void Generator::groupDrop() { add({"group drop ", groupName()}); }

void Generator::clientGo() { add({"group drop ", std::to_string(agents_.between(1, 3))}); }

// It comes back before its route has gone, or just after.
void Generator::groupAgain() {
  std::string const name = groupName();
  add({"group drop ", name});
  if (agents_.percent(40)) add({"clock turns ", agents_.of({"1", "2", "5"})});
  add({"group request ", name, groupMembers()});
}

// One that changes under a group, and what tells the group of it.
void Generator::groupLag() {
  std::string const lag = "Port-Channel" + std::to_string(agents_.between(1, 3));
  add({"group request ", groupName(), " vlan 20 port ", lag, " ", groupPort()});
  if (agents_.percent(50)) add("settle");
  add({"lag add ", lag, " member p", std::to_string(agents_.between(1, 9))});
  if (agents_.percent(60)) groupMode();
}

void Generator::groupMode() {
  if (agents_.percent(40)) return add({"group replication ", agents_.of({"lags", "ports"})});
  add({"lag hardware Port-Channel", std::to_string(agents_.between(1, 3)),
       agents_.of({" on", " off"})});
}

// Equal ones, of which one changes.
void Generator::groupTwins() {
  std::string const members = groupMembers();
  add({"group request 1 1", members});
  add({"group request 2 1", members});
  if (agents_.percent(70)) add("settle");
  add({"group request ", agents_.of({"1 1", "2 1"}), groupMembers()});
}

// A chip that has no room for what is asked next.
void Generator::groupFull() {
  if (!asyncFaults_) return groupRequest();
  std::string const chip = "c" + std::to_string(agents_.below(chips_));
  add({"chip limit ", chip, " sets ", agents_.of({"0", "1", "4"})});
  groupRequest();
  if (agents_.percent(50)) add("settle");
  add({"chip limit ", chip, " sets ", plenty()});
}

}  // namespace Simulation
