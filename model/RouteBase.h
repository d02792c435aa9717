// What the two kinds of computed routes share: the key, the filters by which changes find the
// route, and the drop entries by input VLAN.
#pragma once

#include "model/Filters.h"
#include "model/OifSet.h"
#include "model/RouteVersion.h"
#include "platform/HashMap.h"
#include "platform/RbTreeMap.h"
#include "state/RouteKey.h"

namespace Brindle {

class BRINDLE_API RouteBase : public RouteVersion, public Zet::HashLink {
 public:
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  class NotifieeConst : public Zet::NotifieeOf<RouteBase, RouteVersion> {
   public:
    virtual void onVlanFilter() {}
    virtual void onVlanPortFilter() {}
    virtual void onVlanGroupFilter() {}
    virtual void onLagFilter() {}
    virtual void onDirty() {}
    virtual void onFastdrop(Bridging::VlanId const &) {}
    virtual void onFastdropDirty() {}
  };

  Key const & key() const { return key_; }
  Key const & fwkKey() const { return key_; }
  std::string fullName() const override { return Zet::Entity::fullName() + '/' + key_.pretty(); }

  // What the last computation has used.
  Filters const & filters() const { return filters_; }
  U32 vlanFilter() const { return filters_.vlan; }
  void vlanFilterIs(U32 v) { assign(filters_.vlan, v, &NotifieeConst::onVlanFilter); }
  U32 vlanPortFilter() const { return filters_.vlanPort; }
  void vlanPortFilterIs(U32 v) { assign(filters_.vlanPort, v, &NotifieeConst::onVlanPortFilter); }
  U64 vlanGroupFilter() const { return filters_.vlanGroup; }
  void vlanGroupFilterIs(U64 v) {
    assign(filters_.vlanGroup, v, &NotifieeConst::onVlanGroupFilter);
  }
  U32 lagFilter() const { return filters_.lag; }
  void lagFilterIs(U32 v) { assign(filters_.lag, v, &NotifieeConst::onLagFilter); }

  // The resolver knows that the route is out of date.
  bool dirty() const { return dirty_; }
  void dirtyIs(bool);

  // Drop entries by input VLAN, each with its output set, which may be null before it is computed.
  auto const & fastdrop() const { return fastdrop_; }
  Zet::Ptr<OifSet> fastdrop(Bridging::VlanId k) const { return lookup(fastdrop_, k); }
  void fastdropIs(Bridging::VlanId, Zet::Ptr<OifSet> const &);
  void fastdropDel(Bridging::VlanId);
  void doClearFastdrop();
  U32 fastdropCount() const { return fastdrop_.size(); }
  // A drop entry has changed since the last computation.
  bool fastdropDirty() const { return fastdropDirty_; }
  void fastdropDirtyIs(bool v) { assign(fastdropDirty_, v, &NotifieeConst::onFastdropDirty); }

 protected:
  explicit RouteBase(Key const & key) : key_(key) {}
  // The number of drop entries has changed; the table counts them.
  virtual void handleFastdropCount(int change) = 0;
  // The route has become dirty or clean; the table counts the dirty ones.
  virtual void handleDirty() {}

 private:
  // A walk over clean routes reads these, and the links in front of them.
  bool dirty_ = false;
  bool fastdropDirty_ = false;
  [[no_unique_address]] Filters filters_;

  Key const key_;
  Zet::RbTreeMap<Bridging::VlanId, Zet::Ptr<OifSet>> fastdrop_;
};

}  // namespace Brindle
