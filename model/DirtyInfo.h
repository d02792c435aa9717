// What has changed since the last review: the marks that a change sets in place of computing
// anything. A table gathers them; a pass of the review takes them over and asks of each route
// whether they touch it.
#pragma once

#include <string>

#include "model/BoundaryMroute.h"
#include "model/Mroute.h"
#include "platform/Export.h"
#include "platform/IpGenAddr.h"

namespace Brindle {

class BRINDLE_API DirtyInfo : public Zet::RefCounted {
 public:
  using Addresses = Zet::HashMap2018<Nettle::IpGenAddr, bool>;

  // Marks. Each returns true if it is a new one, false if it stood already.
  bool doMarkVlanDirty(Bridging::VlanIdOrNone vid) { return mark(marks_.vlan, vlanBit(vid)); }
  bool doMarkAllVlansDirty() { return mark(marks_.vlan, ~U32{0}); }
  bool doMarkVlanPortDirty(Bridging::VlanIdOrNone vid, Nettle::IntfId port) {
    return mark(marks_.vlanPort, vlanPortBit(vid, port));
  }
  bool doMarkVlanGroupDirty(Bridging::VlanIdOrNone vid, Nettle::EthAddr const & group) {
    return mark(marks_.vlanGroup, vlanGroupBit(vid, group));
  }
  bool doMarkLagDirty(Nettle::IntfId lag) { return mark(marks_.lag, lagBit(lag)); }

  Filters const & marks() const { return marks_; }
  bool allVlansDirty() const { return marks_.vlan == ~U32{0}; }

  // Every route is dirty.
  bool allRoutesDirty() const { return allRoutesDirty_; }
  void allRoutesDirtyIs(bool v) { allRoutesDirty_ = v; }
  // Some route is dirty, which says so itself: a pass is wanted that touches no other.
  bool dirty() const { return dirty_; }
  void dirtyIs(bool v) { dirty_ = v; }

  // Groups whose routes are dirty, and addresses of either side whose address translation changed.
  auto const & dirtyGroupSet() const { return dirtyGroupSet_; }
  bool dirtyGroupSet(Nettle::IpGenAddr const & k) const { return dirtyGroupSet_.contains(k); }
  bool dirtyGroupSetIs(Nettle::IpGenAddr const & k, bool v) { return put(dirtyGroupSet_, k, v); }
  auto const & dirtyNatSrc() const { return dirtyNatSrc_; }
  bool dirtyNatSrc(Nettle::IpGenAddr const & k) const { return dirtyNatSrc_.contains(k); }
  bool dirtyNatSrcIs(Nettle::IpGenAddr const & k, bool v) { return put(dirtyNatSrc_, k, v); }

  // Whether anything is marked.
  bool isDirty() const;
  void clear();
  void mergeWith(DirtyInfo const &);

  // Whether the resolver has yet to look at the route.
  bool mrouteDirty(Mroute const & route) const { return route.dirty() || touches(route); }
  bool boundaryDirty(BoundaryMroute const & route) const { return route.dirty() || touches(route); }
  // The same for a walk over many routes, while nothing is marked: most are told by their filters.
  class Walk {
   public:
    explicit Walk(DirtyInfo const & info)
        : info_(info),
          marks_(info.marks_),
          byFilters_(!info.allRoutesDirty_ && info.dirtyGroupSet_.empty() &&
                     info.dirtyNatSrc_.empty()) {}
    bool mrouteDirty(Mroute const & route) const {
      if (route.dirty() || marks_.meets(route.filters())) return true;
      return !byFilters_ && info_.mrouteDirty(route);
    }

   private:
    DirtyInfo const & info_;
    Filters const marks_;
    bool const byFilters_;
  };
  // Whether something below the route has changed, not only the route itself: then a computation
  // cannot build on the one before.
  bool mrouteL2Dirty(Mroute const & route) const { return touches(route); }
  // For traces: the marks that touch the route.
  std::string mrouteDirtyInfoStr(Mroute const &) const;

 private:
  template <class T> static bool mark(T & mark, T bits) {
    if ((mark & bits) == bits) return false;
    mark |= bits;
    return true;
  }
  static bool put(Addresses &, Nettle::IpGenAddr const &, bool);
  bool touches(RouteBase const & route) const {
    if (marks_.meets(route.filters()) || allRoutesDirty_) return true;
    if (dirtyGroupSet_.empty() && dirtyNatSrc_.empty()) [[likely]]
      return false;
    return namesAddressOf(route);
  }
  bool namesAddressOf(RouteBase const &) const;

  Filters marks_;
  bool allRoutesDirty_ = false;
  bool dirty_ = false;
  Addresses dirtyGroupSet_;
  Addresses dirtyNatSrc_;
};

}  // namespace Brindle
