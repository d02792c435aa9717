#include "model/DirtyInfo.h"

#include <cstdio>

namespace Brindle {

bool DirtyInfo::put(Addresses & set, Nettle::IpGenAddr const & address, bool present) {
  if (!present) return set.del(address);
  if (set.contains(address)) return false;
  set.at(address) = true;
  return true;
}

bool DirtyInfo::isDirty() const {
  return marks_ != Filters() || allRoutesDirty_ || dirty_ || !dirtyGroupSet_.empty() ||
         !dirtyNatSrc_.empty();
}

void DirtyInfo::clear() {
  marks_ = Filters();
  allRoutesDirty_ = dirty_ = false;
  dirtyGroupSet_.clear();
  dirtyNatSrc_.clear();
}

void DirtyInfo::mergeWith(DirtyInfo const & o) {
  marks_ |= o.marks_;
  allRoutesDirty_ |= o.allRoutesDirty_;
  dirty_ |= o.dirty_;
  for (auto i = o.dirtyGroupSet_.begin(); i; i.advance()) dirtyGroupSetIs(i.key(), true);
  for (auto i = o.dirtyNatSrc_.begin(); i; i.advance()) dirtyNatSrcIs(i.key(), true);
}

// A group is translated like a source, so either address counts.
bool DirtyInfo::namesAddressOf(RouteBase const & route) const {
  auto const & source = route.key().source().address();
  auto const & group = route.key().group().address();
  return dirtyGroupSet(group) || dirtyNatSrc(source) || dirtyNatSrc(group);
}

std::string DirtyInfo::mrouteDirtyInfoStr(Mroute const & route) const {
  Filters const & f = route.filters();
  char text[160];
  std::snprintf(text, sizeof text,
                "vlan:0x%x vlanPort:0x%x vlanGroup:0x%llx lag:0x%x dirty:%d address:%d all:%d",
                marks_.vlan & f.vlan, marks_.vlanPort & f.vlanPort,
                static_cast<unsigned long long>(marks_.vlanGroup & f.vlanGroup), marks_.lag & f.lag,
                route.dirty(), namesAddressOf(route), allRoutesDirty_);
  return text;
}

}  // namespace Brindle
