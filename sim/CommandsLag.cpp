// Link aggregation, on one switch and on a pair.
#include "sim/Commands.h"
#include "sim/Host.h"
#include "sim/RecordEdits.h"

namespace Brindle::Sim {

namespace {

using Nettle::IntfId;

void requireLag(Host & host, IntfId lag) {
  if (host.records().lagStatusDir->intfStatus(lag)) return;
  throw CommandError("expected a LAG that stands; \"lag add " + std::string(lag.view()) +
                     "\" makes one");
}

void lagAdd(Host & host, Arguments const & arguments) {
  auto & records = host.records();
  auto const lag = arguments.intf("LAG");
  lag.kindIs(Nettle::IntfKind::portChannel);
  records.lagStatusDir->intfStatusIs(lag);
  for (auto port : arguments.intfs()) addLagMember(records, lag, port);
}

void lagDel(Host & host, Arguments const & arguments) {
  auto & records = host.records();
  auto const lag = arguments.intf("LAG");
  requireLag(host, lag);
  for (auto const & member : records.lagStatusDir->intfStatus(lag)->member().items()) {
    records.lagConfigDir->phyIntfDel(member);
  }
  records.lagStatusDir->intfStatusDel(lag);
}

void lagMemberDel(Host & host, Arguments const & arguments) {
  auto & records = host.records();
  auto const lag = arguments.intf("LAG");
  requireLag(host, lag);
  for (auto port : arguments.intfs()) {
    records.lagStatusDir->intfStatusIs(lag)->memberDel(port);
    records.lagConfigDir->phyIntfDel(port);
  }
}

void lagHardware(Host & host, Arguments const & arguments) {
  for (auto lag : arguments.intfs("LAG")) host.hardwareLagIs(lag, arguments.on());
}

void lagOperation(Host & host, Arguments const & arguments) {
  host.requireNotStarted("the treatment of LAGs");
  host.settings().lagOperation = arguments.has("pass")     ? lagPass
                                 : arguments.has("expand") ? lagExpand
                                                           : lagDesignated;
}

void lagConfigured(Host & host, Arguments const & arguments) {
  host.requireNotStarted("the use of configured LAG members");
  host.settings().configuredLagMembers = arguments.on();
}

void mlagPeerLink(Host & host, Arguments const & arguments) {
  host.records().mlagStatus->peerLinkIntfIs(arguments.intf());
}

void mlagActive(Host & host, Arguments const & arguments) {
  host.records().mlagStatus->activeIs(arguments.on());
}

Mlag::IntfState mlagState(Arguments const & arguments) {
  using Mlag::IntfState;
  if (arguments.has("disabled")) return IntfState::disabled;
  if (arguments.has("inactive")) return IntfState::inactive;
  return arguments.has("active-partial") ? IntfState::activePartial : IntfState::activeFull;
}

void mlagAdd(Host & host, Arguments const & arguments) {
  auto const status = host.records().mlagStatus->intfStatusIs(arguments.intf());
  status->stateIs(mlagState(arguments));
  status->localIntfIs(arguments.intf("PORT"));
}

void mlagDel(Host & host, Arguments const & arguments) {
  host.records().mlagStatus->intfStatusDel(arguments.intf());
}

constexpr Command<Host> rows[] = {
    {"lag add LAG [member PORT...]", "Make a LAG, or give it more members.", lagAdd},
    {"lag del LAG", "Remove a LAG.", lagDel},
    {"lag del LAG member PORT...", "Take members out of a LAG.", lagMemberDel},
    {"lag hardware LAG... on|off", "The chips know the LAGs themselves, or not.", lagHardware},
    {"lag operation pass|expand|designated",
     "Before the start: LAGs stay as they are (if the chips know them), or give way to all their "
     "members, or to one.",
     lagOperation},
    {"lag configured-members on|off",
     "Before the start: take configured members, not those that are up.", lagConfigured},
    {"mlag peer-link INTF", "The link between the two switches of a pair.", mlagPeerLink},
    {"mlag active on|off", "They have found each other, or not.", mlagActive},
    {"mlag add INTF [local PORT] [disabled|inactive|active-partial|active-full]",
     "An interface that both switches have ports of; active-full if not told.", mlagAdd},
    {"mlag del INTF", "It is this switch's own again.", mlagDel},
};

}  // namespace

Subject<Host> const lagCommands = {"LAGs", rows};

}  // namespace Brindle::Sim
