// What there is to see of a programmer whose chips answer later.
#pragma once

#include "platform/Xact.h"
#include "sim/Views.h"

namespace Brindle::Sim {

// A transaction that a route waits for, or has an answer to while others are out.
struct TransactionView {
  std::string chip;
  U32 id;
  bool ofEntry;  // the pointing of an entry at its set; else the set itself
  KeyView key;
  U32 vlan;
  std::string entry;  // which of the route's: "route", "notify" ...
  U32 set;            // the transaction that it waits for; 0 for none
  Keel::XactResult result;
};
std::vector<TransactionView> transactionViews(Host const & host);

// The routes of a VRF that are not in hardware as they are to be, by kind and cause.
struct CountersView {
  std::string vrf;
  std::vector<std::pair<std::string, U32>> counters;
};
// What `show review` tells of the programmer; nothing where chips answer at once, or it is dead.
struct ProgrammerView {
  bool enabled;
  bool backlog;
  std::vector<CountersView> vrfs;
};
std::optional<ProgrammerView> programmerView(Host const & host);

}  // namespace Brindle::Sim
