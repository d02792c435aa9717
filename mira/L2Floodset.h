// The computation of one L2 route.
#pragma once

#include "mira/Expansion.h"
#include "mira/MiraL2.h"
#include "model/Mroute.h"

namespace Brindle {

// Lives for one call of refresh(). All is read from the root's inputs at that time.
class L2Floodset {
 public:
  // Throws RangeException if the route's key has no VLAN. Both must outlive this object.
  L2Floodset(MiraL2 const & l2, Mroute & route);

  // Computes the set and stores it with the route's filters; true if it is another one than before.
  // Throws what the platform's operations throw; the route stays dirty then.
  bool refresh();

 private:
  bool compute();
  void doAddEvpnMultihomeFloodsetPorts();
  void finishSet();
  bool storeSet();
  void storeFilters();
  bool lacksCoreSideFloodset() const;

  MiraL2 const & l2_;
  MiraRoot const & root_;
  Zet::Ptr<MiraHelper> const helper_;
  Mroute & route_;
  Routing::Multicast::Fib::RouteKeyType const kind_;
  Bridging::VlanId const vlan_;
  PortVlanSet pvSet_;
  Expansion expansion_;
};

}  // namespace Brindle
