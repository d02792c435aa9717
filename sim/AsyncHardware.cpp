// Chips that answer later, and their programmer, which puts connected subnets into the chips, too,
// and groups that other agents ask for.
#include "sim/AsyncChip.h"
#include "sim/Hardware.h"

namespace Brindle::Sim {

namespace {

class AsyncHardware final : public Hardware {
 public:
  explicit AsyncHardware(bool unknownEntries) : unknownEntries_(unknownEntries) {
    reviewConfig_->reviewFreqIs(mrouteReviewEnabled);
  }

  Chip & chipIs(Zet::Name name, U32 index) override {
    auto const added = Zet::make<AsyncChip>(name, index, unknownEntries_, groupIds_);
    fabric_->chipIs(added);
    fabric_->bidirDfChipIs(added->profileTable());
    groupFabric_->bidirGroupChipIs(added->groups());
    return *added;
  }
  void chipDel(Zet::Name name) override {
    fabric_->chipDel(name);
    fabric_->bidirDfChipDel(name);
    groupFabric_->bidirGroupChipDel(name);
  }
  void chipDelAll() override {
    fabric_->chipDelAll();
    fabric_->bidirDfChipDelAll();
    groupFabric_->bidirGroupChipDelAll();
  }
  std::vector<Chip *> chips() const override;
  std::vector<Chip::Entry> entries(Chip const & chip) const override;

  void start(Inputs const &) override;
  void kill() override;
  void end() override {
    groups_->mcastGroupProgrammerSmDel();
    programmer_->rootSmDel();
  }
  bool runs() const override { return static_cast<bool>(programmer_->rootSm()); }
  void startGroups(GroupInputs const &) override;

  std::optional<Trouble> trouble(L3::VrfName vrf, RouteKey const & key) const override;
  std::vector<RouteKey> refused(L3::VrfName vrf) const override;
  Zet::Seconds nextAnswer() const override;

  MrouteReviewConfig * reviewConfig() const override { return reviewConfig_.get(); }
  Zet::Ptr<AsyncFabric> asyncFabric() const override { return fabric_; }
  Zet::Ptr<Fabric> groupFabric() const override { return groupFabric_; }
  AsyncMrouteSm const * asyncMrouteSm(L3::VrfName vrf) const override {
    return runs() ? programmer_->rootSm()->asyncMrouteSm(vrf) : nullptr;
  }
  Zet::Ptr<AsyncMrouteRootSm> asyncMrouteRootSm() const override { return programmer_->rootSm(); }
  McastGroupProgrammerSm * groups() const override {
    return groups_->mcastGroupProgrammerSm().get();
  }

 private:
  static void forgetGoneGroups(GroupInputs const &);

  bool const unknownEntries_;
  Zet::Ptr<AsyncChip::GroupIds> const groupIds_ = Zet::make<AsyncChip::GroupIds>();
  Zet::Ptr<AsyncFabric> const fabric_ = asyncFabricFactory("fabric");
  Zet::Ptr<Fabric> const groupFabric_ = fabricFactory("groups");
  Zet::Ptr<MrouteReviewConfig> const reviewConfig_ = Zet::make<MrouteReviewConfig>();
  Zet::Ptr<AsyncMrouteProgrammer> const programmer_ = asyncMrouteProgrammerFactory("programmer");
  Zet::Ptr<McastGroupProgrammer> const groups_ = Zet::make<McastGroupProgrammer>();
};

// --- Chips

AsyncChip & asAsync(AsyncSwitchChip & chip) { return static_cast<AsyncChip &>(chip); }

std::vector<Chip *> AsyncHardware::chips() const {
  std::vector<Chip *> out;
  for (auto const & entry : fabric_->chip().items()) out.push_back(&asAsync(*entry.value));
  return out;
}

// The set that the chip forwards by or, before the first, that it is to forward by.
MtableOifSet * standing(AsyncChipInfo const & info) {
  bool const pending = !info.mtableOifSetCommitted() && info.oldMtableOifSet();
  return pending ? info.oldMtableOifSet().get() : info.mtableOifSet().get();
}

void addSetAlone(AsyncZetMroute const & route, Chip const & chip, std::vector<Chip::Entry> & out) {
  for (AsyncChipInfo const & info : route.chipInfo()) {
    auto const * const set = static_cast<SimMtableOifSet const *>(standing(info));
    if (&asAsync(info.chip()) != &chip || !set) continue;
    bool const isActive = info.mtableOifSetCommitted() || set != info.mtableOifSet().get();
    auto const here = chip.seen({{},
                                 {route.key(), route.acceptingVlanId()},
                                 route.rpaId(),
                                 set->oifSet(),
                                 isActive,
                                 set->id().value,
                                 set->multicastId()});
    if (here) out.push_back(*here);
  }
}

std::vector<Chip::Entry> AsyncHardware::entries(Chip const & chip) const {
  auto out = chip.entries();
  auto const * const machine = asyncMrouteSm(L3::VrfName::defaultVrf());
  if (!machine) return out;
  auto const & needsEntry = static_cast<AsyncChip const &>(chip);
  for (auto i = machine->zetMroute().begin(); i; i.advance()) {
    if (!needsEntry.needIngressProgramming(i.key().kind())) addSetAlone(*i, chip, out);
  }
  return out;
}

Zet::Seconds AsyncHardware::nextAnswer() const {
  Zet::Seconds first = Zet::Clock::never;
  for (auto const & entry : fabric_->chip().items()) {
    first = std::min(first, asAsync(*entry.value).nextAnswer());
  }
  return first;
}

// --- The programmer

void AsyncHardware::start(Inputs const & in) {
  for (Chip * chip : chips()) chip->clear();
  programmer_->rootSmIs({.clock = in.clock,
                         .fabric = fabric_,
                         .mrouteTableColl = in.tables,
                         .mfib = in.records->hardware,
                         .intfVlanIdTable = in.records->intfVlanIdTable,
                         .reviewConfig = reviewConfig_,
                         .pimIntfStatus = in.records->pimIntfStatus,
                         .mcastGroupStatus = in.groupStatus});
}

void AsyncHardware::startGroups(GroupInputs const & in) {
  groups_->mcastGroupProgrammerSmDel();
  groups_->mcastGroupProgrammerSmIs({.configDir = in.configDir,
                                     .status = in.status,
                                     .mrouteTable = in.tables,
                                     .asyncMrouteRootSm = programmer_->rootSm(),
                                     .miraHelper = in.helper});
  forgetGoneGroups(in);
}

// What an earlier life told of groups that have gone meanwhile.
void AsyncHardware::forgetGoneGroups(GroupInputs const & in) {
  auto const * const table = in.tables->vrfMrouteTable(L3::VrfName::defaultVrf());
  for (auto i = in.status->response().begin(); i; i.advance()) {
    auto const key = Routing::Multicast::Fib::makeRouteKeyMcastGroup(i.key());
    if (!table || !table->mroute(key)) in.status->responseDel(i.key());
  }
}

void AsyncHardware::kill() {
  if (!runs()) return;
  auto const & root = *programmer_->rootSm();
  for (auto i = root.asyncMrouteSm().begin(); i; i.advance()) {
    root.asyncMrouteSm(i.key())->testKillIs(true);
  }
  programmer_->rootSmDel();
}

// --- Routes

bool isRefused(MrouteFailureReason reason) { return (reason.value & ~reason.keptBack()) != 0; }

std::optional<Hardware::Trouble> AsyncHardware::trouble(L3::VrfName vrf,
                                                        RouteKey const & key) const {
  if (!runs()) return Trouble{Trouble::blocked, {"no programmer runs"}};
  auto const * const machine = asyncMrouteSm(vrf);
  auto const * const route = machine ? machine->zetMroute(key) : nullptr;
  if (!route) return std::nullopt;
  MrouteFailureReason const reason = route->reason();
  if (route->inProgress()) return Trouble{Trouble::inProgress, {"chips have not answered"}};
  if (isRefused(reason)) return Trouble{Trouble::refused, {reason.pretty()}};
  if (reason.blocked() && !machine->isReviewEnabled()) {
    return Trouble{Trouble::blocked, {"the review is off"}};
  }
  if (reason) return Trouble{Trouble::inProgress, {"its turn has not come"}};
  return std::nullopt;
}

std::vector<Hardware::RouteKey> AsyncHardware::refused(L3::VrfName vrf) const {
  std::vector<RouteKey> out;
  auto const * const machine = asyncMrouteSm(vrf);
  if (!machine) return out;
  for (auto const & failed : machine->failedMroute()) {
    if (isRefused(failed.value.mroute->reason())) out.push_back(failed.fwkKey());
  }
  return out;
}

}  // namespace

std::unique_ptr<Hardware> makeAsyncHardware(bool unknownEntries) {
  return std::make_unique<AsyncHardware>(unknownEntries);
}

}  // namespace Brindle::Sim
