#include "sim/RecordedBox.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "mira/Expansion.h"
#include "sim/JsonFile.h"
#include "sim/OifText.h"
#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

using Bridging::VlanId;
using Nettle::IntfId;

constexpr std::string_view linkSuffix = "-link.json";
constexpr std::string_view bridgeLinkSuffix = "-bridge-link.json";
constexpr U32 firstInternalVlan = 1006;

// One interface of NAME-link.json.
struct Link {
  IntfId intf;
  std::string master;
  std::string kind;  // "bridge", "vxlan", "bond", "vrf", "vlan", "veth", or none for a real port
  std::string parent;
  std::string vrfTable;
  bool loopback = false;
  bool registerTunnel = false;
  bool snooping = false;
};

std::string onlyName(std::string const & dir) {
  std::vector<std::string> names;
  std::error_code error;
  for (auto const & entry : std::filesystem::directory_iterator(dir, error)) {
    auto const file = entry.path().filename().string();
    if (!file.ends_with(linkSuffix) || file.ends_with(bridgeLinkSuffix)) continue;
    names.push_back(file.substr(0, file.size() - linkSuffix.size()));
  }
  if (error) throw CommandError(dir + ": " + error.message());
  if (names.size() == 1) return names.front();
  std::sort(names.begin(), names.end());
  throw CommandError(names.empty() ? dir + ": expected a file NAME-link.json"
                                   : dir + ": expected the name of one of " + alternatives(names));
}

class Reader {
 public:
  Reader(std::string const & dir, std::string const & name) : dir_(dir) {
    box_.name = name.empty() ? onlyName(dir) : name;
  }

  RecordedBox read() {
    readLinks();
    readBridges();
    readBridgePorts();
    readMemberships();
    readAddresses();
    readRoutes();
    return std::move(box_);
  }

 private:
  JsonValue file(std::string_view suffix) const {
    return JsonValue::ofFile(dir_ + "/" + box_.name + std::string(suffix));
  }
  void leftOut(std::string const & text) { box_.leftOut.push_back(text); }

  // Interfaces
  void readLinks();
  Link readLink(JsonValue const & json) const;
  IntfId readIntf(JsonValue const & json) const;
  Link const * link(std::string const & name) const;
  Link const & requireLink(JsonValue const & json) const;
  L3::VrfName vrfOf(Link const & link) const;

  // VLANs
  void readBridges();
  VlanId vlanOfBridge(JsonValue const & json) const;
  VlanId requireBridge(JsonValue const & json) const;
  void readBridgePorts();
  void readMemberships();
  void readMembership(JsonValue const & json);
  void readRouterPorts(JsonValue const & json);

  // Routes
  void readRoutes();
  void readRoute(JsonValue const & json);
  L3::VrfName vrfOfTable(JsonValue const & json) const;
  void addRouted(Link const & link);
  void readAddresses();
  RecordedBox::RoutedIntf * routed(IntfId intf);

  std::string const dir_;
  RecordedBox box_;
  std::vector<Link> links_;
  std::map<std::string, VlanId> bridges_;
  U32 internalVlan_ = firstInternalVlan;
  U32 unresolved_ = 0;
  bool registerTunnels_ = false;
};

IntfId Reader::readIntf(JsonValue const & json) const {
  auto const name = json.text();
  if (!isIntfName(name)) json.expected("the name of an interface, of at most 31 characters");
  return IntfId(name);
}

Link Reader::readLink(JsonValue const & json) const {
  Link link;
  link.intf = readIntf(json.at("ifname"));
  link.master = json.text("master", "");
  auto const type = json.at("link_type").text();
  link.loopback = type == "loopback";
  link.registerTunnel = type == "pimreg";
  auto const info = json.find("linkinfo");
  if (!info) return link;
  link.kind = info->text("info_kind", "");
  if (link.kind == "vlan") link.parent = json.at("link").text();
  auto const data = info->find("info_data");
  if (link.kind == "bridge") {
    if (!data) info->expected("the bridge's \"info_data\"");
    if (data->number("vlan_filtering", 0)) {
      data->at("vlan_filtering").expected("0, since a bridge stands for one VLAN here");
    }
    link.snooping = data->number("mcast_snooping", 0) != 0;
  } else if (link.kind == "vrf" && data) {
    link.vrfTable = std::to_string(data->number("table", 0));
  }
  return link;
}

void Reader::readLinks() {
  for (auto const & json : file(linkSuffix).items()) links_.push_back(readLink(json));
  for (auto const & link : links_) {
    if (link.kind == "vxlan") {
      box_.kinds.push_back({link.intf, Nettle::IntfKind::vxlanTunnel, {}});
    } else if (link.kind == "vlan") {
      box_.kinds.push_back({link.intf, Nettle::IntfKind::subIntf, IntfId(link.parent)});
    } else if (link.kind == "bond") {
      box_.kinds.push_back({link.intf, Nettle::IntfKind::portChannel, {}});
      RecordedBox::Lag lag{link.intf, {}};
      for (auto const & member : links_) {
        if (member.master == link.intf.view()) lag.members.push_back(member.intf);
      }
      box_.lags.push_back(std::move(lag));
    }
  }
}

Link const * Reader::link(std::string const & name) const {
  for (auto const & link : links_) {
    if (link.intf.view() == name) return &link;
  }
  return nullptr;
}

Link const & Reader::requireLink(JsonValue const & json) const {
  Link const * found = link(json.text());
  if (!found) json.expected("an interface of " + box_.name + std::string(linkSuffix));
  return *found;
}

L3::VrfName Reader::vrfOf(Link const & of) const {
  Link const * master = link(of.master);
  if (!master || master->kind != "vrf") return L3::VrfName::defaultVrf();
  return L3::VrfName(master->intf.view());
}

// The number in a bridge's name.
VlanId Reader::vlanOfBridge(JsonValue const & json) const {
  auto const name = json.text();
  auto const digits = name.substr(std::min(name.find_first_of("0123456789"), name.size()));
  U32 number = 0;
  auto const read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  bool const whole = read.ec == std::errc() && read.ptr == digits.data() + digits.size();
  if (!whole || number < 1 || number > VlanId::max) {
    json.expected("a bridge whose name ends in its VLAN, 1 to 4094");
  }
  return VlanId(number);
}

void Reader::readBridges() {
  for (auto const & json : file(linkSuffix).items()) {
    auto const & of = requireLink(json.at("ifname"));
    if (of.kind != "bridge") continue;
    VlanId const vlan = vlanOfBridge(json.at("ifname"));
    for (auto const & known : box_.vlans) {
      if (known.id == vlan) json.at("ifname").expected("a VLAN that no other bridge has");
    }
    bridges_.emplace(of.intf.view(), vlan);
    box_.vlans.push_back({vlan, of.intf, of.snooping});
    box_.routed.push_back({of.intf, {}, vrfOf(of), {}});
  }
}

VlanId Reader::requireBridge(JsonValue const & json) const {
  auto const found = bridges_.find(json.text());
  if (found == bridges_.end()) json.expected("a bridge of " + box_.name + std::string(linkSuffix));
  return found->second;
}

Bridging::Topology::PortState portState(JsonValue const & json) {
  using Bridging::Topology::PortState;
  auto const state = json.text();
  if (state == "forwarding") return PortState::forwarding;
  if (state == "learning") return PortState::learning;
  if (state == "listening" || state == "blocking") return PortState::discarding;
  if (state == "disabled") return PortState::disabled;
  json.expected("forwarding, learning, listening, blocking or disabled");
}

void Reader::readBridgePorts() {
  for (auto const & json : file(bridgeLinkSuffix).items()) {
    VlanId const vlan = requireBridge(json.at("master"));
    box_.ports.push_back({requireLink(json.at("ifname")).intf, vlan, portState(json.at("state")),
                          json.boolean("flood", true)});
    for (auto & known : box_.vlans) {
      if (known.id == vlan) known.learning |= json.boolean("learning", true);
    }
  }
}

void Reader::readMemberships() {
  for (auto const & json : file("-mdb.json").items()) {
    for (auto const & entry : json.at("mdb").items()) readMembership(entry);
    if (auto const router = json.find("router")) readRouterPorts(*router);
  }
}

void Reader::readMembership(JsonValue const & json) {
  VlanId const vlan = requireBridge(json.at("dev"));
  auto const port = requireLink(json.at("port")).intf;
  if (port.view() == json.at("dev").text()) return;  // the box itself listens
  auto const text = json.at("grp").text();
  if (auto const mac = Nettle::EthAddr::fromText(text)) {
    box_.memberships.push_back({vlan, port, *mac});
    return;
  }
  auto const group = Nettle::IpGenAddr::fromText(text);
  if (!group || !group->isMulticast()) json.at("grp").expected("a multicast group");
  if (group->isV6()) return;  // flooded all the same
  box_.memberships.push_back({vlan, port, ethAddrFromIpAddr(*group)});
}

void Reader::readRouterPorts(JsonValue const & json) {
  for (auto const & [bridge, ports] : json.members()) {
    auto const known = bridges_.find(bridge);
    if (known == bridges_.end()) ports.expected("the router ports of a bridge");
    for (auto const & port : ports.items()) {
      box_.routerPorts.push_back({known->second, requireLink(port.at("port")).intf, {}});
    }
  }
}

void Reader::readRoutes() {
  for (auto const & json : file("-mroute.json").items()) readRoute(json);
  if (registerTunnels_) leftOut("outputs to the PIM register tunnel: it is no port of the switch");
  if (unresolved_)
    leftOut(std::to_string(unresolved_) + " unresolved routes: they have no outputs");
}

L3::VrfName Reader::vrfOfTable(JsonValue const & json) const {
  auto const table = json.text("table", "default");
  if (table == "default") return L3::VrfName::defaultVrf();
  for (auto const & link : links_) {
    if (link.kind != "vrf" || (link.vrfTable != table && link.intf.view() != table)) continue;
    return L3::VrfName(link.intf.view());
  }
  json.at("table").expected("\"default\" or the table of a VRF");
}

Nettle::IpGenAddr readAddress(JsonValue const & json) {
  auto const address = Nettle::IpGenAddr::fromText(json.text());
  if (!address || address->isNull()) json.expected("an IPv4 or IPv6 address");
  return *address;
}

void Reader::readRoute(JsonValue const & json) {
  using namespace Shoal::Multicast::Fib;
  auto const source = readAddress(json.at("src"));
  auto const group = readAddress(json.at("dst"));
  if (!group.isMulticast()) json.at("dst").expected("a multicast group");
  if (source.af() != group.af()) json.at("src").expected("an address of the group's family");
  if (json.at("state").text() == "unresolved") {
    ++unresolved_;
    return;
  }
  bool const anySource = source == (group.isV4() ? Nettle::IpGenAddr(U32{0})
                                                 : Nettle::IpGenAddr(Nettle::IpGenAddr::Bytes{}));
  Nettle::IpGenPrefix const from =
      anySource ? Nettle::IpGenPrefix(source, 0) : Nettle::IpGenPrefix(source);
  RouteSpec spec{Route(RouteKey(from, Nettle::IpGenPrefix(group))), {}};
  auto const & in = requireLink(json.at("iif"));
  addRouted(in);
  spec.route.iifIs(in.intf);
  spec.route.flagsIs(anySource ? Route::installStarG : 0);
  spec.oifAdd(in.intf, oifAccept);
  auto const outputs = json.find("multipath");
  for (auto const & output : outputs ? outputs->items() : std::vector<JsonValue>()) {
    auto const & out = requireLink(output.at("oif"));
    registerTunnels_ |= out.registerTunnel;
    // Nothing is sent back to where it came from.
    if (out.registerTunnel || out.intf == in.intf) continue;
    addRouted(out);
    spec.oifAdd(out.intf, oifForward);
  }
  box_.routes[vrfOfTable(json)].push_back(std::move(spec));
}

RecordedBox::RoutedIntf * Reader::routed(IntfId intf) {
  for (auto & known : box_.routed) {
    if (known.intf == intf) return &known;
  }
  return nullptr;
}

void Reader::addRouted(Link const & of) {
  if (of.loopback || of.registerTunnel || of.kind == "vrf" || routed(of.intf)) return;
  auto const taken = [this] {
    return std::any_of(box_.vlans.begin(), box_.vlans.end(),
                       [this](auto const & vlan) { return vlan.id.value() == internalVlan_; });
  };
  while (taken()) ++internalVlan_;
  box_.routed.push_back({of.intf, VlanId(internalVlan_++), vrfOf(of), {}});
}

void Reader::readAddresses() {
  for (auto const & json : file("-addr.json").items()) {
    auto const & of = requireLink(json.at("ifname"));
    for (auto const & info : json.at("addr_info").items()) {
      if (info.at("family").text() != "inet") continue;
      auto const address = readAddress(info.at("local"));
      U32 const length = info.at("prefixlen").number();
      if (!address.isV4()) info.at("local").expected("an IPv4 address");
      if (length > 32) info.at("prefixlen").expected("a length of at most 32");
      addRouted(of);
      if (auto * intf = routed(of.intf)) intf->addresses.emplace_back(address.v4(), length);
    }
  }
}

}  // namespace

RecordedBox readRecordedBox(std::string const & dir, std::string const & name) {
  return Reader(dir, name).read();
}

}  // namespace Brindle::Sim
