// What there is to see in the switch, as plain data: one model from which both the tables for
// people and the JSON for programs are made.
#pragma once

#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "model/PortVlanSet.h"
#include "platform/VrfName.h"
#include "state/RouteKey.h"
#include "state/ShoalRoute.h"

namespace Brindle {
class MfibShoalSm;
}

namespace Brindle::Sim {

class Host;

// The VRFs that have a route table, in the order of their names; none before the start.
std::vector<L3::VrfName> vrfs(Host const & host);

// A route by its name.
struct KeyView {
  L3::VrfName vrf;
  Routing::Multicast::Fib::IpGenRouteKey key;

  bool isL2() const { return key.kind() != Routing::Multicast::Fib::mroute_; }
  std::string vrfText() const { return std::string(vrf.view()); }
  // "*" for any. Of an L2 route, which has neither: its Ethernet address or its peer, if any, and
  // its kind with its VLAN; of a requested group its client's number and its own.
  std::string source() const;
  std::string group() const;
  // Of an L2 route.
  char const * kind() const;
  std::string pretty() const;
  // In the order in which operators look for routes.
  bool operator<(KeyView const & o) const {
    return std::tuple(vrf, key.group(), key.source()) <
           std::tuple(o.vrf, o.key.group(), o.key.source());
  }
};

struct OutputView {
  std::string port;
  U32 lif;  // a VLAN, or above 4094 a logical interface; 0 for none
  bool tagged;
};
using OutputsView = std::vector<OutputView>;
OutputsView outputsOf(PortVlanSet const & set);

// One route as the resolver has it.
struct RouteView {
  // Where it stands on its road.
  enum class State { waiting, notComputed, blocked, inProgress, failed, noEntry, inHardware };
  // As people and programs read it.
  static constexpr char const * stateNames[] = {
      "waiting", "not computed", "blocked", "in progress", "failed", "no entry", "in hardware"};

  KeyView key;
  std::string iif;
  U32 vlan = 0;            // that it is accepted in
  std::optional<U32> set;  // its number in setViews()
  OutputsView outputs;
  bool toCpu = false;
  std::string notify;  // interfaces of its special entries, empty for none
  std::string fastdrop;
  std::string frr;
  State state = State::notComputed;
  std::string reason;  // of all but the last

  char const * stateName() const { return stateNames[static_cast<int>(state)]; }
};
std::vector<RouteView> routeViews(Host const & host);

// One L2 route.
struct FloodsetView {
  RouteView route;
  bool operator<(FloodsetView const & o) const { return route.key < o.route.key; }
};
std::vector<FloodsetView> floodsetViews(Host const & host);

// The route of a group that an agent asked for, if there is one.
std::optional<RouteView> groupRouteView(Host const & host,
                                        Routing::Multicast::Fib::IpGenRouteKey const & key);

// One output set and the routes that share it.
struct SetView {
  U32 number;
  OutputsView outputs;
  bool toCpu;
  std::vector<KeyView> routes;
};
std::vector<SetView> setViews(Host const & host);

// One chip with its entries.
struct EntryView {
  std::optional<U32> handle;  // none of a set that stands without an entry
  KeyView key;                // a chip does not know the VRF
  U32 vlan;
  bool active;
  OutputsView outputs;  // the local ones
};
struct ChipView {
  std::string name;
  U32 index;
  std::vector<std::string> ports;
  U32 routesInUse;
  U32 routeCapacity;
  std::string setUnit;  // what its room for sets is counted in
  U32 setsInUse;
  U32 setCapacity;
  bool routeRoom;  // what the chip says
  bool setRoom;
  U32 failedRoutes;  // that wait for it
  U32 failedSets;
  std::vector<EntryView> entries;
};
std::vector<ChipView> chipViews(Host const & host);

// What is published about the hardware.
struct StatusView {
  struct Route {
    KeyView key;
    std::string accepting;
    std::string notifying;
    std::string fastdrop;
    std::string frr;
    bool noRoute;
    bool noOutputs;
    double lastPoll;
  };
  bool hwRouting;
  bool routingEnabled;
  bool resourceFull;
  std::vector<Route> routes;
};
StatusView statusView(Host const & host);

// A VLAN of a route where packets failed the reverse-path check.
struct FastdropView {
  // How far its fastdrop has come: failures are counted; it stands; all chips hold it.
  enum class State { counting, notInHardware, inHardware };
  static constexpr char const * stateNames[] = {"counting", "not in hardware", "in hardware"};

  KeyView key;
  std::string intf;
  U32 vlan;
  U32 failures;  // counted since the last fastdrop there
  State state;
  std::optional<double> age;  // seconds since packets were last seen there

  char const * stateName() const { return stateNames[static_cast<int>(state)]; }
};
// The fastdrops of a VRF.
struct VrfFastdropView {
  std::string vrf;
  bool enabled;
  bool limitReached;  // the operator has been told so
  U32 count;
  U32 limit;
  U32 threshold;
  U32 pollingInterval;  // in seconds
  U64 failures;         // all that the kernel reported
  std::vector<FastdropView> fastdrops;
};
std::vector<VrfFastdropView> fastdropViews(Host const & host);

// A route that a chip refused.
struct FailureView {
  KeyView key;
  std::vector<std::string> chips;  // "c0: no route entry"
};
std::vector<FailureView> failureViews(Host const & host);

// How far the work has come.
struct ReviewView {
  std::string vrf;
  bool routing;
  bool gateOpen;
  U32 routes;
  U32 waiting;
  U32 failed;
  U32 passes;
  U32 computed;
  U32 unchanged;
  U32 queued;
  bool pending;
};
std::vector<ReviewView> reviewViews(Host const & host);

// The interfaces that a waiting (*,G) route of the table has to wait for, its input first.
std::vector<Nettle::IntfId> unreadyIntfs(MfibShoalSm const & table,
                                         Shoal::Multicast::Fib::Route const & route);

// Ports in their order, each once.
std::vector<std::string> portsOf(OutputsView const & outputs);

}  // namespace Brindle::Sim
