#include "boundary/BoundaryConfigSm.h"

#include <cstdlib>

#include "platform/ActivityManager.h"
#include "platform/Assert.h"
#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

using BoundaryFastdrop::BoundarySmMode;
using enum BoundarySmRunState;
using enum TcamBoundarySupport;

Zet::TraceHandle traceHandle("BoundaryConfigSm", false);

// --- What is to run

enum class If : U8 { no, yes, any };

// What of the system the decision looks at.
struct Situation {
  bool fixed;          // a system without linecards
  bool linecards;      // some linecard cannot hold boundaries
  bool own;            // this process has a card, which can
  bool tcamReady;      // what BoundarySm needs is there
  bool fastdropReady;  // what BoundaryFastdropRootSm needs is there
};

// What is empty keeps its value.
struct Decision {
  std::optional<BoundarySmRunState> tcam;
  std::optional<BoundarySmRunState> fastdrop;
  std::optional<BoundarySmMode> fastdropMode;
};

struct Row {
  If fixed, linecards, own, tcamReady, fastdropReady;
  Decision decision;

  bool fits(Situation const & s) const {
    auto const one = [](If wanted, bool is) {
      return wanted == If::any || is == (wanted == If::yes);
    };
    return one(fixed, s.fixed) && one(linecards, s.linecards) && one(own, s.own) &&
           one(tcamReady, s.tcamReady) && one(fastdropReady, s.fastdropReady);
  }
};

constexpr auto yes = If::yes, no = If::no, any = If::any;
constexpr auto keep = std::nullopt;
constexpr auto forSystem = BoundarySmMode::system;

// The first row that fits counts.
// clang-format off
constexpr Row rows[] = {
    // fixed linecards own  tcam fastdrop   tcam   fastdrop  mode
    //                      ready ready
    {yes,    any,      yes, yes, any,      {start, stop,     keep}},
    {yes,    any,      yes, no,  any,      {keep,  keep,     keep}},
    {yes,    any,      no,  any, yes,      {stop,  start,    forSystem}},
    {yes,    any,      no,  any, no,       {keep,  keep,     keep}},
    {no,     yes,      any, any, yes,      {stop,  start,    forSystem}},
    {no,     yes,      any, any, no,       {stop,  keep,     keep}},
    {no,     no,       yes, yes, any,      {start, stop,     keep}},
    {no,     no,       any, any, any,      {keep,  stop,     keep}},
};
// clang-format on

Decision decisionOf(Situation const & situation) {
  for (Row const & row : rows) {
    if (row.fits(situation)) return row.decision;
  }
  ZET_ASSERT(false, "a row fits");
  return {};
}

}  // namespace

// --- Lifecycle

BoundaryConfigSm::BoundaryConfigSm(BoundaryConfigSmIs const & in) : in_(in) {
  zetEpochStatus_.attach(in_.epochStatus);
  handleInitialized();
}

void BoundaryConfigSm::handleInitialized() {
  SKEIN("BoundaryConfigSm::handleInitialized ", myLinecardName().view());
  tcamSmRunState_ = stop;
  fastdropSmRunState_ = stop;
  boundarySmPolicyIs(BoundarySmPolicy::runPerSystem);
  initFastdropLinecardsColl();
  resolveBoundarySmPolicy();
  applyBoundarySmRunState();
  initialized_ = true;
}

// --- Cards

bool BoundaryConfigSm::isTcamSmReady() const {
  return in_.pimIntfStatus && in_.fabric && in_.intfVlanIdTable;
}

bool BoundaryConfigSm::isFastdropSmReady() const {
  return in_.mfibStatus && in_.allVrfStatusLocal && in_.kernelMfibStatusColl && in_.routingHwStatus;
}

TcamBoundarySupport BoundaryConfigSm::isTcamBoundarySupported(Zet::String const & linecard) const {
  if (!in_.epochStatus) {
    ZET_TRACE(8, linecard << ", epochStatus is NULL");
    return tcamNotSupported;
  }
  auto const * card = in_.epochStatus->card(Zet::Name(linecard.view()));
  if (!card && !std::getenv("SIMULATION_VMID")) {
    ZET_TRACE(8, linecard << ", cardStatus is NULL");
    return tcamNotSupported;
  }
  if (!card) {
    ZET_TRACE(8, linecard << ", no cardStatus or ignoring epoch");
    return tcamSupported;
  }
  auto const name = HwEpoch::stringValue(HwEpoch::EpochFeature::tcamBoundary);
  auto const * feature = card->feature(Zet::Name(name.view()));
  if (!feature) {
    ZET_TRACE(8, linecard << ", feature is NULL");
    return tcamNotSupported;
  }
  return feature->mode() == HwEpoch::RestrictionStatus::supported ? tcamSupported
                                                                  : tcamNotSupported;
}

void BoundaryConfigSm::initFastdropLinecardsColl() {
  if (in_.epochStatus) {
    for (auto const & card : in_.epochStatus->card()) {
      Zet::String const name(card.key().view());
      if (isTcamBoundarySupported(name) == tcamNotSupported) fastdropLinecards_.insert(name);
    }
  }
  ZET_TRACE(8, fastdropLinecards_.size() << " linecards in fastrop mode");
}

void BoundaryConfigSm::handleLinecard(Zet::Name linecard) {
  if (!initialized_) return;
  Zet::Ptr<BoundaryConfigSm> const self(this);  // who hears of the collection may let go of it
  SKEIN("BoundaryConfigSm::handleLinecard ", linecard);
  Zet::String const name(linecard.view());
  bool const held = in_.epochStatus && in_.epochStatus->card(linecard);
  if (held && isTcamBoundarySupported(name) == tcamNotSupported) {
    ZET_TRACE(8, ", found new " << name);
    fastdropLinecards_.insert(name);
  } else {
    ZET_TRACE(8, ", removing " << name);
    fastdropLinecards_.del(name);
  }
  resolveBoundarySmPolicy();
  applyBoundarySmRunState();
}

void BoundaryConfigSm::handleCard(Zet::Name linecard) {
  if (auto const * status = in_.epochStatus->card(linecard)) {
    cardStatusIs(status);
  } else {
    cardStatusDel(linecard);
  }
  handleLinecard(linecard);
}

void BoundaryConfigSm::handleCard() {
  if (!zetEpochStatus_.target()) return;
  auto const & cards = in_.epochStatus->card();
  for (auto i = cards.begin(); i; i.advance()) handleCard(i.key());
}

void BoundaryConfigSm::cardStatusIs(Zet::Ptr<HwEpoch::CardStatus const> const & status) {
  if (!status) Zet::throwNullParameter("Brindle::BoundaryConfigSm::cardStatus");
  auto const * held = cardStatus_.find(status->key());
  if (held && held->notifier() == status.get()) return;
  cardStatus_.del(status->key());
  cardStatus_.insert(Zet::make<ZetCardStatus>(this, status));
}

BoundaryConfigSm::ZetCardStatus::ZetCardStatus(BoundaryConfigSm * sm,
                                               Zet::Ptr<HwEpoch::CardStatus const> const & status)
    : sm_(sm),
      card_(status->key()) {
  zetStatus_.attach(status);
}

void BoundaryConfigSm::ZetCardStatus::featureIs(
    Zet::Ptr<HwEpoch::RestrictionStatus const> const & feature) {
  if (!feature) Zet::throwNullParameter("Brindle::BoundaryConfigSm::ZetCardStatus::feature");
  zetFeature_.attach(feature->key(), feature);
}

void BoundaryConfigSm::ZetCardStatus::handleFeature(Zet::Name name) {
  if (auto const * feature = notifier()->feature(name)) {
    featureIs(feature);
  } else {
    featureDel(name);
  }
  sm_->handleLinecard(card_);
}

void BoundaryConfigSm::ZetCardStatus::handleFeature() {
  auto const & features = notifier()->feature();
  for (auto i = features.begin(); i; i.advance()) handleFeature(i.key());
}

// --- The decision

void BoundaryConfigSm::resolveBoundarySmPolicy() {
  SKEIN("BoundaryConfigSm::resolveBoundarySmPolicy");
  if (!isFixedSystem() && boundarySmPolicy_ != BoundarySmPolicy::runPerSystem) {
    ZET_TRACE(0, ", policy not fully supported");
    ZET_ASSERT(false, "0");
  }
  auto const decision =
      decisionOf({.fixed = isFixedSystem(),
                  .linecards = !fastdropLinecards_.empty(),
                  .own = !myLinecardName().empty() &&
                         isTcamBoundarySupported(myLinecardName()) == tcamSupported,
                  .tcamReady = isTcamSmReady(),
                  .fastdropReady = isFastdropSmReady()});
  tcamSmRunState_ = decision.tcam.value_or(tcamSmRunState_);
  fastdropSmRunState_ = decision.fastdrop.value_or(fastdropSmRunState_);
  fastdropSmMode_ = decision.fastdropMode.value_or(fastdropSmMode_);
  ZET_ASSERT(!myLinecardName().empty() || tcamSmRunState_ == stop,
             "myLinecardName() not_eq \"\" or tcamSmRunState() == stop()");
  ZET_ASSERT(myLinecardName().empty() || isFixedSystem() || fastdropSmRunState_ == stop,
             "myLinecardName() == \"\" or isFixedSystem() or fastdropSmRunState() == stop()");
}

void BoundaryConfigSm::applyBoundarySmRunState() {
  if (tcamSmRunState_ == start) {
    ZET_TRACE(8, ", starting tcamBoundarySm");
    tcamBoundarySmIs(Zet::activityManager()->clock());
  } else {
    ZET_TRACE(8, ", stopping tcamBoundarySm");
    tcamBoundarySmDel();
  }
  if (fastdropSmRunState_ == start) {
    ZET_TRACE(8, ", starting fastdropBoundarySm");
    fastdropStatusCollIs();
    fastdropBoundarySmIs(fastdropSmMode_);
  } else {
    ZET_TRACE(8, ", stopping fastdropBoundarySm");
    fastdropStatusCollDel();
    fastdropBoundarySmDel();
  }
}

// --- What runs

void BoundaryConfigSm::tcamBoundarySmIs(Zet::Ptr<Zet::Clock const> const & clock) {
  if (tcamBoundarySm_ && tcamBoundarySm_->inputs().clock == clock) return;
  tcamBoundarySm_ = nullptr;
  tcamBoundarySm_ = boundarySmFactory({.mfibStatus = in_.mfibStatus,
                                       .prefixMrouteStatus = in_.pimIntfStatus,
                                       .fabric = in_.fabric,
                                       .clock = clock,
                                       .intfVlanIdTable = in_.intfVlanIdTable});
}

void BoundaryConfigSm::fastdropBoundarySmIs(Mode mode) {
  if (fastdropBoundarySm_ && fastdropBoundarySm_->mode() == mode) return;
  fastdropBoundarySm_ = nullptr;
  fastdropBoundarySm_ = Zet::make<BoundaryFastdrop::BoundaryFastdropRootSm>(
      BoundaryFastdrop::BoundaryFastdropRootSm::Inputs{
          .allVrfStatusLocal = in_.allVrfStatusLocal,
          .kernelMfibStatusColl = in_.kernelMfibStatusColl,
          .vrfConfig = in_.vrfConfig,
          .mfibStatus = in_.mfibStatus,
          .statusColl = fastdropStatusColl_,
          .routingHwStatus = in_.routingHwStatus,
          .mode = mode,
          .newPam = in_.newPam});
}

void BoundaryConfigSm::fastdropStatusCollIs() {
  if (fastdropStatusColl_) return;
  fastdropStatusColl_ = Zet::make<BoundaryFastdrop::StatusColl>();
  notify(&NotifieeConst::onFastdropStatusColl);
}

void BoundaryConfigSm::fastdropStatusCollDel() {
  if (!fastdropStatusColl_) return;
  fastdropStatusColl_ = nullptr;
  notify(&NotifieeConst::onFastdropStatusColl);
}

}  // namespace Brindle
