// Multicast boundaries: what they deny, which cards can, what the kernel reports, and what became
// of it.
#include <algorithm>

#include "sim/BoundaryAgent.h"
#include "sim/BoundaryViews.h"
#include "sim/Commands.h"
#include "sim/Host.h"

namespace Brindle::Sim {

namespace {

void boundary(Host & host, Arguments const & arguments) {
  host.boundaries().boundaryIs(arguments.intf(), arguments.group(), arguments.has("add"));
}

void system(Host & host, Arguments const & arguments) {
  auto settings = host.boundaryAgent().settings();
  if (arguments.has("linecard")) {
    settings.system = Zet::String(arguments.text("NAME"));
  } else {
    settings.system = Zet::String(arguments.has("fixed") ? "FixedSystem" : "");
  }
  host.boundaryAgent().settingsAre(settings);
}

void kernel(Host & host, Arguments const &) {
  auto settings = host.boundaryAgent().settings();
  settings.kernel = true;
  host.boundaryAgent().settingsAre(settings);
}

void linecard(Host & host, Arguments const & arguments) {
  Zet::Name const name{std::string_view(arguments.text("NAME"))};
  if (arguments.has("del")) return host.boundaryAgent().linecardDel(name);
  host.boundaryAgent().linecardIs(name, arguments.has("tcam"));
}

void vif(Host & host, Arguments const & arguments) {
  host.boundaries().vifIs(arguments.vrf(), static_cast<U16>(arguments.number("VIF")),
                          arguments.intf(), arguments.text("DEVICE", ""));
}

void noCache(Host & host, Arguments const & arguments) {
  auto const key = arguments.routeKey();
  if (!key.source().isHost() || !key.group().isHost() || key.group().af() != Nettle::ipv4()) {
    throw CommandError("expected an IPv4 source and group, found \"" + arguments.text("SOURCE") +
                       "\" and \"" + arguments.text("GROUP") + "\"");
  }
  BoundaryAgent & agent = host.boundaries();
  if (arguments.given("INTF")) {
    return agent.noCache(key.source().address(), key.group().address(), arguments.intf());
  }
  auto const vif = static_cast<U16>(arguments.number("VIF"));
  auto const intf =
      agent.noCache(key.source().address(), key.group().address(), vif, arguments.vrf());
  host.out() << "interface " << vif << " is " << (intf ? intf.view() : "not known") << '\n';
}

void showBoundary(Host & host, Arguments const & arguments) {
  auto const view = boundaryView(host);
  if (arguments.has("--json")) {
    host.out() << toJson(view).dump(2) << '\n';
  } else {
    print(host.out(), view);
  }
}

Command<Host> const rows[] = {
    {"boundary system fixed|supervisor",
     "What this process runs on, a fixed system unless told. Before the first boundary.", system},
    {"boundary system linecard NAME", "It runs on a linecard.", system},
    {"boundary kernel",
     "Hear of denied traffic from the kernel itself, by its multicast routing socket. Before the "
     "first boundary.",
     kernel},
    {"boundary add|del GROUP dev INTF", "A group prefix must not cross the interface, or may.",
     boundary},
    {"boundary vif VIF dev INTF [of DEVICE] [vrf VRF]",
     "The kernel's number of an interface; without it they are numbered as reports name them. With "
     "DEVICE, a network device of this machine, the kernel is told to report what comes in there.",
     vif},
    {"linecard add NAME tcam|no-tcam",
     "A card whose chips can deny groups by themselves, or cannot.", linecard},
    {"linecard del NAME", "The card is taken out.", linecard},
    {"no-cache SOURCE GROUP dev INTF", "The kernel reports a packet that it has no route for.",
     noCache},
    {"no-cache SOURCE GROUP vif VIF [vrf VRF]",
     "The same, of the interface of that number, which need not be known.", noCache},
    {"show boundary [--json]",
     "What is denied where, what was learned, and what stands in the chips.", showBoundary},
};

}  // namespace

Subject<Host> const boundaryCommands = {"Multicast boundaries", rows};

}  // namespace Brindle::Sim
