// Bidirectional PIM: where it is on, what room chips have for it, and what became of what protocols
// publish of it.
#include "sim/BidirAgent.h"
#include "sim/BidirViews.h"
#include "sim/Commands.h"
#include "sim/Host.h"

namespace Brindle::Sim {

namespace {

void bidir(Host & host, Arguments const & arguments) {
  host.start();
  host.bidir().vrfIs(arguments.vrf(), arguments.on());
}

void chipGroups(Host & host, Arguments const & arguments) {
  host.chip(arguments.text("CHIP")).groups()->capacityIs(arguments.number("N"));
}

void chipProfiles(Host & host, Arguments const & arguments) {
  host.chip(arguments.text("CHIP")).profiles().capacityIs(arguments.number("N"));
}

void showBidir(Host & host, Arguments const & arguments) {
  auto const view = bidirView(host);
  if (arguments.has("--json")) {
    host.out() << toJson(view).dump(2) << '\n';
  } else {
    print(host.out(), view);
  }
}

void expectBidir(Host & host, Arguments const & arguments) {
  U32 found = 0;
  bool const groups = arguments.has("groups");
  auto const view = bidirView(host);
  auto const count = [&](auto const & all) {
    for (auto const & one : all) found += one.state == "in hardware";
  };
  groups ? count(view.groups) : count(view.profiles);
  std::string const what = groups ? "groups" : "profiles";
  if (found != arguments.number("N")) {
    throw CommandError("expected " + arguments.text("N") + " bidirectional " + what +
                       " in hardware, found " + std::to_string(found));
  }
  host.out() << "ok: bidirectional " << what << " in hardware: " << found << '\n';
}

constexpr Command<Host> rows[] = {
    {"bidir on|off [vrf VRF]",
     "What protocols publish of bidirectional PIM in the VRF goes into the chips, or is followed "
     "no "
     "more.",
     bidir},
    {"chip set CHIP groups N", "Change the size of its table of bidirectional groups (1000).",
     chipGroups},
    {"chip set CHIP profiles N",
     "Change the size of its table of designated-forwarder profiles (4094).", chipProfiles},
    {"show bidir [--json]", "Bidirectional groups and profiles, and what stands in the chips.",
     showBidir},
    {"expect bidir groups|profiles N", "So many of them stand in all chips as they are published.",
     expectBidir},
};

}  // namespace

Subject<Host> const bidirCommands = {"Bidirectional PIM", rows};

}  // namespace Brindle::Sim
