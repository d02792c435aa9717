// What an operator looks at.
#include <algorithm>
#include <cstdio>

#include "sim/Commands.h"
#include "sim/Host.h"
#include "sim/Render.h"
#include "sim/TextTable.h"

namespace Brindle::Sim {

namespace {

template <class View> void show(Host & host, Arguments const & arguments, View const & view) {
  if (arguments.has("--json")) {
    host.out() << toJson(view).dump(2) << '\n';
  } else {
    print(host.out(), view);
  }
}

void showMroute(Host & host, Arguments const & arguments) {
  auto routes = routeViews(host);
  if (arguments.given("VRF")) {
    std::erase_if(routes, [&](auto const & route) { return route.key.vrf != arguments.vrf(); });
  }
  if (arguments.given("GROUP")) {
    auto const key = arguments.routeKey();
    std::erase_if(routes, [&](auto const & route) { return route.key.key != key; });
  }
  show(host, arguments, routes);
}

void showHardware(Host & host, Arguments const & arguments) {
  auto chips = chipViews(host);
  if (arguments.given("CHIP")) {
    auto const name = arguments.text("CHIP");
    host.chip(name);
    std::erase_if(chips, [&](auto const & chip) { return chip.name != name; });
  }
  show(host, arguments, chips);
}

void showFloodsets(Host & host, Arguments const & arguments) {
  auto floodsets = floodsetViews(host);
  if (arguments.given("VLAN")) {
    std::erase_if(floodsets, [&](auto const & floodset) {
      return floodset.route.key.key.vlanId() != arguments.vlan();
    });
  }
  show(host, arguments, floodsets);
}

void showSets(Host & host, Arguments const & arguments) { show(host, arguments, setViews(host)); }

void showStatus(Host & host, Arguments const & arguments) {
  show(host, arguments, statusView(host));
}

void showFailed(Host & host, Arguments const & arguments) {
  show(host, arguments, failureViews(host));
}

void showReview(Host & host, Arguments const &) {
  char time[32];
  std::snprintf(time, sizeof time, "%.3f", host.now());
  host.out() << "Time " << time << (host.followsRealTime() ? " (real)" : " (simulated)") << '\n';
  print(host.out(), reviewViews(host));
  if (auto const programmer = programmerView(host)) print(host.out(), *programmer);
}

void showLog(Host & host, Arguments const & arguments) {
  for (auto const & entry : host.log().entries()) {
    host.out() << LogView::line(entry) << '\n';
    if (!arguments.has("detail")) continue;
    host.out() << "    " << entry.explanation << "\n    " << entry.action << '\n';
  }
}

void clearLog(Host & host, Arguments const &) { host.log().clear(); }

void addVlanRow(Host const & host, Bridging::VlanId vlan, TextTable & table) {
  auto const & records = host.records();
  auto const * topology = records.brTopo->vidToTopoMap(vlan);
  std::string ports;
  for (auto const & entry : records.vlanStatusDir->vlanStatus(vlan)->vlanPortStatus().items()) {
    auto const * port = topology ? topology->topoPortConfig(entry.key) : nullptr;
    auto const state = port ? port->state() : Bridging::Topology::PortState::disabled;
    ports.append(ports.empty() ? "" : " ").append(entry.key.view());
    if (entry.value.mode == Bridging::VlanPortMode::tagged) ports += "(tagged)";
    if (state != Bridging::Topology::PortState::forwarding) {
      ports += "(" + Zet::stringValue(state) + ")";
    }
  }
  auto const routed = records.intfVlanIdTable->vlanIdToIntfId(vlan);
  auto const * snooping = records.snooping->vlanStatus(vlan);
  table.add({std::to_string(vlan.value()), routed ? std::string(routed.view()) : "-",
             snooping ? "groups: " + std::to_string(snooping->ethGroup().size()) : "off", ports});
}

void showVlan(Host & host, Arguments const &) {
  auto const & vlans = host.records().vlanStatusDir->vlanStatus();
  TextTable table({"VLAN", "Routed by", "Snooping", "Ports"});
  for (auto i = vlans.begin(); i; i.advance()) addVlanRow(host, i.key(), table);
  table.print(host.out());
}

void showMdb(Host & host, Arguments const &) {
  TextTable table({"VLAN", "Group", "Ports"});
  auto const row = [&](Bridging::VlanId vlan, std::string const & what, auto const & intfs) {
    std::string ports;
    for (auto intf : intfs.items()) ports.append(ports.empty() ? "" : " ").append(intf.view());
    table.add({std::to_string(vlan.value()), what, ports});
  };
  auto const & vlans = host.records().snooping->vlanStatus();
  for (auto i = vlans.begin(); i; i.advance()) {
    if (!i->routerIntf().empty()) row(i.key(), "routers", i->routerIntf());
    Zet::OrderedSet<Nettle::EthAddr> groups;
    for (auto group = i->ethGroup().begin(); group; group.advance()) groups.insert(group.key());
    for (auto const & group : groups.items()) {
      row(i.key(), Zet::textOf(group), i->ethGroup(group)->intf());
    }
  }
  table.print(host.out());
}

constexpr Command<Host> rows[] = {
    {"show mroute [SOURCE GROUP] [vrf VRF] [--json]",
     "Routes, their outputs, and how far each has come.", showMroute},
    {"show floodset [VLAN] [--json]", "Floodsets and Ethernet groups, and how far each has come.",
     showFloodsets},
    {"show hardware [CHIP] [--json]", "The chips and what stands in them.", showHardware},
    {"show oif-set [--json]", "Output sets, and the routes that share them.", showSets},
    {"show status [--json]", "What is published about the hardware.", showStatus},
    {"show failed [--json]", "Routes that a chip refused.", showFailed},
    {"show review", "How far the work has come.", showReview},
    {"show log [detail]", "The messages to the operator.", showLog},
    {"clear log", "Forget them.", clearLog},
    {"show vlan", "VLANs and their ports.", showVlan},
    {"show mdb", "What IGMP snooping has learned.", showMdb},
};

}  // namespace

Subject<Host> const showCommands = {"Looking", rows};

}  // namespace Brindle::Sim
