#include "sim/ExplainView.h"

#include <algorithm>
#include <map>

#include "sim/BoundaryViews.h"
#include "sim/Host.h"
#include "sim/OifText.h"
#include "sim/RouteSpec.h"

namespace Brindle::Sim {

namespace {

using Bridging::VlanIdOrNone;
using Nettle::IntfId;
using Routing::Multicast::Fib::IpGenRouteKey;
using Shoal::Multicast::Fib::Route;

std::string textOf(IntfId intf) { return std::string(intf.view()); }

std::string vlanText(VlanIdOrNone vlan) { return "VLAN " + std::to_string(vlan.value()); }

// Why routes of a VRF are not installed at all; no text if they are.
Told routingObstacle(Host const & host, Mira const & mira) {
  auto const vrf = " vrf " + std::string(mira.vrfName().view());
  auto const * info = mira.routingGenInfo();
  if (mira.l3Enabled()) return {};
  if (!mira.nsfMiraEnabled()) {
    return {"after the restart it waits for the protocols", "the gate", {"clock advance 900"}};
  }
  if (info && !info->routing()) return {"routing is off", "routing", {"ip routing on" + vrf}};
  if (!host.records().hardware->hwRouting()) {
    return {"the hardware does not route", "hardware", {"hw routing on"}};
  }
  return {"multicast routing is off", "routing", {"ip multicast-routing on" + vrf}};
}

Told unpublished(KeyView const & key) {
  return {"no protocol publishes it",
          "route tables",
          {"publish PROTOCOL." + key.vrfText() + " route add " + keyText(key.key) +
           " iif IIF oif OIF"}};
}

std::vector<Told> denials(Host & host, KeyView const & key) {
  std::vector<Told> out;
  for (auto const & denial : denialsOf(host, key)) {
    out.push_back({denial.text, "boundaries", {denial.remedy}});
  }
  return out;
}

// Gathers what there is to tell of one route.
class Explainer {
 public:
  Explainer(Host & host, KeyView const & key, IntfId port)
      : host_(host),
        port_(port),
        mira_(host.mira(key.vrf)),
        copy_(mira_.explain(key.key, explanation_)),
        words_(host, key, explanation_) {
    view_.key = key;
  }

  ExplainView take() {
    addPublishers();
    view_.denials = denials(host_, view_.key);
    for (auto & route : routeViews(host_)) {
      if (route.key.vrf == view_.key.vrf && route.key.key == view_.key.key) view_.route = route;
    }
    if (view_.publishers.empty() && !view_.route) {
      view_.state = unpublished(view_.key);
      return std::move(view_);
    }
    addState();
    if (explanation_.verdict() != RouteVerdict::computed) return std::move(view_);
    addInput();
    addOutputs();
    addVlans();
    for (auto const & special : explanation_.specials()) {
      view_.specials.push_back(words_.of(special));
    }
    addNotes();
    addEntries();
    return std::move(view_);
  }

 private:
  void addPublishers();
  Told obstacle(Shoal::Multicast::Fib::StatusKey const & table, Route const & route) const;
  void addState();
  Told remediesOf(RouteView const & route) const;
  std::vector<std::string> roomOnChips() const;
  bool isOutOfDate() const;
  std::string forwarderFor(U32 point) const;
  void addInput();
  void addOutputs();
  bool isOnAChip(IntfId port) const;
  void addVlans();
  Told elsewhere() const;
  void addNotes();
  void addEntries();

  Host & host_;
  IntfId const port_;  // the one that is asked for, if any
  Mira & mira_;
  Explanation explanation_;
  Zet::Ptr<Mroute const> const copy_;
  ExplainWords const words_;
  ExplainView view_;
};

void Explainer::addPublishers() {
  auto const * tables = mira_.mfibShoalDir();
  if (!tables) return;
  auto const * const best = tables->mfibShoal(view_.key.key);
  for (auto const & entry : tables->shoalPtr().items()) {
    Route route;
    if (!entry.value || !entry.value->routeRead(view_.key.key, route)) continue;
    view_.publishers.push_back({std::string(entry.value->name().view()), route.priority().value,
                                entry.value.get() == best, obstacle(entry.key, route)});
  }
  std::stable_partition(view_.publishers.begin(), view_.publishers.end(),
                        [](auto const & publisher) { return publisher.counts; });
}

// Why the record of a table is not installed; no text if it is, or it is computed as it stands.
Told Explainer::obstacle(Shoal::Multicast::Fib::StatusKey const & table,
                         Route const & route) const {
  auto const * const machine = mira_.mfibShoalSm(table);
  if (!machine) return routingObstacle(host_, mira_);
  using Hindrance = MfibShoalSm::Hindrance;
  switch (machine->hindrance(route)) {
    case Hindrance::notToInstall:
      return {"it is published as not to be installed yet (hold)",
              "published record",
              {"publish " + std::string(machine->name().view()) + " route add " +
               keyText(view_.key.key) + " iif IIF oif OIF"}};
    case Hindrance::noInputVlan:
    case Hindrance::backupWithoutInput: {
      if (!route.iif()) return {"it has no input", "published record"};
      return {"its input " + textOf(route.iif()) + " has no VLAN",
              "internal VLANs",
              {"ip link add " + textOf(route.iif())}};
    }
    case Hindrance::none:
      break;
  }
  if (!machine->unprogrammedWcRoute().contains(view_.key.key)) return {};
  std::string intfs;
  for (auto intf : unreadyIntfs(*machine, route)) {
    intfs += " " + textOf(intf);
    auto const * const subnets = host_.records().pimIntfStatus->intfStatus(intf);
    if (!subnets || !subnets->route().empty()) continue;
    return {"it waits for an address on " + textOf(intf),
            "connected subnets",
            {"ip addr add ADDRESS/LEN dev " + textOf(intf)}};
  }
  return {"it waits until the connected subnets of" + intfs + " are in hardware",
          "connected subnets",
          {"chip set CHIP routes ROUTES"}};
}

bool Explainer::isOutOfDate() const {
  Mroute const * const stands = mira_.mrouteTable()->mroute(view_.key.key);
  if (!stands || !stands->oifSet() || explanation_.verdict() != RouteVerdict::computed)
    return false;
  return !stands->oifSet()->doCmpPortVlanSet(copy_->oifSet()->portVlanSet()) ||
         stands->acceptingVlanId() != copy_->acceptingVlanId();
}

// What would change the state of a route that stands.
Told Explainer::remediesOf(RouteView const & route) const {
  using State = RouteView::State;
  switch (route.state) {
    case State::failed:
      return {route.reason, "chips", roomOnChips()};
    case State::blocked:
      return {
          route.reason, "programmer", {host_.hardware().runs() ? "review on" : "programmer start"}};
    case State::inProgress:
      return {route.reason, "chips", {"settle", "xact ok"}};
    case State::noEntry:
      if (host_.chips().empty()) return {route.reason, "chips", {"chip add CHIP ports PORT"}};
      return {route.reason, "published record"};
    case State::notComputed:
      return {route.reason, "review", {"settle"}};
    case State::waiting:
      for (auto const & publisher : view_.publishers) {
        if (!publisher.obstacle.text.empty()) return publisher.obstacle;
      }
      break;
    case State::inHardware:
      break;
  }
  return {route.reason, ""};
}

// The tables of chips that refused it; where nobody knows which, of any.
std::vector<std::string> Explainer::roomOnChips() const {
  auto const trouble = host_.hardware().trouble(view_.key.vrf, view_.key.key);
  std::vector<std::string> out;
  for (auto const & [chip, entry] : trouble->full) {
    out.push_back("chip set " + chip + (entry ? " routes ROUTES" : " sets OUTPUTS"));
  }
  if (out.empty()) out = {"chip set CHIP routes ROUTES", "chip set CHIP sets OUTPUTS"};
  return out;
}

void Explainer::addState() {
  Told const verdict = words_.of(explanation_.verdict());
  Told const obstacle = view_.publishers.empty() ? Told{} : view_.publishers.front().obstacle;
  if (!view_.route && obstacle.text.empty()) {
    view_.state = {
        "it has been published just now, and not been read yet", "route table", {"settle"}};
  } else if (!view_.route) {
    view_.state = obstacle;
  } else if (!verdict.text.empty()) {
    view_.state = verdict;
  } else if (!isOutOfDate()) {
    view_.state = remediesOf(*view_.route);
  } else if (!obstacle.text.empty()) {
    view_.state = {"what stands is of an earlier record: " + obstacle.text, obstacle.record,
                   obstacle.remedies};
  } else {
    view_.state = {
        "what stands is older than this: the next review changes it", "review", {"settle"}};
  }
}

// The VLANs of whose profile all chips have the point.
std::string Explainer::forwarderFor(U32 point) const {
  std::map<U32, std::size_t> holders;
  for (auto const * chip : host_.chips()) {
    for (auto const & [vlan, bitmap] : chip->profiles().profiles()) {
      holders[vlan] += point < 64 && (bitmap >> point & 1);
    }
  }
  std::string out;
  for (auto const & [vlan, count] : holders) {
    if (count == 0 || count != host_.chips().size()) continue;
    out += (out.empty() ? "" : ", ") + vlanText(VlanIdOrNone(vlan));
  }
  return out.empty() ? "nowhere, as the chips have it" : out;
}

void Explainer::addInput() {
  for (auto const & output : explanation_.outputs()) {
    if (!output.isInput) continue;
    view_.input = textOf(output.intf) + (output.vlan ? " in " + vlanText(output.vlan) : "") +
                  ", the first output of its record that accepts";
  }
  if (!view_.input.empty()) return;
  auto const rpaId = copy_->shoalRoute().rpaId();
  if (rpaId && rpaId < Shoal::Multicast::Fib::rpaInvalid) {
    view_.input = "where the switch is designated forwarder for rendezvous point " +
                  std::to_string(rpaId) + ": " + forwarderFor(rpaId);
  } else if (rpaId) {
    view_.input = rpaId == Shoal::Multicast::Fib::rpaInvalid
                      ? "none: there was no index left for its rendezvous point"
                      : "none: its rendezvous point has no index yet";
  } else if (copy_->acceptingIntfId()) {
    view_.input = textOf(copy_->acceptingIntfId()) + " in " + vlanText(copy_->acceptingVlanId()) +
                  ", on which the connected subnet is";
  } else {
    view_.input = "none: no output of its record accepts";
  }
}

void Explainer::addOutputs() {
  for (auto const & output : explanation_.outputs()) {
    view_.outputs.push_back({oifToText({output.intf, static_cast<U8>(output.properties)}),
                             output.vlan.value(), output.isInput, words_.of(output)});
  }
}

bool Explainer::isOnAChip(IntfId port) const {
  auto const & chips = host_.chips();
  return std::any_of(chips.begin(), chips.end(),
                     [port](Chip const * chip) { return chip->hasPort(port); });
}

void Explainer::addVlans() {
  auto const & table = *host_.records().intfVlanIdTable;
  for (auto const & vlan : explanation_.vlans()) {
    ExplainView::Vlan view{
        vlan.vlan.value(), textOf(table.vlanIdToIntfId(vlan.vlan)), words_.of(vlan), {}};
    for (auto const & port : explanation_.ports()) {
      if (port.vlan != vlan.vlan || (port_ && port.port != port_)) continue;
      view.ports.push_back({textOf(port.port), port.isIn(), words_.of(port)});
      auto & told = view.ports.back().told;
      if (port.isIn() && !isOnAChip(port.port)) told.text += "; but no chip has this port";
    }
    if (!port_ || !view.ports.empty()) view_.vlans.push_back(std::move(view));
  }
  if (port_ && view_.vlans.empty()) view_.elsewhere = elsewhere();
}

// What is told of a port that no VLAN of the outputs has.
Told Explainer::elsewhere() const {
  Told told{"in no VLAN that the route is sent to", "VLANs of the outputs"};
  for (auto const & vlan : explanation_.vlans()) {
    if (vlan.verdict == VlanVerdict::soleInputPort) continue;
    told.remedies.push_back("vlan add " + std::to_string(vlan.vlan.value()) + " port " +
                            textOf(port_));
  }
  return told;
}

void Explainer::addNotes() {
  auto const & set = copy_->oifSet()->portVlanSet();
  if (set.toCpu()) {
    bool const subnet = view_.key.group() == "224.0.0.0/4";
    view_.notes.push_back(subnet ? "Also to the CPU: packets of connected subnets go there"
                                 : "Also to the CPU: its record asks for that");
  }
  for (auto vlan : set.natVlan().items()) {
    view_.notes.push_back("Translated in " + vlanText(vlan));
  }
  for (auto const & drop : copy_->fastdrop().items()) {
    view_.notes.push_back("Dropped in " + vlanText(drop.key) +
                          ": its packets fail the reverse-path check there");
  }
}

// A chip does not know the VRF of an entry, but its VLAN has one.
void Explainer::addEntries() {
  for (auto const & chip : chipViews(host_)) {
    auto const before = view_.entries.size();
    for (auto const & entry : chip.entries) {
      VlanIdOrNone const vlan(entry.vlan);
      bool const ofVrf = !vlan || host_.root().doGetVrfNameFromVid(vlan) == view_.key.vrf;
      if (entry.key.key != view_.key.key || !ofVrf) continue;
      view_.entries.push_back({chip.name, entry.vlan, entry.active, entry.outputs});
    }
    if (view_.entries.size() == before) view_.entries.push_back({chip.name, {}, false, {}});
  }
}

}  // namespace

ExplainView explainView(Host & host, L3::VrfName vrf, IpGenRouteKey const & key, IntfId port) {
  host.start();
  bool const isRouted = host.root().mira(vrf) != nullptr;
  if (isRouted || !host.records().mfibVrfConfig->config(vrf)) {
    return Explainer(host, {vrf, key}, port).take();
  }
  // A VRF is routed as soon as a protocol has a table for it.
  ExplainView view;
  view.key = {vrf, key};
  view.state = unpublished(view.key);
  view.denials = denials(host, view.key);
  return view;
}

}  // namespace Brindle::Sim
