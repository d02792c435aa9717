#include "bidir/ZetDfProfileInfo.h"

#include "bidir/AsyncBidirDfSm.h"
#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("AsyncBidirDfSm", false);

using Keel::XactResult;

}  // namespace

ZetDfProfileInfo::ZetDfProfileInfo(AsyncBidirDfSm * sm, Zet::Ptr<DfProfileInfo> const & info)
    : sm_(sm),
      info_(info) {
  zetRpaBitmap_.attach(info);
}

// False once the machine has let go of it, which a chip's callback may bring about.
bool ZetDfProfileInfo::isWanted() const { return sm_->dfProfileInfo(intf()) == this; }

Bridging::VlanIdOrNone ZetDfProfileInfo::vlanId() const {
  auto const vlan = sm_->intfVlanIdTable()->intfIdToVlanId(intf());
  if (!vlan) ZET_TRACE(5, "Invalid vlanId for interface " << intf());
  return vlan;
}

void ZetDfProfileInfo::reasonIs(Reason v) {
  reason_ = v;
  if (!isWanted()) return;
  if (v) {
    sm_->failedDfProfileIs({intf(), this});
    sm_->doReview();
  } else {
    sm_->failedDfProfileDel(intf());
  }
}

bool ZetDfProfileInfo::hasXactsOut() const {
  for (auto const & chip : info_->dfChipInfo()) {
    if (chip.dfAllocXact() && chip.dfAllocXact()->result() == XactResult::outstanding) return true;
  }
  return false;
}

// --- To the chips

// While chips are asked, answers wait, also if a chip throws.
class ZetDfProfileInfo::Issuing {
 public:
  explicit Issuing(ZetDfProfileInfo & profile) : profile_(profile) { profile.isIssuing_ = true; }
  ~Issuing() { profile_.isIssuing_ = false; }
  Issuing(Issuing const &) = delete;
  Issuing & operator=(Issuing const &) = delete;

 private:
  ZetDfProfileInfo & profile_;
};

void ZetDfProfileInfo::handleDfProfile() {
  VlanIdOrNone const vlan = vlanId();
  if (!vlan) return reasonIs({Reason::notInitedBit});
  if (reason_.inProgress()) {
    ZET_TRACE(8, intf() << " inProgress, retry later");
    return;
  }
  SKEIN("ZetDfProfileInfo::handleDfProfile ", intf(), " ", vlan, " ", info_->rpaBitmap().bitmap);
  Zet::Ptr<ZetDfProfileInfo> const self(this);
  Zet::Ptr<AsyncBidirDfSm> const machine(sm_);
  issued_ = {vlan, info_->rpaBitmap()};
  bool isTaken = true;
  {
    Issuing const issuing(*this);
    auto const & chips = sm_->fabric()->bidirDfChip();
    for (auto i = chips.begin(); i && isTaken; i.advance()) isTaken = issue(i->value);
  }
  handleIssued(isTaken);
}

void ZetDfProfileInfo::handleIssued(bool isTaken) {
  if (!isWanted()) {
    ZET_TRACE(8, "dfProfile is deleted " << intf());
    delDfProfile(issued_.vlan);
  } else if (isTaken) {
    handleResults();
  }
}

// False if the chip refuses at once: no chip has the profile then.
bool ZetDfProfileInfo::issue(Zet::Ptr<AsyncBidirDfChip> const & chip) {
  auto const chipInfo = info_->dfChipInfoIs(chip->name(), chip);
  auto const xact = chip->doAddDfProfile(issued_.vlan, issued_.rpaBitmap, nullptr);
  if (!isWanted()) {
    chip->doDelDfProfile(issued_.vlan);  // whoever let go of it could not know of this one
    return false;
  }
  if (!xact) {
    Reason const reason = chip->dfProfileFailureReason();
    ZET_ASSERT(chip->dfProfileFailureReason(), "chip->dfProfileFailureReason()");
    ZET_TRACE(5, "Transaction is Null " << intf() << " " << chip->name() << reason.pretty());
    dfFailureCleanup(reason);
    return false;
  }
  chipInfo->dfAllocXactIs(xact);
  zetDfAllocXact_.attach(chip->name(), xact);
  return true;
}

void ZetDfProfileInfo::handleChip(Zet::Name name) {
  Zet::Ptr<ZetDfProfileInfo> const self(this);
  Zet::Ptr<AsyncBidirDfSm> const machine(sm_);
  Zet::Ptr<AsyncBidirDfChip> const chip(sm_->fabric()->bidirDfChip(name));
  if (!chip) {
    dfChipInfoDel(name);
    if (reason_.inProgress()) handleResults();
  } else if (!reason_) {
    // Otherwise it gets its turn with the others.
    bool isTaken;
    {
      Issuing const issuing(*this);
      isTaken = issue(chip);
    }
    handleIssued(isTaken);
  }
}

// --- Answers

void ZetDfProfileInfo::handleDfAllocXact() {
  Zet::Ptr<ZetDfProfileInfo> const self(this);
  Zet::Ptr<AsyncBidirDfSm> const machine(sm_);
  if (!isIssuing_) handleResults();
}

void ZetDfProfileInfo::handleResults() {
  bool isComplete = true;
  for (auto const & chip : info_->dfChipInfo()) {
    auto const & xact = chip.dfAllocXact();
    if (!xact || xact->result() == XactResult::success) continue;
    isComplete = false;
    if (xact->result() == XactResult::outstanding) continue;
    Reason const reason = chip.dfChip()->doGetBidirDfXactFailureReason(xact);
    ZET_TRACE(5, "Failed Transaction is " << xact->id()
                                          << ", failed reason, add to queue for retry " << intf()
                                          << reason.pretty());
    return dfFailureCleanup(reason);
  }
  if (isComplete) return handleSuccess();
  ZET_TRACE(8, "Incomplete success " << intf());
  if (!reason_.inProgress()) reasonIs({reason_.value | Reason::inProgressBit});
}

void ZetDfProfileInfo::handleSuccess() {
  ZET_TRACE(8, "Success on all chips " << intf() << " Set inProgress to false ");
  for (auto i = info_->dfChipInfo().begin(); i; i.advance()) {
    i->dfAllocXactIs(nullptr);
    zetDfAllocXact_.del(i.key());
  }
  reasonIs({});
  if (isStale()) handleDfProfile();
}

// What is wanted has changed while the chips were at work.
bool ZetDfProfileInfo::isStale() const {
  if (!isWanted()) return false;
  if (issued_.rpaBitmap != info_->rpaBitmap() || issued_.vlan != vlanId()) return true;
  auto const & chips = sm_->fabric()->bidirDfChip();
  for (auto const & chip : chips.items()) {
    if (!info_->dfChipInfo(chip.key)) return true;
  }
  return false;
}

// --- Out of the chips

void ZetDfProfileInfo::delDfProfile(VlanIdOrNone vlan) {
  for (auto i = info_->dfChipInfo().begin(); i; i.advance()) {
    Zet::Ptr<AsyncBidirDfChip> const chip(i->dfChip());
    chip->doDelDfProfile(vlan);
    dfChipInfoDel(chip->name());
  }
  if (reason_.inProgress()) reasonIs({reason_.value & ~Reason::inProgressBit});
}

void ZetDfProfileInfo::doEnd() {
  zetDoZombieReactors(true);
  reason_ = {};
  delDfProfile(issued_.vlan);
}

void ZetDfProfileInfo::dfFailureCleanup(Reason reason) {
  delDfProfile(issued_.vlan);
  reasonIs(reason);
}

void ZetDfProfileInfo::dfChipInfoDel(Zet::Name name) {
  zetDfAllocXact_.del(name);
  info_->dfChipInfoDel(name);
}

}  // namespace Brindle
