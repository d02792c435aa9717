#include "mira/IntfConfigSm.h"

#include "mira/MiraRoot.h"
#include "platform/Skein.h"

namespace Brindle {

IntfConfigSm::IntfConfigSm(Zet::Ptr<IntfConfig const> const & config, Bridging::VlanId vlan,
                           Mira * mira)
    : intf_(config->key()),
      vlan_(vlan),
      mira_(mira) {
  zetIntfConfig_.attach(config);
}

void IntfConfigSm::handleNoFastdrop() {
  IntfConfig const * const config = intfConfig();
  if (!config) return;
  SKEIN("IntfConfigSm::handleNoFastdrop ", intf_, " ", config->noFastdrop());
  if (!config->noFastdrop()) {
    oldNoFastdropIs(false);
    mira_->noFastdropVlanDel(vlan_);
    return;
  }
  if (!oldNoFastdrop()) mira_->doFlushFastdrops(Zet::String(Zet::textOf(intf_)));
  oldNoFastdropIs(true);
  mira_->noFastdropVlanIs(vlan_, true);
}

void IntfConfigSm::handleDel() { mira_->noFastdropVlanDel(vlan_); }

// --- Which of them stand

Zet::Ptr<IntfConfigSm> MiraRoot::intfConfigSmIs(
    Zet::Ptr<Routing::Multicast::Fib::IntfConfig const> const & config, Bridging::VlanId vlan,
    Zet::Ptr<Mira> const & mira) {
  Zet::Ptr<IntfConfigSm> const sm = Zet::make<IntfConfigSm>(config, vlan, mira.get());
  sm->parentIs(this);
  intfConfigSm_.insert(sm);
  return sm;
}

void MiraRoot::intfConfigSmDel(Nettle::IntfId intf) {
  if (IntfConfigSm * const sm = intfConfigSm_.find(intf)) sm->parentIs(nullptr);
  intfConfigSm_.del(intf);
}

void MiraRoot::handleIntfConfig(Nettle::IntfId intf) {
  SKEIN("MiraRoot::handleIntfConfig ", intf);
  if (!initialized_) return;
  intfConfigSmDel(intf);
  auto const * config = in_.mfibVrfConfig->intfConfig(intf);
  Bridging::VlanIdOrNone const vlan = in_.intfVlanIdTable->intfIdToVlanId(intf);
  Mira * const mira = miraOfIntf(intf);
  if (config && vlan && mira) intfConfigSmIs(config, Bridging::VlanId(vlan), mira);
}

void MiraRoot::handleIntfConfig() {
  if (!initialized_) return;
  Zet::replay(&in_.mfibVrfConfig->intfConfig(), intfConfigSm_,
              [this](Nettle::IntfId intf) { handleIntfConfig(intf); });
}

void MiraRoot::doCreateIntfConfigSm(L3::VrfName const & vrf) {
  auto const & intfs = in_.ipStatus->ipIntfStatus();
  for (auto i = intfs.begin(); i; i.advance()) {
    if (doGetVrfNameFromIntfId(i.key()) == vrf) handleIntfConfig(i.key());
  }
}

}  // namespace Brindle
