#include "groups/McastGroupProgrammer.h"

#include "mira/Mira.h"
#include "mira/MiraRoot.h"
#include "platform/Assert.h"
#include "platform/CollectionText.h"
#include "platform/Trace.h"

namespace Brindle {

namespace Fib = Routing::Multicast::Fib;
using Bridging::VlanIdOrNone;
using Multicast::Group::Request;

namespace {

Zet::TraceHandle traceHandle("McastGroupProgrammer", false);

MiraRoot * rootOf(MiraHelper * helper) { return helper ? helper->miraRoot() : nullptr; }

VlanIdOrNone vlanOf(Request const & request) {
  auto const & members = request.portVlan().items();
  return members.empty() ? VlanIdOrNone() : members.begin()->vlanId();
}

// A request's members, and of these the LAGs that are to be resolved.
struct Members {
  PortVlanSet pvSet;
  PortVlanSet lagPvSet;
};

Members membersOf(Request const & request, MiraHelper * helper) {
  Members members;
  auto const & all = request.portVlan().items();
  for (PortVlan const & pv : all) {
    PortVlan const & pvFirst = *all.begin();
    ZET_ASSERT(pvFirst.isOutLif() == pv.isOutLif(), "pvFirst.isOutLif() == pv.isOutLif()");
    ZET_ASSERT(pvFirst.isOutLif() || pvFirst.vlanId() == pv.vlanId(),
               "pvFirst.isOutLif() || ( pvFirst.vlanId() == pv.vlanId() )");
    bool const isLag = helper && helper->isIntfLag(pv.port);
    if (!isLag) {
      ZET_TRACE(8, "Adding " << pv << " to pvSet");
      members.pvSet.portVlanIs(pv, true);
    } else if (helper->isIntfHwLag(pv.port) &&
               !helper->resolveLagRequired(Zet::Ptr<Request const>(&request))) {
      ZET_TRACE(8, "Adding HW LAG " << pv << " to pvSet");
      members.pvSet.portVlanIs(pv, true);
    } else {
      ZET_TRACE(8, "Adding " << pv << " to lagPvSet");
      members.lagPvSet.portVlanIs(pv, true);
    }
  }
  return members;
}

PortVlanSet computePvSet(Request const & request, MiraHelper * helper) {
  auto [pvSet, lagPvSet] = membersOf(request, helper);
  auto const & all = request.portVlan().items();
  bool const areOutLifs = !all.empty() && all.begin()->isOutLif();
  ZET_TRACE(8, (areOutLifs ? "Port:OutLifs are " : "Port:Vlans are ")
                   << pvSet.pretty() << " " << lagPvSet.pretty());
  if (MiraRoot const * const root = rootOf(helper)) {
    Fib::IpGenRouteKey const key = Fib::makeRouteKeyMcastGroup(request.key());
    pvSet = root->resolveAndAddLagsToPvSet(L3::VrfName::defaultVrf(), vlanOf(request), key, pvSet,
                                           lagPvSet);
  }
  ZET_TRACE(8, "New pvSet is " << pvSet.pretty() << "lagPvSet is " << lagPvSet.pretty());
  pvSet.keyKindIs(Fib::mcastGroup_);
  if (helper) {
    Zet::Ptr<Request const> const self(&request);
    pvSet.featureFlagIs(helper->doGetMcastGroupFeatureFlag(L3::VrfName::defaultVrf(), self));
  }
  if (request.toCpu()) pvSet.toCpuIs(true);
  pvSet.saveHash();
  return pvSet;
}

// 0 is the version of a route that nobody has computed.
void versionInc(Mroute & mroute) {
  mroute.versionIs(mroute.version() + 1 ? mroute.version() + 1 : 1);
}

}  // namespace

// --- Lifecycle

McastGroupProgrammerSm::McastGroupProgrammerSm(Inputs const & in) : in_(in) {
  zetMrouteTable_.attach(in_.mrouteTable);
  zetConfigDir_.attach(in_.configDir);
  if (table()) handleAsyncMrouteSm();
}

void McastGroupProgrammerSm::requireSameInputs(Inputs const & in) const {
  Zet::requireSameMember("configDir", in.configDir, in_.configDir);
  Zet::requireSameMember("status", in.status, in_.status);
  Zet::requireSameMember("mrouteTable", in.mrouteTable, in_.mrouteTable);
  Zet::requireSameMember("asyncMrouteRootSm", in.asyncMrouteRootSm, in_.asyncMrouteRootSm);
  if (in.miraHelper != in_.miraHelper) {
    Zet::throwReinstantiatingMember("miraHelper", "another", "this one");
  }
}

MrouteTable * McastGroupProgrammerSm::table() const {
  return in_.mrouteTable->vrfMrouteTable(L3::VrfName::defaultVrf());
}

Mroute * McastGroupProgrammerSm::route(GroupKey const & group) const {
  MrouteTable * const home = table();
  return home ? home->mroute(Fib::makeRouteKeyMcastGroup(group)) : nullptr;
}

void McastGroupProgrammerSm::handleAsyncMrouteSm(L3::VrfName vrf) {
  if (vrf != L3::VrfName::defaultVrf() || !doFollowL2Status()) return;
  forEachRequest([this](Request const & request) { handleRequest(request); });
}

AsyncMrouteSm const * McastGroupProgrammerSm::machine() const {
  return in_.asyncMrouteRootSm->asyncMrouteSm(L3::VrfName::defaultVrf());
}

bool McastGroupProgrammerSm::doFollowL2Status() {
  AsyncMrouteSm const * const present = machine();
  if (!present) return false;
  zetL2Status_.attach(present->l2Status());
  ZET_TRACE(5, "Initialized L2 Status");
  return true;
}

// --- Requests

void McastGroupProgrammerSm::handleClientDirs() {
  if (!zetConfigDir_.target()) return;
  auto const & entities = in_.configDir->entityPtr();
  for (auto i = entities.begin(); i; i.advance()) handleClientDir(i.key());
}

void McastGroupProgrammerSm::handleClientDir(Zet::Name name) {
  Zet::Ptr<Zet::Entity> const entity = in_.configDir->entityPtr(name);
  if (auto * const dir = dynamic_cast<Zet::Dir const *>(entity.get())) {
    clientDir_.attach(name, dir);
  } else if (Zet::Ptr<ZetClientDir> const gone{clientDir_.find(name)}) {
    clientDir_.del(name);
    gone->clientDelAll();
  }
}

template <class F> void McastGroupProgrammerSm::forEachRequest(F f) const {
  for (auto dir = clientDir_.begin(); dir; dir.advance()) {
    for (auto client = dir->client().begin(); client; client.advance()) {
      ZET_TRACE(8, "Client has " << client->request().size() << " request entries");
      for (auto i = client->request().begin(); i; i.advance()) {
        if (auto const * const request = i->target()) f(*request);
      }
    }
  }
}

void McastGroupProgrammerSm::handleRequest(Request const & request) {
  MrouteTable * const home = table();
  if (!home) return;
  ZET_TRACE(5, "Creating request " << request.key());
  Mroute * const old = route(request.key());
  if (!old) {
    home->mrouteIs(Fib::makeRouteKeyMcastGroup(request.key()));
  } else if (old->markedForDeletion()) {
    old->markedForDeletionIs(false);
    old->dirtyIs(false);
  } else if (old->mcastGroupRequestId() == request.requestId()) {
    return;  // what stands is this request
  }
  handleRequestId(request);
}

Request const * McastGroupProgrammerSm::standingRequest(GroupKey const & group) const {
  for (auto dir = clientDir_.begin(); dir; dir.advance()) {
    for (auto client = dir->client().begin(); client; client.advance()) {
      ZetRequest const * const request = client->request().find(group);
      if (request && request->target()) return request->target();
    }
  }
  return nullptr;
}

Zet::Ptr<OifSet> McastGroupProgrammerSm::oifSetOf(Request const & request) const {
  return in_.mrouteTable->oifSetIs(computePvSet(request, in_.miraHelper.get()));
}

void McastGroupProgrammerSm::handleRequestId(Request const & request) {
  Mroute * const mroute = route(request.key());
  if (!mroute) return;
  // The machine may have come after its table.
  if (machine() && machine()->l2Status().get() != l2Status()) handleAsyncMrouteSm();
  Zet::Ptr<OifSet> const set = oifSetOf(request);
  mroute->acceptingVlanIdIs(vlanOf(request));
  mroute->oifSetIs(set);
  mroute->mcastGroupRequestIdIs(request.requestId());
  ZET_ASSERT(mroute->vlanFilter() == 0, "mroute->vlanFilter() == 0");
  ZET_ASSERT(mroute->vlanPortFilter() == 0, "mroute->vlanPortFilter() == 0");
  ZET_ASSERT(mroute->vlanGroupFilter() == 0, "mroute->vlanGroupFilter() == 0");
  ZET_ASSERT(mroute->lagFilter() == 0, "mroute->lagFilter() == 0");
  ZET_ASSERT(!mroute->dirty(), "!mroute->dirty()");
  ZET_TRACE(5, "Got request id " << request.requestId());
  versionInc(*mroute);
}

void McastGroupProgrammerSm::handleRequestDel(GroupKey const & group) {
  Zet::Ptr<Mroute> const mroute(route(group));
  if (!mroute) return;
  if (Request const * const other = standingRequest(group)) return handleRequestId(*other);
  MiraRoot * const root = rootOf(in_.miraHelper.get());
  if (!root) return table()->mrouteDel(mroute->key());
  mroute->markedForDeletionIs(true);
  if (Zet::Ptr<Mira> const mira = root->mira(L3::VrfName::defaultVrf())) {
    mira->markMrouteDirty(mroute);
    mira->doKickReview();
  } else {
    mroute->dirtyIs(true);  // its first review takes the route out
  }
}

void McastGroupProgrammerSm::updateGroupReplicationMode() {
  forEachRequest([this](Request const & request) {
    Mroute * const mroute = route(request.key());
    if (!mroute) return;
    ZET_ASSERT(mroute->key().kind() == Fib::mcastGroup_,
               "mroute->key().kind() == Routing::Multicast::Fib::mcastGroup_");
    Zet::Ptr<OifSet> const set = oifSetOf(request);
    if (mroute->oifSet() == set) return;
    ZET_TRACE(5, "Updating request " << request.key());
    mroute->oifSetIs(set);
    versionInc(*mroute);
  });
}

// --- Responses

void McastGroupProgrammerSm::handleMcastGroupStatuses() {
  L2Status const * const status = l2Status();
  Zet::replay(status ? &status->mcastGroupStatus() : nullptr, mcastGroupStatus_,
              [this](Key const & key) { handleMcastGroupStatus(key); });
}

void McastGroupProgrammerSm::handleMcastGroupStatus(Key const & keyOfMember) {
  Key const key = keyOfMember;
  if (McastGroupStatus * const group = l2Status() ? l2Status()->mcastGroupStatus(key) : nullptr) {
    mcastGroupStatus_.attach(key, group);
  } else if (mcastGroupStatus_.contains(key)) {
    mcastGroupStatus_.del(key);
    in_.status->responseDel(key.mcastGroup());
    ZET_TRACE(5, "Remove response " << key);
  }
}

void McastGroupProgrammerSm::ZetMcastGroupStatus::handleResponseId() {
  McastGroupStatus const * const group = target();
  if (!group) return;
  ZET_TRACE(5, "Got response id " << group->responseId() << " request id " << group->requestId()
                                  << " " << key() << " success " << group->success() << " mcastId "
                                  << group->multicastId());
  bool const isDecided = group->responseId() || group->multicastId() || group->success();
  if (!isDecided) return;
  auto const response = sm()->in_.status->responseIs(key().mcastGroup());
  response->successIs(group->success());
  response->multicastIdIs(group->multicastId());
  response->requestIdIs(group->requestId());
  response->responseIdIs(group->responseId());
}

// --- The service

void McastGroupProgrammerSm::doStop() {
  Zet::Ptr<McastGroupProgrammerSm> const self(this);
  zetDoZombieReactors(true);
}

void McastGroupProgrammer::mcastGroupProgrammerSmDel() {
  if (sm_) sm_->doStop();
  sm_ = nullptr;
}

Zet::Ptr<McastGroupProgrammerSm> McastGroupProgrammer::mcastGroupProgrammerSmIs(
    McastGroupProgrammerSm::Inputs const & in) {
  if (sm_) {
    sm_->requireSameInputs(in);
  } else {
    sm_ = Zet::make<McastGroupProgrammerSm>(in);
  }
  return sm_;
}

}  // namespace Brindle
