// The connected subnets of one routed interface, for as long as (*,G) routes lean on it.
//
// Data of a directly connected source must not meet a (*,G) entry before the entry of its own
// subnet. So the subnets of an interface go into the chips first, and the (*,G) routes wait until
// they are there. The MfibShoalSm that first needs an interface makes its PimIntf::IntfStatus and
// this machine, which keeps in step with the interface's addresses:
//  - the status's `route`, the subnets that are wanted in the chips;
//  - PimIntf::Status's `srcToIntfMap`, which says where they are;
//  - the status's `routesProgrammed`: as many words of the chips were counted as there are subnets.
//    So the chips hold all of them, unless one that is wanted has left them for a while.
// It goes with the status, once no (*,G) route leans on the interface and no subnet is left.
//
// It never talks to chips: a programmer acts on `route`, and `programmed` of each subnet says what
// came of it.
#pragma once

#include "platform/Reactor.h"
#include "state/Ip.h"
#include "state/PimIntf.h"

namespace Brindle {

// What the machine of an interface is made with.
struct PrefixIntfSmIs {
  Nettle::IntfId intf;
  Zet::Ptr<Ip::IpIntfStatus const> ipIntfStatus{};
  Zet::Ptr<Routing::Multicast::Fib::PimIntf::IntfStatus> intfStatus{};
  // Holds the status, and says where each subnet is.
  Zet::Ptr<Routing::Multicast::Fib::PimIntf::Status> pimIntfStatus{};
};

class BRINDLE_API PrefixIntfSm final : public Zet::Sm, public Zet::HashLink {
 public:
  using IpIntfStatus = Ip::IpIntfStatus;
  using PimIntfStatus = Routing::Multicast::Fib::PimIntf::Status;
  using IntfStatus = Routing::Multicast::Fib::PimIntf::IntfStatus;
  using PrefixRouteInfo = Routing::Multicast::Fib::PimIntf::PrefixRouteInfo;

  // REQUIRES: who leans on the interface is counted in its status already.
  explicit PrefixIntfSm(PrefixIntfSmIs const &);
  Nettle::IntfId const & fwkKey() const { return intfId_; }
  Zet::Name name() const override { return Zet::Name(intfId_.view()); }
  Nettle::IntfId intfId() const { return intfId_; }
  IntfStatus * intfStatus() const { return zetIntfStatus_.target(); }
  // Null while there is no IP on the interface. Another one brings its own addresses.
  IpIntfStatus const * ipIntfStatus() const { return zetIpIntfStatus_.target(); }
  void ipIntfStatusIs(Zet::Ptr<IpIntfStatus const> const & v);

  // Lifecycle
  bool initialized() const { return initialized_; }

  // Addresses
  void handlePrimary();
  // The address came or went. Two addresses of one subnet share it: the first that goes takes it
  // away.
  void handleSecondary(Nettle::IpAddrWithMask const & address);
  // The interface moved: its subnets go along.
  void handleVrf();
  // The primary subnet that is wanted; null for none.
  Nettle::Prefix const & prefix() const { return prefix_; }

  // The subnets that are wanted, and how often one of them was told to be programmed
  void handleRefCount();
  void handleRoute(Nettle::IpGenPrefix const & prefix);
  // Throws RangeException for null.
  void routeIs(Zet::Ptr<PrefixRouteInfo> const & info);
  void routeDel(Nettle::IpGenPrefix const & prefix);
  auto const & route() const { return route_; }
  U32 programmedRouteCount() const { return programmedRouteCount_; }

 private:
  struct ZetIpIntfStatus final : Zet::Reactor<IpIntfStatus const, PrefixIntfSm> {
    using Reactor::Reactor;
    void onActiveAddrWithMask() override { sm()->handlePrimary(); }
    void onActiveSecondaryWithMask(Nettle::IpAddrWithMask const & address) override {
      sm()->handleSecondary(address);
    }
    void onL3Status() override { sm()->handleVrf(); }
  };
  struct ZetIntfStatus final : Zet::Reactor<IntfStatus, PrefixIntfSm> {
    using Reactor::Reactor;
    void onRefCount() override { sm()->handleRefCount(); }
    void onRoute(Nettle::IpGenPrefix const & prefix) override { handleRoute(prefix); }
    void immediatePass() override;

   private:
    void handleRoute(Nettle::IpGenPrefix const & prefix);
  };
  struct ZetRoute final : Zet::KeyedReactor<Nettle::IpGenPrefix, PrefixRouteInfo, PrefixIntfSm> {
    using KeyedReactor::KeyedReactor;
    void onProgrammed() override { handleProgrammed(); }
    void onProgrammerDel() override { handleProgrammerDel(); }
    void handleProgrammed();
    void handleProgrammerDel();
    void handleDelete(PrefixRouteInfo const & info);
  };

  void handleInitialized();
  void doAddAddresses();
  void programmedRouteCountInc(U32 n) { programmedRouteCount_ += n; }
  void programmedRouteCountDec(U32 n);
  void doAddPrefix(Nettle::Prefix const & prefix);
  void doDeletePrefix(Nettle::Prefix const & prefix);
  void doUpdateRoutesProgrammed();
  bool hasGone() const;

  // Fixed at construction
  Nettle::IntfId const intfId_;
  Zet::Ptr<PimIntfStatus> const pimIntfStatus_;

  // State
  bool initialized_ = false;
  U32 programmedRouteCount_ = 0;
  Nettle::Prefix prefix_;
  L3::VrfName vrf_;  // that srcToIntfMap has the subnets in

  // Reactors
  Zet::ReactorPtr<ZetIpIntfStatus> zetIpIntfStatus_{this};
  Zet::ReactorPtr<ZetIntfStatus> zetIntfStatus_{this};
  Zet::ReactorMap<Nettle::IpGenPrefix, ZetRoute> route_{this};
};

}  // namespace Brindle
