// The boundary of one interface in the chips.
//
// Traffic to each denied prefix of groups is dropped where it comes in: with the subnets of the
// interface known, from each of them, otherwise from anywhere. BoundarySm makes one for each
// interface with a boundary and a VLAN, and makes it anew when either changes.
#pragma once

#include "boundary/BoundaryIntfSmBase.h"
#include "fabric/TcamEntry.h"
#include "platform/String.h"
#include "state/PimIntf.h"

namespace Brindle {

class BoundarySm;

// An entry of a boundary, for one prefix of sources.
class SPrefixInfo final : public Zet::KeyedEntity<Nettle::IpGenPrefix>, public TcamEntry {
 public:
  using KeyedEntity::KeyedEntity;
};

// A denied prefix of groups.
class PrefixInfo final : public Zet::KeyedEntity<Nettle::IpGenPrefix> {
 public:
  using KeyedEntity::KeyedEntity;
  auto const & sPrefixInfo() const { return sPrefixInfo_; }
  SPrefixInfo * sPrefixInfo(Nettle::IpGenPrefix const & k) const { return sPrefixInfo_.find(k); }
  Zet::Ptr<SPrefixInfo> sPrefixInfoIs(Nettle::IpGenPrefix const & k) {
    Zet::Ptr<SPrefixInfo> const info = Zet::make<SPrefixInfo>(k);
    sPrefixInfo_.insert(info);
    return info;
  }
  void sPrefixInfoDel(Nettle::IpGenPrefix const & k) { sPrefixInfo_.del(k); }

 private:
  Zet::HashMap<Nettle::IpGenPrefix, SPrefixInfo> sPrefixInfo_;
};

class BRINDLE_API BoundaryIntfSm final : public BoundaryIntfSmBase {
 public:
  using IntfStatus = Routing::Multicast::Fib::PimIntf::IntfStatus;

  // The subnets are those of prefixIntfStatus(). The owner must outlive it.
  BoundaryIntfSm(Zet::String const & intfName, Bridging::VlanId vlanId,
                 Zet::Ptr<Fabric> const & fabric, Zet::Ptr<IntfBoundaryStatus const> const & intf,
                 Zet::Ptr<IntfStatus const> const & subnets, BoundarySm * owner);
  Zet::String const & fwkKey() const { return intfName_; }
  Zet::String const & intfName() const { return intfName_; }
  Bridging::VlanId vlanId() const { return vlanId_; }

  // Takes all entries out of the chips.
  void handleDel() override;
  bool initialized() const { return initialized_; }

  // The connected subnets; null if they are not known.
  IntfStatus const * prefixIntfStatus() const { return zetPrefixIntfStatus_.target(); }
  void prefixIntfStatusIs(Zet::Ptr<IntfStatus const> const & v);
  auto const & prefixInfo() const { return prefixInfo_; }
  U32 prefixInfos() const { return prefixInfo_.size(); }

  void handleRoute();
  void handleRoute(Nettle::IpGenPrefix const & source);

 private:
  struct ZetPrefixIntfStatus final : Zet::Reactor<IntfStatus const, BoundaryIntfSm> {
    using Reactor::Reactor;
    void onRoute(Nettle::IpGenPrefix const & source) override { sm()->handleRoute(source); }
    void immediatePass() override { sm()->handleRoute(); }
  };

  void handleInitialized();
  void doAddPrefix(Nettle::IpGenPrefix const & group) override;
  void doDeletePrefix(Nettle::IpGenPrefix const & group) override;
  void doDeleteGone();
  void doAddPrefixMroute(Nettle::IpGenPrefix const & source);
  void doDeletePrefixMroute(Nettle::IpGenPrefix const & source);
  void doAddBoundaryPrefixMroute(Nettle::IpGenPrefix const & group,
                                 Nettle::IpGenPrefix const & source);
  void doDeleteBoundaryPrefixMroute(Nettle::IpGenPrefix const & group,
                                    Nettle::IpGenPrefix const & source);

  // Fixed at construction
  Zet::String const intfName_;
  Bridging::VlanId const vlanId_;
  Zet::Ptr<Fabric> const fabric_;
  BoundarySm * const owner_;

  // State
  bool initialized_ = false;
  Zet::HashMap<Nettle::IpGenPrefix, PrefixInfo> prefixInfo_;

  // Reactors
  Zet::ReactorPtr<ZetPrefixIntfStatus> zetPrefixIntfStatus_{this};
};

}  // namespace Brindle
