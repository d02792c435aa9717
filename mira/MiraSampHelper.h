// A MiraHelper for platforms that are told the EVPN tunnels of each VLAN.
#pragma once
#include "mira/MiraHelper.h"
#include "platform/HashMap.h"

namespace Brindle {

class BRINDLE_API MiraSampHelper : public MiraHelper {
 public:
  using MiraHelper::MiraHelper;

  // The tunnels of a VLAN; absent means none.
  void evpnTunnelFloodsetPortOutLifSetIs(Bridging::VlanId vid, PortVlanSet const & tunnels) {
    evpnTunnelFloodsetPortOutLifSet_.at(vid) = tunnels;
  }
  void evpnTunnelFloodsetPortOutLifSetDel(Bridging::VlanId vid) {
    evpnTunnelFloodsetPortOutLifSet_.del(vid);
  }
  void evpnTunnelFloodsetPortOutLifSetDelAll() { evpnTunnelFloodsetPortOutLifSet_.clear(); }

  PortVlanSet doGetEvpnTunnelFloodsetPortOutLifSet(Bridging::VlanId vid) const override;

 private:
  Zet::HashMap2018<Bridging::VlanId, PortVlanSet> evpnTunnelFloodsetPortOutLifSet_;
};

}  // namespace Brindle
