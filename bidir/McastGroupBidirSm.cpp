#include "bidir/McastGroupBidirSm.h"

#include "fabric/RoomRetry.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("McastGroupBidirSm", false);

}  // namespace

// --- Lifecycle

McastGroupBidirSm::McastGroupBidirSm(L3::VrfName vrfName,
                                     Zet::Ptr<BidirStatus const> const & bidirStatus,
                                     Zet::Ptr<Fabric> const & fabric,
                                     Zet::Ptr<Zet::Clock const> const & clock)
    : vrfName_(vrfName),
      fabric_(fabric) {
  zetBidirStatus_.attach(bidirStatus);
  zetFabric_.attach(fabric);
  clock_.attach(clock);
  handleInitialized();
}

void McastGroupBidirSm::handleInitialized() {
  SKEIN("McastGroupBidirSm::handleInitialized ", vrfName_);
  clock_->timeMinIs(Zet::Clock::never);
  initialized_ = true;
  handleBidirGroup();
}

// --- Chips

// A chip that comes later gets what stands; with one that goes may go what others wait for. Its
// handles stay known: it may come back with its entries.
void McastGroupBidirSm::handleChip(Zet::Name name) {
  BidirGroupChip * const chip = fabric_->bidirGroupChip(name);
  if (!zetChip_.follow(name, chip) || !initialized_) return;
  if (chip) {
    handleBidirGroup();
  } else {
    handleTcamFree();
  }
}

void McastGroupBidirSm::handleChip() {
  if (!zetFabric_.target()) return;
  Zet::replay(&fabric_->bidirGroupChip(), zetChip_, [this](Zet::Name name) { handleChip(name); });
}

// --- Prefixes

void McastGroupBidirSm::handleBidirGroup() {
  Zet::Ptr<McastGroupBidirSm> const self(this);
  auto const * const status = zetBidirStatus_.target();
  Zet::replay(status ? &status->bidirGroup() : nullptr, groupInfo_,
              [this](IpGenPrefix const & prefix) { handleBidirGroup(IpGenPrefix(prefix)); });
}

void McastGroupBidirSm::handleBidirGroup(IpGenPrefix const & prefix) {
  if (!initialized_) return;
  Zet::Ptr<McastGroupBidirSm> const self(this);
  Zet::Ptr<BidirStatus const> const status(zetBidirStatus_.target());
  bool isThere = false;
  try {
    isThere = status && status->bidirGroup(prefix) != Shoal::Multicast::Fib::BidirGroup();
  } catch (Wharf::CorruptionDetectedException const & e) {
    status->corruptionDetected(e);
    return;
  }
  if (isThere) {
    addGroupPrefix(prefix);
  } else {
    delGroupPrefix(prefix);
    unprogrammedPrefixDel(prefix);
  }
}

void McastGroupBidirSm::addGroupPrefix(IpGenPrefix const & prefix) {
  if (!initialized_) return;
  SKEIN("McastGroupBidirSm::addGroupPrefix ", vrfName_, " ", prefix);
  if (!groupInfo_.contains(prefix)) groupInfo_.insert(Zet::make<GroupInfo>(prefix));
  Zet::Ptr<GroupInfo> const info(groupInfo_.find(prefix));
  for (auto i = fabric_->bidirGroupChip().begin(); i; i.advance()) {
    Zet::Ptr<BidirGroupChip> const chip(i->value);
    if (addTo(chip, *info)) continue;
    ZET_TRACE(5, "Failed to allocate mcast tcam entry in chip "
                     << chip->name() << (chip->mcastGroupTcamFree() ? " needs to retry " : ""));
    delGroupPrefix(prefix);
    unprogrammedPrefixIs(prefix, true);
    // Not for want of room, then.
    if (chip->mcastGroupTcamFree()) handleTcamFree();
    return;
  }
  verifyGroupPrefix(prefix);
}

bool McastGroupBidirSm::addTo(Zet::Ptr<BidirGroupChip> const & chip, GroupInfo & info) {
  if (!info.bidirGroupHandle(chip).isNull()) return true;
  chip->doAddBidirGroup(vrfName_, info.prefix());
  RouteHandle const handle = chip->bidirGroupHandle();
  if (handle.isNull()) return false;
  info.bidirGroupHandleIs(chip, handle);
  return true;
}

void McastGroupBidirSm::delGroupPrefix(IpGenPrefix const & prefix) {
  if (!initialized_) return;
  Zet::Ptr<GroupInfo> const info(groupInfo_.find(prefix));
  if (!info) return;
  SKEIN("McastGroupBidirSm::delGroupPrefix ", vrfName_, " ", prefix);
  info->doDelete();
  groupInfo_.del(prefix);
}

void McastGroupBidirSm::verifyGroupPrefix(IpGenPrefix const & prefix) {
  auto const * const info = groupInfo_.find(prefix);
  if (!info) return;
  for (auto i = info->bidirGroupHandle().begin(); i; i.advance()) {
    Zet::Ptr<BidirGroupChip> const chip(i->value.chip);
    bool const isThere = fabric_->bidirGroupChip(i.key()) == chip.get();
    if (isThere) chip->doVerifyBidirGroup(i->value.handle, vrfName_, prefix);
  }
}

// --- Retry

void McastGroupBidirSm::handleTcamFree() {
  kickRoomRetry(*clock_.get(), *clock_.target(), !unprogrammedPrefix_.empty());
}

void McastGroupBidirSm::handleClock() {
  if (!initialized_) return;
  Zet::Ptr<McastGroupBidirSm> const self(this);
  clock_->timeMinIs(Zet::Clock::never);
  if (unprogrammedPrefix_.empty()) return;
  SKEIN("McastGroupBidirSm::handleClock ", vrfName_, " ", unprogrammedPrefix_.size());
  auto const back = retryInTurn(unprogrammedPrefix_, [this](auto const & waited) {
    handleBidirGroup(IpGenPrefix(waited.key()));
  });
  if (back) ZET_TRACE(5, "Failed to add mcast group " << *back);
}

}  // namespace Brindle
