#include "mira/PortVlanSetComputation.h"

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

// Room that is made for members of which it is not known how many come.
constexpr U32 kUsualMembers = 48;

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
  if (mroute->markedForDeletion()) {
    ZET_TRACE(5, key.pretty() << " marked for deletion.  Not recomputing.");
    return;
  }
  IntfId iif = mroute->shoalRoute().iif();
  if (isPrefixKey(key) && mroute->shoalRoute().isDefault()) {
    iif = miraRoot()->pimIntfStatus()->srcToIntfMap(PimIntf::PrefixKey{key.source(), vrfName()});
  }
  static IntfId const null0("Null0");
  if (iif && iif != null0) {
    Ip::IpIntfStatus const * status = miraRoot()->ipStatus()->ipIntfStatus().find(iif);
    L3::VrfName vrf = status ? status->vrf() : L3::VrfName();
    if (vrf != vrfName()) {
      ZET_TRACE(5, "iif=" << iif << ", Mroute vrf=" << vrfName() << ", vrf=" << vrf);
      lookAgain(*mroute);  // when the interface comes back
      return;
    }
  }
  bool changed = computePortVlanSetMroute(mroute, true);
  mrouteTable()->recomputationsInc(1);
  if (changed) return;
  mrouteTable()->noChangeRecomputationsInc(1);
  ZET_TRACE(7, "Recomputed " << key.pretty() << " with no change ("
                             << mrouteTable()->noChangeRecomputations() << " and "
                             << mrouteTable()->recomputations() << " total )");
}

bool Mira::computePortVlanSetMroute(Zet::Ptr<Mroute> const & mroute, bool allowOptimize) {
  return PortVlanSetComputation(*this, mroute).compute(allowOptimize);
}

// --- The computation

PortVlanSetComputation::PortVlanSetComputation(Mira & mira, Zet::Ptr<Mroute> const & mroute)
    : mira_(mira),
      root_(*mira.miraRoot()),
      mroute_(*mroute),
      key_(mroute->key()),
      table_(readTable()),
      isPrefixKey_(isPrefixKey(key_)),
      isConnectedPrefix_(isPrefixKey_ && !table_),
      for_{key_.kind(), ethAddrFromIpAddr(key_.group().address()), !key_.group().isHost()},
      groupHash_(for_.ethAddr.hash()),
      expansion_(root_, for_, pvSet_) {}

inline Status const * PortVlanSetComputation::readTable() {
  auto tables = mira_.mfibShoalDir();
  if (tables) return tables->mfibShoal(key_, srt_);
  srt_.keyIs(key_);
  return nullptr;
}

bool PortVlanSetComputation::compute(bool allowOptimize) {
  if (!isUsable()) {
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

// Brings the standing set up to date with what came and went in the record; turns optimize_ off
// where that cannot be done.
void PortVlanSetComputation::patchSet() {
  Route const & lastSeen = mroute_.lastSeenShoalRoute();
  Route const diffRoute = srt_ ^ lastSeen;
  Zet::OrderedSet<VlanIdOrNone> deleted;
  if (!takeOut(diffRoute & lastSeen, deleted)) {
    optimize_ = false;
    return;
  }
  iifVlan_ = mroute_.acceptingVlanId();
  iifIntf_ = mroute_.acceptingIntfId();
  noRpf_ = mroute_.noRpf();
  acceptSeen_ = static_cast<bool>(iifIntf_);
  PortVlanSet const & standing = mroute_.oifSet()->portVlanSet();
  pvSet_.reserve(standing.portVlans() + kUsualMembers);
  pvSet_ = standing;
  keepRest(deleted);
  addOutputs(diffRoute & srt_);
}

// Forgets the outputs that went; false if one of them was more than an output.
bool PortVlanSetComputation::takeOut(Route const & deletedRoute,
                                     Zet::OrderedSet<VlanIdOrNone> & deleted) {
  CachedMapRouteIntfIteratorConst i(deletedRoute, mroute_.oifIndexIntfIdCache(), table_);
  for (; i; i.advance()) {
    if (i.has(oifAccept)) return false;
    if (i.has(oifNotify) && !i.has(oifForward)) {
      mroute_.notifyingVlanIdIs(VlanIdOrNone());
      return false;
    }
    if (i.has(oifPersistentFastdrop)) {
      mroute_.staticFastdropVlanIdIs(VlanIdOrNone());
      return false;
    }
    if (i.has(oifFrr)) {
      mroute_.prevFrrIs(mroute_.frrVlanId());
      mroute_.frrVlanIdIs(VlanIdOrNone());
      return false;
    }
    IntfId intfId = i.intf();
    ZET_ASSERT(intfId, "intfId");
    deleted.insert(vlanOf(intfId));
    mroute_.oifIndexIntfIdCacheDel(i.index());
  }
  if (i.error()) ZET_TRACE(5, key_.pretty() << ": Iterator error ");
  return !i.error();
}

void PortVlanSetComputation::takeOutVlan(VlanIdOrNone vid) {
  U32 const members = pvSet_.vlanDel(vid);
  if (members) ZET_TRACE(9, "deleting vid: " << vid << " with " << members << " property: ");
}

// Takes the members of deleted VLANs out of the set, and from the filters the bits that only they
// had there. For one bit as many others are looked at as the filter has bits: that a route with
// more of them keeps a bit too many costs it a computation one day, and this sets it right.
void PortVlanSetComputation::keepRest(Zet::OrderedSet<VlanIdOrNone> const & deleted) {
  Filters gone;
  for (VlanIdOrNone vid : deleted.items()) {
    gone.vlan |= vlanBit(vid);
    gone.vlanGroup |= vlanGroupBit(vid, groupHash_);
    VlanPortBits const bits(vid);
    for (PortVlan const & pv : pvSet_.vlanMembers(vid)) gone.vlanPort |= bits.bit(pv.port);
    takeOutVlan(vid);
  }
  keepVlanPorts(pvSet_, gone);
  for (auto const & special : {mroute_.notifyOifSet(), mroute_.staticFastdropOifSet()}) {
    if (special) keepVlanPorts(special->portVlanSet(), gone);
  }
  keepVlans(gone);
  filters_ = mroute_.filters();
  filters_.vlan &= ~gone.vlan;
  filters_.vlanGroup &= ~gone.vlanGroup;
  filters_.vlanPort &= ~gone.vlanPort;
}

// Takes the bits that members of the set have out of those that are gone.
void PortVlanSetComputation::keepVlanPorts(PortVlanSet const & set, Filters & gone) const {
  U32 rest = 8 * sizeof gone.vlanPort;
  for (PortVlan const & pv : set.portVlan().items()) {
    if (!gone.vlanPort) return;
    gone.vlanPort &= rest-- ? ~vlanPortBit(pv.vlanId(), pv.port) : 0;
  }
}

// The same for the VLANs of the outputs that stay, and of the special entries, whose sets are not
// built anew.
void PortVlanSetComputation::keepVlans(Filters & gone) const {
  U32 rest = 8 * sizeof gone.vlanGroup;
  for (auto const & output : mroute_.oifIndexIntfIdCache().items()) {
    if (!gone.vlan && !gone.vlanGroup) return;
    VlanIdOrNone vid = vlanOf(output.value);
    gone.vlan &= rest ? ~vlanBit(vid) : 0;
    gone.vlanGroup &= rest-- ? ~vlanGroupBit(vid, groupHash_) : 0;
  }
  for (VlanIdOrNone vid :
       {mroute_.notifyingVlanId(), mroute_.staticFastdropVlanId(), mroute_.frrVlanId()}) {
    if (!vid) continue;
    gone.vlan &= ~vlanBit(vid);
    gone.vlanGroup &= ~vlanGroupBit(vid, groupHash_);
  }
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
  if ((output.has(oifForward) || output.has(oifAccept)) && !addMember(output)) return;
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
  if (!output.vid && !noRpf) return false;
  if (accept && acceptSeen_ && !output.has(oifForward)) {
    ZET_TRACE(5, "Ignoring accepting-only interface " << output.intf);
    mira_.ignoredAcceptingInc(1);
    return false;
  }
  if (accept && !acceptSeen_) {
    iifVlan_ = output.vid;
    iifIntf_ = output.intf;
    acceptSeen_ = true;
    if (noRpf) {
      noRpf_ = true;
      return false;
    }
  }
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

// A special route on a VLAN takes the place of a fastdrop there.
void PortVlanSetComputation::replaceFastdrop(VlanIdOrNone vid, char const * trace) {
  if (!vid || !mroute_.fastdrop(VlanId(vid))) return;
  ZET_TRACE(7, trace);
  mroute_.fastdropDel(VlanId(vid));
}

void PortVlanSetComputation::handleNotify(Output const & output) {
  if (!output.has(oifNotify) || output.has(oifForward) || notifySeen_ ||
      !srt_.notifyProgrammable()) {
    return;
  }
  ZET_TRACE(7, "Handle Notify Interface: " << output.intf
                                           << ", adding a notifying route: " << key_.pretty());
  mroute_.notifyingVlanIdIs(output.vid);
  VlanIdOrNone iifVlan = vlanOf(srt_.iif());
  PortVlanSet set =
      specialSet({.members = iifVlan, .input = output.vid, .chooser = iifVlan, .toCpu = true});
  mroute_.notifyOifSetIs(interned(set));
  if (output.vid) mroute_.fastdropDel(VlanId(output.vid));
  notifySeen_ = true;
}

void PortVlanSetComputation::handlePersistentFastdrop(Output const & output) {
  if (!output.has(oifPersistentFastdrop) || output.has(oifForward) || persistentFastdropSeen_) {
    return;
  }
  ZET_TRACE(7, "Handle persistent FastDrop interface: "
                   << output.intf << ", adding a persistent fastdrop routes: " << key_.pretty());
  mroute_.staticFastdropVlanIdIs(output.vid);
  VlanIdOrNone iifVlan = vlanOf(srt_.iif());
  PortVlanSet set = specialSet({.members = iifVlan,
                                .input = output.vid,
                                .chooser = iifVlan,
                                .toCpu = true,
                                .fastdropSet = true});
  replaceFastdrop(output.vid,
                  "We have fastdrop entry as well. Deleting it before programming static "
                  "fastdrop entry.");
  mroute_.staticFastdropOifSetIs(interned(set));
  persistentFastdropSeen_ = true;
}

void PortVlanSetComputation::handleFrr(Output const & output) {
  if (!output.has(oifFrr) || frrSeen_) return;
  IntfId intf = output.intf;
  char const * same = nullptr;
  if (intf == srt_.iif()) {
    same = " same as iif";
  } else if (intf == srt_.staticFastdropIntf()) {
    same = " same as static fast drop";
  } else if (intf == srt_.notify() && srt_.notifyProgrammable()) {
    same = " same as notify and notify programmable";
  }
  if (same) {
    ZET_TRACE(7, "Skipping Frr interface: " << intf << same);
    return;
  }
  ZET_TRACE(7, ", replacing frr route from " << mroute_.frrVlanId() << " to " << output.vid);
  if (mroute_.frrVlanId()) mroute_.prevFrrIs(mroute_.frrVlanId());
  mroute_.frrVlanIdIs(output.vid);
  ZET_TRACE(9, " setting iif and currentIif to: " << output.vid);
  frrPvSet_.vlanIs(output.vid.value());
  frrPvSet_.keyKindIs(Routing::Multicast::Fib::mroute_);
  frrPvSet_.fastdropSetIs(true);
  featureFlagIs(frrPvSet_);
  replaceFastdrop(output.vid,
                  "We have fastdrop entry as well. Deleting it before programming iff frr "
                  "fastdrop entry.");
  frrSeen_ = true;
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

// A fastdrop keeps what fails the reverse-path check away from the CPU: other than a notify or a
// persistent fastdrop entry it never asks for packets to go there.
void PortVlanSetComputation::refreshFastdrops() {
  for (auto i = mroute_.fastdrop().begin(); i; i.advance()) {
    VlanId vid = i.key();
    PortVlanSet set =
        specialSet({.members = vid, .input = vid, .chooser = iifVlan_, .fastdropSet = true});
    set.saveHash();
    if (!changed_) changed_ = !i->value || !i->value->doCmpPortVlanSet(set);
    mroute_.fastdropIs(vid, interned(set));
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

// The backup's set: what the route sends, but not back to either input.
void PortVlanSetComputation::finishFrr() {
  if (!frrSeen_) return;
  VlanIdOrNone input(frrPvSet_.vlan());
  bool single = input && fwdPortsInIif(root_, input, 2) == 1;
  for (PortVlan const & pv : pvSet_.portVlan().items()) {
    VlanIdOrNone vid = pv.vlanId();
    bool back = !pv.isOutLif() && (vid == iifVlan_ || (single && vid == input));
    if (!back) frrPvSet_.append(pv);
  }
  frrPvSet_.saveHash();
  ZET_TRACE(9, "(): FrrOifSet: " << frrPvSet_.pretty());
  auto const & current = mroute_.frrOifSet();
  if (current) ZET_TRACE(9, "(): current FrrOifSet: " << current->portVlanSet().pretty());
  if (current && current->doCmpPortVlanSet(frrPvSet_)) return;
  mroute_.frrOifSetIs(getOifSet(&root_, frrPvSet_));
  changed_ = true;
  ZET_TRACE(7, key_.pretty() << " frrOifSet changed");
}

inline void PortVlanSetComputation::storeSet() {
  if (!mroute_.oifSet() || !mroute_.oifSet()->doCmpPortVlanSet(pvSet_)) {
    mroute_.oifSetIs(getOifSet(&root_, pvSet_));
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
  if (auto const & boundary = mira_.miraBoundarySm()) boundary->doMakeWayFor(mroute_);
  mroute_.noRpfIs(noRpf_);
  clearMbrFastdrops();
}

void PortVlanSetComputation::clearFrrConflicts() {
  VlanIdOrNone frr = mroute_.frrVlanId();
  bool clearFrr = !frrSeen_ && !optimize_;
  char const * same = nullptr;
  if (!frr) {
    // nothing to conflict with
  } else if (frr == mroute_.acceptingVlanId()) {
    same = " same as iif";
  } else if (frr == mroute_.staticFastdropVlanId()) {
    same = " same as static fast drop";
  } else if (frr == mroute_.notifyingVlanId()) {
    same = " same as notifying";
  }
  if (same) {
    ZET_TRACE(7, "Ignoring Frr interface: " << srt_.iifFrr() << same);
    clearFrr = true;
  }
  SKEIN("frr: iif, iifFrr", srt_.iif(), srt_.iifFrr(), ", clearFrr: ", clearFrr);
  if (!clearFrr) return;
  mroute_.frrVlanIdIs(VlanIdOrNone());
  mroute_.frrOifSetIs(nullptr);
}

void PortVlanSetComputation::clearMbrFastdrops() {
  auto const & mbrVlan = mira_.mbrVlan();
  if (mbrVlan.empty() || mroute_.acceptingVlanId() ||
      mroute_.oifSet()->portVlanSet().portVlan().empty()) {
    return;
  }
  for (auto i = mroute_.fastdrop().begin(); i; i.advance()) {
    VlanId vid = i.key();
    if (!mbrVlan.contains(vid)) continue;
    mroute_.fastdropDel(vid);
    ZET_TRACE(7, "(): cleanup fastdrop for mbr intf " << vid);
  }
}

inline void PortVlanSetComputation::storeFilters() {
  mroute_.versionIs(Keel::nextGeneration(mroute_.version()));
  mroute_.lastSeenShoalRouteIs(srt_);
  mroute_.oifIndexIntfVersionIs(table_ ? table_->oifIndexIntfVersion() : 0);
  mira_.mrouteTable()->doUpdateVrfVlanFilter(filters_.vlan, filters_.vlan ^ mroute_.vlanFilter());
  mroute_.vlanFilterIs(filters_.vlan);
  mroute_.vlanPortFilterIs(filters_.vlanPort | expansion_.vlanPortFilter());
  mroute_.lagFilterIs(filters_.lag | expansion_.lagFilter());
  mroute_.vlanGroupFilterIs(filters_.vlanGroup);
  mroute_.fastdropDirtyIs(false);
  mroute_.dirtyIs(false);
}

// --- Tools

inline VlanIdOrNone PortVlanSetComputation::vlanOf(IntfId intf) const {
  return root_.intfVlanIdTable()->intfIdToVlanId(intf);
}

// The input VLAN as a set carries it: only where the chips want it.
VlanIdOrNone PortVlanSetComputation::inputVlanOf(VlanIdOrNone vid) const {
  return root_.status()->needIifInOifSet() ? vid : VlanIdOrNone();
}

// The platform's word comes last: it may depend on all else.
PortVlanSet PortVlanSetComputation::specialSet(Special const & what) {
  PortVlanSet set;
  set.vlanIs(inputVlanOf(what.input).value());
  set.keyKindIs(Routing::Multicast::Fib::mroute_);
  set.toCpuIs(what.toCpu);
  set.fastdropSetIs(what.fastdropSet);
  filters_.vlan |= vlanBit(what.members);  // an input without a VLAN may get one
  if (what.members) {
    Expansion expansion(root_, for_, set);
    expansion.addVlanToPortVlanSet(VlanId(what.members));
    expansion.doResolveAndAddLagsToPvSet(what.chooser, mira_.vrfName(), key_);
    set.settle();
    filters_.vlanGroup |= vlanGroupBit(what.members, groupHash_);
    filters_.vlanPort |= expansion.vlanPortFilter();
    filters_.lag |= expansion.lagFilter();
  }
  featureFlagIs(set);
  return set;
}

void PortVlanSetComputation::featureFlagIs(PortVlanSet & set) {
  auto const & helper = root_.miraHelper();
  if (!helper) return;
  RouteIntfIteratorConst outputs(srt_, table_);
  set.featureFlagIs(helper->doGetMiraFeatureFlag(mira_.vrfName(), key_, set, &outputs));
}

Zet::Ptr<OifSet> PortVlanSetComputation::interned(PortVlanSet & set) {
  set.saveHash();
  return getOifSet(&root_, set);
}

}  // namespace Brindle
