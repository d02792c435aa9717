// Multicast boundaries: the groups that must not cross an interface.
#pragma once

#include "platform/IntfId.h"
#include "platform/IpGenAddr.h"
#include "platform/KeyedEntity.h"
#include "platform/RbTreeMap.h"

namespace Nettle {

// The boundary of one interface, under the interface's name.
class IntfBoundaryStatus : public Zet::KeyedEntity<Zet::Name> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<IntfBoundaryStatus, Zet::Entity> {
   public:
    virtual void onBoundary(IpGenPrefix const &) {}
  };
  using KeyedEntity::KeyedEntity;

  IntfId intfId() const { return IntfId(key().view()); }

  // Prefixes of groups.
  auto const & boundary() const { return boundary_; }
  bool boundary(IpGenPrefix const & k) const { return boundary_.contains(k); }
  void boundaryIs(IpGenPrefix const & k, bool v) {
    flag<&NotifieeConst::onBoundary>(boundary_, k, v);
  }
  void boundaryDel(IpGenPrefix const & k) { boundaryIs(k, false); }

 private:
  Zet::OrderedSet<IpGenPrefix> boundary_;
};

}  // namespace Nettle

namespace Routing::Multicast::Fib {

class Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onIntfBoundaryStatus(Zet::Name const &) {}
  };

  auto const & intfBoundaryStatus() const { return intfBoundaryStatus_; }
  Nettle::IntfBoundaryStatus const * intfBoundaryStatus(Zet::Name k) const {
    return intfBoundaryStatus_.find(k);
  }
  Zet::Ptr<Nettle::IntfBoundaryStatus> intfBoundaryStatusIs(Zet::Name k) {
    return create<&NotifieeConst::onIntfBoundaryStatus>(intfBoundaryStatus_, k);
  }
  void intfBoundaryStatusDel(Zet::Name k) {
    erase<&NotifieeConst::onIntfBoundaryStatus>(intfBoundaryStatus_, k);
  }

 private:
  Zet::HashMap<Zet::Name, Nettle::IntfBoundaryStatus> intfBoundaryStatus_;
};

}  // namespace Routing::Multicast::Fib
