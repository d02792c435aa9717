// Chips that answer at once, and their programmers: one for routes, one for connected subnets.
#include "sim/Hardware.h"
#include "sim/SyncChip.h"

namespace Brindle::Sim {

namespace {

class SyncHardware final : public Hardware {
 public:
  Chip & chipIs(Zet::Name name, U32 index) override {
    auto const added = Zet::make<SyncChip>(name, index);
    fabric_->chipIs(added);
    fabric_->bidirGroupChipIs(added->groups());
    fabric_->bidirDfChipIs(added->profileTable());
    return *added;
  }
  void chipDel(Zet::Name name) override {
    fabric_->chipDel(name);
    fabric_->bidirGroupChipDel(name);
    fabric_->bidirDfChipDel(name);
  }
  void chipDelAll() override {
    fabric_->chipDelAll();
    fabric_->bidirGroupChipDelAll();
    fabric_->bidirDfChipDelAll();
  }
  std::vector<Chip *> chips() const override;

  void start(Inputs const &) override;
  void kill() override { end(); }
  void end() override {
    programmer_->rootSmDel();
    prefixProgrammer_ = nullptr;
  }
  bool runs() const override { return static_cast<bool>(programmer_->rootSm()); }

  std::optional<Trouble> trouble(L3::VrfName vrf, RouteKey const & key) const override;
  std::vector<RouteKey> refused(L3::VrfName vrf) const override;
  Waiting waiting(L3::VrfName vrf, Chip const & chip) const override;

  MrouteSm const * mrouteSm(L3::VrfName vrf) const override {
    return runs() ? programmer_->rootSm()->mrouteSm(vrf) : nullptr;
  }
  Zet::Ptr<Fabric> fabric() const override { return fabric_; }
  Zet::Ptr<Fabric> groupFabric() const override { return fabric_; }
  PrefixMrouteSm const * prefixMrouteSm() const override { return prefixProgrammer_.get(); }

 private:
  void startPrefixProgrammer(Inputs const &);

  Zet::Ptr<Fabric> const fabric_ = fabricFactory("fabric");
  Zet::Ptr<MrouteProgrammer> const programmer_ = mrouteProgrammerFactory("programmer");
  Zet::Ptr<Fib::PimIntf::PrefixMrouteStatus> const prefixes_ =
      Zet::make<Fib::PimIntf::PrefixMrouteStatus>(Zet::Name("prefixes"));
  Zet::Ptr<PrefixMrouteSm> prefixProgrammer_;
};

std::vector<Chip *> SyncHardware::chips() const {
  std::vector<Chip *> out;
  for (auto const & entry : fabric_->chip().items()) {
    out.push_back(static_cast<SyncChip *>(entry.value.get()));
  }
  return out;
}

void SyncHardware::start(Inputs const & in) {
  for (Chip * chip : chips()) chip->clear();
  MrouteRootSm::Inputs programmer;
  programmer.clock = in.clock;
  programmer.fabric = fabric_;
  programmer.mrouteTableColl = in.tables;
  programmer.mfib = in.records->hardware;
  programmer.intfVlanIdTable = in.records->intfVlanIdTable;
  programmer_->rootSmIs(programmer);
  startPrefixProgrammer(in);
}

void SyncHardware::startPrefixProgrammer(Inputs const & in) {
  in.prefixMrouteStatusDir->entityIs(prefixes_->name(), prefixes_);
  prefixProgrammer_ = prefixMrouteSmFactory({.mfibStatus = in.records->pimIntfStatus,
                                             .fabric = fabric_,
                                             .clock = in.clock,
                                             .intfVlanIdTable = in.records->intfVlanIdTable,
                                             .prefixMrouteStatus = prefixes_});
}

std::optional<Hardware::Trouble> SyncHardware::trouble(L3::VrfName vrf,
                                                       RouteKey const & key) const {
  if (!runs()) return Trouble{Trouble::blocked, {"no programmer runs"}};
  auto const * const machine = mrouteSm(vrf);
  auto const * const failed = machine ? machine->failedMroute().find(key) : nullptr;
  if (!failed) return std::nullopt;
  Trouble out{Trouble::refused, {}, {}};
  for (Chip const * chip : chips()) {
    std::string const name(chip->name().view());
    U32 const bits = failed->reason >> chip->index();
    if (bits & 1) {
      out.why.push_back(name + ": no room for its outputs");
      out.full.emplace_back(name, false);
    }
    if (bits >> 16 & 1) {
      out.why.push_back(name + ": no route entry");
      out.full.emplace_back(name, true);
    }
  }
  return out;
}

std::vector<Hardware::RouteKey> SyncHardware::refused(L3::VrfName vrf) const {
  std::vector<RouteKey> out;
  auto const * const machine = mrouteSm(vrf);
  if (!machine) return out;
  for (auto i = machine->failedMroute().begin(); i; i.advance()) out.push_back(i.key());
  return out;
}

Hardware::Waiting SyncHardware::waiting(L3::VrfName vrf, Chip const & chip) const {
  auto const * const machine = mrouteSm(vrf);
  auto const * const counts = machine ? machine->zetChip().find(chip.name()) : nullptr;
  return counts ? Waiting{counts->routeFailed(), counts->oifFailed()} : Waiting{};
}

}  // namespace

std::unique_ptr<Hardware> makeSyncHardware() { return std::make_unique<SyncHardware>(); }

}  // namespace Brindle::Sim
