// What a route means: from the published record and the state of the switch to the accepting VLAN,
// the output set, the special routes and the filters by which later changes find it again.
#pragma once
#include "mira/Expansion.h"
#include "mira/MiraRoot.h"
#include "model/Mroute.h"
#include "model/OifSet.h"
#include "state/ShoalFib.h"

namespace Brindle {

// The interned set of this content, made if it is new.
BRINDLE_API Zet::Ptr<OifSet> getOifSet(Zet::Ptr<MiraRoot const> const & root, PortVlanSet & set);

// One computation of one route; lives for the call. The full path builds the set from all outputs
// of the record; the incremental path patches the standing set with the outputs that came and went
// since the last computation, so that a change of one output of a thousand costs one. Both feed the
// same loop over outputs and the same finish.
class PortVlanSetComputation {
 public:
  // With an `explanation` the route is a copy that stands in no table: beside it and the
  // explanation nothing changes then.
  PortVlanSetComputation(Mira & mira, Zet::Ptr<Mroute> const & mroute,
                         Explanation * explanation = nullptr);

  // True if the route's programming changed. The route's version rises at every finished
  // computation. A record that cannot be used now leaves the route as it is. REQUIRES: a route that
  // is explained is not optimized.
  bool compute(bool allowOptimize);

 private:
  // Room that is made for members of which it is not known how many come.
  static constexpr U32 kUsualMembers = 48;

  using Route = Shoal::Multicast::Fib::Route;
  using OifIndex = Shoal::Multicast::Fib::OifIndex;
  struct Output {
    OifIndex index;
    Nettle::IntfId intf;
    Bridging::VlanIdOrNone vid;
    U32 properties;
    bool has(U32 property) const { return properties & property; }
  };

  // A special entry: it sends what comes in on one VLAN to the members of one VLAN.
  struct Special {
    Bridging::VlanIdOrNone members;
    Bridging::VlanIdOrNone input;
    Bridging::VlanIdOrNone chooser;  // goes into the choice of designated LAG members
    bool toCpu = false;
    bool fastdropSet = false;
  };

  Shoal::Multicast::Fib::Status const * readTable();

  // The path
  bool isUsable();
  void choosePath(bool allowOptimize);
  bool hasSilentMappingChange() const;
  void patchSet();
  bool takeOut(Route const & deletedRoute, Zet::OrderedSet<Bridging::VlanIdOrNone> & deleted);
  void takeOutVlan(Bridging::VlanIdOrNone vid);
  void keepRest(Zet::OrderedSet<Bridging::VlanIdOrNone> const & deleted);
  void keepVlanPorts(PortVlanSet const & set, Filters & gone) const;
  void keepVlans(Filters & gone) const;
  void startAfresh();

  // One output
  bool addOutputs(Route const & outputs);
  void addOutput(Output const & output);
  bool addMember(Output const & output);
  void addMemberVlan(Bridging::VlanId vid);
  void forgetFastdrop(Output const & output);
  void replaceFastdrop(Bridging::VlanIdOrNone vid, char const * trace);
  void handleNotify(Output const & output);
  void handlePersistentFastdrop(Output const & output);
  void handleFrr(Output const & output);

  // The finish
  void traceMembers() const;
  void addNat();
  void refreshFastdrops();
  void finishSet();
  void finishFrr();
  void storeSet();
  void storeInputs();
  void clearFrrConflicts();
  void clearMbrFastdrops();
  void storeFilters();

  // Tools
  Bridging::VlanIdOrNone vlanOf(Nettle::IntfId intf) const {
    return root_.intfVlanIdTable()->intfIdToVlanId(intf);
  }
  Bridging::VlanIdOrNone inputVlanOf(Bridging::VlanIdOrNone vid) const;
  PortVlanSet specialSet(Special const & what);
  void featureFlagIs(PortVlanSet & set);
  // REQUIRES: the hash of the set is saved.
  Zet::Ptr<OifSet> interned(PortVlanSet & set);

  // For who wants to know
  void explain(RouteVerdict verdict) {
    if (explanation_) [[unlikely]]
      explanation_->verdictIs(verdict);
  }
  void explain(Output const & output, OutputVerdict verdict, bool isInput = false) {
    if (explanation_) [[unlikely]]
      tell(output, verdict, isInput);
  }
  void explain(SpecialKind kind, Nettle::IntfId intf, Bridging::VlanIdOrNone vlan,
               SpecialVerdict verdict) {
    if (explanation_) [[unlikely]]
      explanation_->specialIs({kind, intf, vlan, verdict});
  }
  void tell(Output const & output, OutputVerdict verdict, bool isInput);

  Mira & mira_;
  MiraRoot const & root_;
  Mroute & mroute_;
  Routing::Multicast::Fib::IpGenRouteKey const & key_;
  Route srt_;
  Shoal::Multicast::Fib::Status const * const table_;  // the best that holds the route, or null
  bool const isPrefixKey_;                             // the group is all of IPv4 multicast
  bool const isConnectedPrefix_;  // of these, one that the resolver made itself

  PortVlanSet pvSet_;
  PortVlanSet frrPvSet_;
  Expansion::For const for_;
  U32 const groupHash_;
  Explanation * const explanation_;
  Expansion expansion_;
  Bridging::VlanIdOrNone iifVlan_;
  Nettle::IntfId iifIntf_;
  Filters filters_;  // but for those of the main set's expansion, which keeps its own
  bool optimize_ = false;
  bool changed_ = false;
  bool failed_ = false;  // the table changed under a walk; the route stays dirty
  bool noRpf_ = false;
  bool acceptSeen_ = false;
  bool notifySeen_ = false;
  bool persistentFastdropSeen_ = false;
  bool frrSeen_ = false;
};

}  // namespace Brindle
