// Why a route is as it is, in the words of the field: one model for people and for programs.
#pragma once

#include "sim/ExplainWords.h"

namespace Brindle::Sim {

struct ExplainView {
  // A table that holds the route.
  struct Publisher {
    std::string table;
    U32 priority;
    bool counts;    // its record is the one that is used
    Told obstacle;  // to its installation; no text if there is none
  };
  struct Output {
    std::string intf;
    U32 vlan;
    bool isInput;
    Told told;
  };
  struct Port {
    std::string port;
    bool in;
    Told told;
  };
  struct Vlan {
    U32 vlan;
    std::string intf;  // that routes it
    Told told;
    std::vector<Port> ports;
  };
  struct Entry {
    std::string chip;
    std::optional<U32> vlan;  // nothing: the chip has no entry
    bool active;
    OutputsView outputs;  // of the chip's ports
  };

  KeyView key;
  std::vector<Publisher> publishers;
  std::optional<RouteView> route;  // as it stands
  Told state;                      // how far it has come
  std::string input;               // "et1 in VLAN 1006", or why there is none
  std::vector<Output> outputs;
  std::vector<Vlan> vlans;
  std::optional<Told> elsewhere;  // of the port that was asked for, if none of these has it
  std::vector<Told> specials;
  std::vector<Told> denials;       // by boundaries on interfaces of the VRF
  std::vector<std::string> notes;  // what else its set says
  std::vector<Entry> entries;      // of each chip
};

// Of all ports, or of one. Changes nothing. Throws CommandError if there is no such VRF.
ExplainView explainView(Host & host, L3::VrfName vrf,
                        Routing::Multicast::Fib::IpGenRouteKey const & key,
                        Nettle::IntfId port = {});

}  // namespace Brindle::Sim
