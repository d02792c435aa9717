#include "sim/Views.h"

#include <algorithm>
#include <map>

#include "sim/Host.h"
#include "sim/RouteSpec.h"

namespace Brindle::Sim {

OutputsView outputsOf(PortVlanSet const & set) {
  OutputsView out;
  for (PortVlan const & pv : set.portVlan().items()) {
    out.push_back({std::string(pv.port.view()), pv.outLif.value(),
                   (pv.portProperty & taggedPortProperty) != 0});
  }
  return out;
}

namespace {

using Routing::Multicast::Fib::IpGenRouteKey;

std::string textOf(Nettle::IntfId intf) { return std::string(intf.view()); }

// The number of each set in use, by content, so that equal switches number alike.
using SetNumbers = std::map<OifSet const *, U32>;
std::vector<OifSet const *> sortedSets(Host const & host) {
  std::vector<OifSet const *> sets;
  for (auto i = host.routeTables().oifSet().begin(); i; i.advance()) {
    sets.push_back(host.routeTables().oifSet(i.key()));
  }
  std::sort(sets.begin(), sets.end(),
            [](OifSet const * a, OifSet const * b) { return a->portVlanSet() < b->portVlanSet(); });
  return sets;
}

SetNumbers setNumbers(Host const & host) {
  SetNumbers numbers;
  for (OifSet const * set : sortedSets(host)) {
    numbers.emplace(set, static_cast<U32>(numbers.size() + 1));
  }
  return numbers;
}

std::string vrfProblem(Host const & host, L3::VrfName vrf, Nettle::IntfId iif) {
  auto const * status = host.records().ipStatus->ipIntfStatus(iif);
  if (!status) return "there is no IP on " + textOf(iif);
  if (status->vrf() != vrf) return textOf(iif) + " is not in VRF " + std::string(vrf.view());
  return "its turn has not come";
}

// A route of the resolver's table, and how it stands with the chips.
class RouteReader {
 public:
  RouteReader(Host const & host, L3::VrfName vrf, SetNumbers const & numbers)
      : host_(host),
        vrf_(vrf),
        numbers_(numbers) {}

  RouteView view(Mroute const & mroute) const {
    RouteView view;
    view.key = {vrf_, mroute.key()};
    view.iif =
        textOf(mroute.acceptingIntfId() ? mroute.acceptingIntfId() : mroute.shoalRoute().iif());
    view.vlan = mroute.acceptingVlanId().value();
    if (auto const * set = mroute.oifSet().get()) {
      view.outputs = outputsOf(set->portVlanSet());
      view.toCpu = set->portVlanSet().toCpu();
      view.set = numbers_.at(set);
    }
    view.notify = special(mroute.notifyingVlanId());
    view.fastdrop = special(mroute.staticFastdropVlanId());
    view.frr = special(mroute.frrVlanId());
    state(mroute, view);
    return view;
  }

 private:
  std::string special(Bridging::VlanIdOrNone vlan) const {
    return vlan ? textOf(host_.records().intfVlanIdTable->vlanIdToIntfId(vlan)) : "";
  }

  // The record of the subnet that the route is for; null for all other routes.
  Fib::PimIntf::PrefixRouteInfo const * connectedSubnet(Mroute const & mroute) const {
    auto const & pim = *host_.records().pimIntfStatus;
    if (mroute.key().group() != Nettle::IpGenPrefix("224.0.0.0/4")) return nullptr;
    auto const * status = pim.intfStatus(pim.srcToIntfMap({mroute.key().source(), vrf_}));
    return status ? status->route(mroute.key().source()) : nullptr;
  }

  static bool hasRendezvousPoint(Mroute const & mroute) {
    return mroute.rpaId() && mroute.rpaId() < Shoal::Multicast::Fib::rpaInvalid;
  }
  static char const * whyNoRendezvousPoint(Shoal::Multicast::Fib::RpaIndex rpaId) {
    if (!rpaId) return "it is accepted nowhere";
    return rpaId == Shoal::Multicast::Fib::rpaInvalid
               ? "there was no index left for its rendezvous point"
               : "its rendezvous point has no index yet";
  }

  static RouteView::State stateOf(Hardware::Trouble::Kind kind) {
    using Trouble = Hardware::Trouble;
    if (kind == Trouble::refused) return RouteView::State::failed;
    return kind == Trouble::blocked ? RouteView::State::blocked : RouteView::State::inProgress;
  }

  void state(Mroute const & mroute, RouteView & view) const {
    using State = RouteView::State;
    auto const * const subnet = connectedSubnet(mroute);
    if (subnet) view.iif = textOf(subnet->intfId());
    auto const trouble = host_.hardware().trouble(vrf_, mroute.key());
    if (mroute.version() == 0 && !subnet) {
      view.state = State::notComputed;
      view.reason = view.key.isL2() ? "its turn has not come"
                                    : vrfProblem(host_, vrf_, mroute.shoalRoute().iif());
    } else if (trouble) {
      view.state = stateOf(trouble->kind);
      view.reason = alternatives(trouble->why);
    } else if (subnet) {
      view.state = subnet->programmed() ? State::inHardware : State::noEntry;
      if (!subnet->programmed()) view.reason = "a chip has no room for the subnet";
    } else if (host_.chips().empty()) {
      view.state = State::noEntry;
      view.reason = "there is no chip";
    } else if (!view.key.isL2() && !mroute.acceptingVlanId() && !mroute.noRpf() &&
               !hasRendezvousPoint(mroute)) {
      view.state = State::noEntry;
      view.reason = whyNoRendezvousPoint(mroute.rpaId());
    } else {
      view.state = State::inHardware;
    }
  }

  Host const & host_;
  L3::VrfName const vrf_;
  SetNumbers const & numbers_;
};

// Why a (*,G) route has to wait.
std::string waitReason(MfibShoalSm const & table, Shoal::Multicast::Fib::Route const & route) {
  std::vector<std::string> intfs;
  for (auto intf : unreadyIntfs(table, route)) intfs.push_back(textOf(intf));
  if (intfs.empty()) return "for the next change of its interfaces";
  return "for the connected subnets of " + alternatives(intfs) + " in hardware";
}

void addWaiting(Host const & host, L3::VrfName vrf, std::vector<RouteView> & views) {
  auto const mira = host.root().mira(vrf);
  if (!mira) return;
  for (auto table = mira->mfibShoalSm().begin(); table; table.advance()) {
    for (auto i = table->unprogrammedWcRoute().begin(); i; i.advance()) {
      auto const & route = *table->unprogrammedWcRoute().find(i.key());
      RouteView view;
      view.key = {vrf, i.key()};
      view.iif = textOf(route.iif());
      view.state = RouteView::State::waiting;
      view.reason = waitReason(*table, route);
      views.push_back(std::move(view));
    }
  }
}

template <class View> void sortByKey(std::vector<View> & views) {
  std::sort(views.begin(), views.end(),
            [](View const & a, View const & b) { return a.key < b.key; });
}

std::vector<EntryView> entryViews(Host const & host, Chip const & chip) {
  std::vector<EntryView> out;
  for (auto const & entry : host.hardware().entries(chip)) {
    EntryView view{{}, {{}, entry.key.sg}, entry.key.vlanId.value(), entry.active, {}};
    if (!entry.handle.isNull()) view.handle = entry.handle.value;
    if (entry.oifSet) view.outputs = outputsOf(entry.oifSet->portVlanSet());
    std::erase_if(view.outputs, [&](OutputView const & output) {
      return !chip.hasPort(Nettle::IntfId(output.port));
    });
    out.push_back(std::move(view));
  }
  std::sort(out.begin(), out.end(), [](EntryView const & a, EntryView const & b) {
    return a.key < b.key || (!(b.key < a.key) && a.handle < b.handle);
  });
  return out;
}

// The fastdrops of one VRF, and the failures that are counted towards others.
class FastdropReader {
 public:
  FastdropReader(Host const & host, L3::VrfName vrf)
      : host_(host),
        vrf_(vrf),
        status_(host.records().hardware->vrfStatus(vrf)) {
    for (Chip const * chip : host.chips()) {
      for (auto const & entry : chip->entries()) {
        if (entry.active) ++holders_[{entry.key.sg, entry.key.vlanId.value()}];
      }
    }
  }

  void read(Mroute const & mroute, std::vector<FastdropView> & views) const {
    for (auto const & one : mroute.fastdrop().items()) {
      using State = FastdropView::State;
      bool const held = heldByAllChips(mroute.key(), one.key);
      views.push_back(view(mroute, one.key, held ? State::inHardware : State::notInHardware));
    }
    for (auto const & one : mroute.rpfFailureCount().items()) {
      if (mroute.fastdrop().contains(one.key)) continue;
      views.push_back(view(mroute, one.key, FastdropView::State::counting));
    }
  }

 private:
  FastdropView view(Mroute const & mroute, Bridging::VlanId vlan, FastdropView::State state) const {
    auto const intf = host_.records().intfVlanIdTable->vlanIdToIntfId(vlan);
    auto const * route = status_ ? status_->route(mroute.key()) : nullptr;
    auto const * seen =
        route ? route->fastdropLastPollTime().find(Zet::String(intf.view())) : nullptr;
    FastdropView view{{vrf_, mroute.key()},         textOf(intf), vlan.value(),
                      mroute.rpfFailureCount(vlan), state,        std::nullopt};
    if (seen) view.age = host_.now() - *seen;
    return view;
  }

  bool heldByAllChips(IpGenRouteKey const & key, Bridging::VlanId vlan) const {
    auto const i = holders_.find({key, vlan.value()});
    return i != holders_.end() && i->second == host_.chips().size();
  }

  Host const & host_;
  L3::VrfName const vrf_;
  Fib::Hardware::VrfStatus const * const status_;
  std::map<std::pair<IpGenRouteKey, U32>, U32> holders_;  // of an entry, how many chips
};

VrfFastdropView vrfFastdropView(Host const & host, Mira const & mira) {
  auto const & config = *mira.mfibConfig();
  VrfFastdropView view{.vrf = std::string(mira.vrfName().view()),
                       .enabled = config.fastdrop(),
                       .limitReached = mira.fastdropLimitReached(),
                       .count = mira.mrouteTable()->fastdropCount(),
                       .limit = config.maxFastdrops(),
                       .threshold = mira.fastdropRpfFailureThreshold(),
                       .pollingInterval = mira.fastdropPollingInterval(),
                       .failures = mira.rpfFailureCount(),
                       .fastdrops = {}};
  FastdropReader const reader(host, mira.vrfName());
  for (auto i = mira.mrouteTable()->mroute().begin(); i; i.advance()) {
    reader.read(*i, view.fastdrops);
  }
  std::stable_sort(view.fastdrops.begin(), view.fastdrops.end(),
                   [](FastdropView const & a, FastdropView const & b) { return a.key < b.key; });
  return view;
}

// Those of groups that agents asked for stand among them.
U32 ipRoutes(MrouteTable const & table) {
  U32 count = 0;
  for (auto i = table.mroute().begin(); i; i.advance()) {
    count += i.key().kind() == Routing::Multicast::Fib::mroute_;
  }
  return count;
}

}  // namespace

std::vector<L3::VrfName> vrfs(Host const & host) {
  std::vector<L3::VrfName> out;
  if (!host.started()) return out;
  for (auto i = host.routeTables().vrfMrouteTable().begin(); i; i.advance()) out.push_back(i.key());
  std::sort(out.begin(), out.end());
  return out;
}

std::string KeyView::source() const {
  using namespace Routing::Multicast::Fib;
  if (key.kind() == ethGroup_) return Zet::textOf(key.ethAddr());
  if (key.kind() == evpnMultihomeFloodset_) return Zet::textOf(key.evpnTepIp());
  if (isL2()) return "-";
  auto const text = keyText(key);
  return text.substr(0, text.find(' '));
}

char const * KeyView::kind() const {
  static constexpr char const * kinds[] = {"-",         "vlan",      "unknown", "group",
                                           "requested", "core-side", "peer"};
  return kinds[key.kind()];
}

std::string KeyView::group() const {
  if (key.kind() == Routing::Multicast::Fib::mcastGroup_) {
    auto const group = key.mcastGroup();
    return kind() + (" " + std::to_string(group.client)) + "/" + std::to_string(group.group);
  }
  if (isL2()) return kind() + (" " + std::to_string(key.vlanId().value()));
  auto const text = keyText(key);
  return text.substr(text.find(' ') + 1);
}

std::vector<RouteView> routeViews(Host const & host) {
  std::vector<RouteView> views;
  if (!host.started()) return views;
  auto const numbers = setNumbers(host);
  for (auto vrf : vrfs(host)) {
    RouteReader const reader(host, vrf, numbers);
    auto const & table = *host.routeTables().vrfMrouteTable(vrf);
    for (auto i = table.mroute().begin(); i; i.advance()) {
      if (i.key().kind() == Routing::Multicast::Fib::mroute_) views.push_back(reader.view(*i));
    }
    addWaiting(host, vrf, views);
  }
  sortByKey(views);
  return views;
}

std::string KeyView::pretty() const {
  return isL2() ? key.pretty() : "(" + source() + ", " + group() + ")";
}

std::vector<FloodsetView> floodsetViews(Host const & host) {
  std::vector<FloodsetView> views;
  if (!host.started() || !host.routeTables().l2FloodsetTable()) return views;
  auto const numbers = setNumbers(host);
  RouteReader const reader(host, L3::VrfName::defaultVrf(), numbers);
  auto const & table = *host.routeTables().l2FloodsetTable();
  for (auto i = table.mroute().begin(); i; i.advance()) {
    views.push_back({reader.view(*table.mroute(i.key()))});
  }
  std::sort(views.begin(), views.end());
  return views;
}

std::optional<RouteView> groupRouteView(Host const & host, IpGenRouteKey const & key) {
  if (!host.started()) return std::nullopt;
  auto const vrf = L3::VrfName::defaultVrf();
  auto const * const table = host.routeTables().vrfMrouteTable(vrf);
  auto const * const mroute = table ? table->mroute(key) : nullptr;
  if (!mroute) return std::nullopt;
  return RouteReader(host, vrf, setNumbers(host)).view(*mroute);
}

std::vector<SetView> setViews(Host const & host) {
  std::vector<SetView> views;
  if (!host.started()) return views;
  for (OifSet const * set : sortedSets(host)) {
    views.push_back({static_cast<U32>(views.size() + 1),
                     outputsOf(set->portVlanSet()),
                     set->portVlanSet().toCpu(),
                     {}});
  }
  auto const add = [&](RouteView const & route) {
    if (route.set) views[*route.set - 1].routes.push_back(route.key);
  };
  for (auto const & route : routeViews(host)) add(route);
  for (auto const & floodset : floodsetViews(host)) add(floodset.route);
  for (auto const & group : host.groups().groups()) {
    auto const route = groupRouteView(host, Routing::Multicast::Fib::makeRouteKeyMcastGroup(group));
    if (route) add(*route);
  }
  return views;
}

std::vector<ChipView> chipViews(Host const & host) {
  std::vector<ChipView> views;
  for (Chip const * chip : host.chips()) {
    ChipView view{};
    view.name = chip->name().view();
    view.index = chip->index();
    for (auto port : chip->ports().items()) view.ports.push_back(textOf(port));
    view.routesInUse = chip->routesInUse();
    view.routeCapacity = chip->routeCapacity();
    view.setUnit = chip->setUnit();
    view.setsInUse = chip->setsInUse();
    view.setCapacity = chip->setCapacity();
    view.routeRoom = chip->hasRouteRoom();
    view.setRoom = chip->hasSetRoom();
    for (auto vrf : vrfs(host)) {
      auto const waiting = host.hardware().waiting(vrf, *chip);
      view.failedRoutes += waiting.routes;
      view.failedSets += waiting.sets;
    }
    view.entries = entryViews(host, *chip);
    views.push_back(std::move(view));
  }
  return views;
}

StatusView statusView(Host const & host) {
  auto const & status = *host.records().hardware;
  StatusView view{status.hwRouting(), status.routingEnabled(), status.hwResourceFull(), {}};
  for (auto vrf : vrfs(host)) {
    auto const * vrfStatus = status.vrfStatus(vrf);
    if (!vrfStatus) continue;
    for (auto i = vrfStatus->route().begin(); i; i.advance()) {
      auto const & route = *vrfStatus->route(i.key());
      using Flags = Fib::Hardware::RouteStatus;
      view.routes.push_back({{vrf, i.key()},
                             textOf(route.acceptingIntfId()),
                             textOf(route.notifyingIntfId()),
                             textOf(route.staticFastdropIntfId()),
                             textOf(route.frrIntfId()),
                             (route.hwFlags() & Flags::noRoute) != 0,
                             (route.hwFlags() & Flags::noIntfs) != 0,
                             route.lastPollTime()});
    }
  }
  sortByKey(view.routes);
  return view;
}

std::vector<VrfFastdropView> fastdropViews(Host const & host) {
  std::vector<VrfFastdropView> views;
  for (auto vrf : vrfs(host)) {
    if (auto const mira = host.root().mira(vrf)) views.push_back(vrfFastdropView(host, *mira));
  }
  return views;
}

std::vector<FailureView> failureViews(Host const & host) {
  std::vector<FailureView> views;
  for (auto vrf : vrfs(host)) {
    for (auto const & key : host.hardware().refused(vrf)) {
      views.push_back({{vrf, key}, host.hardware().trouble(vrf, key)->why});
    }
  }
  sortByKey(views);
  return views;
}

std::vector<ReviewView> reviewViews(Host const & host) {
  std::vector<ReviewView> views;
  for (auto vrf : vrfs(host)) {
    auto const mira = host.root().mira(vrf);
    if (!mira) continue;
    auto const & table = *host.routeTables().vrfMrouteTable(vrf);
    std::vector<RouteView> waiting;
    addWaiting(host, vrf, waiting);
    views.push_back({std::string(vrf.view()), mira->l3Enabled(), mira->nsfMiraEnabled(),
                     ipRoutes(table), static_cast<U32>(waiting.size()),
                     static_cast<U32>(host.hardware().refused(vrf).size()), mira->review(),
                     table.recomputations(), table.noChangeRecomputations(),
                     mira->dirtyMrouteMetadata().size(), mira->reviewPending()});
  }
  return views;
}

std::vector<Nettle::IntfId> unreadyIntfs(MfibShoalSm const & table,
                                         Shoal::Multicast::Fib::Route const & route) {
  std::vector<Nettle::IntfId> out;
  for (auto intf : {route.iif(), route.notify()}) {
    if (!table.ready(intf) && (out.empty() || out.front() != intf)) out.push_back(intf);
  }
  return out;
}

std::vector<std::string> portsOf(OutputsView const & outputs) {
  Zet::OrderedSet<Nettle::IntfId> ports;
  for (auto const & output : outputs) ports.insert(Nettle::IntfId(output.port));
  std::vector<std::string> names;
  for (auto port : ports.items()) names.push_back(textOf(port));
  return names;
}

}  // namespace Brindle::Sim
