// Verification of the programmers for chips that answer at once.
#include "programmer/SpecialRoute.h"
#include "sim/BoundaryAgent.h"
#include "sim/Hardware.h"
#include "sim/SyncChip.h"
#include "sim/Verifier.h"

namespace Brindle::Sim {

namespace {

OifSet const * contentOf(Zet::Ptr<MtableOifSet> const & set) {
  return set ? static_cast<SimSwitchChip::SimMtableOifSet const &>(*set).oifSet().get() : nullptr;
}

bool isFloodset(ZetMroute const & route) {
  auto const kind = route.key().kind();
  return kind == Routing::Multicast::Fib::vlanFloodset_ ||
         kind == Routing::Multicast::Fib::multicastFloodset_;
}

// The route of a connected subnet, which is another programmer's.
bool isSubnet(Mroute const & mroute) {
  auto const & source = mroute.key().source();
  return mroute.key().kind() == Routing::Multicast::Fib::mroute_ && !source.isHost() &&
         !source.isDefault();
}

class SyncVerifier final : public Verifier {
 public:
  using Verifier::Verifier;

 private:
  using RouteStatus = Fib::Hardware::RouteStatus;
  struct Subject {
    MrouteSm const & machine;
    ZetMroute const & route;
    KeyView key;
  };

  void routes(L3::VrfName vrf) override;
  void others() override;
  void subnets();
  void verifyRoute(Subject const & s);
  void verifyBoundary(ZetBoundaryMroute const & route, KeyView const & key);
  void verifyChip(Subject const & s, ChipInfo const & info);
  void verifyList(Subject const & s);
  void verifyFailure(Subject const & s, RouteStatus const & status);
  void verifyProgrammed(Subject const & s, RouteStatus const & status);
};

void SyncVerifier::routes(L3::VrfName vrf) {
  auto const * const machine = host_.hardware().mrouteSm(vrf);
  if (!machine) return;
  for (auto i = machine->zetMroute().begin(); i; i.advance()) {
    verifyRoute({*machine, *i, {vrf, i.key()}});
  }
  auto const & boundaries = machine->zetBoundaryMroute();
  for (auto i = boundaries.begin(); i; i.advance()) verifyBoundary(*i, {vrf, i.key()});
}

// Its drops are in every chip, or in none if one has no room; or they stay as they were if one has
// no room for the new outputs.
void SyncVerifier::verifyBoundary(ZetBoundaryMroute const & route, KeyView const & key) {
  if (isMeant(key)) count();
  for (ChipInfo const & info : route.chipInfo()) {
    if (!info.zetChip().present()) continue;
    auto const & chip = static_cast<SyncChip const &>(info.chip());
    for (VlanInfo const & side : info.entries()) {
      compareEntry(key, chip,
                   {side.routeHandle,
                    {key.key, side.vlanId},
                    contentOf(side.mtableOifSet),
                    true,
                    std::nullopt});
      Zet::Ptr<OifSet> const wanted = route.boundary().fastdrop(side.vlanId);
      if (contentOf(side.mtableOifSet) != wanted.get() && !route.reason()) {
        differ(key, "table", "wants another set for its drop");
      }
    }
  }
}

void SyncVerifier::verifyRoute(Subject const & s) {
  if (isMeant(s.key)) count();
  for (ChipInfo const & info : s.route.chipInfo()) {
    if (info.zetChip().present()) verifyChip(s, info);
  }
  verifyList(s);
  // What the resolver is to compute, be it when it can, may stand in the table in part.
  Mroute const & mroute = s.route.mroute();
  if (isUnready(mroute) || isSubnet(mroute) || s.machine.isDirty(mroute)) return;
  auto const status = s.machine.statusWriter().routeStatus(s.key.key);
  if (!status) return differ(s.key, "status", "nothing is published of it");
  if (status->hwFlags()) {
    verifyFailure(s, *status);
  } else {
    verifyProgrammed(s, *status);
  }
}

// What the programmer holds of it stands in the chip, whatever has become of it.
void SyncVerifier::verifyChip(Subject const & s, ChipInfo const & info) {
  auto const & chip = static_cast<SyncChip const &>(info.chip());
  if (!info.rpfRouteHandle().isNull()) {
    // A floodset may stand in some chips while others refuse it.
    Bridging::VlanIdOrNone vlan = s.route.acceptingVlanId();
    if (s.key.isL2()) vlan = s.key.key.vlanId();
    compareEntry(s.key, chip,
                 {info.rpfRouteHandle(),
                  {s.key.key, vlan},
                  contentOf(info.mtableOifSet()),
                  info.rpfActivated(),
                  s.route.rpaId()});
  }
  for (VlanInfo const & side : info.entries()) {
    compareEntry(s.key, chip,
                 {side.routeHandle,
                  {s.key.key, side.vlanId},
                  contentOf(side.mtableOifSet),
                  static_cast<bool>(side.mtableOifSet),
                  std::nullopt});
  }
}

void SyncVerifier::verifyList(Subject const & s) {
  auto const * const listed = s.machine.failedMroute().find(s.key.key);
  U32 const reason = listed ? listed->reason : 0;
  if (reason != s.route.reason()) {
    differ(s.key, "programmer",
           "is listed with reason " + std::to_string(reason) + ", expected " +
               std::to_string(s.route.reason()));
  }
}

void SyncVerifier::verifyFailure(Subject const & s, RouteStatus const & status) {
  // What drops the same source and group at a boundary shares the status.
  if (s.machine.zetBoundaryMroute().find(s.key.key)) return;
  if (!s.route.reason()) {
    return differ(s.key, "status", "is published as failed, and has not failed");
  }
  if (status.hwFlags() != hwFlagsOf(s.route.reason())) {
    differ(s.key, "status",
           "is published with flags " + std::to_string(status.hwFlags()) + ", expected " +
               std::to_string(hwFlagsOf(s.route.reason())));
  }
  if (isFloodset(s.route)) return;  // it may keep its old entries
  for (ChipInfo const & info : s.route.chipInfo()) {
    bool const holds = !info.rpfRouteHandle().isNull() || !info.entries().empty();
    if (info.zetChip().present() && holds) {
      differ(s.key, std::string(info.chip().name().view()), "has failed, and stands there");
    }
  }
}

void SyncVerifier::verifyProgrammed(Subject const & s, RouteStatus const & status) {
  compareTable(s.key, s.route);
  for (ChipInfo const & info : s.route.chipInfo()) {
    if (!info.zetChip().present()) continue;
    std::string const chip(info.chip().name().view());
    bool const holds = !info.rpfRouteHandle().isNull();
    if (!holds && s.route.acceptingVlanId()) differ(s.key, chip, "has no entry there");
    if (holds && contentOf(info.mtableOifSet()) != s.route.oifSet().get()) {
      differ(s.key, chip, "was given another set than the last");
    }
  }
  if (s.key.isL2()) return;
  compareIntf(s.key, "accepting", status.acceptingIntfId(), s.route.acceptingVlanId());
}

// --- Connected subnets, and what boundaries deny

void SyncVerifier::others() {
  subnets();
  auto const * const boundaries = host_.boundaryAgent().tcam();
  if (!boundaries) return;
  for (auto sm = boundaries->intfSm().begin(); sm; sm.advance()) {
    for (auto group = sm->prefixInfo().begin(); group; group.advance()) {
      for (auto i = group->sPrefixInfo().begin(); i; i.advance()) {
        KeyView const key{L3::VrfName::defaultVrf(), {i.key(), group.key()}};
        if (isMeant(key)) count();
        for (auto const & one : i->routeHandle().items()) {
          compareEntry(key, static_cast<SyncChip const &>(*one.value.chip),
                       {one.value.handle, {key.key, sm->vlanId()}, nullptr, true, std::nullopt});
        }
      }
    }
  }
}

void SyncVerifier::subnets() {
  auto const * const subnets = host_.hardware().prefixMrouteSm();
  if (!subnets) return;
  for (auto i = subnets->mrouteInfo().begin(); i; i.advance()) {
    KeyView const key{L3::VrfName::defaultVrf(),
                      {i.key().prefix.genPrefix(), Nettle::IpGenPrefix("224.0.0.0/4")}};
    if (isMeant(key)) count();
    auto const vlan = host_.records().intfVlanIdTable->intfIdToVlanId(i.key().intfId);
    for (auto entry = i->routeHandle().begin(); entry; entry.advance()) {
      auto const & chip = static_cast<SyncChip const &>(*entry->value.chip);
      auto const found = chip.entry(entry->value.handle);
      // It keeps the one that it came with when its interface has lost, or got, its VLAN.
      auto const wanted = found && (!vlan || !found->key.vlanId) ? found->key.vlanId : vlan;
      compareEntry(key, chip,
                   {entry->value.handle, {key.key, wanted}, nullptr, true, std::nullopt});
    }
  }
}

}  // namespace

std::unique_ptr<Verifier> makeSyncVerifier(Host const & host, std::optional<KeyView> const & only) {
  return std::make_unique<SyncVerifier>(host, only);
}

}  // namespace Brindle::Sim
