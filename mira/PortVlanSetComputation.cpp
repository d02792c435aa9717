#include "mira/PortVlanSetComputation.h"

#include "mira/MiraBoundarySm.h"
#include "mira/MiraHelper.h"
#include "mira/MiraRoot.h"
#include "model/Filters.h"
#include "platform/Assert.h"
#include "platform/Budget.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::IntfId;
using namespace Routing::Multicast::Fib;
using namespace Shoal::Multicast::Fib;

namespace {

Zet::TraceHandle traceHandle("PortVlanSetComputation", false);

Nettle::IpGenPrefix const kAllIpv4Groups("224.0.0.0/4");

// What a key of a connected prefix looks like; such a key may stand in a table, too.
bool isPrefixKey(IpGenRouteKey const & key) {
  return key.kind() == mroute_ && key.group() == kAllIpv4Groups;
}

// Of a route that is left as it is for now: each pass that looks for anything looks at it, too, and
// it is then computed in full, since nothing tells what it has missed.
void lookAgain(Mroute & mroute) {
  mroute.dirtyIs(true);
  mroute.heldIs(true);
  mroute.lastSeenShoalRouteIs(Route(mroute.key()));
}

// What a computation from the record builds on; of a route that does not stand, its best record.
Zet::Ptr<Mroute> copyOf(Mira const & mira, IpGenRouteKey const & key) {
  auto const copy = Zet::make<Mroute>(key);
  Mroute const * const route = mira.mrouteTable()->mroute(key);
  if (!route) {
    Route best(key);
    if (auto const * const tables = mira.mfibShoalDir()) tables->mfibShoal(key, best);
    copy->shoalRouteIs(best);
    return copy;
  }
  copy->shoalRouteIs(route->shoalRoute());
  copy->markedForDeletionIs(route->markedForDeletion());
  copy->acceptingVlanIdIs(route->acceptingVlanId());
  copy->acceptingIntfIdIs(route->acceptingIntfId());
  copy->noRpfIs(route->noRpf());
  copy->oifSetIs(route->oifSet());
  copy->notifyingVlanIdIs(route->notifyingVlanId());
  copy->notifyOifSetIs(route->notifyOifSet());
  copy->staticFastdropVlanIdIs(route->staticFastdropVlanId());
  copy->staticFastdropOifSetIs(route->staticFastdropOifSet());
  copy->frrVlanIdIs(route->frrVlanId());
  copy->frrOifSetIs(route->frrOifSet());
  for (auto const & one : route->fastdrop().items()) copy->fastdropIs(one.key, one.value);
  for (auto const & one : route->rpfFailureCount().items()) {
    copy->rpfFailureCountIs(one.key, one.value);
  }
  return copy;
}

// The VLAN of a member of a logical interface cannot be told from it.
bool holdsOutLif(PortVlanSet const & set) {
  // Sets are sorted by OutLif, and logical interfaces are the greatest.
  auto const & members = set.portVlan().items();
  return !members.empty() && members[members.size() - 1].isOutLif();
}

}  // namespace

Zet::Ptr<OifSet> getOifSet(Zet::Ptr<MiraRoot const> const & root, PortVlanSet & set) {
  return root->mrouteTableColl()->oifSetIs(set);
}

// --- Mira: the way in

void Mira::doRefreshPortVlanSet(Zet::Ptr<Mroute> const & mroute) {
  IpGenRouteKey const & key = mroute->key();
  ZET_ASSERT(key.kind() == Routing::Multicast::Fib::mroute_,
             "mroute->key().kind() == Routing::Multicast::Fib::mroute_");
  RouteVerdict const verdict = computable(*mroute);
  if (verdict == RouteVerdict::inputInOtherVrf)
    lookAgain(*mroute);  // when the interface comes back
  if (verdict != RouteVerdict::computed) return;
  bool changed = computePortVlanSetMroute(mroute, true);
  mrouteTable()->recomputationsInc(1);
  if (changed) return;
  mrouteTable()->noChangeRecomputationsInc(1);
  ZET_TRACE(7, "Recomputed " << key.pretty() << " with no change ("
                             << mrouteTable()->noChangeRecomputations() << " and "
                             << mrouteTable()->recomputations() << " total )");
}

RouteVerdict Mira::computable(Mroute const & mroute) const {
  IpGenRouteKey const & key = mroute.key();
  if (mroute.markedForDeletion()) {
    ZET_TRACE(5, key.pretty() << " marked for deletion.  Not recomputing.");
    return RouteVerdict::markedForDeletion;
  }
  IntfId iif = mroute.shoalRoute().iif();
  if (isPrefixKey(key) && mroute.shoalRoute().isDefault()) {
    iif = miraRoot()->pimIntfStatus()->srcToIntfMap(PimIntf::PrefixKey{key.source(), vrfName()});
  }
  static IntfId const null0("Null0");
  if (!iif || iif == null0) return RouteVerdict::computed;
  Ip::IpIntfStatus const * status = miraRoot()->ipStatus()->ipIntfStatus().find(iif);
  L3::VrfName vrf = status ? status->vrf() : L3::VrfName();
  if (vrf == vrfName()) return RouteVerdict::computed;
  ZET_TRACE(5, "iif=" << iif << ", Mroute vrf=" << vrfName() << ", vrf=" << vrf);
  return RouteVerdict::inputInOtherVrf;
}

bool Mira::computePortVlanSetMroute(Zet::Ptr<Mroute> const & mroute, bool allowOptimize) {
  return PortVlanSetComputation(*this, mroute).compute(allowOptimize);
}

Zet::Ptr<Mroute const> Mira::explain(IpGenRouteKey const & key, Explanation & explanation) {
  Zet::Ptr<Mroute> const copy = copyOf(*this, key);
  explanation.verdictIs(computable(*copy));
  if (explanation.verdict() == RouteVerdict::computed) {
    PortVlanSetComputation(*this, copy, &explanation).compute(false);
  }
  return copy;
}

// --- The computation

PortVlanSetComputation::PortVlanSetComputation(Mira & mira, Zet::Ptr<Mroute> const & mroute,
                                               Explanation * explanation)
    : mira_(mira),
      root_(*mira.miraRoot()),
      mroute_(*mroute),
      key_(mroute->key()),
      table_(readTable()),
      isPrefixKey_(isPrefixKey(key_)),
      isConnectedPrefix_(isPrefixKey_ && !table_),
      for_{key_.kind(), ethAddrFromIpAddr(key_.group().address()), !key_.group().isHost()},
      groupHash_(for_.ethAddr.hash()),
      explanation_(explanation),
      expansion_(root_, for_, pvSet_, explanation) {}

inline Status const * PortVlanSetComputation::readTable() {
  auto tables = mira_.mfibShoalDir();
  if (tables) return tables->mfibShoal(key_, srt_);
  srt_.keyIs(key_);
  return nullptr;
}

bool PortVlanSetComputation::compute(bool allowOptimize) {
  if (!isUsable()) {
    explain(RouteVerdict::backupWithoutInput);
    lookAgain(mroute_);
    return false;
  }
  changed_ = mroute_.fastdropDirty();
  choosePath(allowOptimize);
  if (optimize_) patchSet();
  if (!optimize_) startAfresh();
  if (failed_) return changed_;

  expansion_.doResolveAndAddLagsToPvSet(iifVlan_, mira_.vrfName(), key_);
  pvSet_.settle();
  traceMembers();
  if (mroute_.acceptingVlanId() && !iifVlan_) {
    ZET_TRACE(5, "Losing accepting vlan id " << mroute_.acceptingVlanId() << " => " << iifVlan_
                                             << ".  Clear fastdrops.");
    mroute_.doClearFastdrop();
  }
  addNat();
  refreshFastdrops();
  finishSet();
  finishFrr();
  storeSet();
  storeInputs();
  storeFilters();
  return changed_;
}

// --- The path. Most of the steps have one caller each: inline.

// A fast-reroute input without a primary one is not installed.
inline bool PortVlanSetComputation::isUsable() {
  if (isConnectedPrefix_) {
    srt_.iifIs(
        root_.pimIntfStatus()->srcToIntfMap(PimIntf::PrefixKey{key_.source(), mira_.vrfName()}));
    srt_.flagsIs(Route::toCpu);
  }
  if (!vlanOf(srt_.iifFrr()) || vlanOf(srt_.iif())) return true;
  SKEIN(", skip processing, iif/iifFrr ", key_, srt_.iif(), srt_.iifFrr());
  return false;
}

inline void PortVlanSetComputation::choosePath(bool allowOptimize) {
  mroute_.optimizeStatusIs(mira_.optimizeComputePortVlanSet());
  if (!srt_.isDefault() && hasSilentMappingChange()) {
    ZET_TRACE(5, "(): Detected silent mapping change " << key_.pretty());
    mroute_.optimizeStatusIs(false);
  }
  Route const & lastSeen = mroute_.lastSeenShoalRoute();
  // Outside a review, marks lie in the table still.
  bool const l2Dirty = mira_.dirtyInfo()->mrouteL2Dirty(mroute_) ||
                       mira_.mrouteTable()->dirtyInfo()->mrouteL2Dirty(mroute_);
  // Whether traffic of any interface is accepted, and whether inputs get notify entries, concerns
  // interfaces that stay.
  if (lastSeen.rpaId() != srt_.rpaId() ||
      lastSeen.notifyProgrammable() != srt_.notifyProgrammable()) {
    mroute_.optimizeStatusIs(false);
  }
  if (lastSeen.isDefault() || lastSeen == srt_ || l2Dirty || mroute_.lagFilter() != 0 ||
      mira_.vxlanIntfDirty()) {
    ZET_TRACE(9, "(): Layer 2 likely dirty");
    mroute_.optimizeStatusIs(false);
  }
  // The accepting interface of a connected prefix stands in no bitmap, and members of a logical
  // interface do not tell their VLAN: neither can be patched.
  optimize_ = mroute_.optimizeStatus() && allowOptimize && !isConnectedPrefix_ &&
              mroute_.oifSet() && !holdsOutLif(mroute_.oifSet()->portVlanSet());
}

// An index that both records hold may have come to stand for another interface, or for none; and
// those of another table stand for other interfaces anyhow. The indices of the last record are
// those of the cache.
bool PortVlanSetComputation::hasSilentMappingChange() const {
  if (!table_ || mroute_.lastSeenShoalRoute().isDefault()) return false;
  U32 const version = table_->oifIndexIntfVersion(), seenVersion = mroute_.oifIndexIntfVersion();
  if (version == seenVersion) return false;
  if (!Status::ofOneTable(version, seenVersion)) return true;
  for (auto const & seen : mroute_.oifIndexIntfIdCache().items()) {
    if (!srt_.oif(seen.key)) continue;
    OifIndexIntf const now = table_->oifIndexIntf(seen.key);
    if (now == OifIndexIntf() || now.intf != seen.value) return true;
  }
  return false;
}

inline void PortVlanSetComputation::startAfresh() {
  ZET_TRACE(9, "Turning optimize off");
  iifIntf_ = IntfId();
  iifVlan_ = VlanIdOrNone();
  noRpf_ = acceptSeen_ = false;
  filters_ = {};
  pvSet_.clear();
  pvSet_.reserve(mroute_.oifSet() ? mroute_.oifSet()->portVlanSet().portVlans() : kUsualMembers);
  mroute_.oifIndexIntfIdCacheDelAll(srt_.oifs().count());
  if (isConnectedPrefix_) {
    iifIntf_ = srt_.iif();
    iifVlan_ = vlanOf(iifIntf_);
    filters_.vlan |= vlanBit(iifVlan_);
  }
  if (table_) addOutputs(srt_);
}

// --- One output

// False if the table changed under the walk.
bool PortVlanSetComputation::addOutputs(Route const & outputs) {
  RouteIntfIteratorConst i(outputs, table_);
  for (; i; i.advance()) {
    IntfId intf = i.intf();
    mroute_.oifIndexIntfIdCacheIs(i.index(), intf);
    addOutput({i.index(), intf, vlanOf(intf), i.properties()});
  }
  if (!i.error()) return true;
  ZET_TRACE(5, "Iterator error inside add loop");
  explain(RouteVerdict::outputUnknown);
  lookAgain(mroute_);
  failed_ = true;
  return false;
}

inline void PortVlanSetComputation::addOutput(Output const & output) {
  bool noRpf = output.has(oifNoRpf);
  filters_.vlan |= vlanBit(output.vid);
  if (!output.vid || !output.intf) {
    SKEIN(" (): Unexpected ", key_, output.intf, " mapped to vid ", output.vid);
  }
  if (!output.has(oifForward | oifAccept)) {
    explain(output, output.vid ? OutputVerdict::notSent : OutputVerdict::noVlan);
  } else if (!addMember(output)) {
    return;
  }
  if (!output.vid && !noRpf) return;
  forgetFastdrop(output);
  if (!output.has(oifNotify | oifPersistentFastdrop | oifFrr)) return;
  handleNotify(output);
  handlePersistentFastdrop(output);
  handleFrr(output);
}

// The part of an output that belongs to the main set; false if the interface is done with.
inline bool PortVlanSetComputation::addMember(Output const & output) {
  bool accept = output.has(oifAccept);
  bool noRpf = output.has(oifNoRpf);
  if (!output.vid && !noRpf) {
    explain(output, OutputVerdict::noVlan);
    return false;
  }
  if (accept && acceptSeen_ && !output.has(oifForward)) {
    ZET_TRACE(5, "Ignoring accepting-only interface " << output.intf);
    explain(output, OutputVerdict::inputExists);
    if (!explanation_) mira_.ignoredAcceptingInc(1);
    return false;
  }
  bool const isInput = accept && !acceptSeen_;
  if (isInput) {
    iifVlan_ = output.vid;
    iifIntf_ = output.intf;
    acceptSeen_ = true;
    if (noRpf) {
      noRpf_ = true;
      explain(output, OutputVerdict::inputOnly, isInput);
      return false;
    }
  }
  explain(output, output.vid ? OutputVerdict::expanded : OutputVerdict::noVlan, isInput);
  filters_.vlanGroup |= vlanGroupBit(output.vid, groupHash_);
  if (output.vid) addMemberVlan(VlanId(output.vid));
  return true;
}

// A VLAN with one port cannot both receive and send.
inline void PortVlanSetComputation::addMemberVlan(VlanId vid) {
  if (vid != iifVlan_ || fwdPortsInIif(root_, vid, 2) != 1) {
    expansion_.addVlanToPortVlanSet(vid);
    return;
  }
  ZET_TRACE(9, " IIF " << vid << " with single fwdPort"
                       << " Not adding to oifset");
  ZET_TRACE(9, "removing IIF vid: " << vid << " from pvSet");
  takeOutVlan(vid);
  expansion_.explainWithout(vid, VlanVerdict::soleInputPort, PortVerdict::soleInputPort);
}

// No drop is wanted where the route receives, and a bidirectional route receives everywhere.
inline void PortVlanSetComputation::forgetFastdrop(Output const & output) {
  if (!output.vid || (mroute_.fastdrop().empty() && mroute_.rpfFailureCount().empty())) return;
  bool failover = output.has(oifForward) && root_.sparseModeStatus() &&
                  root_.sparseModeStatus()->fastFailoverIntf(output.intf);
  bool receives = (output.has(oifAccept) || output.has(oifNotify)) && !failover;
  if (!receives && srt_.rpaId() == 0) return;
  mroute_.fastdropDel(VlanId(output.vid));
  mroute_.rpfFailureCountDel(VlanId(output.vid));
}

// --- The finish

void PortVlanSetComputation::traceMembers() const {
  ZET_TRACE(9, "key (" << key_.pretty() << " ): done computing pvset");
  if (!traceHandle.enabled(9)) return;
  for (PortVlan const & pv : pvSet_.portVlan().items()) {
    ZET_TRACE(9, "found port: " << pv.port << " and vlan: " << pv.vlanId());
  }
}

void PortVlanSetComputation::addNat() {
  pvSet_.natVlanDelAll();
  auto const & nat = root_.staticNatInfo();
  auto const * info = nat ? nat->ipInfo().find(key_.group().address()) : nullptr;
  if (!info || info->vlan.empty()) return;
  ZET_TRACE(7, "Static Nat Ip " << key_.group().address());
  for (PortVlan const & pv : pvSet_.portVlan().items()) {
    VlanIdOrNone vid = pv.vlanId();
    if (!vid || vid == iifVlan_ || !info->vlan.contains(VlanId(vid))) continue;
    ZET_TRACE(7, "nat vlan " << vid);
    pvSet_.natVlanIs(VlanId(vid), true);
  }
}

inline void PortVlanSetComputation::finishSet() {
  pvSet_.toCpuIs(isPrefixKey_ || (srt_.flags() & Route::toCpu));
  pvSet_.keyKindIs(Routing::Multicast::Fib::mroute_);
  pvSet_.vlanIs(inputVlanOf(iifVlan_).value());
  if (isPrefixKey_ || table_) featureFlagIs(pvSet_);
  pvSet_.saveHash();
  ZET_TRACE(9, "(): pvSet " << pvSet_.pretty());
}

inline void PortVlanSetComputation::storeSet() {
  if (!mroute_.oifSet() || !mroute_.oifSet()->doCmpPortVlanSet(pvSet_)) {
    mroute_.oifSetIs(interned(pvSet_));
    changed_ = true;
    ZET_TRACE(7, key_.pretty() << " mroute changed");
  }
  if (mroute_.fastdropDirty()) ZET_TRACE(7, key_.pretty() << " fastdropDirty changed");
}

inline void PortVlanSetComputation::storeInputs() {
  mroute_.acceptingVlanIdIs(iifVlan_);
  mroute_.acceptingIntfIdIs(iifIntf_);
  if (!notifySeen_ && !optimize_) {
    mroute_.notifyingVlanIdIs(VlanIdOrNone());
    mroute_.notifyOifSetIs(nullptr);
  }
  if (!persistentFastdropSeen_ && !optimize_) {
    mroute_.staticFastdropVlanIdIs(VlanIdOrNone());
    mroute_.staticFastdropOifSetIs(nullptr);
  }
  clearFrrConflicts();
  auto const & boundary = mira_.miraBoundarySm();
  if (boundary && !explanation_) boundary->doMakeWayFor(mroute_);
  mroute_.noRpfIs(noRpf_);
  clearMbrFastdrops();
}

inline void PortVlanSetComputation::storeFilters() {
  mroute_.versionIs(Keel::nextGeneration(mroute_.version()));
  mroute_.lastSeenShoalRouteIs(srt_);
  mroute_.oifIndexIntfVersionIs(table_ ? table_->oifIndexIntfVersion() : 0);
  if (!explanation_) {
    mira_.mrouteTable()->doUpdateVrfVlanFilter(filters_.vlan, filters_.vlan ^ mroute_.vlanFilter());
  }
  mroute_.vlanFilterIs(filters_.vlan);
  mroute_.vlanPortFilterIs(filters_.vlanPort | expansion_.vlanPortFilter());
  mroute_.lagFilterIs(filters_.lag | expansion_.lagFilter());
  mroute_.vlanGroupFilterIs(filters_.vlanGroup);
  mroute_.fastdropDirtyIs(false);
  mroute_.dirtyIs(false);
}

// --- Tools

// The input VLAN as a set carries it: only where the chips want it.
VlanIdOrNone PortVlanSetComputation::inputVlanOf(VlanIdOrNone vid) const {
  return root_.status()->needIifInOifSet() ? vid : VlanIdOrNone();
}

void PortVlanSetComputation::featureFlagIs(PortVlanSet & set) {
  auto const & helper = root_.miraHelper();
  if (!helper) return;
  RouteIntfIteratorConst outputs(srt_, table_);
  set.featureFlagIs(helper->doGetMiraFeatureFlag(mira_.vrfName(), key_, set, &outputs));
}

Zet::Ptr<OifSet> PortVlanSetComputation::interned(PortVlanSet & set) {
  if (explanation_) return Zet::make<OifSet>(nullptr, set);
  return getOifSet(&root_, set);
}

void PortVlanSetComputation::tell(Output const & output, OutputVerdict verdict, bool isInput) {
  explanation_->outputIs({output.intf, output.vid, output.properties, verdict, isInput});
}

}  // namespace Brindle
