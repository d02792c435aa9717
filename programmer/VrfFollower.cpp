#include "programmer/VrfFollower.h"

#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("VrfFollower", false);

}  // namespace

void VrfFollower::handleVrf(L3::VrfName vrf) {
  Zet::Ptr<MrouteTable> const table = mrouteTableColl_->vrfMrouteTable(vrf);
  MrouteTable const * const old = tableOfMachine(vrf);
  if (old == table.get()) return handleTable(vrf, table.get());
  // Also when another table has come in its place.
  if (old) {
    machineDel(vrf);
    mfib_->vrfStatusDel(vrf);
    ZET_TRACE(8, "Deleted MrouteSm for vrf " << vrf);
  }
  if (table) {
    bool const isDefault = vrf == L3::VrfName::defaultVrf();
    mfib_->vrfStatusIs(vrf);
    machineIs(vrf, {table, isDefault ? mrouteTableColl_->l2FloodsetTable() : nullptr});
    ZET_TRACE(8, "Created MrouteSm for vrf " << vrf << " ( " << table->fullName() << " )");
  }
  handleTable(vrf, table.get());
}

void VrfFollower::handleVrf() {
  if (!mrouteTableColl_) return;
  for (auto i = mrouteTableColl_->vrfMrouteTable().begin(); i; i.advance()) handleVrf(i.key());
}

}  // namespace Brindle
