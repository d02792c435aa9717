// Expectations of a script: where one does not hold, the script ends.
#include <algorithm>

#include "mira/Expansion.h"
#include "sim/Commands.h"
#include "sim/Host.h"
#include "sim/JsonFile.h"
#include "sim/TextTable.h"
#include "sim/Views.h"

namespace Brindle::Sim {

KeyView floodsetKey(Arguments const & arguments) {
  using namespace Routing::Multicast::Fib;
  auto const vlan = arguments.vlan();
  IpGenRouteKey key = makeRouteKeyVlanFloodset(vlan);
  if (arguments.has("unknown")) key = makeRouteKeyMulticastFloodset(vlan);
  if (arguments.has("core-side")) key = makeRouteKeyVxlanCoreSideFloodset(vlan);
  if (arguments.given("MAC")) key = makeRouteKeyEthGroup(vlan, arguments.mac());
  if (arguments.given("ADDRESS")) {
    key = makeRouteKeyEvpnMultihomeFloodset(vlan, arguments.address());
  }
  return {L3::VrfName::defaultVrf(), key};
}

namespace {

std::string listText(std::vector<std::string> const & items) {
  std::string text;
  for (auto const & item : items) text.append(text.empty() ? "" : " ").append(item);
  return text.empty() ? "nothing" : text;
}

void requireEqual(std::string const & what, std::string const & expected,
                  std::string const & found) {
  if (expected == found) return;
  throw CommandError("expected " + expected + " " + what + ", found " + found);
}

RouteView const * find(std::vector<RouteView> const & routes, KeyView const & key) {
  auto const i = std::find_if(routes.begin(), routes.end(), [&](auto const & route) {
    return route.key.vrf == key.vrf && route.key.key == key.key;
  });
  return i == routes.end() ? nullptr : &*i;
}

std::vector<std::string> sorted(std::vector<std::string> names) {
  Zet::OrderedSet<Nettle::IntfId> intfs;
  for (auto const & name : names) intfs.insert(Nettle::IntfId(name));
  names.clear();
  for (auto intf : intfs.items()) names.emplace_back(intf.view());
  return names;
}

// The ports that all chips together send a route out of.
std::vector<std::string> hardwarePorts(std::vector<ChipView> const & chips, KeyView const & key,
                                       U32 vlan) {
  std::vector<std::string> ports;
  for (auto const & chip : chips) {
    for (auto const & entry : chip.entries) {
      if (entry.key.key != key.key || entry.vlan != vlan || !entry.active) continue;
      for (auto const & output : entry.outputs) ports.push_back(output.port);
    }
  }
  return sorted(ports);
}

void expectOutputs(Host & host, Arguments const & arguments) {
  KeyView const key{arguments.vrf(), arguments.routeKey()};
  auto const routes = routeViews(host);
  auto const * route = find(routes, key);
  auto const wanted = listText(sorted(arguments.texts("PORT")));
  if (!route) throw CommandError("expected the route " + key.pretty() + ", which is not there");
  requireEqual("as outputs of " + key.pretty(), wanted, listText(portsOf(route->outputs)));
  host.out() << "ok: " << key.pretty() << " leaves by " << wanted << '\n';
}

// What a floodset sends out of, if all chips do that have the ports.
std::string floodsetText(Host & host, KeyView const & key) {
  auto const floodsets = floodsetViews(host);
  auto const i = std::find_if(floodsets.begin(), floodsets.end(), [&](auto const & floodset) {
    return floodset.route.key.key == key.key;
  });
  if (i == floodsets.end()) return "absent";
  auto const & route = i->route;
  if (route.state != RouteView::State::inHardware) return route.stateName();
  auto ports = portsOf(route.outputs);
  auto local = ports;
  auto const chips = host.chips();
  std::erase_if(local, [&](auto const & port) {
    return std::none_of(chips.begin(), chips.end(),
                        [&](Chip const * chip) { return chip->hasPort(Nettle::IntfId(port)); });
  });
  if (hardwarePorts(chipViews(host), key, route.vlan) != local) return "other outputs in a chip";
  if (route.toCpu) ports.push_back("cpu");
  return listText(ports);
}

void expectFloodset(Host & host, Arguments const & arguments) {
  auto const key = floodsetKey(arguments);
  auto ports = sorted(arguments.texts("PORT"));
  if (arguments.has("cpu")) ports.push_back("cpu");
  auto const wanted = arguments.has("absent") ? "absent" : listText(ports);
  requireEqual("as outputs of " + key.pretty(), wanted, floodsetText(host, key));
  host.out() << "ok: " << key.pretty() << " leaves by " << wanted << '\n';
}

// "10.1.0.2,232.1.1.1", as a member of the file is called.
KeyView keyOf(std::string const & text, JsonValue const & json) {
  auto const comma = text.find(',');
  auto const source = Nettle::IpGenAddr::fromText(text.substr(0, comma));
  auto const group =
      comma == text.npos ? std::nullopt : Nettle::IpGenAddr::fromText(text.substr(comma + 1));
  if (!source || !group || source->isNull() || !group->isMulticast()) {
    json.expected("a name such as \"10.1.0.2,232.1.1.1\"");
  }
  return {L3::VrfName::defaultVrf(), {Nettle::IpGenPrefix(*source), Nettle::IpGenPrefix(*group)}};
}

// One member of the file: a route, and the ports on which its packets were counted.
struct Counted {
  KeyView key;
  std::string iif;  // empty if the file does not say
  std::vector<std::string> ports;
};

std::vector<Counted> readCounted(std::string const & path) {
  std::vector<Counted> out;
  for (auto const & [name, json] : JsonValue::ofFile(path).members()) {
    Counted counted{keyOf(name, json), json.text("iif", ""), {}};
    for (auto const & port : json.at("ports").items()) counted.ports.push_back(port.text());
    counted.ports = sorted(counted.ports);
    out.push_back(std::move(counted));
  }
  return out;
}

bool contains(std::vector<std::string> const & ports, std::string const & port) {
  return std::find(ports.begin(), ports.end(), port) != ports.end();
}

// Snooping knows groups by their MAC address, which 32 IPv4 groups share: a port that listens to
// one of them gets the others, too.
std::string sharedMac(std::vector<Counted> const & all, Counted const & one,
                      std::string const & port) {
  auto const group = one.key.key.group().address();
  for (auto const & other : all) {
    auto const otherGroup = other.key.key.group().address();
    if (otherGroup == group || ethAddrFromIpAddr(otherGroup) != ethAddrFromIpAddr(group)) continue;
    if (contains(other.ports, port)) return port + " for " + other.key.group() + ", of equal MAC";
  }
  return "";
}

// "ok", with a word on each port more; or "WRONG".
std::string verdict(std::vector<Counted> const & all, Counted const & one,
                    std::vector<std::string> const & computed) {
  for (auto const & port : one.ports) {
    if (!contains(computed, port)) return "WRONG";
  }
  std::string text = "ok";
  for (auto const & port : computed) {
    if (contains(one.ports, port)) continue;
    auto const why = sharedMac(all, one, port);
    if (why.empty()) return "WRONG";
    text += "; " + why;
  }
  return text;
}

void expectOutputsFrom(Host & host, Arguments const & arguments) {
  auto const routes = routeViews(host);
  auto const chips = chipViews(host);
  auto const all = readCounted(arguments.text("FILE"));
  TextTable table({"Source", "Group", "Counted on", "Computed", "In hardware", "Result"});
  U32 wrong = 0;
  for (auto const & one : all) {
    auto const * route = find(routes, one.key);
    std::string result = "WRONG";
    std::vector<std::string> computed, hardware;
    if (route) {
      computed = portsOf(route->outputs);
      hardware = hardwarePorts(chips, one.key, route->vlan);
      bool const sameIif = one.iif.empty() || one.iif == route->iif;
      if (sameIif && computed == hardware) result = verdict(all, one, computed);
    }
    wrong += result == "WRONG";
    table.add({one.key.source(), one.key.group(), listText(one.ports), listText(computed),
               listText(hardware), result});
  }
  table.print(host.out());
  if (wrong) {
    throw CommandError("expected the outputs of " + arguments.text("FILE") +
                       "; routes that differ: " + std::to_string(wrong));
  }
}

std::string stateOf(std::vector<RouteView> const & routes, KeyView const & key) {
  auto const * route = find(routes, key);
  std::string state = route ? route->stateName() : "absent";
  std::replace(state.begin(), state.end(), ' ', '-');
  return state;
}

void expectState(Host & host, Arguments const & arguments) {
  KeyView const key{arguments.vrf(), arguments.routeKey()};
  auto const found = stateOf(routeViews(host), key);
  if (!arguments.has(found)) {
    throw CommandError("expected " + key.pretty() + " in the state asked for, found it " + found);
  }
  host.out() << "ok: " << key.pretty() << " is " << found << '\n';
}

void expectChip(Host & host, Arguments const & arguments) {
  auto const & chip = host.chip(arguments.text("CHIP"));
  auto const wanted = std::to_string(arguments.number("ROUTES"));
  std::string const name(chip.name().view());
  requireEqual("routes on chip " + name, wanted, std::to_string(chip.routesInUse()));
  host.out() << "ok: chip " << name << " holds " << wanted << " routes\n";
}

void expectFailed(Host & host, Arguments const & arguments) {
  auto const wanted = std::to_string(arguments.number("N"));
  requireEqual("failed routes", wanted, std::to_string(failureViews(host).size()));
  host.out() << "ok: failed routes: " << wanted << '\n';
}

void expectWaiting(Host & host, Arguments const & arguments) {
  auto const routes = routeViews(host);
  auto const waiting = std::count_if(routes.begin(), routes.end(), [](auto const & route) {
    return route.state == RouteView::State::waiting;
  });
  auto const wanted = std::to_string(arguments.number("N"));
  requireEqual("waiting routes", wanted, std::to_string(waiting));
  host.out() << "ok: waiting routes: " << wanted << '\n';
}

void expectLog(Host & host, Arguments const & arguments) {
  auto const & name = arguments.text("NAME");
  auto const & entries = host.log().entries();
  if (std::any_of(entries.begin(), entries.end(),
                  [&](auto const & entry) { return entry.name == name; })) {
    host.out() << "ok: the operator was told " << name << '\n';
    return host.log().clear();
  }
  throw CommandError("expected the message " + name + " in the log");
}

constexpr Command<Host> rows[] = {
    {"expect outputs SOURCE GROUP [ports PORT...] [vrf VRF]",
     "The route has exactly these output ports.", expectOutputs},
    {"expect outputs from FILE",
     "All routes of the file leave by the ports on which their packets were counted, in the table "
     "of "
     "routes and in the chips; besides by ports that listen to a group of the same MAC address.",
     expectOutputsFrom},
    {"expect state SOURCE GROUP "
     "waiting|not-computed|blocked|in-progress|failed|no-entry|in-hardware|absent [vrf VRF]",
     "The route has come so far.", expectState},
    {"expect floodset VLAN vlan|unknown|core-side [ports PORT...] [cpu] [absent]",
     "What is flooded in the VLAN leaves by exactly these ports in the chips, or is not there.",
     expectFloodset},
    {"expect floodset VLAN group MAC [ports PORT...] [cpu] [absent]",
     "The same of an Ethernet group.", expectFloodset},
    {"expect floodset VLAN peer ADDRESS [ports PORT...] [cpu] [absent]",
     "The same of what goes towards an EVPN peer.", expectFloodset},
    {"expect chip CHIP routes ROUTES", "The chip holds so many entries.", expectChip},
    {"expect failed N", "So many routes were refused by a chip.", expectFailed},
    {"expect waiting N", "So many (*,G) routes wait.", expectWaiting},
    {"expect log NAME", "The operator was told so, since the last time that this was asked.",
     expectLog},
};

}  // namespace

Subject<Host> const checkCommands = {"Checking", rows};

}  // namespace Brindle::Sim
