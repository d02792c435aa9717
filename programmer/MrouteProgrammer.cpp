#include "programmer/MrouteProgrammer.h"

#include "platform/Exception.h"

namespace Brindle {

MrouteRootSm::MrouteRootSm(Inputs const & in) : VrfFollower(in.mrouteTableColl, in.mfib), in_(in) {
  doFollow();
}

void MrouteRootSm::machineIs(L3::VrfName vrf, Tables const & tables) {
  mrouteSm_.insert(Zet::make<MrouteSm>(vrf, MrouteSm::Inputs{
                                                .clock = in_.clock,
                                                .fabric = in_.fabric,
                                                .mrouteTable = tables.mrouteTable,
                                                .l2FloodsetTable = tables.l2FloodsetTable,
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

void MrouteProgrammer::initDirtyInfo(MrouteTable & mrouteTable) const {
  if (!mrouteTable.dirtyInfo()) mrouteTable.dirtyInfoIs(Zet::make<DirtyInfo>());
}

Zet::Ptr<MrouteRootSm> MrouteProgrammer::rootSmIs(MrouteRootSm::Inputs const & in) {
  if (!rootSm_) rootSm_ = Zet::make<MrouteRootSm>(in);
  if (rootSm_->inputs() != in) {
    Zet::throwRangeException("another MrouteProgrammer::rootSm is running");
  }
  return rootSm_;
}

Zet::Ptr<MrouteProgrammer> mrouteProgrammerFactory(Zet::Name name) {
  return Zet::make<MrouteProgrammer>(name);
}

}  // namespace Brindle
