// Packets that come in where they should not: what the kernel reports of them, what the library
// makes of it, and what the chips see of the traffic.
#include <algorithm>

#include "sim/BoundaryAgent.h"
#include "sim/Commands.h"
#include "sim/Host.h"
#include "sim/Render.h"

namespace Brindle::Sim {

namespace {

using Routing::Multicast::Fib::IpGenRouteKey;

Fib::Config & config(Host & host, Arguments const & arguments) {
  auto & configs = *host.records().mfibVrfConfig;
  if (!configs.config(arguments.vrf())) {
    throw CommandError("expected a VRF that stands, found \"" +
                       std::string(arguments.vrf().view()) + "\"");
  }
  return *configs.configIs(arguments.vrf());
}

// A stream of packets, as a frame says it.
IpGenRouteKey streamOf(Arguments const & arguments) {
  auto const key = arguments.routeKey();
  if (!key.source().isHost() || !key.group().isHost() || key.group().af() != Nettle::ipv4()) {
    throw CommandError("expected an IPv4 source and group, found \"" + arguments.text("SOURCE") +
                       "\" and \"" + arguments.text("GROUP") + "\"");
  }
  return key;
}

void report(Host & host, IpGenRouteKey const & stream, Bridging::VlanId vlan) {
  RpfFrames & frames = host.rpfFrames();
  frames.send(RpfFrames::frame(stream.source().address(), stream.group().address(), vlan.value()));
  frames.deliver();
}

// Where boundaries are learned, the kernel says so of what it has no route for.
void reportNoCache(Host & host, IpGenRouteKey const & stream, Bridging::VlanId vlan) {
  auto const intf = host.records().intfVlanIdTable->vlanIdToIntfId(vlan);
  BoundaryAgent & agent = host.boundaryAgent();
  if (!intf || !agent.runs() || !agent.listens(intf)) return;
  agent.noCache(stream.source().address(), stream.group().address(), intf);
}

void rpfFailure(Host & host, Arguments const & arguments) {
  auto const stream = streamOf(arguments);
  for (U32 n = arguments.number("N", 1); n > 0; --n) report(host, stream, arguments.vlan());
  host.out() << "RPF failure of " << stream.pretty() << " in VLAN " << arguments.vlan().value()
             << (host.rpfFrames().real() ? ", by the kernel\n" : "\n");
}

// What the chips do with packets, by the entries that are published.
enum class Fate { forwarded, dropped, toCpu };

// Of packets of the route's stream that come in on the interface; as in a switch, the time at which
// they were seen is noted at the entry that they met.
Fate meet(Host const & host, Fib::Hardware::RouteStatus & route, Nettle::IntfId intf) {
  auto const forwarding = {route.acceptingIntfId(), route.frrIntfId()};
  if (route.noRpf() || std::find(forwarding.begin(), forwarding.end(), intf) != forwarding.end()) {
    route.lastPollTimeIs(host.now());
    return Fate::forwarded;
  }
  Zet::String const name(intf.view());
  if (!route.fastdropLastPollTime().contains(name)) return Fate::toCpu;
  route.fastdropLastPollTimeIs(name, host.now());
  return Fate::dropped;
}

Fate meet(Host const & host, IpGenRouteKey const & stream, Bridging::VlanId vlan) {
  auto const & records = host.records();
  auto const intf = records.intfVlanIdTable->vlanIdToIntfId(vlan);
  auto * vrf = records.hardware->vrfStatus(host.root().doGetVrfNameFromIntfId(intf));
  if (!vrf || !intf) return Fate::toCpu;
  IpGenRouteKey const wildcard(Nettle::IpGenPrefix("0.0.0.0/0"), stream.group());
  for (auto const & key : {stream, wildcard}) {
    auto * route = vrf->route(key);
    Fate const fate = route ? meet(host, *route, intf) : Fate::toCpu;
    if (fate != Fate::toCpu) return fate;
  }
  return Fate::toCpu;
}

void traffic(Host & host, Arguments const & arguments) {
  auto const stream = streamOf(arguments);
  host.start();
  U32 packets[3] = {};
  for (U32 n = arguments.number("N", 1); n > 0; --n) {
    Fate const fate = meet(host, stream, arguments.vlan());
    ++packets[static_cast<int>(fate)];
    if (fate != Fate::toCpu) continue;
    report(host, stream, arguments.vlan());
    reportNoCache(host, stream, arguments.vlan());
  }
  host.out() << "packets of " << stream.pretty() << " in VLAN " << arguments.vlan().value()
             << ": forwarded " << packets[0] << ", dropped " << packets[1] << ", to the CPU "
             << packets[2] << '\n';
}

void fastdropOn(Host & host, Arguments const & arguments) {
  config(host, arguments).fastdropIs(arguments.on());
}

void fastdropMax(Host & host, Arguments const & arguments) {
  config(host, arguments).maxFastdropsIs(arguments.number("N"));
}

void fastdropThreshold(Host & host, Arguments const & arguments) {
  host.mira(arguments.vrf()).fastdropRpfFailureThresholdIs(arguments.number("N"));
}

void fastdropPoll(Host & host, Arguments const & arguments) {
  host.mira(arguments.vrf()).fastdropPollingIntervalIs(arguments.number("N"));
}

void fastdropIntf(Host & host, Arguments const & arguments) {
  host.records().mfibVrfConfig->intfConfigIs(arguments.intf())->noFastdropIs(!arguments.on());
}

void clearFastdrop(Host & host, Arguments const & arguments) {
  config(host, arguments).clearFastdropInc(1);
}

void showFastdrop(Host & host, Arguments const & arguments) {
  auto vrfs = fastdropViews(host);
  if (arguments.given("VRF")) {
    std::erase_if(vrfs, [&](auto const & vrf) { return vrf.vrf != arguments.text("VRF"); });
  }
  if (arguments.has("--json")) {
    host.out() << toJson(vrfs).dump(2) << '\n';
  } else {
    print(host.out(), vrfs);
  }
}

std::vector<FastdropView> fastdropsOf(Host const & host, L3::VrfName vrf) {
  for (auto const & view : fastdropViews(host)) {
    if (view.vrf == vrf.view()) return view.fastdrops;
  }
  return {};
}

void expectFastdrop(Host & host, Arguments const & arguments) {
  KeyView const key{arguments.vrf(), arguments.routeKey()};
  std::string found = "absent";
  for (auto const & view : fastdropsOf(host, key.vrf)) {
    if (view.key.key == key.key && view.vlan == arguments.vlan().value()) found = view.stateName();
  }
  std::replace(found.begin(), found.end(), ' ', '-');
  std::string const what = key.pretty() + " in VLAN " + arguments.text("VLAN");
  if (!arguments.has(found)) {
    throw CommandError("expected the fastdrop of " + what + " in the state asked for, found it " +
                       found);
  }
  host.out() << "ok: the fastdrop of " << what << " is " << found << '\n';
}

void expectFastdrops(Host & host, Arguments const & arguments) {
  auto const fastdrops = fastdropsOf(host, arguments.vrf());
  auto const found = std::count_if(fastdrops.begin(), fastdrops.end(), [](auto const & view) {
    return view.state != FastdropView::State::counting;
  });
  if (found != arguments.number("N")) {
    throw CommandError("expected " + arguments.text("N") + " fastdrops, found " +
                       std::to_string(found));
  }
  host.out() << "ok: fastdrops: " << found << '\n';
}

constexpr Command<Host> rows[] = {
    {"rpf-failure SOURCE GROUP vlan VLAN [times N]",
     "The kernel reports packets that failed the reverse-path check.", rpfFailure},
    {"traffic SOURCE GROUP vlan VLAN [times N]",
     "Packets come in on a VLAN: the chips forward them, or drop them, or leave them to the CPU, "
     "where they fail the reverse-path check.",
     traffic},
    {"fastdrop on|off [vrf VRF]", "Drop in hardware what fails the check, or not.", fastdropOn},
    {"fastdrop max N [vrf VRF]", "At most so many fastdrops in a VRF (1024).", fastdropMax},
    {"fastdrop threshold N [vrf VRF]", "Failures of a route in a VLAN that make a fastdrop (1).",
     fastdropThreshold},
    {"fastdrop poll N [vrf VRF]",
     "Look every N seconds (60) for fastdrops that nothing has met for two polls.", fastdropPoll},
    {"fastdrop intf INTF on|off", "Make fastdrops for what comes in on an interface, or not.",
     fastdropIntf},
    {"clear fastdrop [vrf VRF]", "Forget all fastdrops of a VRF.", clearFastdrop},
    {"show fastdrop [vrf VRF] [--json]",
     "Fastdrops and the failures that are counted towards them.", showFastdrop},
    {"expect fastdrop SOURCE GROUP vlan VLAN in-hardware|not-in-hardware|counting|absent [vrf VRF]",
     "The fastdrop of a route in a VLAN has come so far.", expectFastdrop},
    {"expect fastdrops N [vrf VRF]", "So many stand.", expectFastdrops},
};

}  // namespace

Subject<Host> const fastdropCommands = {"RPF failures and fastdrops", rows};

}  // namespace Brindle::Sim
