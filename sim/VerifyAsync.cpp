// Verification of the programmer for chips that answer later.
#include <algorithm>

#include "programmer/SpecialRoute.h"
#include "programmer/Verification.h"
#include "sim/AsyncChip.h"
#include "sim/BoundaryAgent.h"
#include "sim/Verifier.h"

namespace Brindle::Sim {

namespace {

using namespace Routing::Multicast::Fib;

OifSet const * contentOf(Zet::Ptr<MtableOifSet> const & set) {
  return set ? static_cast<SimMtableOifSet const &>(*set).oifSet().get() : nullptr;
}

bool isOutstanding(PendingXact const & xact) { return xact.is(Keel::XactResult::outstanding); }

bool hasFailed(AsyncZetMroute const & route) {
  bool const isRefused = (route.reason().value & ~route.reason().keptBack()) != 0;
  return isRefused && !route.inProgress() && !route.oifSet();
}

AsyncChip const & chipOf(AsyncChipInfo const & info) {
  return static_cast<AsyncChip const &>(info.chip());
}

std::string nameOf(Chip const & chip) { return std::string(chip.name().view()); }

class AsyncVerifier final : public Verifier {
 public:
  using Verifier::Verifier;

 private:
  struct Subject {
    AsyncMrouteSm const & machine;
    AsyncZetMroute const & route;
    KeyView key;
  };
  // What is to be published.
  struct Expected {
    ProgrammingStatus status;
    Zet::Ptr<OifSet const> set;
  };

  void routes(L3::VrfName vrf) override;
  void others() override;
  void verifyRoute(Subject const & s);
  void verifyChip(Subject const & s, AsyncChipInfo const & info);
  void verifyOwnEntry(Subject const & s, AsyncChipInfo const & info);
  bool mayBeTakenOver(AsyncChipInfo const & info) const;
  void verifySetAlone(Subject const & s, AsyncChipInfo const & info);
  void verifySide(Subject const & s, AsyncChipInfo const & info, AsyncVlanInfo const & side);
  void verifyState(Subject const & s);
  bool isUnasked(Subject const & s) const;
  Expected expected(Subject const & s);
  void verifyInProgress(Subject const & s);
  void verifyProgrammed(Subject const & s);
  void verifyStatus(Subject const & s, Expected const & expected);
  void verifyRouteStatus(Subject const & s, Expected const & expected);
  void verifyRecord(Subject const & s, Expected const & expected);
  void verifyGroup(Subject const & s, Expected const & expected);
  bool keepsOldSet(Subject const & s) const;
  void doVerify(Subject const & s);
};

void AsyncVerifier::routes(L3::VrfName vrf) {
  auto const * const machine = host_.hardware().asyncMrouteSm(vrf);
  if (!machine) return;
  for (auto i = machine->zetMroute().begin(); i; i.advance()) {
    verifyRoute({*machine, *i, {vrf, i.key()}});
  }
}

void AsyncVerifier::verifyRoute(Subject const & s) {
  if (isMeant(s.key)) count();
  U32 const before = differences();
  for (AsyncChipInfo const & info : s.route.chipInfo()) verifyChip(s, info);
  Mroute const & mroute = s.route.mroute();
  // What the resolver is to compute, be it when it can, may stand in the table in part.
  if (isUnready(mroute) || s.machine.isDirty(mroute) || isUnasked(s)) return;
  verifyState(s);
  if (isMeant(s.key) && differences() == before && !keepsOldSet(s)) doVerify(s);
}

// --- What boundaries deny

// No transaction brings such an entry into effect.
void AsyncVerifier::others() {
  auto const * const boundaries = host_.boundaryAgent().asyncTcam();
  if (!boundaries) return;
  for (auto sm = boundaries->intfSm().begin(); sm; sm.advance()) {
    for (auto group = sm->prefixInfo().begin(); group; group.advance()) {
      KeyView const key{L3::VrfName::defaultVrf(), {Nettle::IpGenPrefix("0.0.0.0/0"), group.key()}};
      if (isMeant(key)) count();
      for (auto const & one : group->routeHandle().items()) {
        if (one.value.handle.isNull()) continue;
        compareEntry(key, static_cast<AsyncChip const &>(*one.value.chip),
                     {one.value.handle,
                      {key.key, Bridging::VlanIdOrNone(sm->vlanId())},
                      nullptr,
                      false,
                      std::nullopt});
      }
    }
  }
}

// --- Chips

void AsyncVerifier::verifyChip(Subject const & s, AsyncChipInfo const & info) {
  if (!info.rpfRouteHandle().isNull() || !info.oldRpfRouteHandle().isNull()) {
    verifyOwnEntry(s, info);
  } else if (!chipOf(info).needIngressProgramming(s.key.key.kind())) {
    verifySetAlone(s, info);
  }
  for (AsyncVlanInfo const & side : info.entries()) verifySide(s, info, side);
}

// Until the chip has confirmed the new set it forwards by the old one, or, of a fast-reroute entry
// that the route takes over, by that of the backup.
void AsyncVerifier::verifyOwnEntry(Subject const & s, AsyncChipInfo const & info) {
  auto const & chip = chipOf(info);
  bool const isPending = info.oifAllocXact() || info.setIngressXact();
  for (RouteHandle const handle : {info.rpfRouteHandle(), info.oldRpfRouteHandle()}) {
    if (handle.isNull()) continue;
    auto const found = chip.entry(handle);
    Wanted wanted{handle,
                  {s.key.key, s.route.acceptingVlanId()},
                  contentOf(info.mtableOifSet()),
                  !isPending,
                  std::nullopt};
    if (isPending && found) {
      // Which VLAN and which set it had before nobody knows any more.
      bool const isOld = handle == info.oldRpfRouteHandle();
      bool const isFormer = found->oifSet.get() == contentOf(info.oldMtableOifSet());
      if (isOld) wanted.match.vlanId = found->key.vlanId;
      if (isOld || isFormer || mayBeTakenOver(info)) wanted.set = found->oifSet.get();
    }
    hold(chip, handle);
    compareEntry(s.key, chip, wanted, found);
  }
}

bool AsyncVerifier::mayBeTakenOver(AsyncChipInfo const & info) const {
  bool const isNew = !info.rpfRouteHandleCommitted() || host_.records().hardware->avoidDuplicates();
  return isNew && isOutstanding(info.setIngressXact());
}

void AsyncVerifier::verifySetAlone(Subject const & s, AsyncChipInfo const & info) {
  bool const hasOld = !info.mtableOifSetCommitted() && info.oldMtableOifSet();
  auto const & set = hasOld ? info.oldMtableOifSet() : info.mtableOifSet();
  if (!set) return;
  auto const & chip = chipOf(info);
  Chip::Match const match{s.key.key, s.route.acceptingVlanId()};
  std::optional<Chip::Entry> found;
  for (auto const & entry : host_.hardware().entries(chip)) {
    if (entry.handle.isNull() && entry.key.sg == match.sg) found = entry;
  }
  compareEntry(s.key, chip, {{}, match, contentOf(set), false, std::nullopt}, found);
}

void AsyncVerifier::verifySide(Subject const & s, AsyncChipInfo const & info,
                               AsyncVlanInfo const & side) {
  if (side.routeHandle.isNull()) return;
  auto const & chip = chipOf(info);
  auto const found = chip.entry(side.routeHandle);
  bool const isPending = isOutstanding(side.oifAllocXact) || isOutstanding(side.setIngressXact);
  Wanted wanted{side.routeHandle,
                {s.key.key, side.vlanId},
                contentOf(side.mtableOifSet),
                !isPending,
                std::nullopt};
  if (isPending && found) wanted.set = found->oifSet.get();
  hold(chip, side.routeHandle);
  compareEntry(s.key, chip, wanted, found);
}

// --- The programmer and the table

// No chip has been asked for it since the last one that it had has gone: it waits for its next
// version.
bool AsyncVerifier::isUnasked(Subject const & s) const {
  bool const isIdle =
      !s.route.inProgress() && s.route.reason().value == s.route.reason().keptBack();
  bool const wants = s.key.isL2() || hasInput(s.route.mroute());
  return host_.chips().empty() || (isIdle && wants && s.route.chipInfo().empty());
}

void AsyncVerifier::verifyState(Subject const & s) {
  bool const isListed = s.machine.failedMroute(s.key.key).mroute.get() == &s.route;
  if (isListed != static_cast<bool>(s.route.reason())) {
    differ(s.key, "programmer", isListed ? "is listed without a reason" : "is on no list");
  }
  if (s.route.reason().blocked()) return;
  verifyStatus(s, expected(s));
}

AsyncVerifier::Expected AsyncVerifier::expected(Subject const & s) {
  AsyncZetMroute const & route = s.route;
  if (route.inProgress()) {
    verifyInProgress(s);
    return {ProgrammingStatus::inProgress, nullptr};
  }
  bool const waits = route.reason().inProgress();
  bool const wants = s.key.isL2() || hasInput(route.mroute());
  if (!waits && (route.reason() || !wants)) {
    return {ProgrammingStatus::notProgrammed, nullptr};
  }
  if (!waits) compareTable(s.key, s.route);
  verifyProgrammed(s);
  return {ProgrammingStatus::programmed, route.oifSet()};
}

void AsyncVerifier::verifyInProgress(Subject const & s) {
  if (s.route.chipInfo().empty()) differ(s.key, "programmer", "is in progress on no chip");
  for (AsyncChipInfo const & info : s.route.chipInfo()) {
    bool const needsEntry = chipOf(info).needIngressProgramming(s.key.key.kind());
    bool const waits = info.oifAllocXact() && (info.setIngressXact() || !needsEntry);
    if (!waits) differ(s.key, nameOf(chipOf(info)), "is in progress, and waits for nothing");
  }
}

void AsyncVerifier::verifyProgrammed(Subject const & s) {
  for (AsyncChipInfo const & info : s.route.chipInfo()) {
    std::string const chip = nameOf(chipOf(info));
    bool const needsEntry = chipOf(info).needIngressProgramming(s.key.key.kind());
    bool const isPending = info.oifAllocXact() || info.setIngressXact() || info.oldMtableOifSet() ||
                           !info.oldRpfRouteHandle().isNull() || !info.mtableOifSetCommitted();
    if (isPending) differ(s.key, chip, "is programmed, and something is pending");
    if (needsEntry && !info.rpfRouteHandleCommitted()) differ(s.key, chip, "has no entry there");
    if (contentOf(info.mtableOifSet()) != s.route.oifSet().get()) {
      differ(s.key, chip, "was given another set than the last");
    }
  }
}

// --- What is published

void AsyncVerifier::verifyStatus(Subject const & s, Expected const & expected) {
  if (s.key.isL2()) {
    verifyRecord(s, expected);
  } else {
    verifyRouteStatus(s, expected);
  }
  if (s.key.key.kind() == mcastGroup_) verifyGroup(s, expected);
}

void AsyncVerifier::verifyRouteStatus(Subject const & s, Expected const & expected) {
  auto const status = s.machine.statusWriter().routeStatus(s.key.key);
  bool const isProgrammed = expected.status == ProgrammingStatus::programmed;
  if (!status) return differ(s.key, "status", "nothing is published of it");
  if (!isProgrammed && !hasFailed(s.route)) return;
  using Status = Fib::Hardware::RouteStatus;
  auto const reason = s.route.reason();
  U32 const flags = hasFailed(s.route) ? (reason.oifSetFailureMask() ? Status::noIntfs : 0) |
                                             (reason.routeFailureMask() ? Status::noRoute : 0)
                                       : 0;
  if (status->hwFlags() != flags) {
    differ(s.key, "status",
           "is published with flags " + std::to_string(status->hwFlags()) + ", expected " +
               std::to_string(flags));
  }
  if (!isProgrammed) return;
  compareIntf(s.key, "accepting", status->acceptingIntfId(), s.route.acceptingVlanId());
}

void AsyncVerifier::verifyRecord(Subject const & s, Expected const & expected) {
  ProgrammedSet const * const record = s.machine.l2Status()->programmedSet(s.route.mroute());
  if (!record) return differ(s.key, "status", "nothing is published of it");
  if (record->status != expected.status) {
    differ(s.key, "status",
           "is published as " + Zet::stringValue(record->status) + ", expected " +
               Zet::stringValue(expected.status));
  }
  bool const isGroup = s.key.key.kind() == mcastGroup_;
  bool const hasSet = expected.status != ProgrammingStatus::inProgress &&
                      (!isGroup || expected.status == ProgrammingStatus::programmed);
  if (hasSet && record->oifSet != expected.set) {
    differ(s.key, "status", "is published with another set");
  }
  L2StatusRow const & row = l2StatusRow(s.key.key.kind());
  auto const reason = s.route.reason();
  U32 const flags = (reason.oifSetFailureMask() ? row.noOifSet : 0) |
                    (reason.routeFailureMask() ? row.noRoute : 0) |
                    (reason.macTableFailureMask() ? row.noMacTable : 0);
  if ((record->hwFlags & flags) != flags) {
    differ(s.key, "status", "is published without the flags of its failure");
  }
}

// Its client is told the id by which all chips know it.
void AsyncVerifier::verifyGroup(Subject const & s, Expected const & expected) {
  auto const * const response = host_.groups().response(s.key.key.mcastGroup());
  if (expected.status == ProgrammingStatus::inProgress) return;
  bool const isProgrammed = expected.status == ProgrammingStatus::programmed;
  if (!response || response->success() != isProgrammed) {
    differ(s.key, "status", "the client is not told of it");
  }
  for (AsyncChipInfo const & info : s.route.chipInfo()) {
    U32 const id = info.chip().doGetMulticastId(info.mtableOifSet());
    if (!isProgrammed || !response || id == response->multicastId()) continue;
    differ(s.key, nameOf(chipOf(info)),
           "has the id " + std::to_string(id) + ", and the client is told " +
               std::to_string(response->multicastId()));
  }
}

// --- The programmer's own verification

// That one takes what is published for the new set, while it is the one that stands as yet.
bool AsyncVerifier::keepsOldSet(Subject const & s) const {
  bool const showsOld = s.key.isL2() && s.key.key.kind() != mcastGroup_ && s.route.inProgress() &&
                        !s.route.reason().blocked();
  if (!showsOld || s.route.chipInfo().empty()) return false;
  auto const * const record = s.machine.l2Status()->programmedSet(s.route.mroute());
  return record->oifSet && record->oifSet.get() != contentOf(s.route.chipInfo()[0].mtableOifSet());
}

void AsyncVerifier::doVerify(Subject const & s) {
  auto const handles = Zet::make<RouteHandleCollection>();
  auto const & infos = s.route.chipInfo();
  bool const any = s.machine.doVerify(s.key.key, *handles);
  if (any == infos.empty()) differ(s.key, "programmer", "is not sure whether chips have entries");
  for (auto const & named : handles->routeHandle()) {
    RouteHandle const handle = named.fwkKey();
    auto const chips = host_.chips();
    bool const stands = std::any_of(chips.begin(), chips.end(), [&](Chip const * chip) {
      auto const entry = chip->entry(handle);
      return entry && entry->key.sg == s.key.key;
    });
    if (handle.isNull() || stands) continue;
    differ(s.key, "programmer",
           "names entry " + std::to_string(handle.value) + ", which stands in no chip");
  }
  // Of a route that is kept back it names those of the first chip.
  for (AsyncChipInfo const & info : infos) {
    if (&info != infos.begin() && s.route.reason().blocked()) break;
    auto const require = [&](RouteHandle handle) {
      if (handle.isNull() || handles->routeHandle().contains(handle)) return;
      differ(s.key, nameOf(chipOf(info)), "has an entry that the programmer does not name");
    };
    require(info.rpfRouteHandle());
    require(info.oldRpfRouteHandle());
    for (AsyncVlanInfo const & side : info.entries()) require(side.routeHandle);
  }
}

}  // namespace

std::unique_ptr<Verifier> makeAsyncVerifier(Host const & host,
                                            std::optional<KeyView> const & only) {
  return std::make_unique<AsyncVerifier>(host, only);
}

}  // namespace Brindle::Sim
