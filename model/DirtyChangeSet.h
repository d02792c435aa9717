// The journal of a resolver's marks: every mark goes through it, whether or not it was new, so that
// a reader that keeps marks of its own misses none.
#pragma once

#include "platform/Entity.h"
#include "platform/EthAddr.h"
#include "platform/HashMap.h"
#include "platform/IntfId.h"
#include "platform/RbTreeMap.h"
#include "platform/VlanId.h"

namespace Brindle {

// A reader watches the counters. The member stands while its counter rises; with no reader only the
// counters rise.
class DirtyChangeSet : public Zet::Entity {
 public:
  using VlanIdOrNone = Bridging::VlanIdOrNone;
  class NotifieeConst : public Zet::NotifieeOf<DirtyChangeSet, Zet::Entity> {
   public:
    virtual void onDirtyVlanCount() {}
    virtual void onDirtyVlanPortCount() {}
    virtual void onDirtyVlanGroupCount() {}
    virtual void onDirtyLagCount() {}
    virtual void onAllVlansDirtyCount() {}
  };

  void vlanIdIs(VlanIdOrNone vid) {
    if (hasReactors()) vlanId_.insert(vid);
    assign(dirtyVlanCount_, dirtyVlanCount_ + 1, &NotifieeConst::onDirtyVlanCount);
    vlanId_.del(vid);
  }
  void portIs(Nettle::IntfId port, VlanIdOrNone vid) {
    if (hasReactors()) port_.at(port) = vid;
    assign(dirtyVlanPortCount_, dirtyVlanPortCount_ + 1, &NotifieeConst::onDirtyVlanPortCount);
    port_.del(port);
  }
  void ethGroupIs(Nettle::EthAddr const & group, VlanIdOrNone vid) {
    if (hasReactors()) ethGroup_.at(group) = vid;
    assign(dirtyVlanGroupCount_, dirtyVlanGroupCount_ + 1, &NotifieeConst::onDirtyVlanGroupCount);
    ethGroup_.del(group);
  }
  void lagIs(Nettle::IntfId lag) {
    if (hasReactors()) lag_.insert(lag);
    assign(dirtyLagCount_, dirtyLagCount_ + 1, &NotifieeConst::onDirtyLagCount);
    lag_.del(lag);
  }
  void allVlansDirtyCountInc(U32 n) {
    assign(allVlansDirtyCount_, allVlansDirtyCount_ + n, &NotifieeConst::onAllVlansDirtyCount);
  }

  // The members, ports and groups with their VLAN.
  auto const & vlanId() const { return vlanId_; }
  auto const & port() const { return port_; }
  auto const & ethGroup() const { return ethGroup_; }
  auto const & lag() const { return lag_; }

  U32 dirtyVlanCount() const { return dirtyVlanCount_; }
  U32 dirtyVlanPortCount() const { return dirtyVlanPortCount_; }
  U32 dirtyVlanGroupCount() const { return dirtyVlanGroupCount_; }
  U32 dirtyLagCount() const { return dirtyLagCount_; }
  U32 allVlansDirtyCount() const { return allVlansDirtyCount_; }

 private:
  Zet::OrderedSet<VlanIdOrNone> vlanId_;
  Zet::HashMap2018<Nettle::IntfId, VlanIdOrNone> port_;
  Zet::HashMap2018<Nettle::EthAddr, VlanIdOrNone> ethGroup_;
  Zet::OrderedSet<Nettle::IntfId> lag_;
  U32 dirtyVlanCount_ = 0;
  U32 dirtyVlanPortCount_ = 0;
  U32 dirtyVlanGroupCount_ = 0;
  U32 dirtyLagCount_ = 0;
  U32 allVlansDirtyCount_ = 0;
};

}  // namespace Brindle
