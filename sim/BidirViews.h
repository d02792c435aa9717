// What there is to see of bidirectional PIM.
#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "platform/Types.h"

namespace Brindle::Sim {

class Host;

struct BidirView {
  // A group prefix. What no machine knows of any more stays in the chips ("left behind").
  struct Group {
    std::string vrf;
    std::string groups;
    std::string state;
  };
  // For which rendezvous points the switch is designated forwarder.
  struct Profile {
    std::string vrf;
    std::string intf;
    U32 vlan;                 // 0: none
    std::vector<U32> points;  // indices
    std::string state;
  };
  struct Chip {
    std::string name;
    U32 groups, groupCapacity;
    U32 profiles, profileCapacity;
  };

  std::vector<std::string> vrfs;  // that have it on
  std::vector<Group> groups;
  std::vector<Profile> profiles;
  std::vector<Chip> chips;
};

BidirView bidirView(Host const & host);
void print(std::ostream & out, BidirView const & view);
nlohmann::ordered_json toJson(BidirView const & view);

}  // namespace Brindle::Sim
