// Replication groups for other agents of the switch. A client writes in a directory of its own what
// a packet is to be replicated to, and is told the number under which the chips do so.
//
//   client writes a request      a route of kind mcastGroup_ in the default VRF's table
//   chips have confirmed         a response with `success` and the number
//   chips have refused           a response without; the retry may bring success later
//   client takes it away         the route is marked, the resolver deletes it, and when hardware
//                                has let go the response goes
//
// Where a client asks for a group in several tables, the last word counts as long as it stands.
// A number stays the same over all chips and reprogrammings. A client is trusted to ask for ports
// of one VLAN, or for logical interfaces only: a mixed request ends the process.
#pragma once

#include "groups/GroupRequests.h"
#include "mira/MiraHelper.h"
#include "model/MrouteTableColl.h"
#include "programmer/AsyncMrouteProgrammer.h"

namespace Brindle {

class BRINDLE_API McastGroupProgrammerSm final : public Zet::Sm {
 public:
  using GroupKey = Multicast::Group::GroupKey;
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  struct Inputs {
    Zet::Ptr<Zet::Dir const> configDir;  // of the clients' directories
    Zet::Ptr<Multicast::Group::Status> status;
    Zet::Ptr<MrouteTableColl> mrouteTable;
    Zet::Ptr<AsyncMrouteRootSm const> asyncMrouteRootSm;  // made before this machine
    // May be null: then LAGs stay as they are, and a route goes at once with its request.
    Zet::Ptr<MiraHelper> miraHelper;
  };
  explicit McastGroupProgrammerSm(Inputs const &);
  // Hears of nothing any more.
  void doStop();
  // Throws RangeException if it was made with others.
  void requireSameInputs(Inputs const &) const;

  Inputs const & inputs() const { return in_; }
  bool testKill() const { return testKill_; }
  void testKillIs(bool v) { testKill_ = v; }
  L2Status const * l2Status() const { return zetL2Status_.target(); }
  auto const & clientDir() const { return clientDir_; }

  // Takes up the programmer of the default VRF, and with it what waits; other VRFs are passed by.
  void handleAsyncMrouteSm(L3::VrfName vrf);
  void handleAsyncMrouteSm() { handleAsyncMrouteSm(L3::VrfName::defaultVrf()); }
  // The platform replicates in another manner: what that changes is programmed anew.
  void updateGroupReplicationMode();

  // A request has come, has been renewed, has gone
  void handleRequest(Multicast::Group::Request const &);
  void handleRequestId(Multicast::Group::Request const &);
  void handleRequestDel(GroupKey const &);

 private:
  struct ZetConfigDir final : Zet::Reactor<Zet::Dir const, McastGroupProgrammerSm> {
    using Reactor::Reactor;
    void onEntityPtr(Zet::Name const & name) override { sm()->handleClientDir(name); }
    void immediatePass() override { sm()->handleClientDirs(); }
  };
  struct ZetMrouteTable final : Zet::Reactor<MrouteTableColl const, McastGroupProgrammerSm> {
    using Reactor::Reactor;
    void onVrfMrouteTable(L3::VrfName const & vrf) override { sm()->handleAsyncMrouteSm(vrf); }
  };
  struct ZetL2Status final : Zet::Reactor<L2Status const, McastGroupProgrammerSm> {
    using Reactor::Reactor;
    void onMcastGroupStatus(Key const & key) override { sm()->handleMcastGroupStatus(key); }
    void immediatePass() override { sm()->handleMcastGroupStatuses(); }
  };
  struct ZetMcastGroupStatus final
      : Zet::KeyedReactor<Key, McastGroupStatus const, McastGroupProgrammerSm> {
    using KeyedReactor::KeyedReactor;
    void onResponseId() override { handleResponseId(); }
    void immediatePass() override { handleResponseId(); }
    void handleResponseId();
  };

  AsyncMrouteSm const * machine() const;
  // False if there is no programmer of the default VRF yet.
  bool doFollowL2Status();
  void handleClientDir(Zet::Name name);
  void handleClientDirs();
  void handleMcastGroupStatus(Key const &);
  void handleMcastGroupStatuses();
  MrouteTable * table() const;
  Mroute * route(GroupKey const &) const;
  Zet::Ptr<OifSet> oifSetOf(Multicast::Group::Request const &) const;
  Multicast::Group::Request const * standingRequest(GroupKey const &) const;
  template <class F> void forEachRequest(F f) const;

  Inputs const in_;
  bool testKill_ = false;

  Zet::ReactorPtr<ZetConfigDir> zetConfigDir_{this};
  Zet::ReactorPtr<ZetMrouteTable> zetMrouteTable_{this};
  Zet::ReactorPtr<ZetL2Status> zetL2Status_{this};
  Zet::ReactorMap<Zet::Name, ZetClientDir> clientDir_{this};
  Zet::ReactorMap<Key, ZetMcastGroupStatus> mcastGroupStatus_{this};
};

class BRINDLE_API McastGroupProgrammer final : public Zet::Entity {
 public:
  Zet::Ptr<McastGroupProgrammerSm> const & mcastGroupProgrammerSm() const { return sm_; }
  // Starts the service. Throws RangeException if it runs with other inputs.
  Zet::Ptr<McastGroupProgrammerSm> mcastGroupProgrammerSmIs(McastGroupProgrammerSm::Inputs const &);
  // Stops it. Groups and what is told of them stay as they stand.
  void mcastGroupProgrammerSmDel();

 private:
  Zet::Ptr<McastGroupProgrammerSm> sm_;
};

}  // namespace Brindle
