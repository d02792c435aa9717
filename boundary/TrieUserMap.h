// What a boundary has matched: for each prefix that an interface denies, the groups that were
// recorded because of it, which are withdrawn when the prefix goes.
#pragma once

#include "platform/IntfId.h"
#include "platform/IpGenAddr.h"
#include "platform/KeyedEntity.h"

namespace Brindle::BoundaryFastdrop {

// One prefix. A group stays here after its record has aged out.
class TrieEntryInfo final : public Zet::KeyedEntity<Nettle::IpGenPrefix> {
 public:
  using KeyedEntity::KeyedEntity;

  auto const & group() const { return group_; }
  void groupIs(Nettle::IpGenAddr const & k) { group_.at(k) = true; }

 private:
  Zet::HashMap2018<Nettle::IpGenAddr, bool> group_;
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
