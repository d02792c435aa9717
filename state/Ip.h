// IP interfaces and VRFs.
#pragma once

#include "platform/DenseMap.h"
#include "platform/IntfId.h"
#include "platform/IpGenAddr.h"
#include "platform/KeyedEntity.h"
#include "platform/NamespaceName.h"
#include "platform/VrfName.h"

namespace Ip {

using Zet::operator<<;

// What an interface has above its addresses.
struct L3Status {
  L3::VrfName vrf;

  bool operator==(L3Status const &) const = default;
  static constexpr char const * zetType = "Ip::L3Status";
  static constexpr auto zetFields() { return std::array{Zet::field<&L3Status::vrf>("vrf")}; }
};

// An interface with IP on it.
class IpIntfStatus : public Zet::KeyedEntity<Nettle::IntfId> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<IpIntfStatus, Zet::Entity> {
   public:
    virtual void onL3Status() {}
    virtual void onActiveAddrWithMask() {}
    virtual void onActiveSecondaryWithMask(Nettle::IpAddrWithMask const &) {}
  };
  using KeyedEntity::KeyedEntity;

  L3Status const & l3Status() const { return l3Status_; }
  void l3StatusIs(L3Status const & v) { assign(l3Status_, v, &NotifieeConst::onL3Status); }
  // The VRF of l3Status; empty while the interface is in none.
  L3::VrfName vrf() const { return l3Status_.vrf; }
  void vrfIs(L3::VrfName v) { l3StatusIs({v}); }

  // The primary IPv4 address; null if there is none.
  Nettle::IpAddrWithMask const & activeAddrWithMask() const { return activeAddrWithMask_; }
  void activeAddrWithMaskIs(Nettle::IpAddrWithMask const & v) {
    assign(activeAddrWithMask_, v, &NotifieeConst::onActiveAddrWithMask);
  }

  auto const & activeSecondaryWithMask() const { return activeSecondaryWithMask_; }
  bool activeSecondaryWithMask(Nettle::IpAddrWithMask const & k) const {
    return activeSecondaryWithMask_.contains(k);
  }
  void activeSecondaryWithMaskIs(Nettle::IpAddrWithMask const & k, bool v) {
    flag<&NotifieeConst::onActiveSecondaryWithMask>(activeSecondaryWithMask_, k, v);
  }
  void activeSecondaryWithMaskDel(Nettle::IpAddrWithMask const & k) {
    activeSecondaryWithMaskIs(k, false);
  }

 private:
  L3Status l3Status_;
  Nettle::IpAddrWithMask activeAddrWithMask_;
  Zet::OrderedSet<Nettle::IpAddrWithMask> activeSecondaryWithMask_;
};

class Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onIpIntfStatus(Nettle::IntfId const &) {}
  };

  auto const & ipIntfStatus() const { return ipIntfStatus_; }
  IpIntfStatus const * ipIntfStatus(Nettle::IntfId k) const { return ipIntfStatus_.find(k); }
  Zet::Ptr<IpIntfStatus> ipIntfStatusIs(Nettle::IntfId k) {
    return create<&NotifieeConst::onIpIntfStatus>(ipIntfStatus_, k);
  }
  void ipIntfStatusDel(Nettle::IntfId k) {
    erase<&NotifieeConst::onIpIntfStatus>(ipIntfStatus_, k);
  }

 private:
  Zet::DenseMap<Nettle::IntfId, IpIntfStatus> ipIntfStatus_;
};

// A VRF of this switch.
class VrfStatusLocal : public Zet::KeyedEntity<L3::VrfName> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<VrfStatusLocal, Zet::Entity> {
   public:
    virtual void onNetworkNamespace() {}
  };
  using KeyedEntity::KeyedEntity;

  // The network namespace that the kernel holds the VRF in (ip-netns(8)); empty until it is made.
  Nettle::NamespaceName const & networkNamespace() const { return networkNamespace_; }
  void networkNamespaceIs(Nettle::NamespaceName const & v) {
    assign(networkNamespace_, v, &NotifieeConst::onNetworkNamespace);
  }

 private:
  Nettle::NamespaceName networkNamespace_;
};

class AllVrfStatusLocal : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<AllVrfStatusLocal, Zet::Entity> {
   public:
    virtual void onVrf(L3::VrfName const &) {}
  };

  auto const & vrf() const { return vrf_; }
  VrfStatusLocal const * vrf(L3::VrfName k) const { return vrf_.find(k); }
  Zet::Ptr<VrfStatusLocal> vrfIs(L3::VrfName k) { return create<&NotifieeConst::onVrf>(vrf_, k); }
  void vrfDel(L3::VrfName k) { erase<&NotifieeConst::onVrf>(vrf_, k); }

 private:
  Zet::HashMap<L3::VrfName, VrfStatusLocal> vrf_;
};

}  // namespace Ip
