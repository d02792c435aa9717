// Decides which machine of multicast boundaries runs in this process: the one that puts them into
// chips (BoundarySm), or the one that learns from the kernel what to drop
// (BoundaryFastdropRootSm).
//
// The generation of the hardware on each card says whether its chips can hold boundaries. A fixed
// system has one card. On a modular one the supervisor and each linecard run an instance, and one
// linecard that cannot makes the whole system learn. What is to run is one table; it is looked up
// again at each change of a card, and the machine that is to stop stops.
#pragma once

#include "boundary/BoundaryFastdropRootSm.h"
#include "boundary/BoundarySm.h"
#include "boundary/BoundarySmPolicy.h"
#include "state/HwEpoch.h"

namespace Brindle {

// What the machine is made with. What the agent does not have is null: the machine that needs it
// does not start. BoundarySm needs the three from `pimIntfStatus` on, BoundaryFastdropRootSm all
// others; a linecard of a modular system must not have `allVrfStatusLocal`, `kernelMfibStatusColl`
// or `routingHwStatus`.
struct BoundaryConfigSmIs {
  Zet::Ptr<HwEpoch::Status const> epochStatus{};
  // "FixedSystem", the linecard's name, or empty on a supervisor.
  Zet::String myLinecardName{};
  Zet::Ptr<Routing::Multicast::Fib::VrfConfig const> vrfConfig{};
  Zet::Ptr<Routing::Multicast::Fib::Status const> mfibStatus{};
  Zet::Ptr<Routing::Multicast::Fib::PimIntf::Status const> pimIntfStatus{};
  Zet::Ptr<Fabric> fabric{};
  Zet::Ptr<IntfVlanId::Table const> intfVlanIdTable{};
  Zet::Ptr<Ip::AllVrfStatusLocal const> allVrfStatusLocal{};
  Zet::Ptr<Routing::KernelMfib::StatusColl const> kernelMfibStatusColl{};
  Zet::Ptr<Routing::Hardware::Status const> routingHwStatus{};
  Routing::Multicast::Notify::NewPam newPam = &Routing::Multicast::Notify::newMrtNotifySocketPam;
};

class BRINDLE_API BoundaryConfigSm final : public Zet::Sm {
 public:
  using Mode = BoundaryFastdrop::BoundarySmMode;
  class NotifieeConst : public Zet::NotifieeOf<BoundaryConfigSm, Zet::Entity> {
   public:
    virtual void onFastdropStatusColl() {}
  };

  explicit BoundaryConfigSm(BoundaryConfigSmIs const & in);
  Zet::Name name() const override { return "boundaryConfig"; }
  Zet::String const & myLinecardName() const { return in_.myLinecardName; }

  // Lifecycle
  bool initialized() const { return initialized_; }

  // Inputs
  bool isFixedSystem() const { return myLinecardName() == Zet::String("FixedSystem"); }
  bool isTcamSmReady() const;
  bool isFastdropSmReady() const;
  // The process's environment may say that there is no hardware (SIMULATION_VMID): a card of which
  // nothing is known can do everything then.
  TcamBoundarySupport isTcamBoundarySupported(Zet::String const & linecard) const;
  // The linecards that cannot hold boundaries.
  auto const & fastdropLinecards() const { return fastdropLinecards_; }

  // The decision
  BoundarySmPolicy boundarySmPolicy() const { return boundarySmPolicy_; }
  void boundarySmPolicyIs(BoundarySmPolicy v) { boundarySmPolicy_ = v; }
  BoundarySmRunState tcamSmRunState() const { return tcamSmRunState_; }
  BoundarySmRunState fastdropSmRunState() const { return fastdropSmRunState_; }
  Mode tcamSmMode() const { return Mode::linecard; }
  Mode fastdropSmMode() const { return fastdropSmMode_; }
  // The card has come, gone or changed.
  void handleLinecard(Zet::Name linecard);
  void resolveBoundarySmPolicy();
  void applyBoundarySmRunState();

  // What runs
  Zet::Ptr<BoundarySm> const & tcamBoundarySm() const { return tcamBoundarySm_; }
  Zet::Ptr<BoundaryFastdrop::BoundaryFastdropRootSm> const & fastdropBoundarySm() const {
    return fastdropBoundarySm_;
  }
  // For the resolver, as long as the machine runs that fills it.
  Zet::Ptr<BoundaryFastdrop::StatusColl> const & fastdropStatusColl() const {
    return fastdropStatusColl_;
  }

  // Follows the features of one card. Null throws RangeException.
  class ZetCardStatus;
  ZetCardStatus * cardStatus(Zet::Name linecard) const { return cardStatus_.find(linecard); }
  void cardStatusIs(Zet::Ptr<HwEpoch::CardStatus const> const & status);
  void cardStatusDel(Zet::Name linecard) { cardStatus_.del(linecard); }

 private:
  struct ZetEpochStatus final : Zet::Reactor<HwEpoch::Status const, BoundaryConfigSm> {
    using Reactor::Reactor;
    void onCard(Zet::Name const & linecard) override { sm()->handleCard(linecard); }
    void immediatePass() override { sm()->handleCard(); }
  };

  void handleInitialized();
  void initFastdropLinecardsColl();
  void handleCard(Zet::Name linecard);
  void handleCard();
  void tcamBoundarySmIs(Zet::Ptr<Zet::Clock const> const & clock);
  void tcamBoundarySmDel() { tcamBoundarySm_ = nullptr; }
  void fastdropBoundarySmIs(Mode mode);
  void fastdropBoundarySmDel() { fastdropBoundarySm_ = nullptr; }
  void fastdropStatusCollIs();
  void fastdropStatusCollDel();

  // Fixed at construction
  BoundaryConfigSmIs const in_;

  // State
  bool initialized_ = false;
  BoundarySmPolicy boundarySmPolicy_ = BoundarySmPolicy::runPerLinecard;
  BoundarySmRunState tcamSmRunState_ = BoundarySmRunState::start;
  BoundarySmRunState fastdropSmRunState_ = BoundarySmRunState::start;
  Mode fastdropSmMode_ = Mode::linecard;
  Zet::OrderedSet<Zet::String> fastdropLinecards_;
  Zet::Ptr<BoundarySm> tcamBoundarySm_;
  Zet::Ptr<BoundaryFastdrop::StatusColl> fastdropStatusColl_;
  Zet::Ptr<BoundaryFastdrop::BoundaryFastdropRootSm> fastdropBoundarySm_;

  // Reactors
  Zet::ReactorPtr<ZetEpochStatus> zetEpochStatus_{this};
  Zet::HashMap<Zet::Name, ZetCardStatus> cardStatus_;
};

class BRINDLE_API BoundaryConfigSm::ZetCardStatus final : public Zet::Sm, public Zet::HashLink {
 public:
  ZetCardStatus(BoundaryConfigSm * sm, Zet::Ptr<HwEpoch::CardStatus const> const & status);
  Zet::Name const & fwkKey() const { return card_; }
  HwEpoch::CardStatus const * notifier() const { return zetStatus_.target(); }

  // Null throws RangeException.
  void featureIs(Zet::Ptr<HwEpoch::RestrictionStatus const> const & feature);
  void featureDel(Zet::Name feature) { zetFeature_.del(feature); }

 private:
  struct ZetStatus final : Zet::Reactor<HwEpoch::CardStatus const, ZetCardStatus> {
    using Reactor::Reactor;
    void onFeature(Zet::Name const & feature) override { sm()->handleFeature(feature); }
    void immediatePass() override { sm()->handleFeature(); }
  };
  struct ZetFeature final
      : Zet::KeyedReactor<Zet::Name, HwEpoch::RestrictionStatus const, ZetCardStatus> {
    using KeyedReactor::KeyedReactor;
    void onMode() override { sm()->handleMode(); }
  };

  void handleFeature(Zet::Name feature);
  void handleFeature();
  void handleMode() { sm_->handleLinecard(card_); }

  BoundaryConfigSm * const sm_;
  Zet::Name const card_;
  Zet::ReactorPtr<ZetStatus> zetStatus_{this};
  Zet::ReactorMap<Zet::Name, ZetFeature> zetFeature_{this};
};

inline Zet::Ptr<BoundaryConfigSm> boundaryConfigSmFactory(BoundaryConfigSmIs const & in) {
  return Zet::make<BoundaryConfigSm>(in);
}

}  // namespace Brindle
