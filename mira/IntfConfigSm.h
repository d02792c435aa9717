// Keeps a VRF's list of the VLANs without fastdrops as the configuration of one interface says.
#pragma once

#include "platform/IntfId.h"
#include "platform/Reactor.h"
#include "platform/VlanId.h"
#include "state/MulticastFib.h"

namespace Brindle {

class Mira;

// MiraRoot makes it for a configured interface whose VLAN and VRF are known, and makes it anew when
// either changes. It goes before its Mira does.
class BRINDLE_API IntfConfigSm : public Zet::Sm, public Zet::HashLink {
 public:
  using IntfConfig = Routing::Multicast::Fib::IntfConfig;
  IntfConfigSm(Zet::Ptr<IntfConfig const> const & config, Bridging::VlanId vlan, Mira * mira);
  Nettle::IntfId const & fwkKey() const { return intf_; }

  IntfConfig const * intfConfig() const { return zetIntfConfig_.target(); }
  Bridging::VlanId vlanId() const { return vlan_; }
  Mira * mira() const { return mira_; }
  bool oldNoFastdrop() const { return oldNoFastdrop_; }
  void oldNoFastdropIs(bool v) { oldNoFastdrop_ = v; }

  void handleNoFastdrop();
  void handleDel() override;

 private:
  struct ZetIntfConfig : Zet::Reactor<IntfConfig const, IntfConfigSm> {
    using Reactor::Reactor;
    void onNoFastdrop() override { sm()->handleNoFastdrop(); }
    void immediatePass() override { sm()->handleNoFastdrop(); }
  };

  // Fixed at construction
  Nettle::IntfId const intf_;
  Bridging::VlanId const vlan_;
  Mira * const mira_;

  // State
  bool oldNoFastdrop_ = false;

  // Reactors
  Zet::ReactorPtr<ZetIntfConfig> zetIntfConfig_{this};
};

}  // namespace Brindle
