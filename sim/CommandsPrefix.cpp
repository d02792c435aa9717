// Connected subnets in the chips, and the (*,G) routes that wait for them.
#include <algorithm>

#include "sim/Commands.h"
#include "sim/Host.h"
#include "sim/Render.h"
#include "sim/TextTable.h"
#include "sim/Views.h"

namespace Brindle::Sim {

namespace {

using Nettle::IntfId;
using PimIntf = Fib::PimIntf::IntfStatus;

std::string nameOf(IntfId intf) { return std::string(intf.view()); }

void show(Host & host, Arguments const & arguments, TextTable const & table, Json const & json) {
  if (arguments.has("--json")) {
    host.out() << json.dump(2) << '\n';
  } else {
    table.print(host.out());
  }
}

std::vector<Nettle::IpGenPrefix> sortedSubnets(PimIntf const & status) {
  std::vector<Nettle::IpGenPrefix> out;
  for (auto i = status.route().begin(); i; i.advance()) out.push_back(i.key());
  std::sort(out.begin(), out.end());
  return out;
}

void showPrefix(Host & host, Arguments const & arguments) {
  Json json = Json::array();
  TextTable table({"Interface", "Subnet", "State", "Leaning", "Waiting"});
  for (auto const & entry : host.records().pimIntfStatus->intfStatus().items()) {
    auto const & status = *entry.value;
    auto const leaning = std::to_string(status.refCount());
    auto const waiting = std::to_string(status.toAddWc().size());
    Json subnets = Json::array();
    for (auto const & subnet : sortedSubnets(status)) {
      bool const programmed = status.route(subnet)->programmed();
      table.add({nameOf(entry.key), Zet::textOf(subnet),
                 programmed ? "in hardware" : "waiting for room", leaning, waiting});
      subnets.push_back({{"subnet", Zet::textOf(subnet)}, {"programmed", programmed}});
    }
    if (subnets.empty()) table.add({nameOf(entry.key), "-", "no address", leaning, waiting});
    json.push_back({{"interface", nameOf(entry.key)},
                    {"subnets", std::move(subnets)},
                    {"ready", status.routesProgrammed()},
                    {"leaning", status.refCount()},
                    {"waiting", status.toAddWc().size()}});
  }
  show(host, arguments, table, json);
}

// A route of a table that waits, and the interfaces that it waits for.
struct Waiting {
  std::string table;
  KeyView key;
  std::vector<IntfId> intfs;
};

std::vector<Waiting> waitingRoutes(Host const & host) {
  std::vector<Waiting> out;
  if (!host.started()) return out;
  for (auto mira = host.root().mira().begin(); mira; mira.advance()) {
    for (auto table = mira->mfibShoalSm().begin(); table; table.advance()) {
      for (auto i = table->unprogrammedWcRoute().begin(); i; i.advance()) {
        out.push_back({std::string(table->name().view()),
                       {mira.key(), i.key()},
                       unreadyIntfs(*table, i.value())});
      }
    }
  }
  std::sort(out.begin(), out.end(), [](Waiting const & a, Waiting const & b) {
    return std::tie(a.table, a.key) < std::tie(b.table, b.key);
  });
  return out;
}

std::vector<std::string> unprogrammedSubnets(PimIntf const & status) {
  std::vector<std::string> out;
  for (auto const & subnet : sortedSubnets(status)) {
    if (!status.route(subnet)->programmed()) out.push_back(Zet::textOf(subnet));
  }
  return out;
}

std::string waitText(std::string const & intf, PimIntf const & status,
                     std::vector<std::string> const & subnets) {
  if (status.route().empty()) return "an address on " + intf;
  if (subnets.empty()) return intf + ", which is not ready though its subnets are in hardware";
  std::string text = "room for";
  for (auto const & subnet : subnets) text += " " + subnet;
  return text + " of " + intf;
}

void showWaiting(Host & host, Arguments const & arguments) {
  Json json = Json::array();
  TextTable table({"Table", "Source", "Group", "Waits for"});
  for (auto const & route : waitingRoutes(host)) {
    Json intfs = Json::array();
    std::string text;
    for (auto intf : route.intfs) {
      auto const & status = *host.records().pimIntfStatus->intfStatus(intf);
      auto const subnets = unprogrammedSubnets(status);
      text.append(text.empty() ? "" : "; ").append(waitText(nameOf(intf), status, subnets));
      intfs.push_back({{"interface", nameOf(intf)}, {"subnets", subnets}});
    }
    if (text.empty()) text = "the next change of its interfaces";
    table.add({route.table, route.key.source(), route.key.group(), text});
    json.push_back({{"table", route.table},
                    {"source", route.key.source()},
                    {"group", route.key.group()},
                    {"waitsFor", std::move(intfs)}});
  }
  show(host, arguments, table, json);
}

void expectPrefix(Host & host, Arguments const & arguments) {
  auto const intf = arguments.intf();
  auto const subnet = Nettle::Prefix(arguments.addressWithMask()).genPrefix();
  auto const * status = host.records().pimIntfStatus->intfStatus(intf);
  auto const * route = status ? status->route(subnet) : nullptr;
  char const * const found = !route ? "absent" : route->programmed() ? "in-hardware" : "waiting";
  auto const what = Zet::textOf(subnet) + " of " + nameOf(intf);
  if (!arguments.has(found)) {
    throw CommandError("expected " + what + " in the state asked for, found it " + found);
  }
  host.out() << "ok: " << what << " is " << found << '\n';
}

void expectWaitingFor(Host & host, Arguments const & arguments) {
  KeyView const key{arguments.vrf(), arguments.routeKey()};
  auto const wanted = arguments.intfs("INTF");
  std::string const names = alternatives(arguments.texts("INTF"));
  for (auto const & route : waitingRoutes(host)) {
    if (route.key < key || key < route.key || route.intfs != wanted) continue;
    host.out() << "ok: " << key.pretty() << " waits for " << names << '\n';
    return;
  }
  throw CommandError("expected " + key.pretty() + " to wait for " + names);
}

constexpr Command<Host> rows[] = {
    {"show prefix [--json]",
     "The subnets that are put into the chips ahead of (*,G) routes, and how many routes lean on "
     "their interfaces, or wait for them.",
     showPrefix},
    {"show waiting [--json]", "What each (*,G) route that waits is waiting for.", showWaiting},
    {"expect prefix INTF ADDRESS/LEN in-hardware|waiting|absent",
     "The subnet of the interface has come so far.", expectPrefix},
    {"expect waiting SOURCE GROUP for INTF... [vrf VRF]",
     "The (*,G) route waits for the subnets of just these interfaces, its input first.",
     expectWaitingFor},
};

}  // namespace

Subject<Host> const prefixCommands = {"Connected subnets", rows};

}  // namespace Brindle::Sim
