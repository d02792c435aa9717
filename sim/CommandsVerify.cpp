// Whether what is published, what the programmer believes and what the chips hold agree, and the
// means to make it otherwise.
#include <algorithm>

#include "sim/Commands.h"
#include "sim/Host.h"
#include "sim/Render.h"
#include "sim/Verify.h"

namespace Brindle::Sim {

namespace {

// The route that a command names.
KeyView keyOf(Arguments const & arguments) {
  if (arguments.given("GROUP")) return {arguments.vrf(), arguments.routeKey()};
  if (!arguments.given("CLIENT")) return floodsetKey(arguments);
  auto const group = arguments.requestedGroup();
  return {L3::VrfName::defaultVrf(), Routing::Multicast::Fib::makeRouteKeyMcastGroup(group)};
}

void runVerify(Host & host, Arguments const & arguments, std::optional<KeyView> const & only) {
  auto const view = verify(host, only);
  if (only && view.routes == 0 && host.hardware().runs()) {
    throw CommandError("expected a route that stands, found " + only->pretty());
  }
  if (arguments.has("--json")) {
    host.out() << toJson(view).dump(2) << '\n';
  } else {
    print(host.out(), view);
  }
  if (view.differences.empty()) return;
  throw CommandError("expected no differences, found " + std::to_string(view.differences.size()));
}

void verifyAll(Host & host, Arguments const & arguments) {
  runVerify(host, arguments, std::nullopt);
}

void verifyOne(Host & host, Arguments const & arguments) {
  runVerify(host, arguments, keyOf(arguments));
}

// --- Tampering

std::vector<Chip::Entry> entriesOf(Host const & host, Chip const & chip,
                                   Arguments const & arguments) {
  auto const key = keyOf(arguments);
  auto entries = host.hardware().entries(chip);
  std::erase_if(entries, [&](Chip::Entry const & entry) {
    bool const isElsewhere =
        arguments.given("IN") && entry.key.vlanId.value() != arguments.number("IN");
    return entry.key.sg != key.key || isElsewhere;
  });
  if (!entries.empty()) return entries;
  throw CommandError("expected an entry of " + key.pretty() + " in chip " + arguments.text("CHIP"));
}

void chipTamper(Host & host, Arguments const & arguments) {
  Chip & chip = host.chip(arguments.text("CHIP"));
  Tamper tamper;
  tamper.isRemoved = arguments.has("remove");
  if (arguments.given("NEW-VLAN")) {
    tamper.vlan = Bridging::VlanIdOrNone(arguments.number("NEW-VLAN"));
  }
  tamper.added = arguments.intf("PORT");
  tamper.taken = arguments.intf("OUTPUT");
  for (auto const & entry : entriesOf(host, chip, arguments)) chip.tamper(entry, tamper);
}

void chipRestore(Host & host, Arguments const & arguments) {
  host.chip(arguments.text("CHIP")).restore();
}

constexpr Command<Host> rows[] = {
    {"verify [all] [--json]",
     "Compare what is published, what the programmer believes and what the chips hold, of all "
     "routes; a difference ends a script.",
     verifyAll},
    {"verify SOURCE GROUP [vrf VRF] [--json]", "The same of a route.", verifyOne},
    {"verify floodset VLAN vlan|unknown|core-side [--json]", "The same of a floodset.", verifyOne},
    {"verify floodset VLAN group MAC [--json]", "The same of an Ethernet group.", verifyOne},
    {"verify floodset VLAN peer ADDRESS [--json]", "The same of what goes towards an EVPN peer.",
     verifyOne},
    {"verify group CLIENT ID [--json]", "The same of a group that a client asked for.", verifyOne},
    {"chip tamper CHIP route SOURCE GROUP [in IN] [remove] [accept NEW-VLAN] [add PORT] [take "
     "OUTPUT]",
     "Change entries of a route behind the library's back, all or those of a VLAN: take them out, "
     "have them accept in another VLAN, give their set an output, or take one from it.",
     chipTamper},
    {"chip tamper CHIP floodset VLAN vlan|unknown|core-side [remove] [accept NEW-VLAN] [add PORT] "
     "[take OUTPUT]",
     "The same of a floodset.", chipTamper},
    {"chip tamper CHIP floodset VLAN group MAC [remove] [accept NEW-VLAN] [add PORT] [take OUTPUT]",
     "The same of an Ethernet group.", chipTamper},
    {"chip tamper CHIP floodset VLAN peer ADDRESS [remove] [add PORT] [take OUTPUT]",
     "The same of what goes towards an EVPN peer.", chipTamper},
    {"chip tamper CHIP group CLIENT ID [remove] [add PORT] [take OUTPUT]",
     "The same of a group that a client asked for.", chipTamper},
    {"chip restore CHIP", "All that was done so to a chip is undone.", chipRestore},
};

}  // namespace

Subject<Host> const verifyCommands = {"Verification", rows};

}  // namespace Brindle::Sim
