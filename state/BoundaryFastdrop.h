// Drops at multicast boundaries that were learned from traffic: for each interface with a boundary,
// the sources whose traffic to a denied group came in there.
#pragma once

#include "platform/HashMap.h"
#include "platform/IntfId.h"
#include "platform/KeyedEntity.h"
#include "platform/Seconds.h"
#include "platform/VrfName.h"
#include "state/TrieGen.h"

namespace Brindle::BoundaryFastdrop {

class SourceInfo : public Zet::KeyedEntity<Nettle::IpGenAddr> {
 public:
  using KeyedEntity::KeyedEntity;

  Zet::Seconds time() const { return time_; }
  void timeIs(Zet::Seconds v) { assign(time_, v); }

 private:
  Zet::Seconds time_ = 0;
};

class GroupInfo : public Zet::KeyedEntity<Nettle::IpGenAddr> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<GroupInfo, Zet::Entity> {
   public:
    virtual void onSource(Nettle::IpGenAddr const &) {}
  };
  using KeyedEntity::KeyedEntity;

  auto const & source() const { return source_; }
  SourceInfo * source(Nettle::IpGenAddr const & k) const { return source_.find(k); }
  Zet::Ptr<SourceInfo> sourceIs(Nettle::IpGenAddr const & k) {
    return create<&NotifieeConst::onSource>(source_, k);
  }
  void sourceDel(Nettle::IpGenAddr const & k) { erase<&NotifieeConst::onSource>(source_, k); }

 private:
  Zet::HashMap<Nettle::IpGenAddr, SourceInfo> source_;
};

// One interface.
class Fastdrop : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Fastdrop, Zet::Entity> {
   public:
    virtual void onGroup(Nettle::IpGenAddr const &) {}
  };
  using KeyedEntity::KeyedEntity;

  // The prefixes of groups that its boundary denies; null while it has none.
  Zet::Ptr<Routing::TrieGen> const & denyPrefixTrie() const { return denyPrefixTrie_; }
  void denyPrefixTrieIs(Zet::Ptr<Routing::TrieGen> const & v) { assign(denyPrefixTrie_, v); }

  auto const & group() const { return group_; }
  GroupInfo * group(Nettle::IpGenAddr const & k) const { return group_.find(k); }
  Zet::Ptr<GroupInfo> groupIs(Nettle::IpGenAddr const & k) {
    return create<&NotifieeConst::onGroup>(group_, k);
  }
  void groupDel(Nettle::IpGenAddr const & k) { erase<&NotifieeConst::onGroup>(group_, k); }

 private:
  Zet::Ptr<Routing::TrieGen> denyPrefixTrie_;
  Zet::HashMap<Nettle::IpGenAddr, GroupInfo> group_;
};

// One VRF.
class Status : public Zet::KeyedEntity<L3::VrfName> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onFastdrop(Nettle::IntfId const &) {}
  };
  using KeyedEntity::KeyedEntity;

  // The hardware drops by group alone.
  bool hwMulticastStarGSupported() const { return hwMulticastStarGSupported_; }
  void hwMulticastStarGSupportedIs(bool v) { assign(hwMulticastStarGSupported_, v); }

  auto const & fastdrop() const { return fastdrop_; }
  Fastdrop * fastdrop(Nettle::IntfId k) const { return fastdrop_.find(k); }
  Zet::Ptr<Fastdrop> fastdropIs(Nettle::IntfId k) {
    return create<&NotifieeConst::onFastdrop>(fastdrop_, k);
  }
  void fastdropDel(Nettle::IntfId k) { erase<&NotifieeConst::onFastdrop>(fastdrop_, k); }

 private:
  bool hwMulticastStarGSupported_ = false;
  Zet::HashMap<Nettle::IntfId, Fastdrop> fastdrop_;
};

class StatusColl : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<StatusColl, Zet::Entity> {
   public:
    virtual void onVrfStatus(L3::VrfName const &) {}
  };

  auto const & vrfStatus() const { return vrfStatus_; }
  Status * vrfStatus(L3::VrfName k) const { return vrfStatus_.find(k); }
  Zet::Ptr<Status> vrfStatusIs(L3::VrfName k) {
    return create<&NotifieeConst::onVrfStatus>(vrfStatus_, k);
  }
  void vrfStatusDel(L3::VrfName k) { erase<&NotifieeConst::onVrfStatus>(vrfStatus_, k); }

 private:
  Zet::HashMap<L3::VrfName, Status> vrfStatus_;
};

}  // namespace Brindle::BoundaryFastdrop
