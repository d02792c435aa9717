#include <cstdio>
#include <map>

#include "sim/Render.h"
#include "sim/TextTable.h"
#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

constexpr std::size_t shownOutputs = 12;
constexpr std::size_t shownRoutes = 4;

std::string yesNo(bool v) { return v ? "yes" : "no"; }

std::string orDash(std::string const & text) { return text.empty() ? "-" : text; }

std::string numberOrDash(U32 number) { return number ? std::to_string(number) : "-"; }

std::string seconds(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", v);
  return text;
}

std::string plural(std::size_t n, char const * what) {
  return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

std::string stateText(RouteView const & route) {
  std::string text = route.stateName();
  if (route.reason.empty()) return text;
  return text + (route.state == RouteView::State::waiting ? " " : ": ") + route.reason;
}

std::string specialsText(RouteView const & route) {
  std::string text;
  if (!route.notify.empty()) text += " notify " + route.notify;
  if (!route.fastdrop.empty()) text += " fastdrop " + route.fastdrop;
  if (!route.frr.empty()) text += " frr " + route.frr;
  return text;
}

}  // namespace

std::string outputsText(OutputsView const & outputs, bool toCpu) {
  std::string text;
  U32 lif = ~0u;
  for (std::size_t i = 0; i < outputs.size() && i < shownOutputs; ++i) {
    auto const & output = outputs[i];
    if (output.lif != lif) {
      text.append(text.empty() ? "" : "; ").append(std::to_string(output.lif)).append(":");
    }
    text.append(" ").append(output.port).append(output.tagged ? "(tagged)" : "");
    lif = output.lif;
  }
  if (outputs.size() > shownOutputs) {
    text += " and " + std::to_string(outputs.size() - shownOutputs) + " more";
  }
  if (toCpu) text += text.empty() ? "CPU" : "; CPU";
  return orDash(text);
}

void print(std::ostream & out, std::vector<RouteView> const & routes) {
  std::map<std::string, std::size_t> states;
  TextTable table({"VRF", "Source", "Group", "Iif", "VLAN", "Outputs", "State"});
  for (auto const & route : routes) {
    ++states[route.stateName()];
    table.add({route.key.vrfText(), route.key.source(), route.key.group(), orDash(route.iif),
               numberOrDash(route.vlan),
               outputsText(route.outputs, route.toCpu) + specialsText(route), stateText(route)});
  }
  out << plural(routes.size(), "route");
  for (auto const & [state, count] : states) out << ", " << count << " " << state;
  out << '\n';
  table.print(out);
}

void print(std::ostream & out, std::vector<FloodsetView> const & floodsets) {
  TextTable table({"Kind", "VLAN", "Address", "Outputs", "State"});
  for (auto const & [route] : floodsets) {
    table.add({route.key.kind(), std::to_string(route.vlan), route.key.source(),
               outputsText(route.outputs, route.toCpu), stateText(route)});
  }
  out << plural(floodsets.size(), "L2 route") << '\n';
  table.print(out);
}

void print(std::ostream & out, std::vector<SetView> const & sets) {
  TextTable table({"Set", "Outputs", "Shared by"});
  for (auto const & set : sets) {
    std::vector<std::string> routes;
    for (auto const & key : set.routes) {
      if (routes.size() < shownRoutes) routes.push_back(key.pretty());
    }
    if (set.routes.size() > shownRoutes) {
      routes.push_back("and " + std::to_string(set.routes.size() - shownRoutes) + " more");
    }
    table.add({std::to_string(set.number), outputsText(set.outputs, set.toCpu), joined(routes)});
  }
  out << plural(sets.size(), "output set") << '\n';
  table.print(out);
}

void print(std::ostream & out, std::vector<ChipView> const & chips) {
  for (auto const & chip : chips) {
    out << "Chip " << chip.name << " (number " << chip.index << "): " << chip.routesInUse << " of "
        << chip.routeCapacity << " routes" << (chip.routeRoom ? "" : " (full)") << ", "
        << chip.setsInUse << " of " << chip.setCapacity << ' ' << chip.setUnit
        << (chip.setRoom ? "" : " (full)") << '\n';
    out << "  Ports: " << orDash(joined(chip.ports)) << '\n';
    TextTable table({"Entry", "Source", "Group", "VLAN", "Active", "Outputs here"});
    for (auto const & entry : chip.entries) {
      table.add({entry.handle ? std::to_string(*entry.handle) : "-", entry.key.source(),
                 entry.key.group(), numberOrDash(entry.vlan), yesNo(entry.active),
                 outputsText(entry.outputs)});
    }
    table.print(out);
  }
  if (chips.empty()) out << "no chips\n";
}

void print(std::ostream & out, StatusView const & status) {
  out << "Hardware routes: " << yesNo(status.hwRouting)
      << ", routing enabled: " << yesNo(status.routingEnabled)
      << ", resources full: " << yesNo(status.resourceFull) << '\n';
  TextTable table({"VRF", "Source", "Group", "Accepting", "Notifying", "Fastdrop", "Frr", "Failed",
                   "Last seen"});
  for (auto const & route : status.routes) {
    std::string const failed =
        std::string(route.noRoute ? "entry " : "") + (route.noOutputs ? "outputs" : "");
    table.add({route.key.vrfText(), route.key.source(), route.key.group(), orDash(route.accepting),
               orDash(route.notifying), orDash(route.fastdrop), orDash(route.frr), orDash(failed),
               seconds(route.lastPoll)});
  }
  table.print(out);
}

void print(std::ostream & out, std::vector<VrfFastdropView> const & vrfs) {
  for (auto const & vrf : vrfs) {
    out << "VRF " << vrf.vrf << ": " << vrf.count << " of at most " << vrf.limit << " fastdrops"
        << (vrf.enabled ? "" : " (off)") << (vrf.limitReached ? " (limit reached)" : "") << ", "
        << plural(vrf.failures, "RPF failure") << ", threshold " << vrf.threshold
        << ", polled every " << vrf.pollingInterval << " s\n";
    TextTable table({"Source", "Group", "Interface", "VLAN", "State", "Failures", "Last seen"});
    for (auto const & fastdrop : vrf.fastdrops) {
      table.add({fastdrop.key.source(), fastdrop.key.group(), orDash(fastdrop.intf),
                 std::to_string(fastdrop.vlan), fastdrop.stateName(),
                 numberOrDash(fastdrop.failures),
                 fastdrop.age ? seconds(*fastdrop.age) + " s ago" : "-"});
    }
    table.print(out);
  }
}

void print(std::ostream & out, std::vector<FailureView> const & failures) {
  out << plural(failures.size(), "failed route") << '\n';
  TextTable table({"VRF", "Source", "Group", "Refused by"});
  for (auto const & failure : failures) {
    table.add({failure.key.vrfText(), failure.key.source(), failure.key.group(),
               alternatives(failure.chips)});
  }
  table.print(out);
}

void print(std::ostream & out, std::vector<ReviewView> const & reviews) {
  TextTable table({"VRF", "Routing", "Gate", "Routes", "Waiting", "Failed", "Pass", "Computed",
                   "Unchanged", "Queued", "Review"});
  for (auto const & review : reviews) {
    table.add({review.vrf, yesNo(review.routing), review.gateOpen ? "open" : "closed",
               std::to_string(review.routes), std::to_string(review.waiting),
               std::to_string(review.failed), std::to_string(review.passes),
               std::to_string(review.computed), std::to_string(review.unchanged),
               std::to_string(review.queued), review.pending ? "pending" : "idle"});
  }
  out << plural(reviews.size(), "VRF") << '\n';
  table.print(out);
}

void print(std::ostream & out, std::vector<TransactionView> const & transactions) {
  TextTable table({"Chip", "Transaction", "Source", "Group", "Entry", "VLAN", "After", "Result"});
  for (auto const & view : transactions) {
    table.add({view.chip, (view.ofEntry ? "ingress " : "set ") + std::to_string(view.id),
               view.key.source(), view.key.group(), view.entry, numberOrDash(view.vlan),
               view.set ? "set " + std::to_string(view.set) : "-", Zet::stringValue(view.result)});
  }
  out << plural(transactions.size(), "transaction") << " that routes wait for\n";
  table.print(out);
}

void print(std::ostream & out, ProgrammerView const & programmer) {
  out << "Programmer: the review is " << (programmer.enabled ? "on" : "off")
      << (programmer.backlog ? ", routes are kept back" : "") << '\n';
  TextTable table({"VRF", "Not as they are to be"});
  for (auto const & vrf : programmer.vrfs) {
    std::string text;
    for (auto const & [name, count] : vrf.counters) {
      if (count == 0) continue;
      text.append(text.empty() ? "" : ", ").append(name + " " + std::to_string(count));
    }
    table.add({vrf.vrf, orDash(text)});
  }
  table.print(out);
}

namespace {

std::string answerText(GroupView const & group) {
  if (!group.answer) return "-";
  return (group.answer->success ? "success of " : "failure of ") +
         std::to_string(group.answer->requestId);
}

std::string standingText(GroupView const & group) {
  std::string text;
  for (auto const & one : group.chips) {
    text.append(text.empty() ? "" : "; ").append(one.chip).append(" ");
    text += std::to_string(one.multicastId) + (one.active ? ": " : " (pending): ");
    text += outputsText(one.outputs);
  }
  return orDash(text);
}

}  // namespace

void print(std::ostream & out, std::vector<GroupView> const & groups) {
  TextTable table({"Client", "Group", "Request", "Asked for", "Answer", "Id", "After", "State",
                   "In chips, by id"});
  for (auto const & group : groups) {
    auto const & [request, answer] = std::tie(group.request, group.answer);
    table.add({std::to_string(group.client), std::to_string(group.group),
               request ? std::to_string(request->id) : "dropped",
               request ? outputsText(request->outputs, request->toCpu) : "-", answerText(group),
               answer ? numberOrDash(answer->multicastId) : "-",
               answer && answer->after ? seconds(*answer->after) + " s" : "-",
               group.route ? stateText(*group.route) : "-", standingText(group)});
  }
  out << plural(groups.size(), "requested group") << '\n';
  table.print(out);
}

void print(std::ostream & out, VerifyView const & view) {
  out << plural(view.routes, "route") << " verified";
  if (!view.differences.empty()) out << ", " << plural(view.differences.size(), "difference");
  out << '\n';
  for (auto const & one : view.differences) {
    out << "  " << one.key.pretty();
    if (one.key.vrf != L3::VrfName::defaultVrf()) out << " in " << one.key.vrfText();
    out << ": " << one.where << ": " << one.what << '\n';
  }
}

}  // namespace Brindle::Sim
