#include "sim/ExplainWords.h"

#include <algorithm>

#include "mira/Expansion.h"
#include "sim/Host.h"
#include "sim/OifText.h"

namespace Brindle::Sim {

namespace {

using Bridging::VlanId;
using Nettle::IntfId;
using Nettle::IntfKind;

std::string textOf(IntfId intf) { return std::string(intf.view()); }

std::string number(Bridging::VlanIdOrNone vlan) { return std::to_string(vlan.value()); }

std::string vlanText(Bridging::VlanIdOrNone vlan) { return "VLAN " + number(vlan); }

std::string snoopingOf(VlanId vlan) { return "IGMP snooping of " + vlanText(vlan); }

// "vid 20 port p1", as the commands of bridging have it.
std::string place(Explanation::Port const & port) {
  return "vid " + number(port.vlan) + " port " + textOf(port.port);
}

char const * entryName(SpecialKind kind) {
  static constexpr char const * names[] = {"notify entry", "persistent fastdrop",
                                           "fast-reroute entry"};
  return names[static_cast<int>(kind)];
}

// Why a VLAN floods.
Told flooding(Explanation::Vlan const & vlan) {
  switch (vlan.verdict) {
    case VlanVerdict::floodsIpv6:
      return {"IPv6 is not snooped", "address family"};
    case VlanVerdict::floodsRange:
      return {"the group is a range", "published record"};
    case VlanVerdict::floodsUnsettled:
      return {"snooping has yet to learn after a change of the topology", snoopingOf(vlan.vlan)};
    default:
      return {"snooping is off in " + vlanText(vlan.vlan), snoopingOf(vlan.vlan)};
  }
}

Told kindOf(IntfId port) {
  switch (port.kind()) {
    case IntfKind::cpu:
      return {"the CPU is no output of a chip", "the kind of interface"};
    case IntfKind::peerEthernet:
    case IntfKind::peerPortChannel:
      return {"a port of the MLAG peer", "the kind of interface"};
    case IntfKind::subIntf:
      return {"a sub-interface without a logical interface", "platform"};
    default:
      return {"a VXLAN tunnel", "the kind of interface"};
  }
}

}  // namespace

Told ExplainWords::of(RouteVerdict verdict) const {
  switch (verdict) {
    case RouteVerdict::computed:
      return {};
    case RouteVerdict::markedForDeletion:
      return {"it is to go with the next review", "route table", {"settle"}};
    case RouteVerdict::inputInOtherVrf:
      return {"its input is not in VRF " + key_.vrfText() + ": it stays as it is", "IP interface"};
    case RouteVerdict::backupWithoutInput:
      return {"it has a fast-reroute input, but its input has no VLAN: it stays as it is",
              "published record"};
    case RouteVerdict::outputUnknown:
      return {
          "its record has an output that its table does not know: it stays as it is until it is "
          "published anew",
          "published record"};
  }
  return {};
}

Told ExplainWords::of(Explanation::Output const & output) const {
  auto const & table = *host_.records().intfVlanIdTable;
  switch (output.verdict) {
    case OutputVerdict::expanded:
      return {output.isInput ? "traffic is accepted there" : "traffic is sent out",
              "published record"};
    case OutputVerdict::inputOnly:
      return {"traffic is accepted there, and wherever else it comes in", "published record"};
    case OutputVerdict::inputExists:
      return {"it accepts only, and another output accepts already: ignored", "published record"};
    case OutputVerdict::noVlan: {
      auto const routed = output.intf.routedVlan();
      auto const holder = routed ? table.vlanIdToIntfId(routed) : IntfId();
      if (holder) {
        return {
            "it has no VLAN: " + vlanText(routed) + " is the internal VLAN of " + textOf(holder),
            "internal VLANs"};
      }
      return {"it has no VLAN", "internal VLANs", {"ip link add " + textOf(output.intf)}};
    }
    case OutputVerdict::notSent:
      return {"nothing is sent out of it, nor accepted there", "published record"};
  }
  return {};
}

Told ExplainWords::of(Explanation::Special const & special) const {
  std::string const entry = entryName(special.kind);
  std::string const at = vlanText(special.vlan) + " (" + textOf(special.intf) + ")";
  auto const none = [&](std::string const & why) {
    return Told{"no " + entry + " in " + at + ": " + why, "published record"};
  };
  switch (special.verdict) {
    case SpecialVerdict::stands:
      return {entry + " in " + at, "published record"};
    case SpecialVerdict::sends:
      return none("traffic is sent out there");
    case SpecialVerdict::notProgrammable:
      return none("it is published as not programmable");
    case SpecialVerdict::second:
      return none("a route has one of these");
    case SpecialVerdict::isInput:
      return none("that is its input");
    case SpecialVerdict::isFastdrop:
      return none("that is where its persistent fastdrop is");
    case SpecialVerdict::isNotify:
      return none("that is where it notifies");
  }
  return {};
}

Told ExplainWords::of(Explanation::Vlan const & vlan) const {
  std::string const name = vlanText(vlan.vlan), id = number(vlan.vlan);
  switch (vlan.verdict) {
    case VlanVerdict::down:
      return {"there is no such VLAN", name, {"vlan add " + id}};
    case VlanVerdict::noSpanningTree:
      return {"it runs no spanning tree, so nothing forwards in it",
              "spanning tree",
              {"stp instance vlan" + id + " vlan " + id}};
    case VlanVerdict::soleInputPort:
      return {"traffic comes in there, by its only port that forwards", "spanning tree"};
    case VlanVerdict::floodsIpv6:
    case VlanVerdict::floodsUnsnooped:
    case VlanVerdict::floodsUnsettled:
    case VlanVerdict::floodsRange: {
      Told told = flooding(vlan);
      told.text = "all ports that forward get it: " + told.text;
      return told;
    }
    case VlanVerdict::snooped:
      return {"snooping is on: ports with listeners or routers get it", snoopingOf(vlan.vlan)};
  }
  return {};
}

Told ExplainWords::of(Explanation::Port const & port) const {
  switch (port.verdict) {
    case PortVerdict::member:
    case PortVerdict::notAnOutput:
    case PortVerdict::notInVlan: {
      Told told = port.isIn() ? wish(port) : refused(port);
      if (port.lag) told.text = "of " + textOf(port.lag) + ": " + told.text;
      return told;
    }
    case PortVerdict::replaced:
    case PortVerdict::noMember:
    case PortVerdict::notHere:
    case PortVerdict::notDesignated:
      return lag(port);
    case PortVerdict::notForwarding:
      return spanningTree(port);
    case PortVerdict::notWanted:
      return {"no listener for " + key_.group() + " and no router port; snooping is on in " +
                  vlanText(port.vlan),
              snoopingOf(port.vlan),
              {"bridge mdb add " + place(port) + " grp " + key_.group(),
               "bridge router add " + place(port)}};
    case PortVerdict::notConfigured:
      return {"not configured in " + vlanText(port.vlan) + ", and configured ports count",
              "configuration of " + vlanText(port.vlan),
              {"vlan add " + number(port.vlan) + " port " + textOf(port.port)}};
    case PortVerdict::soleInputPort:
      return {"traffic comes in there, and no other port of " + vlanText(port.vlan) + " forwards",
              "spanning tree"};
    case PortVerdict::noSpanningTree:
      return {vlanText(port.vlan) + " runs no spanning tree, so nothing forwards in it",
              "spanning tree",
              {"stp instance vlan" + number(port.vlan) + " vlan " + number(port.vlan)}};
  }
  return {};
}

// Who asked for the port.
Told ExplainWords::wish(Explanation::Port const & port) const {
  switch (port.wish) {
    case PortWish::listener: {
      auto const group = key_.key.group().address();
      return {"a listener for " + key_.group() + " (" + Zet::textOf(ethAddrFromIpAddr(group)) + ")",
              snoopingOf(port.vlan)};
    }
    case PortWish::router:
      return {"a multicast router", snoopingOf(port.vlan)};
    case PortWish::vteps:
      return {vlanText(port.vlan) + " is extended over VXLAN, and routed traffic goes to all VTEPs",
              "platform"};
    case PortWish::flood:
    case PortWish::nobody:
      break;
  }
  auto const & vlans = explanation_.vlans();
  auto const vlan = std::find_if(vlans.begin(), vlans.end(),
                                 [&](auto const & one) { return one.vlan == port.vlan; });
  return vlan == vlans.end() ? Told{} : flooding(*vlan);
}

Told ExplainWords::refused(Explanation::Port const & port) const {
  if (port.verdict == PortVerdict::notAnOutput) return kindOf(port.port);
  std::string const wished = port.wish == PortWish::flood ? "" : wish(port).text + ", but ";
  return {wished + "not in " + vlanText(port.vlan),
          vlanText(port.vlan),
          {"vlan add " + number(port.vlan) + " port " + textOf(port.port)}};
}

Told ExplainWords::spanningTree(Explanation::Port const & port) const {
  auto const * topology = host_.records().brTopo->vidToTopoMap(port.vlan);
  auto const * config = topology ? topology->topoPortConfig(port.port) : nullptr;
  std::string const tree = topology ? std::string(topology->key().view()) : "";
  bool const asked = port.wish == PortWish::listener || port.wish == PortWish::router;
  std::string const state = config ? Zet::stringValue(config->state()) : "no port";
  return {(asked ? wish(port).text + ", but " : "") + state + " in spanning tree " + tree,
          "spanning tree " + tree,
          {"stp vlan " + number(port.vlan) + " port " + textOf(port.port) + " forwarding"}};
}

Told ExplainWords::lag(Explanation::Port const & port) const {
  std::string const record = "LAG " + textOf(port.lag ? port.lag : port.port);
  std::vector<std::string> const remedy{"lag add " + textOf(port.port) + " member PORT"};
  switch (port.verdict) {
    case PortVerdict::noMember:
      return {"a LAG with no member that is up here", record, remedy};
    case PortVerdict::notHere:
      return {"a LAG of the MLAG peer, of which no port is here", record, remedy};
    case PortVerdict::notDesignated:
      return {"of " + textOf(port.lag) + ": another member carries the traffic", record};
    default:
      return {"a LAG, in whose place: " + carriers(port), record};
  }
}

// The ports that stand in the place of a LAG.
std::string ExplainWords::carriers(Explanation::Port const & lag) const {
  std::string out;
  for (auto const & port : explanation_.ports()) {
    if (port.vlan != lag.vlan || port.lag != lag.port || !port.isIn()) continue;
    out.append(out.empty() ? "" : " ").append(port.port.view());
  }
  return out.empty() ? "ports that are members of the VLAN themselves" : out;
}

}  // namespace Brindle::Sim
