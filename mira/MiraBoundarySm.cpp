// Life, records and marks of the drops at boundaries, and how a drop comes and goes.
#include "mira/MiraBoundarySm.h"

#include "mira/Expansion.h"
#include "mira/MiraRoot.h"
#include "mira/PortVlanSetComputation.h"
#include "platform/Assert.h"
#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::IntfId;
using Nettle::IpGenAddr;
using Nettle::IpGenPrefix;

namespace {

Zet::TraceHandle traceHandle("MiraBoundarySm", false);

IpGenAddr const kAnySource(0u);

}  // namespace

// --- Lifecycle

MiraBoundarySm::MiraBoundarySm(Mira * mira,
                               Zet::Ptr<BoundaryFastdrop::Status> const & fastdropStatus)
    : mira_(mira),
      mrouteTable_(mira->mrouteTable()) {
  zetClock_.attach(mira->clock());
  fastdropPollClock_.attach(mira->clock());
  // Records are looked at when the VLANs of their interfaces are known.
  zetIntfVlanIdTable_.attach(mira->intfVlanIdTable());
  handleInitialized();
  zetDirtyChangeSet_.attach(mira->dirtyChangeSet());
  zetFastdropStatus_.attach(fastdropStatus);
}

void MiraBoundarySm::handleInitialized() {
  if (initialized_) return;
  reviewTimer_ = Zet::make<Keel::ReviewTimer>(zetClock_.get(), 1.0f, 4u, 0.1f, 0.5f);
  fastdropPollReviewTimer_ =
      Zet::make<Keel::ReviewTimer>(fastdropPollClock_.get(), 1.0f, 4u, 0.1f, 1.0f);
  dirtyInfo_ = Zet::make<DirtyInfo>();
  initialized_ = true;
  doUpdateFastdropPollClock(fastdropPollingInterval_);
}

void MiraBoundarySm::fastdropStatusIs(Zet::Ptr<BoundaryFastdrop::Status> const & v) {
  if (fastdropStatus() == v.get()) return;
  SKEIN("MiraBoundarySm::fastdropStatusIs ", mira_->vrfName(), " stands: ", static_cast<bool>(v));
  Zet::Ptr<MiraBoundarySm> const self(this);
  zetFastdropStatus_.attach(nullptr);
  table().boundaryMrouteDelAll();
  zetFastdropStatus_.attach(v);
}

// --- Records

void MiraBoundarySm::handleFastdrop() {
  auto const * status = fastdropStatus();
  Zet::replay(status ? &status->fastdrop() : nullptr, boundaryFastdrop_, [this](IntfId intf) {
    // What was learned before this machine was made waits for a VLAN where its interface lost it.
    bool const known = boundaryFastdrop_.contains(intf) || lastVlan_.contains(intf);
    known ? handleFastdrop(intf) : handleIntfVlanIdTable(intf);
  });
}

void MiraBoundarySm::handleFastdrop(IntfId intf) {
  if (Fastdrop * const fastdrop = fastdropStatus() ? fastdropStatus()->fastdrop(intf) : nullptr) {
    boundaryFastdropIs(fastdrop);
  } else {
    boundaryFastdropDel(intf);
  }
}

void MiraBoundarySm::boundaryFastdropIs(Zet::Ptr<Fastdrop> const & v) {
  if (!v) Zet::throwNullParameter("Brindle::MiraBoundarySm::boundaryFastdrop");
  auto const * const standing = boundaryFastdrop_.find(v->key());
  if (standing && standing->target() != v.get()) boundaryFastdropDel(v->key());
  boundaryFastdrop_.attach(v->key(), v);
}

void MiraBoundarySm::boundaryFastdropDel(IntfId intf) {
  Zet::Ptr<ZetBoundaryFastdrop> const gone(boundaryFastdrop_.find(intf));
  if (!gone) return;
  gone->groupDelAll();
  boundaryFastdrop_.del(intf);
}

void MiraBoundarySm::ZetBoundaryFastdrop::immediatePass() {
  Zet::replay(target() ? &target()->group() : nullptr, group_,
              [this](IpGenAddr const & group) { handleBoundaryGroup(group); });
}

void MiraBoundarySm::ZetBoundaryFastdrop::zetDoZombieReactors(bool v) {
  KeyedReactor::zetDoZombieReactors(v);
  for (auto i = group_.begin(); i; i.advance()) i->zetDoZombieReactors(v);
}

void MiraBoundarySm::ZetBoundaryFastdrop::handleBoundaryGroup(IpGenAddr const & groupOfMember) {
  IpGenAddr const group = groupOfMember;
  Zet::Ptr<GroupInfo> const info(target() ? target()->group(group) : nullptr);
  if (info) {
    groupIs(info);
  } else {
    groupDel(group);
  }
  auto const * const status = sm()->fastdropStatus();
  if (!status || !status->hwMulticastStarGSupported()) {
    ZET_TRACE(8, "starG not supported, wait for source to process fastdrop");
  } else if (info) {
    sm()->doRefreshBoundaryFastdrop(kAnySource, group, sm()->vlanOf(key()));
  } else {
    sm()->doDelBoundaryFastdrop(kAnySource, group, sm()->vlanOf(key()));
  }
}

void MiraBoundarySm::ZetBoundaryFastdrop::groupIs(Zet::Ptr<GroupInfo> const & info) {
  Zet::Ptr<ZetGroup> zetGroup(group_.find(info->key()));
  if (zetGroup && zetGroup->target() != info.get()) {
    groupDel(info->key());
    zetGroup = nullptr;
  }
  if (!zetGroup) {
    zetGroup = Zet::make<ZetGroup>(sm(), info->key(), key());
    group_.insert(zetGroup);
  }
  zetGroup->notifierIs(info.get());
}

// Its sources have gone before it, as a rule.
void MiraBoundarySm::ZetBoundaryFastdrop::groupDel(IpGenAddr const & group) {
  Zet::Ptr<ZetGroup> const gone(group_.find(group));
  if (!gone) return;
  Zet::Ptr<GroupInfo> const info(gone->target());
  group_.del(group);
  gone->detach();
  if (!info) return;
  for (auto i = info->source().begin(); i; i.advance()) {
    sm()->doDelBoundaryFastdrop(i.key(), group, sm()->vlanOf(key()));
  }
}

void MiraBoundarySm::ZetBoundaryFastdrop::groupDelAll() {
  for (auto i = group_.begin(); i; i.advance()) groupDel(IpGenAddr(i.key()));
}

void MiraBoundarySm::ZetGroup::immediatePass() {
  if (!target()) return;
  for (auto i = target()->source().begin(); i; i.advance()) handleBoundarySource(i.key());
}

void MiraBoundarySm::ZetGroup::handleBoundarySource(IpGenAddr const & sourceOfMember) {
  IpGenAddr const source = sourceOfMember;
  auto const * const status = sm()->fastdropStatus();
  if (status && status->hwMulticastStarGSupported()) {
    ZET_TRACE(8, "starG supported, not processing sg fastdrop");
    return;
  }
  VlanId const vlan = sm()->vlanOf(intf_);
  if (target() && target()->source(source)) {
    sm()->doRefreshBoundaryFastdrop(source, key(), vlan);
  } else {
    sm()->doDelBoundaryFastdrop(source, key(), vlan);
  }
}

bool MiraBoundarySm::isAddrInTrie(IpGenAddr const & addr, IntfId intf) const {
  char const * why = nullptr;
  auto const * const status = fastdropStatus();
  auto const * const fastdrop = status ? status->fastdrop(intf) : nullptr;
  if (!initialized_) {
    why = ", not initialized yet";
  } else if (!status) {
    why = ", fastdropStatus is null";
  } else if (!fastdrop) {
    why = ", fastdrop is null";
  } else if (!fastdrop->denyPrefixTrie()) {
    why = ", trie is null";
  }
  if (why) {
    ZET_TRACE(8, mira_->vrfName() << " " << intf << why);
    return false;
  }
  return !fastdrop->denyPrefixTrie()->longestMatch(IpGenPrefix(addr)).isNull();
}

// --- VLANs of interfaces

void MiraBoundarySm::handleIntfVlanIdTable(IntfId intf) {
  VlanIdOrNone const vlan = mira_->intfVlanIdTable()->intfIdToVlanId(intf);
  if (!vlan) return;
  VlanId const * const last = lastVlan_.find(intf);
  VlanIdOrNone const old = last ? VlanIdOrNone(*last) : VlanIdOrNone();
  if (old == vlan) return;
  ZET_TRACE(8, intf << ", add mapping, vlan " << vlan);
  lastVlan_.at(intf) = VlanId(vlan);
  if (old) {
    doMoveFastdrops(intf, VlanId(old), VlanId(vlan));
  } else if (!boundaryFastdrop_.contains(intf)) {
    handleFastdrop(intf);
  }
}

// The routed interface of a VLAN has it back, without a word, when a port's internal VLAN is
// another.
void MiraBoundarySm::handleInternalVlanId(IntfId intf) {
  handleIntfVlanIdTable(intf);
  auto const * const status = fastdropStatus();
  if (!status) return;
  for (auto i = status->fastdrop().begin(); i; i.advance()) {
    if (!boundaryFastdrop_.contains(i.key())) handleIntfVlanIdTable(i.key());
  }
}

// Drops go where their interface goes.
void MiraBoundarySm::doMoveFastdrops(IntfId intf, VlanId from, VlanId to) {
  auto const * const zet = boundaryFastdrop_.find(intf);
  Zet::Ptr<Fastdrop> const fastdrop(zet ? zet->target() : nullptr);
  if (!fastdrop) return;
  for (auto group = fastdrop->group().begin(); group; group.advance()) {
    for (auto i = group->source().begin(); i; i.advance()) {
      doDelBoundaryFastdrop(i.key(), group.key(), from);
      doRefreshBoundaryFastdrop(i.key(), group.key(), to);
    }
  }
}

void MiraBoundarySm::handleIntfVlanIdTable() {
  if (!zetIntfVlanIdTable_.target()) return;
  auto const & vlans = mira_->intfVlanIdTable()->internalVlanId();
  for (auto i = vlans.begin(); i; i.advance()) handleIntfVlanIdTable(i.key());
}

// Where its drops stand, or are to stand.
VlanId MiraBoundarySm::vlanOf(IntfId intf) {
  handleIntfVlanIdTable(intf);
  VlanIdOrNone vid = mira_->intfVlanIdTable()->intfIdToVlanId(intf);
  if (!vid) {
    ZET_TRACE(8, "looking up intfIdToVlanId mapping from local collection");
    if (VlanId const * const last = lastVlan_.find(intf)) vid = *last;
  }
  ZET_ASSERT(vid.value(), "vid.value()");
  return VlanId(vid);
}

// --- Drops

// The ports of the VLAN that want the group, and what they depend on.
Filters MiraBoundarySm::expand(RouteKey const & key, VlanId vlan, PortVlanSet & set) const {
  MiraRoot const & root = *mira_->miraRoot();
  Nettle::EthAddr const mac = ethAddrFromIpAddr(key.group().address());
  Expansion expansion(root, {key.kind(), mac}, set);
  expansion.addVlanToPortVlanSet(vlan);
  if (mira_->status()->needIifInOifSet()) set.vlanIs(vlan.value());
  expansion.doResolveAndAddLagsToPvSet({}, mira_->vrfName(), key);
  set.settle();
  set.keyKindIs(key.kind());
  set.saveHash();
  return {.vlanGroup = vlanGroupBit(vlan, mac),
          .vlan = vlanBit(vlan),
          .vlanPort = expansion.vlanPortFilter(),
          .lag = expansion.lagFilter()};
}

void MiraBoundarySm::filtersAre(BoundaryMroute & route, Filters const & filters) {
  route.vlanFilterIs(filters.vlan);
  route.vlanPortFilterIs(filters.vlanPort);
  route.lagFilterIs(filters.lag);
  route.vlanGroupFilterIs(filters.vlanGroup);
}

// What is no group may be the key of another kind of route.
void MiraBoundarySm::doRefreshBoundaryFastdrop(IpGenAddr const & source, IpGenAddr const & group,
                                               VlanId vlan) {
  if (!source.isV4() || !group.isV4() || !group.isMulticast()) return;
  RouteKey const key{IpGenPrefix(source), IpGenPrefix(group)};
  PortVlanSet set;
  Filters filters = expand(key, vlan, set);
  Zet::Ptr<BoundaryMroute> const route = table().boundaryMrouteIs(key);
  filters |= route->filters();
  filtersAre(*route, filters);
  Zet::Ptr<OifSet> const old = route->fastdrop(vlan);
  if (old && old->doCmpPortVlanSet(set)) return;
  ZET_TRACE(5, key.pretty() << ", programming fastdrop: vlan " << vlan << " " << set.pretty());
  SKEIN("MiraBoundarySm::doRefreshBoundaryFastdrop ", mira_->vrfName(), " ", key, " vlan ", vlan);
  route->fastdropIs(vlan, getOifSet(mira_->miraRoot(), set));
}

void MiraBoundarySm::doDelBoundaryFastdrop(IpGenAddr const & source, IpGenAddr const & group,
                                           VlanId vlan) {
  if (!group.isMulticast()) return;
  doDelBoundaryFastdrop(RouteKey{IpGenPrefix(source), IpGenPrefix(group)}, vlan);
}

void MiraBoundarySm::doDelBoundaryFastdrop(RouteKey const & key, VlanId vlan) {
  if (key.group().af() != Nettle::ipv4()) {
    ZET_TRACE(5, key.pretty() << ", only for v4");
    return;
  }
  Zet::Ptr<BoundaryMroute> const route(table().boundaryMroute(key));
  if (!route) return;
  if (route->fastdrop().contains(vlan)) {
    SKEIN("MiraBoundarySm::doDelBoundaryFastdrop ", mira_->vrfName(), " ", key, " vlan ", vlan);
    route->fastdropDel(vlan);
  }
  if (route->fastdropCount() == 0) return table().boundaryMrouteDel(route->key());
  Filters filters;
  for (auto i = route->fastdrop().begin(); i; i.advance()) {
    PortVlanSet set;
    filters |= expand(route->key(), i.key(), set);
  }
  filtersAre(*route, filters);
}

void MiraBoundarySm::doMakeWayFor(Mroute const & route) {
  if (table().boundaryMroute().empty()) return;
  auto const makeWay = [&](VlanIdOrNone vlan, char const * why) {
    if (!vlan) return;
    ZET_TRACE(8, route.key().pretty() << why << vlan);
    doDelBoundaryFastdrop(route.key(), VlanId(vlan));
  };
  makeWay(route.acceptingVlanId(), ": deleting boundary on accepting ");
  makeWay(route.notifyingVlanId(), ": deleting boundary on notify ");
  makeWay(route.staticFastdropVlanId(), ": deleting boundary on static fastdrop ");
}

void MiraBoundarySm::handleClearFastdrop() {
  if (!initialized_) {
    ZET_TRACE(5, "Not initialized yet");
    return;
  }
  auto const & routes = table().boundaryMroute();
  for (auto i = routes.begin(); i; i.advance()) i->doClearFastdrop();
}

// --- Marks

void MiraBoundarySm::handleMarkVlanDirty() {
  auto const & vlans = zetDirtyChangeSet_.target()->vlanId();
  for (auto i = vlans.begin(); i; i.advance()) {
    if (table().boundaryDirtyInfo()->doMarkVlanDirty(i.key())) doKickReview();
  }
}

void MiraBoundarySm::handleMarkVlanPortDirty() {
  auto const & ports = zetDirtyChangeSet_.target()->port();
  for (auto i = ports.begin(); i; i.advance()) {
    if (table().boundaryDirtyInfo()->doMarkVlanPortDirty(i.value(), i.key())) doKickReview();
  }
}

void MiraBoundarySm::handleMarkVlanGroupDirty() {
  auto const & groups = zetDirtyChangeSet_.target()->ethGroup();
  for (auto i = groups.begin(); i; i.advance()) {
    if (table().boundaryDirtyInfo()->doMarkVlanGroupDirty(i.value(), i.key())) doKickReview();
  }
}

void MiraBoundarySm::handleMarkLagDirty() {
  auto const & lags = zetDirtyChangeSet_.target()->lag();
  for (auto i = lags.begin(); i; i.advance()) {
    if (table().boundaryDirtyInfo()->doMarkLagDirty(i.key())) doKickReview();
  }
}

void MiraBoundarySm::handleMarkAllVlansDirty() {
  if (table().boundaryDirtyInfo()->doMarkAllVlansDirty()) doKickReview();
}

}  // namespace Brindle
