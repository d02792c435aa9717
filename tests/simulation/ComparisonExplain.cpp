#include "tests/simulation/ComparisonExplain.h"

#include <algorithm>
#include <set>

#include "sim/Host.h"

namespace Simulation {

using Brindle::Explanation;
using Brindle::Mroute;
using Brindle::RouteVerdict;

ExplainComparison::ExplainComparison(Brindle::Sim::Host & host) : host_(host) {
  for (auto mira = host.root().mira().begin(); mira; mira.advance()) {
    auto const & routes = mira->mrouteTable()->mroute();
    for (auto i = routes.begin(); i; i.advance()) {
      // What agents ask for stands there, too, and is none of the resolver's business.
      bool const isIp = i.key().kind() == Routing::Multicast::Fib::mroute_;
      if (isIp && i->version() != 0) compare({mira.key(), i.key()}, *i);
    }
  }
}

// A patch does not make a second accepting interface the one that counts, and nobody is told when
// an index comes to stand for something else. A route whose record is not to be used now, such as
// one of a (*,G) route that has to wait, stands as an earlier one has it.
void ExplainComparison::compare(RouteName const & name, Mroute const & stands) {
  Explanation explanation;
  auto const told = host_.mira(name.vrf).explain(name.key, explanation);
  if (explanation.verdict() != RouteVerdict::computed) return;
  comparePorts(name, explanation, told->oifSet()->portVlanSet());
  bool const sameIndices = told->oifIndexIntfVersion() == stands.oifIndexIntfVersion();
  bool const sameRecord = told->lastSeenShoalRoute() == stands.lastSeenShoalRoute();
  if (stands.optimizeStatus() || stands.dirty() || !sameIndices || !sameRecord) return;
  if (textOf(told->oifSet().get()) != textOf(stands.oifSet().get()) ||
      told->acceptingVlanId() != stands.acceptingVlanId()) {
    differ(name.key.pretty() + " is explained as " + textOf(told->oifSet().get()) +
           ", but stands as " + textOf(stands.oifSet().get()));
  }
}

// The ports that are told to be in are those of the set, and each port of a VLAN has one decision.
void ExplainComparison::comparePorts(RouteName const & name, Explanation const & explanation,
                                     Brindle::PortVlanSet const & set) {
  std::set<std::pair<Bridging::VlanId, Nettle::IntfId>> decided;
  U32 members = 0;
  for (auto const & port : explanation.ports()) {
    std::string const what = name.key.pretty() + ": " + std::string(port.port.view()) +
                             " of VLAN " + std::to_string(port.vlan.value());
    if (!decided.emplace(port.vlan, port.port).second) differ(what + " is decided twice");
    if (!port.isIn()) continue;
    auto const vlanMembers = set.vlanMembers(port.outLif.vlanId());
    bool const isIn = std::any_of(vlanMembers.begin(), vlanMembers.end(),
                                  [&](auto const & pv) { return pv.port == port.port; });
    if (!isIn) differ(what + " is told to be in the set");
    ++members;
  }
  // A tagged LAG may put a member beside itself into the set: that is one port for who asks.
  std::set<std::pair<U32, Nettle::IntfId>> ports;
  for (auto const & member : set.portVlan().items()) {
    ports.emplace(member.outLif.value(), member.port);
  }
  if (members != ports.size()) differ(name.key.pretty() + ": members are not told of");
  for (auto const & vlan : explanation.vlans()) {
    auto const * status = host_.records().vlanStatusDir->vlanStatus(vlan.vlan);
    if (!status) continue;
    for (auto const & port : status->vlanPortStatus().items()) {
      if (decided.count({vlan.vlan, port.key})) continue;
      differ(name.key.pretty() + ": nothing decided " + std::string(port.key.view()));
    }
  }
}

}  // namespace Simulation
