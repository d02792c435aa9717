#include "mira/TopologyReactors.h"

#include "mira/InputReactors.h"
#include "mira/MiraRoot.h"
#include "platform/Skein.h"

namespace Brindle {

using Bridging::Topology::PortState;

void ZetTopo::handlePort(Nettle::IntfId intf) {
  auto const * topo = zetTopoConfig_.target();
  if (auto const * port = topo ? topo->topoPortConfig(intf) : nullptr) {
    zetTopoPort_.attach(intf, port);
  } else if (Zet::Ptr<ZetTopoPort> const gone = zetTopoPort_.find(intf)) {
    zetTopoPort_.del(intf);
    gone->handleDel();
  }
}

void ZetTopo::handlePort() {
  auto const * topo = zetTopoConfig_.target();
  Zet::replay(topo ? &topo->topoPortConfig() : nullptr, zetTopoPort_,
              [this](Nettle::IntfId intf) { handlePort(intf); });
}

void ZetTopo::ZetTopoPort::handleState() {
  bool const forwards = target() && target()->state() == PortState::forwarding;
  if (forwards == forwards_) return;
  forwards_ = forwards;
  sm()->handleTopoPort(key(), forwards ? portChangeAdd : portChangeDel);
}

void ZetTopo::ZetTopoPort::handleDel() {
  if (forwards_) sm()->handleTopoPort(key(), portChangeDel);
}

void ZetTopo::handleTopoPort(Nettle::IntfId intf, PortChange change) {
  SKEIN("ZetTopo::handleTopoPort ", topo_, " ", intf, " change ", U32{change});
  forwarding_ += change == portChangeAdd ? 1 : ~0u;
  tellForwardingPorts();
  markVlansDirty();
}

void ZetTopo::handleTopoConfigDel() {
  reactors_->root().forwardingPortsDel(topo_);
  markVlansDirty();
}

void ZetTopo::tellForwardingPorts() const {
  reactors_->root().forwardingPortsIs(topo_, forwarding_);
}

void ZetTopo::markVlansDirty() {
  for (Bridging::VlanId vid : vidList_.items()) reactors_->markVlanDirty(vid);
}

}  // namespace Brindle
