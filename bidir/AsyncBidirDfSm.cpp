#include "bidir/AsyncBidirDfSm.h"

#include <algorithm>

#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("AsyncBidirDfSm", false);

}  // namespace

// --- Lifecycle

AsyncBidirDfSm::AsyncBidirDfSm(L3::VrfName vrfName, Zet::Ptr<BidirStatus const> const & bidirStatus,
                               Zet::Ptr<AsyncFabric> const & fabric,
                               Zet::Ptr<Zet::Clock const> const & clock,
                               Zet::Ptr<IntfVlanId::Table const> const & intfVlanIdTable)
    : vrfName_(vrfName),
      fabric_(fabric),
      intfVlanIdTable_(intfVlanIdTable) {
  zetBidirStatus_.attach(bidirStatus);
  zetFabric_.attach(fabric);
  clock_.attach(clock);
  zetIntfVlanIdTable_.attach(intfVlanIdTable);
  handleInitialized();
}

void AsyncBidirDfSm::handleInitialized() {
  SKEIN("AsyncBidirDfSm::handleInitialized ", vrfName_);
  clock_->timeMinIs(Zet::Clock::never);
  initialized_ = true;
  lastVlans_.adopt(*intfVlanIdTable_);
  updateDfProfileInfo();
}

void AsyncBidirDfSm::handleDel() {
  initialized_ = false;
  for (auto i = dfProfileInfo_.begin(); i; i.advance()) i->zetDoZombieReactors(true);
}

void AsyncBidirDfSm::handleChip(Zet::Name name) {
  if (!initialized_) return;
  for (auto i = dfProfileInfo_.begin(); i; i.advance()) i->handleChip(name);
}

// --- Profiles

void AsyncBidirDfSm::updateDfProfileInfo() {
  auto const * const status = zetBidirStatus_.target();
  Zet::replay(status ? &status->dfProfile() : nullptr, dfProfileInfo_,
              [this](IntfId intf) { updateDfProfileInfo(intf); });
}

void AsyncBidirDfSm::updateDfProfileInfo(IntfId intfId) {
  if (!initialized_ || !zetBidirStatus_.target()) return;
  auto const profile = zetBidirStatus_.target()->dfProfile(intfId);
  Zet::Ptr<ZetDfProfileInfo> zet(dfProfileInfo_.find(intfId));
  if (profile == Shoal::Multicast::Fib::DfProfile()) {
    if (!zet) return;
    ZET_TRACE(5, " Del dfProfile for intf " << intfId);
    dfProfileInfo_.del(intfId);
    failedDfProfileDel(intfId);
    zet->doEnd();
    return;
  }
  if (!zet) {
    ZET_TRACE(5, " Creating dfProfileInfo for intf " << intfId);
    zet = Zet::make<ZetDfProfileInfo>(this, Zet::make<DfProfileInfo>(intfId));
    zet->parentIs(this);
    dfProfileInfo_.insert(zet);
  }
  ZET_TRACE(5, " Add dfProfile for intf " << intfId << " bitmap: " << profile.bitmap);
  zet->dfProfileInfo()->rpaBitmapIs({profile.bitmap});
}

void AsyncBidirDfSm::handleInternalVlanId(IntfId intfId) {
  if (!initialized_) return;
  auto const change = lastVlans_.note(*intfVlanIdTable_, intfId);
  ZET_TRACE(8, intfId << " new VlanId " << change.is << " oldVlanId " << change.was);
  Zet::Ptr<ZetDfProfileInfo> const zet(dfProfileInfo_.find(intfId));
  if (!change || !zet) return;
  zet->delDfProfile();
  zet->handleDfProfile();
}

// --- Retry

void AsyncBidirDfSm::doReview() {
  if (!initialized_) return;
  clock_->timeMinIs(std::max(clock_.target()->now(), lastRetry_ + reviewTime_));
}

void AsyncBidirDfSm::handleClock() {
  Zet::Ptr<AsyncBidirDfSm> const self(this);
  SKEIN("AsyncBidirDfSm::handleClock ", vrfName_, " ", failedDfProfile_.size());
  ZET_TRACE(8, vrfName_ << " handle failedDfProfile " << failedDfProfile_.size());
  for (auto i = failedDfProfile_.begin(); i; i.advance()) {
    Zet::Ptr<ZetDfProfileInfo> const profile(i->value.dfProfileInfo);
    doRetry(*profile);
  }
  bool const isDone = failedDfProfile_.empty();
  clock_->timeMinIs(isDone ? Zet::Clock::never : clock_.target()->now() + reviewTime_);
}

void AsyncBidirDfSm::doRetry(ZetDfProfileInfo & profile) {
  BidirDfFailureReason const reason = profile.reason();
  if (!reason) {
    ZET_TRACE(5, " reason is NULL, delete " << profile.intf() << " from failedDfProfile ");
    failedDfProfileDel(profile.intf());
  } else if (profile.hasXactsOut()) {
    ZET_TRACE(8, "Inprogress, Skipping handleDfProfile for " << profile.intf());
  } else {
    if (reason.inProgress()) {
      ZET_TRACE(8, "unset inProgress in reason, invoke handleDfProfile " << profile.intf());
      profile.reasonIs({reason.value & ~BidirDfFailureReason::inProgressBit});
    }
    lastRetry_ = clock_.target()->now();
    profile.handleDfProfile();
  }
}

void valueToStrep(std::string & out, AsyncBidirDfSm::FailedDfProfile const & v) {
  out += "Value('Brindle::AsyncBidirDfSm::FailedDfProfile', ** {'intf': ";
  Zet::valueToStrep(out, v.intf);
  out += ", 'dfProfileInfo': ";
  if (v.dfProfileInfo) {
    Zet::valueToStrep(out, v.dfProfileInfo->intf());
  } else {
    out += "None";
  }
  out += "})";
}

}  // namespace Brindle
