// What a boundary has matched: for each prefix that an interface denies, the groups that were
// recorded because of it, which are withdrawn when the prefix goes.
#pragma once

#include "state/BoundaryFastdrop.h"

namespace Brindle::BoundaryFastdrop {

// One prefix.
class TrieEntryInfo final : public Zet::KeyedEntity<Nettle::IpGenPrefix> {
 public:
  using KeyedEntity::KeyedEntity;

  // A group stays here for a while after its record has aged out.
  auto const & group() const { return group_; }
  void groupIs(Nettle::IpGenAddr const & k) { group_.at(k) = true; }
  // Looks at some groups, others than the last time, and drops those of which nothing is recorded.
  // Done for each new group, this keeps the groups here at no more than twice the recorded ones.
  void doForgetSome(Fastdrop const & recorded) {
    constexpr int some = 2;
    for (int n = 0; n < some; ++n) {
      auto at = group_.startAt(next_);
      if (!at) at = group_.begin();
      if (!at) return;
      Nettle::IpGenAddr const looked = at.key();
      at.advance();
      next_ = at ? at.key() : Nettle::IpGenAddr();
      if (!recorded.group(looked)) group_.del(looked);
    }
  }

 private:
  Zet::HashMap2018<Nettle::IpGenAddr, bool> group_;
  Nettle::IpGenAddr next_;
};

// One interface.
class TrieUserMap final : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  using KeyedEntity::KeyedEntity;

  auto const & trieEntryInfo() const { return trieEntryInfo_; }
  TrieEntryInfo * trieEntryInfo(Nettle::IpGenPrefix const & k) const {
    return trieEntryInfo_.find(k);
  }
  Zet::Ptr<TrieEntryInfo> trieEntryInfoIs(Nettle::IpGenPrefix const & k) {
    if (!trieEntryInfo_.contains(k)) trieEntryInfo_.insert(Zet::make<TrieEntryInfo>(k));
    return trieEntryInfo_.find(k);
  }
  void trieEntryInfoDel(Nettle::IpGenPrefix const & k) { trieEntryInfo_.del(k); }

 private:
  Zet::HashMap<Nettle::IpGenPrefix, TrieEntryInfo> trieEntryInfo_;
};

}  // namespace Brindle::BoundaryFastdrop
