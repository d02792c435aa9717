#include "boundary/BoundaryIntfSm.h"

#include "boundary/BoundarySm.h"
#include "platform/Assert.h"
#include "platform/Skein.h"

namespace Brindle {

using Nettle::IpGenPrefix;

namespace {

IpGenPrefix const anySource("0.0.0.0/0");

}  // namespace

// --- Lifecycle

BoundaryIntfSm::BoundaryIntfSm(Zet::String const & intfName, Bridging::VlanId vlanId,
                               Zet::Ptr<Fabric> const & fabric,
                               Zet::Ptr<IntfBoundaryStatus const> const & intf,
                               Zet::Ptr<IntfStatus const> const & subnets, BoundarySm * owner)
    : BoundaryIntfSmBase(intf),
      intfName_(intfName),
      vlanId_(vlanId),
      fabric_(fabric),
      owner_(owner) {
  zetPrefixIntfStatus_.attach(subnets);
  handleInitialized();
}

void BoundaryIntfSm::handleInitialized() {
  SKEIN("BoundaryIntfSm::handleInitialized ", intfName_, " vlan ", vlanId_);
  initialized_ = true;
  handleBoundary();
}

void BoundaryIntfSm::handleDel() {
  for (auto i = prefixInfo_.begin(); i; i.advance()) doDeletePrefix(IpGenPrefix(i.key()));
  ZET_ASSERT(prefixInfos() == 0, "prefixInfos() == 0");
}

// --- Denied groups

void BoundaryIntfSm::doAddPrefix(IpGenPrefix const & group) {
  if (prefixInfo_.contains(group)) return;
  SKEIN("BoundaryIntfSm::doAddPrefix ", intfName_, " ", group);
  prefixInfo_.insert(Zet::make<PrefixInfo>(group));
  Zet::Ptr<IntfStatus const> const status(prefixIntfStatus());
  if (!status) return doAddBoundaryPrefixMroute(group, anySource);
  for (auto i = status->route().begin(); i; i.advance()) doAddBoundaryPrefixMroute(group, i.key());
}

void BoundaryIntfSm::doDeletePrefix(IpGenPrefix const & group) {
  Zet::Ptr<PrefixInfo> const info(prefixInfo_.find(group));
  if (!info) return;
  SKEIN("BoundaryIntfSm::doDeletePrefix ", intfName_, " ", group);
  for (auto i = info->sPrefixInfo().begin(); i; i.advance()) {
    doDeleteBoundaryPrefixMroute(group, IpGenPrefix(i.key()));
  }
  prefixInfo_.del(group);
}

// --- Connected subnets

// What denies traffic from anywhere stays when they become known. The last subnets of a record may
// have gone without a word to this machine: who was told first may have taken the record away.
void BoundaryIntfSm::prefixIntfStatusIs(Zet::Ptr<IntfStatus const> const & v) {
  zetPrefixIntfStatus_.attach(v);
  doDeleteGone();
}

void BoundaryIntfSm::doDeleteGone() {
  auto const * const status = prefixIntfStatus();
  for (auto group = prefixInfo_.begin(); group; group.advance()) {
    auto const & sources = group->sPrefixInfo();
    for (auto i = sources.begin(); i; i.advance()) {
      bool const stays = i.key() == anySource || (status && status->route(i.key()));
      if (!stays) doDeleteBoundaryPrefixMroute(group.key(), IpGenPrefix(i.key()));
    }
  }
}

void BoundaryIntfSm::handleRoute() {
  Zet::Ptr<IntfStatus const> const status(prefixIntfStatus());
  if (!status) return;
  for (auto i = status->route().begin(); i; i.advance()) handleRoute(i.key());
}

void BoundaryIntfSm::handleRoute(IpGenPrefix const & sourceOfMember) {
  if (!initialized_) return;
  IpGenPrefix const source = sourceOfMember;
  if (prefixIntfStatus() && prefixIntfStatus()->route(source)) {
    doAddPrefixMroute(source);
  } else {
    doDeletePrefixMroute(source);
  }
}

void BoundaryIntfSm::doAddPrefixMroute(IpGenPrefix const & source) {
  ZET_ASSERT(vlanId().value() != 0, "vlanId() != 0");
  for (auto i = prefixInfo_.begin(); i; i.advance()) doAddBoundaryPrefixMroute(i.key(), source);
}

void BoundaryIntfSm::doDeletePrefixMroute(IpGenPrefix const & source) {
  ZET_ASSERT(vlanId().value() != 0, "vlanId() != 0");
  for (auto i = prefixInfo_.begin(); i; i.advance()) doDeleteBoundaryPrefixMroute(i.key(), source);
}

// --- Entries

// In all chips or in none.
void BoundaryIntfSm::doAddBoundaryPrefixMroute(IpGenPrefix const & group,
                                               IpGenPrefix const & source) {
  Zet::Ptr<PrefixInfo> const info(prefixInfo_.find(group));
  if (!info || info->sPrefixInfo(source)) return;
  Zet::Ptr<SPrefixInfo> const entry = info->sPrefixInfoIs(source);
  SwitchChip::RouteKey const key(source, group.v4Prefix().genPrefix());
  if (entry->doProgram(*fabric_, key, vlanId_, intfName_)) return;
  doDeleteBoundaryPrefixMroute(group, source);
  owner_->unprogrammedIntfIs(intfName_, true);
}

void BoundaryIntfSm::doDeleteBoundaryPrefixMroute(IpGenPrefix const & group,
                                                  IpGenPrefix const & source) {
  PrefixInfo * const info = prefixInfo_.find(group);
  Zet::Ptr<SPrefixInfo> const entry(info ? info->sPrefixInfo(source) : nullptr);
  if (!entry) return;
  entry->doDelete();
  info->sPrefixInfoDel(source);
}

}  // namespace Brindle
