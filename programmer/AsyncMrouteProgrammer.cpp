#include "programmer/AsyncMrouteProgrammer.h"

#include "platform/CollectionText.h"
#include "platform/Exception.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("AsyncMrouteProgrammer", false);

}  // namespace

AsyncMrouteRootSm::AsyncMrouteRootSm(Inputs const & in)
    : VrfFollower(in.mrouteTableColl, in.mfib),
      in_(in) {
  doFollow();
}

void AsyncMrouteRootSm::handleDel() {
  for (auto i = asyncMrouteSm_.begin(); i; i.advance()) asyncMrouteSmDel(i.key());
}

void AsyncMrouteRootSm::doStop() {
  Zet::Ptr<AsyncMrouteRootSm> const self(this);
  zetDoZombieReactors(true);
  handleDel();
}

void AsyncMrouteRootSm::requireSameInputs(Inputs const & in) const {
  Zet::requireSameMember("clock", in.clock, in_.clock);
  Zet::requireSameMember("fabric", in.fabric, in_.fabric);
  Zet::requireSameMember("mrouteTableColl", in.mrouteTableColl, in_.mrouteTableColl);
  Zet::requireSameMember("mfib", in.mfib, in_.mfib);
  Zet::requireSameMember("intfVlanIdTable", in.intfVlanIdTable, in_.intfVlanIdTable);
  Zet::requireSameMember("reviewConfig", in.reviewConfig, in_.reviewConfig);
  Zet::requireSameMember("pimIntfStatus", in.pimIntfStatus, in_.pimIntfStatus);
  Zet::requireSameMember("mcastGroupStatus", in.mcastGroupStatus, in_.mcastGroupStatus);
}

// --- Machines

Zet::Ptr<AsyncMrouteSm> AsyncMrouteRootSm::asyncMrouteSmIs(L3::VrfName vrf,
                                                           AsyncMrouteSm::Inputs const & in) {
  if (AsyncMrouteSm * old = asyncMrouteSm(vrf)) {
    old->requireSameInputs(in);
  } else {
    asyncMrouteSm_.insert(asyncMrouteSmFactory(vrf, in));
  }
  return asyncMrouteSm(vrf);
}

// While the machine is whole, so that the operator hears of what no longer lacks room.
void AsyncMrouteRootSm::asyncMrouteSmDel(L3::VrfName vrf) {
  Zet::Ptr<AsyncMrouteSm> const machine = asyncMrouteSm(vrf);
  if (!machine) return;
  machine->doReleaseRoutes();
  machine->zetDoZombieReactors(true);
  asyncMrouteSm_.del(vrf);
}

MrouteTable const * AsyncMrouteRootSm::tableOfMachine(L3::VrfName vrf) const {
  AsyncMrouteSm const * const machine = asyncMrouteSm(vrf);
  return machine ? machine->mrouteTable().get() : nullptr;
}

void AsyncMrouteRootSm::machineIs(L3::VrfName vrf, RouteTables const & tables) {
  asyncMrouteSmIs(vrf, {
                           .clock = in_.clock,
                           .fabric = in_.fabric,
                           .tables = tables,
                           .mfib = in_.mfib,
                           .intfVlanIdTable = in_.intfVlanIdTable,
                           .reviewConfig = in_.reviewConfig,
                           .pimIntfStatus = in_.pimIntfStatus,
                           .mcastGroupStatus = in_.mcastGroupStatus,
                       });
}

void AsyncMrouteRootSm::handleTable(L3::VrfName vrf, MrouteTable * table) {
  if (table) {
    mrtIs(vrf, table);
  } else {
    mrtDel(vrf);
    doMaybeReconcileMfib();  // it may have been the last one that was not full
  }
}

void AsyncMrouteRootSm::mrtIs(L3::VrfName vrf, Zet::Ptr<MrouteTable const> const & mrt) {
  if (!mrt) Zet::throwNullParameter("Brindle::AsyncMrouteRootSm::mrt");
  mrt_.attach(vrf, mrt);
}

// The machine that has the table keeps it when it goes.
void AsyncMrouteRootSm::handleFloodsetTable() {
  Zet::Ptr<MrouteTable const> const table = mrouteTableColl()->l2FloodsetTable();
  if (!table) {
    ZET_TRACE(8, " l2FloodsetTable is deleted");
    return;
  }
  AsyncMrouteSm * const machine = asyncMrouteSm(L3::VrfName::defaultVrf());
  if (!machine) return;
  ZET_TRACE(8, " updating floodsetTable ptr in asyncSm");
  machine->l2FloodsetTableIs(table);
}

void AsyncMrouteRootSm::doMaybeReconcileMfib() {
  auto const & tables = mrouteTableColl()->vrfMrouteTable();
  for (auto i = tables.begin(); i; i.advance()) {
    if (!i->mroutesInitialized()) return;
  }
  for (auto i = asyncMrouteSm_.begin(); i; i.advance()) i->reconcileMfib();
}

// --- The programmer

Zet::Ptr<AsyncMrouteRootSm> AsyncMrouteProgrammer::rootSmIs(AsyncMrouteRootSm::Inputs const & in) {
  if (rootSm_) {
    rootSm_->requireSameInputs(in);
  } else {
    rootSm_ = asyncMrouteRootSmFactory(in);
  }
  return rootSm_;
}

void AsyncMrouteProgrammer::rootSmDel() {
  if (rootSm_) rootSm_->doStop();
  rootSm_ = nullptr;
}

Zet::Ptr<AsyncMrouteProgrammer> asyncMrouteProgrammerFactory(Zet::Name name) {
  return Zet::make<AsyncMrouteProgrammer>(name);
}

}  // namespace Brindle
