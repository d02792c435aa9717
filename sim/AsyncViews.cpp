#include "sim/AsyncViews.h"

#include <algorithm>

#include "sim/AsyncChip.h"
#include "sim/Host.h"
#include "sim/Views.h"

namespace Brindle::Sim {

namespace {

char const * nameOf(EntryKind kind) {
  static constexpr char const * names[] = {"route", "fastdrop", "notify", "persistent fastdrop",
                                           "fast-reroute"};
  return names[static_cast<int>(kind)];
}

// The transactions of one route on one chip.
class TransactionReader {
 public:
  TransactionReader(KeyView const & key, AsyncChipInfo const & info,
                    std::vector<TransactionView> & out)
      : key_(key),
        chip_(static_cast<AsyncChip const &>(info.chip())),
        out_(out) {}

  void read(EntryKind kind, U32 vlan, PendingXact const & set, PendingXact const & ingress) {
    if (set) add(kind, vlan, *set.xact(), false);
    if (ingress) add(kind, vlan, *ingress.xact(), true);
  }

 private:
  void add(EntryKind kind, U32 vlan, Keel::Xact const & xact, bool ofEntry) {
    U32 const set = ofEntry ? chip_.blockingOifSetXactId({xact.id()}).value : 0;
    out_.push_back({std::string(chip_.name().view()), xact.id(), ofEntry, key_, vlan, nameOf(kind),
                    set, xact.result()});
  }

  KeyView const & key_;
  AsyncChip const & chip_;
  std::vector<TransactionView> & out_;
};

void addTransactions(L3::VrfName vrf, AsyncZetMroute const & route,
                     std::vector<TransactionView> & out) {
  KeyView const key{vrf, route.key()};
  for (AsyncChipInfo const & info : route.chipInfo()) {
    TransactionReader reader(key, info, out);
    reader.read(EntryKind::rpf, route.acceptingVlanId().value(), info.oifAllocXact(),
                info.setIngressXact());
    for (AsyncVlanInfo const & side : info.entries()) {
      reader.read(side.kind, side.vlanId.value(), side.oifAllocXact, side.setIngressXact);
    }
  }
}

CountersView countersView(L3::VrfName vrf, FailureCounters const & of) {
  return {std::string(vrf.view()),
          {{"routes", of.failedMroutes()},
           {"groups", of.failedEthGroups()},
           {"VLAN floodsets", of.failedVlanFloodset()},
           {"unknown floodsets", of.failedUnknownMulticast()},
           {"core-side floodsets", of.failedVxlanCoreSideFloodset()},
           {"peer floodsets", of.failedEvpnMultihomeFloodset()},
           {"requested groups", of.failedMcastGroup()},
           {"without room: routes", of.failedMroutesHwOverflow()},
           {"without room: groups", of.failedEthGroupsHwOverflow()},
           {"kept back", of.blockedRoutes()},
           {"timed out", of.timeoutRoutes()},
           {"changed meanwhile", of.inProgressRoutes()}}};
}

}  // namespace

std::vector<TransactionView> transactionViews(Host const & host) {
  std::vector<TransactionView> out;
  for (auto vrf : vrfs(host)) {
    auto const * const machine = host.hardware().asyncMrouteSm(vrf);
    if (!machine) continue;
    for (auto i = machine->zetMroute().begin(); i; i.advance()) addTransactions(vrf, *i, out);
  }
  std::sort(out.begin(), out.end(), [](TransactionView const & a, TransactionView const & b) {
    return std::tie(a.chip, a.ofEntry, a.id, a.key) < std::tie(b.chip, b.ofEntry, b.id, b.key);
  });
  return out;
}

std::optional<ProgrammerView> programmerView(Host const & host) {
  auto const * const config = host.hardware().reviewConfig();
  if (!config || !host.hardware().runs()) return std::nullopt;
  ProgrammerView view{config->reviewFreq() == mrouteReviewEnabled, config->routeBacklog(), {}};
  for (auto vrf : vrfs(host)) {
    auto const * const machine = host.hardware().asyncMrouteSm(vrf);
    if (machine) view.vrfs.push_back(countersView(vrf, *machine->failureCounters()));
  }
  return view;
}

}  // namespace Brindle::Sim
