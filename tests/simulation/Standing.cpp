#include "tests/simulation/Standing.h"

#include <algorithm>

namespace Simulation {

using Brindle::Sim::Host;

Brindle::Mroute const * mroute(Host const & host, RouteName const & name) {
  auto const & tables = host.routeTables();
  using namespace Routing::Multicast::Fib;
  bool const isL2 = name.key.kind() != mroute_ && name.key.kind() != mcastGroup_;
  auto const * table = isL2 ? tables.l2FloodsetTable().get() : tables.vrfMrouteTable(name.vrf);
  return table ? table->mroute(name.key) : nullptr;
}

Brindle::Sim::Fib::Hardware::RouteStatus const * statusOf(Host const & host,
                                                          RouteName const & name) {
  auto const * vrf = host.records().hardware->vrfStatus(name.vrf);
  return vrf ? vrf->route(name.key) : nullptr;
}

bool failedWholly(Host const & host, RouteName const & name) {
  auto const * status = statusOf(host, name);
  return status && status->hwFlags() != 0;
}

bool isRetried(Host const & host, RouteName const & name) {
  auto const trouble = host.hardware().trouble(name.vrf, name.key);
  return trouble && trouble->kind == Brindle::Sim::Hardware::Trouble::refused;
}

bool haveChipsGone(Host const & host, std::set<std::string> const & lateChips) {
  auto const chips = host.chips();
  return chipsAnswerLater(host) && std::all_of(chips.begin(), chips.end(), [&](auto const * chip) {
           return lateChips.count(nameOf(*chip)) != 0;
         });
}

std::string textOf(Brindle::OifSet const * set) {
  return set ? textOf(set->portVlanSet()) : "no set";
}

std::string nameOf(Brindle::Sim::Chip const & chip) { return std::string(chip.name().view()); }

}  // namespace Simulation
