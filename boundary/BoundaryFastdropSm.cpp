#include "boundary/BoundaryFastdropSm.h"

#include "boundary/IgmpMsg.h"
#include "platform/ActivityManager.h"
#include "platform/Assert.h"
#include "platform/Exception.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle::BoundaryFastdrop {

namespace {

Zet::TraceHandle traceHandle("BoundaryFastdropSm", false);

}  // namespace

// --- Lifecycle

BoundaryFastdropSm::BoundaryFastdropSm(L3::VrfName vrf, Inputs const & in)
    : vrfName_(vrf),
      in_(in),
      boundaryDelReview_(in.status) {
  zetMrtPam_.attach(in_.mrtPam);
  zetMfibStatus_.attach(in_.mfibStatus);
  zetRoutingHwStatus_.attach(in_.routingHwStatus);
  handleInitialized();
}

void BoundaryFastdropSm::handleInitialized() {
  SKEIN("BoundaryFastdropSm::handleInitialized ", vrfName_);
  if (initialized_) {
    ZET_TRACE(8, ", already initialized.");
    return;
  }
  boundaryDelClock_.attach(Zet::activityManager()->clock());
  boundaryDelReviewTimer_ =
      Zet::make<Keel::ReviewTimer>(boundaryDelClock_.get(), 0.5f, 4u, 0.01f, 0.2f);
  in_.status->hwMulticastStarGSupportedIs(false);
  for (auto i = intfBoundaryStatus_.begin(); i; i.advance()) doInstantiateTrie(*i->target());
  doSetPamOptions();
  initialized_ = true;
}

void BoundaryFastdropSm::handlePam() {
  zetPamIn_.attach(in_.mrtPam->pam());
  if (initialized_) doSetPamOptions();
}

void BoundaryFastdropSm::doSetPamOptions() {
  Nettle::globalPktManager().bufferSizeIs(pktMgrBuffSize());
  auto const & pam = in_.mrtPam->pam();
  if (!pam) return;
  ZET_TRACE(8, "setting pam options for vrf: " << vrfName_);
  pam->maxRxPktDataIs(maxRxPktDataSize());
  pam->enabledIs(true);
}

// The machine's own word: entries by group alone are not made.
void BoundaryFastdropSm::handleMulticastStarGSupported() { ZET_ASSERT(!initialized_, "0"); }

// --- Boundaries

void BoundaryFastdropSm::handleMfibStatus(Zet::Name intf) {
  if (auto const * status = in_.mfibStatus->intfBoundaryStatus(intf)) {
    intfBoundaryStatusIs(status);
  } else {
    intfBoundaryStatusDel(intf);
  }
  handleIntfBoundary(intf);
}

void BoundaryFastdropSm::handleMfibStatus() {
  if (!zetMfibStatus_.target()) return;
  Zet::replay(&in_.mfibStatus->intfBoundaryStatus(), intfBoundaryStatus_,
              [this](Zet::Name intf) { handleMfibStatus(intf); });
}

void BoundaryFastdropSm::intfBoundaryStatusIs(Zet::Ptr<IntfBoundaryStatus const> const & status) {
  if (!status) {
    Zet::throwNullParameter("Brindle::BoundaryFastdrop::BoundaryFastdropSm::intfBoundaryStatus");
  }
  intfBoundaryStatus_.attach(status->key(), status);
}

void BoundaryFastdropSm::intfBoundaryStatusDel(Zet::Name intf) {
  if (!intfBoundaryStatus_.contains(intf)) return;
  intfBoundaryStatus_.del(intf);
  doDeleteIntfBoundary(Nettle::IntfId(intf.view()));
  doDeleteDenyPrefixTrie(Nettle::IntfId(intf.view()));
}

void BoundaryFastdropSm::handleIntfBoundary(Zet::Name intf) {
  SKEIN("BoundaryFastdropSm::handleIntfBoundary ", intf);
  if (in_.mfibStatus->intfBoundaryStatus(intf)) return;
  ZET_TRACE(8, "deleting denyPrefixTrie, trieUserMap for intf " << intf);
  doDeleteDenyPrefixTrie(Nettle::IntfId(intf.view()));
  trieUserMap_.del(Nettle::IntfId(intf.view()));
}

void BoundaryFastdropSm::doDeleteIntfBoundary(Nettle::IntfId intf) {
  boundaryDelReview_.boundaryDelPendingSet()->intfIs(intf)->allGroupsDelIs(true);
  doKickBoundaryDelReview();
}

void BoundaryFastdropSm::doDeleteDenyPrefixTrie(Nettle::IntfId intf) {
  if (auto * fastdrop = in_.status->fastdrop(intf)) fastdrop->denyPrefixTrieIs(nullptr);
}

void BoundaryFastdropSm::doInstantiateTrie(IntfBoundaryStatus const & status) {
  ZET_TRACE(9, ", instantiating trie for intfId " << status.intfId());
  auto const trie = Zet::make<Routing::TrieGen>("denyPrefixTrie", Nettle::ipv4());
  in_.status->fastdropIs(status.intfId())->denyPrefixTrieIs(trie);
  for (auto const & prefix : status.boundary().items()) {
    if (prefix.af() != Nettle::ipv4()) continue;
    ZET_TRACE(9, ", adding prefix " << prefix << " to trie.");
    trie->routeIs(prefix.v4Prefix(), true);
  }
}

Zet::Ptr<TrieUserMap> BoundaryFastdropSm::trieUserMapIs(Nettle::IntfId intf) {
  if (!trieUserMap_.contains(intf)) trieUserMap_.insert(Zet::make<TrieUserMap>(intf));
  return trieUserMap_.find(intf);
}

void BoundaryFastdropSm::ZetIntfBoundaryStatus::handleInitialized() {
  if (!target()) return;
  sm()->doInstantiateTrie(*target());
  sm()->trieUserMapIs(target()->intfId());
}

void BoundaryFastdropSm::ZetIntfBoundaryStatus::handleBoundaryPrefix(
    Nettle::IpGenPrefix const & prefix) {
  Nettle::IntfId const intf = target()->intfId();
  SKEIN("BoundaryFastdropSm::handleBoundaryPrefix ", intf, " ", prefix);
  if (prefix.af() != Nettle::ipv4()) {
    ZET_TRACE(5, "not an IPv4 prefix: " << prefix << " of intf " << intf);
    return;
  }
  Fastdrop const * fastdrop = sm()->status()->fastdrop(intf);
  Zet::Ptr<Routing::TrieGen> const trie = fastdrop ? fastdrop->denyPrefixTrie() : nullptr;
  if (!trie) {
    ZET_TRACE(5, "no trie found for intf " << intf);
  } else if (target()->boundary(prefix)) {
    trie->routeIs(prefix.v4Prefix(), true);
  } else {
    sm()->doCleanupPrefix(intf, prefix);
    trie->routeDel(prefix.v4Prefix());
  }
}

void BoundaryFastdropSm::doCleanupPrefix(Nettle::IntfId intf, Nettle::IpGenPrefix const & prefix) {
  TrieUserMap * const userMap = trieUserMap(intf);
  if (!userMap) {
    ZET_TRACE(5, "no trieUserMap found for intf " << intf);
    return;
  }
  TrieEntryInfo const * const entry = userMap->trieEntryInfo(prefix);
  if (!entry) {
    ZET_TRACE(5, "no trieEntryInfo found for prefix " << prefix);
    return;
  }
  if (!in_.status->fastdrop(intf)) {
    ZET_TRACE(5, "no fastdrop entry found for intf " << intf);
    return;
  }
  auto const delIntf = boundaryDelReview_.boundaryDelPendingSet()->intfIs(intf);
  for (auto i = entry->group().begin(); i; i.advance()) {
    ZET_TRACE(9, "mark group for deletion " << i.key());
    delIntf->groupIs(i.key());
  }
  userMap->trieEntryInfoDel(prefix);
  doKickBoundaryDelReview();
}

// --- Messages

void BoundaryFastdropSm::rxPkt() {
  if (!initialized_) {
    ZET_TRACE(5, "Not initialized yet");
    return;
  }
  if (!in_.vifStatus) {
    ZET_TRACE(5, "vifStatus is NULL");
    return;
  }
  Zet::Seconds const began = Zet::System::currentTime();
  Zet::Seconds const deadline = began + loopQuantum_;
  Zet::Seconds now = began;
  U32 count = 0;
  for (; now < deadline; now = Zet::System::currentTime()) {
    auto const pkt = in_.mrtPam->pam()->rxPkt();
    if (!pkt) {
      ZET_TRACE(9, "Rx: No more packets in buffer");
      break;
    }
    ++count;
    doHandlePkt(*pkt);
  }
  SKEIN("BoundaryFastdropSm::rxPkt ", vrfName_, " ", count);
  ZET_TRACE(8, "Processed " << count << " messages in " << now - began << " seconds.");
}

void BoundaryFastdropSm::doHandlePkt(Nettle::Pkt const & pkt) {
  if (pkt.data().size() < IgmpMsg::bytes) {
    ZET_TRACE(5, "Message of " << pkt.data().size() << " bytes");
    return;
  }
  IgmpMsg const msg(pkt.data());
  if (!msg.isNoCache() || !msg.group().isMulticast()) {
    ZET_TRACE(5, "MrtNotify Rcv: Wrong vif or whole packet or Invalid igmp Alert "
                     << msg.type() << " ipproto: " << msg.ipProto());
    return;
  }
  Nettle::IntfId const intf = in_.vifStatus->intfIdColl(msg.vif());
  ZET_TRACE(
      9, "NoCacheMessage vif " << msg.vif() << " intf " << intf << " ipproto: " << msg.ipProto());
  Zet::Ptr<Fastdrop> const fastdrop = intf ? in_.status->fastdrop(intf) : nullptr;
  if (!fastdrop || !fastdrop->denyPrefixTrie()) return;
  auto const match = fastdrop->denyPrefixTrie()->longestMatch(Nettle::IpGenPrefix(msg.group()));
  ZET_TRACE(9, "longest match is " << match);
  if (!match.isNull()) doRecord(*fastdrop, match, msg.source(), msg.group());
  ++noCacheCounter_;
}

void BoundaryFastdropSm::doRecord(Fastdrop & fastdrop, Nettle::IpGenPrefix const & match,
                                  Nettle::IpGenAddr const & source,
                                  Nettle::IpGenAddr const & group) {
  ZET_TRACE(9, "adding (" << source << ", " << group << ") to fastdrop collection");
  auto const entry = trieUserMapIs(fastdrop.key())->trieEntryInfoIs(match);
  if (!fastdrop.group(group)) entry->doForgetSome(fastdrop);
  entry->groupIs(group);
  auto const groupInfo = fastdrop.groupIs(group);
  if (!in_.status->hwMulticastStarGSupported()) groupInfo->sourceIs(source);
}

// --- The review that withdraws

void BoundaryFastdropSm::doKickBoundaryDelReview() {
  if (!initialized_) {
    ZET_TRACE(8, ", not initialized yet");
  } else if (boundaryDelReviewTimer_->reviewPending()) {
    ZET_TRACE(8, ", review already pending");
  } else {
    boundaryDelReviewTimer_->doUpdateNextReview();
  }
}

void BoundaryFastdropSm::handleBoundaryDelClock() {
  boundaryDelClock_->timeMinIs(Zet::Clock::never);
  if (!initialized_) {
    ZET_TRACE(8, ", not initialized yet");
    return;
  }
  boundaryDelReviewTimer_->lastReviewTimeIs(Zet::System::currentTime());
  if (boundaryDelReview_.doReview(boundaryDelReviewQuantum_)) doKickBoundaryDelReview();
}

}  // namespace Brindle::BoundaryFastdrop
