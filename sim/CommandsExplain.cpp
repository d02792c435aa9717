// Why a route is as it is.
#include <map>

#include "sim/Commands.h"
#include "sim/ExplainView.h"
#include "sim/Host.h"
#include "sim/Render.h"

namespace Brindle::Sim {

namespace {

// --- For people

void printRemedies(std::ostream & out, Told const & told, char const * indent) {
  char const * lead = "would change it: ";
  for (auto const & remedy : told.remedies) {
    out << indent << lead << remedy << '\n';
    lead = "or: ";
  }
}

void printPublishers(std::ostream & out, ExplainView const & view) {
  for (auto const & publisher : view.publishers) {
    out << "Published by " << publisher.table << ", priority " << publisher.priority << ": "
        << (publisher.counts ? "its record counts" : "another record counts");
    if (!publisher.obstacle.text.empty()) out << "; " << publisher.obstacle.text;
    out << '\n';
  }
}

// Ports of which the same is told stand together.
void printPorts(std::ostream & out, ExplainView::Vlan const & vlan, bool withRemedies) {
  std::vector<std::pair<std::string, ExplainView::Port const *>> lines;
  for (auto const & port : vlan.ports) {
    auto const same = [&](auto const & line) {
      return line.second->in == port.in && line.second->told.text == port.told.text;
    };
    auto const at = std::find_if(lines.begin(), lines.end(), same);
    if (at == lines.end()) {
      lines.push_back({port.port, &port});
    } else {
      at->first += " " + port.port;
    }
  }
  for (auto const & [ports, first] : lines) {
    out << "  " << (first->in ? "in   " : "out  ") << ports << ": " << first->told.text << '\n';
    if (withRemedies) printRemedies(out, first->told, "       ");
  }
}

void printOutputs(std::ostream & out, ExplainView const & view, std::string const & port) {
  for (auto const & output : view.outputs) {
    out << "Output " << output.intf;
    if (output.vlan) out << " in VLAN " << output.vlan;
    out << ": " << output.told.text << '\n';
    printRemedies(out, output.told, "  ");
  }
  for (auto const & vlan : view.vlans) {
    out << "VLAN " << vlan.vlan << ": " << vlan.told.text << '\n';
    if (vlan.ports.empty()) printRemedies(out, vlan.told, "  ");
    printPorts(out, vlan, !port.empty());
  }
  if (!view.elsewhere) return;
  out << "  out  " << port << ": " << view.elsewhere->text << '\n';
  printRemedies(out, *view.elsewhere, "       ");
}

void print(std::ostream & out, ExplainView const & view, std::string const & port) {
  out << view.key.pretty() << " in VRF " << view.key.vrfText() << ": "
      << (view.route ? view.route->stateName() : "not there")
      << (view.state.text.empty() ? "" : ", " + view.state.text) << '\n';
  printRemedies(out, view.state, "  ");
  printPublishers(out, view);
  if (!view.input.empty()) out << "Input: " << view.input << '\n';
  printOutputs(out, view, port);
  for (auto const & special : view.specials) out << "Besides: " << special.text << '\n';
  for (auto const & denial : view.denials) {
    out << denial.text << '\n';
    printRemedies(out, denial, "  ");
  }
  for (auto const & note : view.notes) out << note << '\n';
  for (auto const & entry : view.entries) {
    out << "Chip " << entry.chip << ": ";
    if (!entry.vlan) {
      out << "no entry\n";
      continue;
    }
    out << (*entry.vlan ? "in VLAN " + std::to_string(*entry.vlan) : "in VLANs by profile")
        << " -> " << outputsText(entry.outputs) << (entry.active ? "" : ", not confirmed") << '\n';
  }
}

// --- For programs

Json toldJson(Told const & told) {
  return {{"text", told.text}, {"record", told.record}, {"wouldChangeIt", told.remedies}};
}

Json merged(Json json, Told const & told) {
  json.update(toldJson(told));
  return json;
}

Json vlanJson(ExplainView::Vlan const & vlan) {
  Json ports = Json::array();
  for (auto const & port : vlan.ports) {
    ports.push_back(merged({{"port", port.port}, {"in", port.in}}, port.told));
  }
  Json json = merged({{"vlan", vlan.vlan}}, vlan.told);
  json["ports"] = std::move(ports);
  return json;
}

Json toJson(ExplainView const & view) {
  Json publishers = Json::array(), outputs = Json::array(), vlans = Json::array(),
       specials = Json::array(), denials = Json::array(), entries = Json::array();
  for (auto const & publisher : view.publishers) {
    publishers.push_back({{"table", publisher.table},
                          {"priority", publisher.priority},
                          {"counts", publisher.counts},
                          {"obstacle", publisher.obstacle.text}});
  }
  for (auto const & output : view.outputs) {
    outputs.push_back(merged(
        {{"output", output.intf}, {"vlan", output.vlan}, {"input", output.isInput}}, output.told));
  }
  for (auto const & vlan : view.vlans) vlans.push_back(vlanJson(vlan));
  for (auto const & special : view.specials) specials.push_back(toldJson(special));
  for (auto const & denial : view.denials) denials.push_back(toldJson(denial));
  for (auto const & entry : view.entries) {
    entries.push_back({{"chip", entry.chip},
                       {"vlan", entry.vlan ? Json(*entry.vlan) : Json()},
                       {"active", entry.active},
                       {"outputs", outputsText(entry.outputs)}});
  }
  return {{"vrf", view.key.vrfText()},
          {"source", view.key.source()},
          {"group", view.key.group()},
          {"state", view.route ? view.route->stateName() : "not there"},
          {"why", toldJson(view.state)},
          {"publishers", std::move(publishers)},
          {"input", view.input},
          {"outputs", std::move(outputs)},
          {"vlans", std::move(vlans)},
          {"elsewhere", view.elsewhere ? toldJson(*view.elsewhere) : Json()},
          {"besides", std::move(specials)},
          {"denied", std::move(denials)},
          {"notes", view.notes},
          {"entries", std::move(entries)}};
}

void explain(Host & host, Arguments const & arguments) {
  auto const view =
      explainView(host, arguments.vrf(), arguments.routeKey(), arguments.intf("PORT"));
  if (arguments.has("--json")) {
    host.out() << toJson(view).dump(2) << '\n';
  } else {
    print(host.out(), view, arguments.text("PORT", ""));
  }
}

constexpr Command<Host> rows[] = {
    {"explain [vrf VRF] SOURCE GROUP [port PORT] [--json]",
     "How a route got its input and each output: of each port of its VLANs, or of one, whether the "
     "traffic leaves there, what decided that, and what would change it.",
     explain},
};

}  // namespace

Subject<Host> const explainCommands = {"Explaining", rows};

}  // namespace Brindle::Sim
