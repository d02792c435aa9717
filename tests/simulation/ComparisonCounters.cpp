#include "tests/simulation/ComparisonCounters.h"

#include <array>

#include "programmer/AsyncMrouteSm.h"

namespace Simulation {

using Brindle::AsyncMrouteSm;
using Brindle::FailureCounters;
using Brindle::MrouteFailureReason;
using namespace Routing::Multicast::Fib;

namespace {

// Counted one route at a time.
struct Count {
  std::array<U32, mroute_ + 1> failed{};
  std::array<U32, mroute_ + 1> overflow{};
  U32 blocked = 0;
  U32 timeout = 0;
  U32 inProgress = 0;

  void add(RouteKeyType kind, MrouteFailureReason reason) {
    ++failed[kind];
    overflow[kind] += (reason.value & 0xffffff) != 0;
    if (reason.blocked()) {
      ++blocked;
    } else if (reason.timeout()) {
      ++timeout;
    } else if (reason.inProgress()) {
      ++inProgress;
    }
  }
};

class Audit {
 public:
  explicit Audit(AsyncMrouteSm const & machine) : machine_(machine) {}

  std::string differences() {
    for (auto i = machine_.zetMroute().begin(); i; i.advance()) {
      auto const * failed = machine_.failedMroute().find(i.key());
      if (i->reason()) count_.add(i.key().kind(), i->reason());
      bool const listed = failed && failed->mroute.get() == i.operator->();
      if (listed != static_cast<bool>(i->reason())) {
        out_ += i.key().pretty() + (listed ? " is listed as failed without a reason\n"
                                           : " has failed, but is not listed\n");
      }
    }
    FailureCounters const & found = *machine_.failureCounters();
    auto const & [failed, overflow, blocked, timeout, inProgress] = count_;
    compare("failed routes", failed[mroute_], found.failedMroutes());
    compare("failed groups", failed[ethGroup_], found.failedEthGroups());
    compare("failed unknown floodsets", failed[multicastFloodset_], found.failedUnknownMulticast());
    compare("failed floodsets", failed[vlanFloodset_], found.failedVlanFloodset());
    compare("failed core-side floodsets", failed[vxlanCoreSideFloodset_],
            found.failedVxlanCoreSideFloodset());
    compare("failed peer floodsets", failed[evpnMultihomeFloodset_],
            found.failedEvpnMultihomeFloodset());
    compare("failed requested groups", failed[mcastGroup_], found.failedMcastGroup());
    compare("routes without room", overflow[mroute_], found.failedMroutesHwOverflow());
    compare("groups without room", overflow[ethGroup_], found.failedEthGroupsHwOverflow());
    compare("unknown floodsets without room", overflow[multicastFloodset_],
            found.failedUnknownMulticastHwOverflow());
    compare("floodsets without room", overflow[vlanFloodset_],
            found.failedVlanFloodsetHwOverflow());
    compare("core-side floodsets without room", overflow[vxlanCoreSideFloodset_],
            found.failedVxlanCoreSideFloodsetHwOverflow());
    compare("peer floodsets without room", overflow[evpnMultihomeFloodset_],
            found.failedEvpnMultihomeFloodsetHwOverflow());
    compare("routes kept back", blocked, found.blockedRoutes());
    compare("routes timed out", timeout, found.timeoutRoutes());
    compare("routes changed meanwhile", inProgress, found.inProgressRoutes());
    compare("all failed routes", found.failed(), machine_.failedMroutes());
    compare("news of routes without room", overflow[mroute_] != 0, machine_.mroutesFull());
    compare("news of groups without room", overflow[ethGroup_] != 0, machine_.ethGroupsFull());
    return out_;
  }

 private:
  void compare(char const * what, U32 expected, U32 found) {
    if (expected == found) return;
    out_ += "VRF " + std::string(machine_.vrfName().view()) + " counts " + std::to_string(found) +
            " " + what + ", expected " + std::to_string(expected) + "\n";
  }

  AsyncMrouteSm const & machine_;
  Count count_;
  std::string out_;
};

}  // namespace

std::string miscounted(Brindle::Sim::Host const & host) {
  if (!host.started() || !host.hardware().runs()) return {};
  std::string out;
  auto const & tables = host.routeTables().vrfMrouteTable();
  for (auto table = tables.begin(); table; table.advance()) {
    auto const * machine = host.hardware().asyncMrouteSm(table.key());
    if (machine) out += Audit(*machine).differences();
  }
  return out;
}

}  // namespace Simulation
