// One pass of a route over all chips; an object that lives for the call.
//
// Nothing is allocated before everything that has become wrong is gone, no entry before every chip
// has given a set, and no entry takes over before every chip has given one. On each chip the new
// entry is active before the old one goes.
#pragma once

#include "programmer/ZetMroute.h"

namespace Brindle {

class RouteStatusWriter;

// The entries that were in use when a pass began, by position of the chip: each goes when another
// one has taken over.
class RouteSaver {
 public:
  explicit RouteSaver(U32 chips) : chips_(chips) {}
  RouteHandle routeHandle(U32 chip) const {
    return chip < routeHandle_.size() ? routeHandle_[chip] : RouteHandle();
  }
  void routeHandleIs(U32 chip, RouteHandle v) {
    routeHandle_.reserve(chips_);
    while (routeHandle_.size() <= chip) routeHandle_.push_back(RouteHandle());
    routeHandle_[chip] = v;
    ++routeHandles_;
  }
  void routeHandleDel(U32 chip) {
    if (routeHandle(chip).isNull()) return;
    routeHandle_[chip] = RouteHandle();
    --routeHandles_;
  }
  U32 routeHandles() const { return routeHandles_; }

 private:
  U32 const chips_;
  Zet::CompactVector<RouteHandle> routeHandle_;
  U32 routeHandles_ = 0;
};

class ZetMroute::Update {
 public:
  explicit Update(ZetMroute & route);
  void run();

 private:
  bool needsEntry() const;
  bool isInputChanged() const;

  // In this order; those that can fail leave failed_.
  void removeObsolete();
  bool chipsHaveRoom();
  bool allocateSets();
  bool allocateEntries();
  void commit();
  void cleanUp();
  void report(RouteStatus &);
  void publish(RouteStatus &);

  // On one chip
  U32 refuseRoute(ZetChip &);
  RouteHandle chooseEntry(U32 position, ChipInfo &);
  RouteHandle takeOverFrr(ChipInfo &, VlanInfo * frr);
  RouteHandle newEntry(U32 position, ChipInfo &);
  RouteHandle allocateRoute(SwitchChip &);
  void deleteSaved(U32 position, ChipInfo &);
  void commit(U32 position, ChipInfo &);

  ZetMroute & route_;
  Mroute const & mroute_;
  MrouteSm & sm_;
  RouteStatusWriter const & writer_;
  ZetChips const & chips_;
  U32 const members_;  // of the output set
  U32 failed_ = 0;
  RouteSaver routeSaver_;
  // Sets of entries that have become the route's own, until these point at its set.
  Zet::CompactVector<Zet::Ptr<MtableOifSet>> reused_;
};

}  // namespace Brindle
