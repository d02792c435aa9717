// Everything that the agents of a switch publish and the multicast routes depend on.
#pragma once

#include "model/PimEnabled.h"
#include "model/ReviewInfo.h"
#include "model/StaticNatInfo.h"
#include "state/Bridging.h"
#include "state/Evpn.h"
#include "state/Fjord.h"
#include "state/HardwareStatus.h"
#include "state/IntfVlanId.h"
#include "state/Ip.h"
#include "state/Lag.h"
#include "state/Mlag.h"
#include "state/MulticastFib.h"
#include "state/Pim.h"
#include "state/PimIntf.h"
#include "state/Routing.h"
#include "state/Snooping.h"
#include "state/Topology.h"
#include "state/Vxlan.h"

namespace Brindle::Sim {

namespace Fib = Routing::Multicast::Fib;

// A record that stands from the beginning.
template <class T> struct Record : Zet::Ptr<T> {
  Record() : Zet::Ptr<T>(Zet::make<T>()) {}
};

struct Records {
  // Bridging
  Record<Bridging::VlanStatusDir> vlanStatusDir;
  Record<Bridging::Config> brConfig;
  Record<Bridging::Topology::Config> brTopo;
  Record<Bridging::IgmpSnooping::Status> snooping;

  // LAGs
  Record<Interface::EthLagIntfStatusDir> lagStatusDir;
  Record<Lag::ConfigDir> lagConfigDir;
  Record<Mlag::Status> mlagStatus;

  // IP
  Record<Ip::AllVrfStatusLocal> allVrfStatusLocal;
  Record<Ip::Status> ipStatus;
  Record<IntfVlanId::Table> intfVlanIdTable;
  Record<Interface::SubIntfConfigDir> subIntfConfigDir;
  Record<StaticNatInfo> staticNatInfo;

  // Multicast routing
  Record<Fib::VrfConfig> mfibVrfConfig;
  Record<PimEnabled> pimEnabled;
  Record<Fib::PimIntf::Status> pimIntfStatus;
  Record<Fib::SparseModeStatus> sparseModeStatus;
  Record<Fib::MbrIntf> mbrIntf;
  Record<Routing::Multicast::Vxlan::Status> pimVxlanStatus;
  Record<Evpn::EvpnVlanFilteredFloodSetDir> vlanFilteredFloodSetDir;

  // What the protocols say of their restart
  Record<Fib::ReadyStatus> sparseReady;
  Record<Fib::ReadyStatus> staticReady;
  Record<Fib::ReadyStatus> bidirReady;
  Record<Fib::VrfEnabledStatus> mcastEnabled;
  Record<Routing::Multicast::Pim::Status> pimStatus;

  // What the library publishes
  Record<Fib::Hardware::Status> hardware;
  Record<ReviewInfo> reviewInfo;
};

}  // namespace Brindle::Sim
