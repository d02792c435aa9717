// Withdraws records of denied traffic, a slice at a time.
//
// What is to go is marked in the pending set: groups of an interface, or all of them. A review
// takes that set for its own and works through interface, group and source, in this order, so that
// who follows the records sees a source go before its group and a group before its interface. It
// stops when its time is over and goes on at three bookmarks. Marks that come meanwhile wait for
// the next review.
//
// Records may come while a review stands: of an interface that has a new boundary, or of a group
// that a shorter prefix denies still. Where the review withdraws all there is, it withdraws these
// too, wherever they fall; they come back with their next packet.
#pragma once

#include "platform/Budget.h"
#include "state/BoundaryFastdrop.h"

namespace Brindle::BoundaryFastdrop {

// What is to go of one interface.
class DelIntf final : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  using KeyedEntity::KeyedEntity;

  auto const & group() const { return group_; }
  void groupIs(Nettle::IpGenAddr const & k) { group_.at(k) = true; }
  // Everything, whatever `group` says.
  bool allGroupsDel() const { return allGroupsDel_; }
  void allGroupsDelIs(bool v) { allGroupsDel_ = v; }

 private:
  Zet::HashMap2018<Nettle::IpGenAddr, bool> group_;
  bool allGroupsDel_ = false;
};

class DelSet final : public Zet::Entity {
 public:
  auto const & intf() const { return intf_; }
  Zet::Ptr<DelIntf> intfIs(Nettle::IntfId k) {
    if (!intf_.contains(k)) intf_.insert(Zet::make<DelIntf>(k));
    return intf_.find(k);
  }
  void intfDel(Nettle::IntfId k) { intf_.del(k); }

 private:
  Zet::HashMap<Nettle::IntfId, DelIntf> intf_;
};

class BRINDLE_API BoundaryDelReview {
 public:
  explicit BoundaryDelReview(Zet::Ptr<Status> const & status) : status_(status) {}

  // Marks since the last snapshot, and the snapshot that is being worked on, null before the first.
  Zet::Ptr<DelSet> const & boundaryDelPendingSet() const { return pendingSet_; }
  Zet::Ptr<DelSet> const & boundaryDelReviewSet() const { return reviewSet_; }
  // Where the review goes on; empty, or null, for at the beginning.
  Nettle::IntfId intfDelBookmark() const { return intfDelBookmark_; }
  Nettle::IpGenAddr const & groupDelBookmark() const { return groupDelBookmark_; }
  Nettle::IpGenAddr const & sourceDelBookmark() const { return sourceDelBookmark_; }

  // One slice, of `quantum` seconds. False if there was nothing to do.
  bool doReview(Zet::Seconds quantum);

 private:
  void doTakeSnapshot();
  bool doReviewIntf(DelIntf const & delIntf, Keel::Budget const & budget);
  template <class Groups>
  bool doReviewGroups(Fastdrop & fastdrop, Groups const & groups, Keel::Budget const & budget);
  bool doReviewGroup(Fastdrop & fastdrop, Nettle::IpGenAddr group, Keel::Budget const & budget);
  bool doReviewSources(GroupInfo & group, Keel::Budget const & budget);
  void doDeleteIntf(Fastdrop const & fastdrop);

  Zet::Ptr<Status> const status_;
  Zet::Ptr<DelSet> pendingSet_ = Zet::make<DelSet>();
  Zet::Ptr<DelSet> reviewSet_;
  Nettle::IntfId intfDelBookmark_;
  Nettle::IpGenAddr groupDelBookmark_;
  Nettle::IpGenAddr sourceDelBookmark_;
};

}  // namespace Brindle::BoundaryFastdrop
