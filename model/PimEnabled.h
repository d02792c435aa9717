// The VLANs that run PIM (RFC 7761), as the agent tells.
#pragma once

#include "platform/Entity.h"
#include "platform/RbTreeMap.h"
#include "platform/VlanId.h"

namespace Brindle {

class PimEnabled : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<PimEnabled, Zet::Entity> {
   public:
    virtual void onPimVlanEnabled(Bridging::VlanId const &) {}
  };

  auto const & pimVlanEnabled() const { return pimVlanEnabled_; }
  bool pimVlanEnabled(Bridging::VlanId k) const { return pimVlanEnabled_.contains(k); }
  void pimVlanEnabledIs(Bridging::VlanId k, bool v) {
    flag<&NotifieeConst::onPimVlanEnabled>(pimVlanEnabled_, k, v);
  }
  void pimVlanEnabledDel(Bridging::VlanId k) { pimVlanEnabledIs(k, false); }

 private:
  Zet::OrderedSet<Bridging::VlanId> pimVlanEnabled_;
};

}  // namespace Brindle
