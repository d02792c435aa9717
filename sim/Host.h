// The host agent: it holds a whole simulated switch, publishes the records of all other agents, and
// runs the library on it as a real one would: a fabric of chips, a programmer, the resolver, one
// activity loop.
//
// It also plays the platform, which writes what a switch's own drivers write: flags of the hardware
// status, activity times of routes, room and faults of chips.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mira/Agent.h"
#include "model/MrouteTableColl.h"
#include "platform/ActivityManager.h"
#include "platform/Dir.h"
#include "platform/EntityManager.h"
#include "sim/GroupClients.h"
#include "sim/Hardware.h"
#include "sim/LogView.h"
#include "sim/PublisherProcess.h"
#include "sim/Records.h"
#include "sim/RpfFrames.h"
#include "sim/Words.h"

namespace Brindle::Sim {

class BidirAgent;
class BoundaryAgent;
class Watch;

class Host {
 public:
  // What goes on for longer does so for ever: a route is tried again each second where its own
  // entry finds room and one beside it does not.
  static constexpr Zet::Seconds longestSettling = 60;

  // What the library is started with.
  struct Settings {
    Nettle::AddressFamily af = Nettle::ipv4();
    LagOperation lagOperation = lagPass;
    bool configuredLagMembers = false;
    bool taggedPorts = false;  // the chips want to know which ports are tagged
    bool policy = true;        // the platform answers as Policy says, or the library goes by itself
    bool nsfGate = false;
    bool l2Enabled = false;
    bool ignoreVlanForL2Groups = false;
    bool vtepsByEnvironment = false;  // the library reads of VTEPs in the process's environment
    // These may change later: applyL2Settings().
    bool disableL2Flooding = false;
    bool floodToVlanWithPim = false;
    bool allowL2FloodsetSharing = false;
    bool ignorePimConfigForL2Routes = false;
  };

  // Prints to `out`. The process's loop gets a simulated clock, and its log this host's.
  explicit Host(std::ostream & out);
  ~Host();
  Host(Host const &) = delete;
  Host & operator=(Host const &) = delete;

  std::ostream & out() { return out_; }
  Records & records() { return records_; }
  Records const & records() const { return records_; }
  LogView & log() { return log_; }

  // Lifecycle. start() is idempotent; what runs something starts first.
  Settings & settings() { return settings_; }
  Settings const & settings() const { return settings_; }
  void start();
  bool started() const { return static_cast<bool>(agent_->mira()); }
  // Throws CommandError: `what` is to be said earlier.
  void requireNotStarted(char const * what) const;
  // Tells the library of those settings that may change, if it runs.
  void applyL2Settings();
  bool finished() const { return finished_; }
  void finishedIs(bool v) { finished_ = v; }

  // Time
  void followRealTimeIs(bool);
  bool followsRealTime() const { return followsRealTime_; }
  void advance(Zet::Seconds);
  // At most so many turns of the loop, at the present time.
  void turns(U32 most);
  // Lets everything happen that is under way: takes in what publishers wrote, and moves the clock
  // on as long as the next due time is near, but not for longer than that.
  void settle(Zet::Seconds longest = longestSettling);
  Zet::Seconds now() const { return clock_->shown(); }
  // How far each read of the simulated clock moves it: time budgets run out by it.
  void readCostIs(Zet::Seconds cost) { clock_->readCostIs(cost); }
  // Runs the loop until the descriptor can be read; only where real time is followed.
  void runUntilReadable(int fd);

  // VRFs and interfaces
  void vrfIs(L3::VrfName vrf);
  void vrfDel(L3::VrfName vrf);
  Zet::Ptr<Routing::RoutingGenInfo> routingInfoIs(L3::VrfName vrf);
  // Null if there is none.
  Routing::RoutingGenInfo const * routingInfo(L3::VrfName vrf) const;
  // The next VLAN that no other interface or VLAN has, from 1006 on. Throws CommandError.
  Bridging::VlanId freeInternalVlan() const;

  // Policy of the platform: the LAGs that the chips know, the VLANs that are extended over VXLAN,
  // whether routed multicast goes to all VTEPs of those, and whether floods do, and to which.
  struct Policy {
    Zet::OrderedSet<Nettle::IntfId> hardwareLags;
    Zet::OrderedSet<Bridging::VlanId> vxlanVlans;
    bool floodToVteps = false;
    bool coreSideFloodset = false;
    PortVlanSet vteps;
    Zet::OrderedSet<Bridging::VlanId> l2Vlans;
    bool evpn = true;  // its peers are published
    // Requested groups go to a LAG that the chips know as one port, or to its ports.
    bool groupsKeepLags = false;
  };
  // Settings::policy. Without it nothing is known of LAGs and VTEPs, and what says something of
  // them throws CommandError.
  void policyIs(bool v);
  void hardwareLagIs(Nettle::IntfId lag, bool v);
  void vxlanVlanIs(Bridging::VlanId vlan, bool v);
  void floodToVtepsIs(bool v);
  void coreSideFloodsetIs(bool v);
  void vtepIs(PortVlan const & vtep, bool v);
  void evpnIs(bool v);
  void groupsKeepLagsIs(bool v);
  // VLANs whose L2 routes are this process's although Settings::l2Enabled is false.
  void l2VlanIs(Bridging::VlanId vlan, bool v);
  Policy const & policy() const { return policy_; }

  // Chips, and the programmer that runs on them.
  Hardware const & hardware() const { return *hardware_; }
  // Another kind. REQUIRES: nothing runs, and there are no chips.
  void hardwareIs(std::unique_ptr<Hardware> v) { hardware_ = std::move(v); }
  // The programmer crashes: chips and what is published stay as they are. Another one starts, whose
  // driver takes out of the chips what it finds there. Throw CommandError if it does not run, or
  // runs.
  void killProgrammer();
  void startProgrammer();
  // By name. Throws CommandError if there is none.
  Chip & chip(std::string const & name) const;
  std::vector<Chip *> chips() const { return hardware_->chips(); }
  // Throws CommandError if the name or the number is taken.
  Chip & chipIs(std::string const & name, U32 index);
  void chipDel(std::string const & name);

  // Agents that ask for replication groups. Throws CommandError where chips answer at once, which
  // have no such service.
  GroupClients & groupClients();
  GroupClients const & groups() const { return *groups_; }

  // The agent of multicast boundaries: as it stands; and running, on a switch that runs.
  BoundaryAgent & boundaryAgent() { return *boundary_; }
  BoundaryAgent const & boundaryAgent() const { return *boundary_; }
  BoundaryAgent & boundaries();
  // The one of bidirectional PIM.
  BidirAgent & bidir() { return *bidir_; }
  BidirAgent const & bidir() const { return *bidir_; }
  // What it has for the resolver.
  void boundaryFastdropStatusCollIs(Zet::Ptr<BoundaryFastdrop::StatusColl> const & v);

  // Prints what changes in the chips; null while nobody watches.
  Watch * watch() const { return watch_.get(); }
  void watchIs(bool v);

  // Tables of routes in shared memory
  void attach(std::string const & table);
  void detach(std::string const & table);
  std::vector<std::string> tables() const;
  // A directory of tables for this process and its publishers alone, removed at the end.
  void privateTables();
  PublisherProcess & publisherIs(std::string const & table);
  // Throws CommandError if none runs.
  PublisherProcess & publisher(std::string const & table);
  void publisherDel(std::string const & table);

  // The library
  MrouteTableColl const & routeTables() const { return *tables_; }
  MiraRoot const & root() const { return *agent_->mira(); }
  // The resolver of a VRF, started if need be. Throws CommandError if there is none.
  Mira & mira(L3::VrfName vrf);
  // Null where chips answer later.
  MrouteSm const * programmer(L3::VrfName vrf) const { return hardware_->mrouteSm(vrf); }
  PrefixMrouteSm const * prefixProgrammer() const { return hardware_->prefixMrouteSm(); }
  // Marks every route of every VRF for computation.
  void reviewAll();
  // Packets of a stream failed the reverse-path check, the kernel says.
  RpfFrames & rpfFrames();

 private:
  MiraRoot::Inputs inputs() const;
  Hardware::Inputs hardwareInputs();
  void startResolver();
  void startGroups();
  void setGate(MiraRoot & root) const;
  void runUntil(Zet::Seconds time, Zet::Seconds end);
  void handleVteps();
  void handleReplicationMode();
  void requirePolicy() const;
  void tellEnvironment() const;

  std::ostream & out_;
  Zet::Ptr<Zet::SimClock> const clock_;
  LogView log_;
  Settings settings_;
  bool finished_ = false;
  bool followsRealTime_ = false;
  Records records_;
  Zet::Ptr<Zet::Dir> const routingInfoDir_;
  Zet::Ptr<Zet::Dir> const mfibDir_;
  Zet::Ptr<Zet::Dir> const prefixMrouteStatusDir_;
  std::unique_ptr<Hardware> hardware_ = makeSyncHardware();
  Zet::Ptr<MrouteTableColl> tables_;
  Zet::Ptr<Agent> const agent_;
  Zet::Ptr<MiraHelper> helper_;
  Zet::Ptr<GroupClients> const groups_;
  Zet::Ptr<BoundaryAgent> const boundary_;
  std::unique_ptr<BidirAgent> const bidir_;
  Zet::Ptr<Watch> watch_;
  Policy policy_;
  std::string privateTables_;
  std::vector<std::unique_ptr<PublisherProcess>> publishers_;
  std::optional<RpfFrames> rpfFrames_;
};

}  // namespace Brindle::Sim
