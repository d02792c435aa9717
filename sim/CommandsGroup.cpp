// Agents that ask for replication groups, and what they are told.
#include <algorithm>

#include "sim/Commands.h"
#include "sim/GroupViews.h"
#include "sim/Host.h"
#include "sim/Render.h"

namespace Brindle::Sim {

namespace {

GroupClients::Wish wishOf(Arguments const & arguments) {
  GroupClients::Wish wish;
  for (auto port : arguments.intfs()) {
    wish.members.push_back({port, OutLif(arguments.vlan())});
  }
  auto const tunnels = arguments.intfs("INTF");
  auto const lifs = arguments.numbers("LIF");
  for (std::size_t i = 0; i < tunnels.size(); ++i) {
    wish.members.push_back({tunnels[i], OutLif(lifs[i])});
  }
  wish.toCpu = arguments.has("cpu");
  U32 const feature = arguments.number("N");
  wish.featureType = static_cast<U16>(feature >> 16);
  wish.featureValue = static_cast<U16>(feature);
  return wish;
}

void groupRequest(Host & host, Arguments const & arguments) {
  host.groupClients().requestIs(arguments.requestedGroup(), wishOf(arguments));
}

void groupDrop(Host & host, Arguments const & arguments) {
  auto & clients = host.groupClients();
  if (arguments.given("ID")) return clients.requestDel(arguments.requestedGroup());
  clients.clientDel(arguments.requestedGroup().client);
}

void groupReplication(Host & host, Arguments const & arguments) {
  host.groupsKeepLagsIs(arguments.has("lags"));
}

void showGroups(Host & host, Arguments const & arguments) {
  auto const groups = groupViews(host);
  if (arguments.has("--json")) {
    host.out() << toJson(groups).dump(2) << '\n';
  } else {
    print(host.out(), groups);
  }
}

std::string answerOf(GroupView const * group) {
  if (!group) return "absent";
  bool const isLate =
      group->request && group->answer && group->answer->requestId != group->request->id;
  if (!group->answer || isLate) return "unanswered";
  return group->answer->success ? "success" : "failed";
}

std::string portsText(GroupView const & group) {
  OutputsView all;
  for (auto const & chip : group.chips) {
    all.insert(all.end(), chip.outputs.begin(), chip.outputs.end());
  }
  std::string text;
  for (auto const & port : portsOf(all)) text += " " + port;
  return text;
}

void expectGroup(Host & host, Arguments const & arguments) {
  auto const key = arguments.requestedGroup();
  auto const groups = groupViews(host);
  auto const found = std::find_if(groups.begin(), groups.end(), [&](auto const & group) {
    return group.client == key.client && group.group == key.group;
  });
  auto const * const group = found == groups.end() ? nullptr : &*found;
  auto const answer = answerOf(group);
  std::string const name =
      "group " + std::to_string(key.group) + " of client " + std::to_string(key.client);
  if (!arguments.has(answer)) {
    throw CommandError("expected another answer to " + name + ", found " + answer);
  }
  std::string wanted;
  for (auto const & port : arguments.texts("PORT")) wanted += " " + port;
  if (arguments.has("ports") && wanted != portsText(*group)) {
    throw CommandError("expected " + name + " to leave by" + wanted + ", found" +
                       portsText(*group));
  }
  host.out() << "ok: " << name << ": " << answer << wanted << '\n';
}

constexpr Command<Host> rows[] = {
    {"group request CLIENT ID [vlan VLAN port PORT...] [tunnel INTF lif LIF]... [cpu] [feature N]",
     "A client asks for a group, of ports of one VLAN or of logical interfaces, or asks for "
     "another one under its name.",
     groupRequest},
    {"group drop CLIENT [ID]", "It needs a group no more, or goes with all that it asked for.",
     groupDrop},
    {"group replication ports|lags",
     "The chips replicate to the ports of LAGs (ports), or to LAGs that they know themselves.",
     groupReplication},
    {"show groups [--json]",
     "What clients ask for, what they were told, and what stands of it in the chips.", showGroups},
    {"expect group CLIENT ID success|failed|unanswered|absent [ports PORT...]",
     "The client has this answer to its last request; in the chips the group leaves by exactly "
     "these ports.",
     expectGroup},
};

}  // namespace

Subject<Host> const groupCommands = {"Groups that agents ask for", rows};

}  // namespace Brindle::Sim
