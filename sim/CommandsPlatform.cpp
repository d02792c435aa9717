// What the platform does: its chips and their faults, its flags and activity times.
#include "sim/Commands.h"
#include "sim/Host.h"

namespace Brindle::Sim {

namespace {

U32 freeIndex(Host & host) {
  for (U32 index = 0; index <= SwitchChip::maxIndex; ++index) {
    bool taken = false;
    for (Chip const * chip : host.chips()) taken |= chip->index() == index;
    if (!taken) return index;
  }
  throw CommandError("expected at most 16 chips");
}

void chipAdd(Host & host, Arguments const & arguments) {
  U32 const index = arguments.given("INDEX") ? arguments.number("INDEX") : freeIndex(host);
  Chip & chip = host.chipIs(arguments.text("CHIP"), index);
  chip.routeCapacityIs(arguments.number("ROUTES", Chip::defaultRoutes));
  chip.setCapacityIs(arguments.number("OUTPUTS", Chip::defaultSets));
  for (auto port : arguments.intfs()) chip.portIs(port, true);
}

void chipDel(Host & host, Arguments const & arguments) { host.chipDel(arguments.text("CHIP")); }

void chipRoutes(Host & host, Arguments const & arguments) {
  host.chip(arguments.text("CHIP")).routeCapacityIs(arguments.number("ROUTES"));
}

void chipOutputs(Host & host, Arguments const & arguments) {
  host.chip(arguments.text("CHIP")).setCapacityIs(arguments.number("OUTPUTS"));
}

void chipPorts(Host & host, Arguments const & arguments) {
  Chip & chip = host.chip(arguments.text("CHIP"));
  for (auto port : arguments.intfs()) chip.portIs(port, arguments.has("add"));
}

void chipRefuseRoutes(Host & host, Arguments const & arguments) {
  host.chip(arguments.text("CHIP")).refuseRoutesIs(arguments.number("N"));
}

void chipRefuseSets(Host & host, Arguments const & arguments) {
  host.chip(arguments.text("CHIP")).refuseSetsIs(arguments.number("N"));
}

void chipFree(Host & host, Arguments const & arguments) {
  host.chip(arguments.text("CHIP")).announceRoom();
}

void chipKick(Host & host, Arguments const & arguments) {
  host.chip(arguments.text("CHIP")).kick();
}

void hwRouting(Host & host, Arguments const & arguments) {
  host.records().hardware->hwRoutingIs(arguments.on());
}

void hwNeedIif(Host & host, Arguments const & arguments) {
  host.records().hardware->needIifInOifSetIs(arguments.on());
}

void hwBatch(Host & host, Arguments const & arguments) {
  host.records().hardware->batchEnabledIs(arguments.on());
}

void hwAvoidDuplicates(Host & host, Arguments const & arguments) {
  host.records().hardware->avoidDuplicatesIs(arguments.on());
}

void hwDeleteL2(Host & host, Arguments const & arguments) {
  host.records().hardware->deleteL2RouteOnFailureIs(arguments.on());
}

void hwTaggedPorts(Host & host, Arguments const & arguments) {
  host.requireNotStarted("the chips' wish to know tagged ports");
  host.settings().taggedPorts = arguments.on();
}

void hwPolicy(Host & host, Arguments const & arguments) {
  host.requireNotStarted("whether the platform has a policy");
  host.policyIs(arguments.on());
}

void hwFamily(Host & host, Arguments const & arguments) {
  host.requireNotStarted("the address family");
  host.settings().af = arguments.has("ipv4") ? Nettle::ipv4() : Nettle::ipv6();
}

constexpr Command<Host> rows[] = {
    {"chip add CHIP [index INDEX] [routes ROUTES] [sets OUTPUTS] [ports PORT...]",
     "Add a chip with room for so many routes (1000) and, in its sets, outputs (4000).", chipAdd},
    {"chip del CHIP", "Take a chip out.", chipDel},
    {"chip set CHIP routes ROUTES", "Change the size of its route table.", chipRoutes},
    {"chip set CHIP sets OUTPUTS", "Change the number of outputs that its sets may have in all.",
     chipOutputs},
    {"chip port add|del CHIP PORT...", "Give ports to a chip, or take them away.", chipPorts},
    {"chip refuse CHIP routes N", "The next N requests for a route entry fail.", chipRefuseRoutes},
    {"chip refuse CHIP sets N", "The next N requests for an output set fail.", chipRefuseSets},
    {"chip free CHIP", "The chip says that it has room, if it has.", chipFree},
    {"chip kick CHIP", "The chip asks that failed routes be tried again.", chipKick},
    {"hw routing on|off", "The hardware routes multicast, or not.", hwRouting},
    {"hw need-iif on|off", "The chips want the input VLAN in each output set.", hwNeedIif},
    {"hw batch on|off", "The chips are told when a batch of routes is complete.", hwBatch},
    {"hw avoid-duplicates on|off", "A chip must never hold two entries of one route.",
     hwAvoidDuplicates},
    {"hw delete-l2-on-failure on|off", "A floodset that fails goes from the chips.", hwDeleteL2},
    {"hw tagged-ports on|off", "Before the start: the chips want to know which ports are tagged.",
     hwTaggedPorts},
    {"hw policy on|off",
     "Before the start: the platform is asked about LAGs and VTEPs (on), or nobody is.", hwPolicy},
    {"hw family ipv4|ipv6", "Before the start: the address family of the routes.", hwFamily},
};

}  // namespace

Subject<Host> const platformCommands = {"Platform", rows};

}  // namespace Brindle::Sim
