// Multicast boundaries on chips that cannot hold them, in one VRF.
//
// Traffic that a boundary denies is not stopped ahead: it comes to the kernel, which has no route
// for it and says so on its multicast routing socket. This machine holds the group of each such
// message against the prefixes that the interface denies, by longest match, and records what it
// finds in a BoundaryFastdrop::Status; the resolver makes drops in hardware of the records. What a
// boundary denies no more is withdrawn by a paced review (BoundaryDelReview).
//
// Prefixes of boundaries that are not IPv4 are passed over.
#pragma once

#include "boundary/BoundaryDelReview.h"
#include "boundary/BoundarySmMode.h"
#include "boundary/MrtPam.h"
#include "boundary/TrieUserMap.h"
#include "platform/Reactor.h"
#include "platform/ReviewTimer.h"
#include "state/IntfBoundary.h"
#include "state/KernelMfib.h"
#include "state/Routing.h"

namespace Brindle::BoundaryFastdrop {

class BRINDLE_API BoundaryFastdropSm final : public Zet::Sm, public Zet::HashLink {
 public:
  using Pam = MrtPam::Pam;
  using IntfBoundaryStatus = Nettle::IntfBoundaryStatus;

  struct Inputs {
    Zet::Ptr<MrtPam> mrtPam{};
    Zet::Ptr<Status> status{};
    Zet::Ptr<Routing::Multicast::Fib::Status const> mfibStatus{};
    // Null: no message is read.
    Zet::Ptr<Routing::KernelMfib::Status const> vifStatus{};
    Zet::Ptr<Routing::Hardware::Status const> routingHwStatus{};
    BoundarySmMode mode = BoundarySmMode::linecard;
  };
  BoundaryFastdropSm(L3::VrfName vrf, Inputs const & in);
  L3::VrfName const & fwkKey() const { return vrfName_; }
  Zet::Name name() const override { return vrfName_.name(); }
  L3::VrfName vrfName() const { return vrfName_; }
  Zet::Ptr<MrtPam> const & mrtPam() const { return in_.mrtPam; }
  Zet::Ptr<Status> const & status() const { return in_.status; }
  BoundarySmMode mode() const { return in_.mode; }

  // Lifecycle
  bool initialized() const { return initialized_; }
  void handleInitialized();

  // Boundaries. Null throws RangeException.
  void intfBoundaryStatusIs(Zet::Ptr<IntfBoundaryStatus const> const & status);
  void intfBoundaryStatusDel(Zet::Name intf);
  auto const & trieUserMap() const { return trieUserMap_; }
  TrieUserMap * trieUserMap(Nettle::IntfId intf) const { return trieUserMap_.find(intf); }
  // Ends the process: what the hardware can do is settled before the machine starts.
  void handleMulticastStarGSupported();

  // Messages. Reads what there is, for loopQuantum seconds at most.
  void rxPkt();
  Zet::Seconds loopQuantum() const { return loopQuantum_; }
  void loopQuantumIs(Zet::Seconds v) { loopQuantum_ = v; }
  U32 pktMgrBuffSize() const { return 8124; }
  U32 maxRxPktDataSize() const { return 8124; }
  // Messages on interfaces that have a boundary, whether it denies the group or not.
  U32 noCacheCounter() const { return noCacheCounter_; }

  // The review that withdraws
  BoundaryDelReview const & boundaryDelReview() const { return boundaryDelReview_; }
  Zet::Ptr<Keel::ReviewTimer> const & boundaryDelReviewTimer() const {
    return boundaryDelReviewTimer_;
  }
  Zet::Seconds boundaryDelReviewQuantum() const { return boundaryDelReviewQuantum_; }
  void boundaryDelReviewQuantumIs(Zet::Seconds v) { boundaryDelReviewQuantum_ = v; }
  void doKickBoundaryDelReview();
  // One slice.
  void handleBoundaryDelClock();

 private:
  struct ZetMrtPam final : Zet::Reactor<MrtPam, BoundaryFastdropSm> {
    using Reactor::Reactor;
    void onPam() override { sm()->handlePam(); }
    void immediatePass() override { sm()->handlePam(); }
  };
  struct ZetPamIn final : Zet::Reactor<Pam, BoundaryFastdropSm> {
    using Reactor::Reactor;
    void onReadableCount() override { sm()->rxPkt(); }
  };
  struct ZetMfibStatus final
      : Zet::Reactor<Routing::Multicast::Fib::Status const, BoundaryFastdropSm> {
    using Reactor::Reactor;
    void onIntfBoundaryStatus(Zet::Name const & intf) override { sm()->handleMfibStatus(intf); }
    void immediatePass() override { sm()->handleMfibStatus(); }
  };
  struct ZetIntfBoundaryStatus final
      : Zet::KeyedReactor<Zet::Name, IntfBoundaryStatus const, BoundaryFastdropSm> {
    using KeyedReactor::KeyedReactor;
    void onBoundary(Nettle::IpGenPrefix const & prefix) override { handleBoundaryPrefix(prefix); }
    void immediatePass() override { handleInitialized(); }
    void handleInitialized();
    void handleBoundaryPrefix(Nettle::IpGenPrefix const & prefix);
  };
  struct ZetRoutingHwStatus final
      : Zet::Reactor<Routing::Hardware::Status const, BoundaryFastdropSm> {
    using Reactor::Reactor;
    void onHwMulticastStarGSupported() override { sm()->handleMulticastStarGSupported(); }
  };
  struct ZetBoundaryDelClock final : Zet::Reactor<Zet::Clock const, BoundaryFastdropSm> {
    using Reactor::Reactor;
    void onTime() override { sm()->handleBoundaryDelClock(); }
  };

  void handlePam();
  void doSetPamOptions();
  void handleMfibStatus(Zet::Name intf);
  void handleMfibStatus();
  void handleIntfBoundary(Zet::Name intf);
  void doInstantiateTrie(IntfBoundaryStatus const & status);
  void doDeleteIntfBoundary(Nettle::IntfId intf);
  void doDeleteDenyPrefixTrie(Nettle::IntfId intf);
  void doCleanupPrefix(Nettle::IntfId intf, Nettle::IpGenPrefix const & prefix);
  Zet::Ptr<TrieUserMap> trieUserMapIs(Nettle::IntfId intf);
  void doHandlePkt(Nettle::Pkt const & pkt);
  void doRecord(Fastdrop & fastdrop, Nettle::IpGenPrefix const & match,
                Nettle::IpGenAddr const & source, Nettle::IpGenAddr const & group);

  // Fixed at construction
  L3::VrfName const vrfName_;
  Inputs const in_;

  // State
  bool initialized_ = false;
  U32 noCacheCounter_ = 0;
  Zet::Seconds loopQuantum_ = 0.5;
  Zet::Seconds boundaryDelReviewQuantum_ = 0.05;
  Zet::HashMap<Nettle::IntfId, TrieUserMap> trieUserMap_;
  BoundaryDelReview boundaryDelReview_;
  Zet::Ptr<Keel::ReviewTimer> boundaryDelReviewTimer_;

  // Reactors
  Zet::ReactorPtr<ZetMrtPam> zetMrtPam_{this};
  Zet::ReactorPtr<ZetPamIn> zetPamIn_{this};
  Zet::ReactorPtr<ZetMfibStatus> zetMfibStatus_{this};
  Zet::ReactorMap<Zet::Name, ZetIntfBoundaryStatus> intfBoundaryStatus_{this};
  Zet::ReactorPtr<ZetRoutingHwStatus> zetRoutingHwStatus_{this};
  Zet::ReactorPtr<ZetBoundaryDelClock> boundaryDelClock_{this};
};

}  // namespace Brindle::BoundaryFastdrop
