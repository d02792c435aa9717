// What there is to see of multicast boundaries.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "sim/Views.h"

namespace Brindle::Sim {

struct BoundaryView {
  // Which of the library's machines runs.
  enum class By { nothing, tcam, learning };
  static constexpr char const * byNames[] = {"nothing", "TCAM", "learning"};

  // A prefix that an interface denies: in chips that can, where it stands for which sources.
  struct Denied {
    std::string intf;
    std::string groups;
    U32 vlan;                          // 0: none
    std::vector<std::string> sources;  // prefixes whose entries stand in every chip
    bool waits;                        // a chip had no room
  };
  // What was learned: traffic to a denied group.
  struct Learned {
    KeyView key;
    std::string intf;
    U32 vlan;
    bool inHardware;
    std::optional<double> age;  // seconds since packets were last seen there
  };

  By by = By::nothing;
  std::vector<Denied> denied;
  std::vector<Learned> learned;
};

// The machines must run.
BoundaryView boundaryView(Host & host);

// Where and how the group of a route is denied, one line each; nothing where no machine runs.
struct Denial {
  std::string text;
  std::string remedy;  // the command that ends it
};
std::vector<Denial> denialsOf(Host & host, KeyView const & key);

void print(std::ostream & out, BoundaryView const & view);
nlohmann::ordered_json toJson(BoundaryView const & view);

}  // namespace Brindle::Sim
