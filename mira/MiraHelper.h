// The platform's policy in membership expansion.
#pragma once
#include "model/PortVlanSet.h"
#include "platform/IntfId.h"
#include "platform/Ptr.h"
#include "platform/VlanId.h"
#include "platform/VrfName.h"
#include "state/McastGroup.h"
#include "state/RouteKey.h"
#include "state/ShoalFib.h"

namespace Brindle {

class MiraRoot;

// What a platform decides about output sets: its feature word, how LAGs stay or resolve, which
// tunnels a floodset gets. A platform derives from it; these defaults suit a chip that takes plain
// ports. The agent hands it to the root, which holds it strongly; it holds the root plainly.
class BRINDLE_API MiraHelper : public Zet::PtrInterface {
 public:
  explicit MiraHelper(MiraRoot * root) : miraRoot_(root) {}
  // Null when the root has ended.
  MiraRoot * miraRoot() const { return miraRoot_; }
  void miraRootDel() { miraRoot_ = nullptr; }

  // Whether the environment stands in for the tunnels of a platform: see the operations that
  // name a variable. Read with getenv(3) at each call.
  bool simMode() const { return simMode_; }
  void simModeIs(bool v) { simMode_ = v; }

  using Iterator = Shoal::Multicast::Fib::RouteIntfIteratorConst;
  // The platform's word on the set of a route.
  virtual U32 doGetMiraFeatureFlag(L3::VrfName const & vrf,
                                   Routing::Multicast::Fib::IpGenRouteKey const & key,
                                   PortVlanSet const & pvSet, Iterator const * outputs);
  // The platform's word on the set of a group that an agent has requested: the request's own.
  virtual U32 doGetMcastGroupFeatureFlag(L3::VrfName const & vrf,
                                         Zet::Ptr<Multicast::Group::Request const> const & request);
  // Whether a LAG that the chips know is resolved all the same for this request.
  virtual bool resolveLagRequired(Zet::Ptr<Multicast::Group::Request const> const & request);
  // The VTEPs of a VLAN's floodsets, as outputs. In simMode from `vtepFloodsetPortOutLifSet`:
  // records "number,interface", each ended by a newline; the number is the output's OutLif.
  virtual PortVlanSet doGetVtepFloodsetPortOutLifSet(Bridging::VlanId vid) const;
  // The OutLif of a port of a VLAN in sets of this kind.
  virtual OutLif doGetOutLifValue(Bridging::VlanId vid, Nettle::IntfId port,
                                  Routing::Multicast::Fib::RouteKeyType kind) const;
  // The EVPN tunnels of a VLAN's floodsets.
  virtual PortVlanSet doGetEvpnTunnelFloodsetPortOutLifSet(Bridging::VlanId vid) const;
  // The set of a VLAN's floodset has been computed.
  virtual void handlePortVlanSetComputeDone(Bridging::VlanId vid);
  virtual Nettle::IntfId chooseLagMember(Nettle::IntfId lag);
  // Whether a LAG stays one member of this set, under the operation that passes LAGs.
  virtual bool passLag(PortVlanSet const & pvSet, PortVlanSet const & lagSet,
                       L3::VrfName const & vrf, Routing::Multicast::Fib::IpGenRouteKey const & key);
  virtual bool isIntfLag(Nettle::IntfId intf);
  // Whether the chips know this LAG.
  virtual bool isIntfHwLag(Nettle::IntfId intf);
  // In simMode: whether the variable of this name is set.
  virtual bool useVxlanCoreSideFloodset() const;
  // Whether bidirectional routes may have fastdrops.
  virtual bool useBidirFastdropRoute() const;
  // In simMode: whether the variable of this name is set.
  virtual bool floodToAllVteps() const;

 private:
  bool simEnvironment(char const * name) const;
  MiraRoot * miraRoot_;
  bool simMode_ = false;
};

}  // namespace Brindle
