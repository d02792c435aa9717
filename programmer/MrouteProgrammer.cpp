#include "programmer/MrouteProgrammer.h"

#include "platform/CollectionText.h"

namespace Brindle {

MrouteRootSm::MrouteRootSm(Inputs const & in) : VrfFollower(in.mrouteTableColl, in.mfib), in_(in) {
  doFollow();
}

MrouteTable const * MrouteRootSm::tableOfMachine(L3::VrfName vrf) const {
  MrouteSm const * const machine = mrouteSm(vrf);
  return machine ? machine->mrouteTable().get() : nullptr;
}

void MrouteRootSm::machineIs(L3::VrfName vrf, RouteTables const & tables) {
  mrouteSm_.insert(mrouteSmFactory(vrf, MrouteSm::Inputs{
                                            .clock = in_.clock,
                                            .fabric = in_.fabric,
                                            .tables = tables,
                                            .mfib = in_.mfib,
                                            .intfVlanIdTable = in_.intfVlanIdTable,
                                            .rootSm = this,
                                        }));
}

// The failures of the VRF go with it. Things are normal again unless other VRFs have some.
void MrouteRootSm::machineDel(L3::VrfName vrf) {
  Zet::Ptr<MrouteSm> const machine = mrouteSm_.find(vrf);
  mrouteSm_.del(vrf);
  for (auto i = mrouteSm_.begin(); i; i.advance()) {
    if (i->hasFailures()) return;
  }
  machine->failedMrouteDelAll();
}

void MrouteRootSm::requireSameInputs(Inputs const & in) const {
  Zet::requireSameMember("clock", in.clock, in_.clock);
  Zet::requireSameMember("fabric", in.fabric, in_.fabric);
  Zet::requireSameMember("mrouteTableColl", in.mrouteTableColl, in_.mrouteTableColl);
  Zet::requireSameMember("mfib", in.mfib, in_.mfib);
  Zet::requireSameMember("intfVlanIdTable", in.intfVlanIdTable, in_.intfVlanIdTable);
  Zet::requireSameMember("noLoggingForOifFailures", in.noLoggingForOifFailures,
                         in_.noLoggingForOifFailures);
}

void MrouteProgrammer::initDirtyInfo(MrouteTable & mrouteTable) const {
  if (!mrouteTable.dirtyInfo()) mrouteTable.dirtyInfoIs(Zet::make<DirtyInfo>());
}

Zet::Ptr<MrouteRootSm> MrouteProgrammer::rootSmIs(MrouteRootSm::Inputs const & in) {
  if (rootSm_) {
    rootSm_->requireSameInputs(in);
  } else {
    rootSm_ = mrouteRootSmFactory(in);
  }
  return rootSm_;
}

Zet::Ptr<MrouteProgrammer> mrouteProgrammerFactory(Zet::Name name) {
  return Zet::make<MrouteProgrammer>(name);
}

}  // namespace Brindle
