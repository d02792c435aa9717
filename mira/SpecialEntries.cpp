// The entries that a route has besides its own: notify, persistent fastdrop, the fast-reroute
// backup and fastdrops.
#include "mira/PortVlanSetComputation.h"
#include "model/Filters.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::IntfId;
using namespace Shoal::Multicast::Fib;

namespace {

Zet::TraceHandle traceHandle("SpecialEntries", false);

}  // namespace

// A special route on a VLAN takes the place of a fastdrop there.
void PortVlanSetComputation::replaceFastdrop(VlanIdOrNone vid, char const * trace) {
  if (!vid || !mroute_.fastdrop(VlanId(vid))) return;
  ZET_TRACE(7, trace);
  mroute_.fastdropDel(VlanId(vid));
}

void PortVlanSetComputation::handleNotify(Output const & output) {
  if (!output.has(oifNotify)) return;
  auto const verdict = output.has(oifForward)      ? SpecialVerdict::sends
                       : notifySeen_               ? SpecialVerdict::second
                       : srt_.notifyProgrammable() ? SpecialVerdict::stands
                                                   : SpecialVerdict::notProgrammable;
  explain(SpecialKind::notify, output.intf, output.vid, verdict);
  if (verdict != SpecialVerdict::stands) return;
  ZET_TRACE(7, "Handle Notify Interface: " << output.intf
                                           << ", adding a notifying route: " << key_.pretty());
  mroute_.notifyingVlanIdIs(output.vid);
  VlanIdOrNone iifVlan = vlanOf(srt_.iif());
  PortVlanSet set =
      specialSet({.members = iifVlan, .input = output.vid, .chooser = iifVlan, .toCpu = true});
  set.saveHash();
  mroute_.notifyOifSetIs(interned(set));
  if (output.vid) mroute_.fastdropDel(VlanId(output.vid));
  notifySeen_ = true;
}

void PortVlanSetComputation::handlePersistentFastdrop(Output const & output) {
  if (!output.has(oifPersistentFastdrop)) return;
  auto const verdict = output.has(oifForward)    ? SpecialVerdict::sends
                       : persistentFastdropSeen_ ? SpecialVerdict::second
                                                 : SpecialVerdict::stands;
  explain(SpecialKind::fastdrop, output.intf, output.vid, verdict);
  if (verdict != SpecialVerdict::stands) return;
  ZET_TRACE(7, "Handle persistent FastDrop interface: "
                   << output.intf << ", adding a persistent fastdrop routes: " << key_.pretty());
  mroute_.staticFastdropVlanIdIs(output.vid);
  VlanIdOrNone iifVlan = vlanOf(srt_.iif());
  PortVlanSet set = specialSet({.members = iifVlan,
                                .input = output.vid,
                                .chooser = iifVlan,
                                .toCpu = true,
                                .fastdropSet = true});
  replaceFastdrop(output.vid,
                  "We have fastdrop entry as well. Deleting it before programming static "
                  "fastdrop entry.");
  set.saveHash();
  mroute_.staticFastdropOifSetIs(interned(set));
  persistentFastdropSeen_ = true;
}

void PortVlanSetComputation::handleFrr(Output const & output) {
  if (!output.has(oifFrr)) return;
  IntfId intf = output.intf;
  SpecialVerdict verdict = SpecialVerdict::stands;
  char const * same = nullptr;
  if (frrSeen_) {
    verdict = SpecialVerdict::second;
  } else if (intf == srt_.iif()) {
    verdict = SpecialVerdict::isInput;
    same = " same as iif";
  } else if (intf == srt_.staticFastdropIntf()) {
    verdict = SpecialVerdict::isFastdrop;
    same = " same as static fast drop";
  } else if (intf == srt_.notify() && srt_.notifyProgrammable()) {
    verdict = SpecialVerdict::isNotify;
    same = " same as notify and notify programmable";
  }
  explain(SpecialKind::backup, intf, output.vid, verdict);
  if (same) ZET_TRACE(7, "Skipping Frr interface: " << intf << same);
  if (verdict != SpecialVerdict::stands) return;
  ZET_TRACE(7, ", replacing frr route from " << mroute_.frrVlanId() << " to " << output.vid);
  if (mroute_.frrVlanId()) mroute_.prevFrrIs(mroute_.frrVlanId());
  mroute_.frrVlanIdIs(output.vid);
  ZET_TRACE(9, " setting iif and currentIif to: " << output.vid);
  frrPvSet_.vlanIs(output.vid.value());
  frrPvSet_.keyKindIs(Routing::Multicast::Fib::mroute_);
  frrPvSet_.fastdropSetIs(true);
  featureFlagIs(frrPvSet_);
  replaceFastdrop(output.vid,
                  "We have fastdrop entry as well. Deleting it before programming iff frr "
                  "fastdrop entry.");
  frrSeen_ = true;
}

// A fastdrop keeps what fails the reverse-path check away from the CPU: other than a notify or a
// persistent fastdrop entry it never asks for packets to go there.
void PortVlanSetComputation::refreshFastdrops() {
  for (auto i = mroute_.fastdrop().begin(); i; i.advance()) {
    VlanId vid = i.key();
    PortVlanSet set =
        specialSet({.members = vid, .input = vid, .chooser = iifVlan_, .fastdropSet = true});
    set.saveHash();
    if (!changed_) changed_ = !i->value || !i->value->doCmpPortVlanSet(set);
    mroute_.fastdropIs(vid, interned(set));
  }
}

// --- The finish

// The backup's set: what the route sends, but not back to either input.
void PortVlanSetComputation::finishFrr() {
  if (!frrSeen_) return;
  VlanIdOrNone input(frrPvSet_.vlan());
  bool single = input && fwdPortsInIif(root_, input, 2) == 1;
  for (PortVlan const & pv : pvSet_.portVlan().items()) {
    VlanIdOrNone vid = pv.vlanId();
    bool back = !pv.isOutLif() && (vid == iifVlan_ || (single && vid == input));
    if (!back) frrPvSet_.append(pv);
  }
  frrPvSet_.saveHash();
  ZET_TRACE(9, "(): FrrOifSet: " << frrPvSet_.pretty());
  auto const & current = mroute_.frrOifSet();
  if (current) ZET_TRACE(9, "(): current FrrOifSet: " << current->portVlanSet().pretty());
  if (current && current->doCmpPortVlanSet(frrPvSet_)) return;
  mroute_.frrOifSetIs(interned(frrPvSet_));
  changed_ = true;
  ZET_TRACE(7, key_.pretty() << " frrOifSet changed");
}

void PortVlanSetComputation::clearFrrConflicts() {
  VlanIdOrNone frr = mroute_.frrVlanId();
  bool clearFrr = !frrSeen_ && !optimize_;
  auto verdict = SpecialVerdict::stands;
  char const * same = nullptr;
  if (!frr) {
    // nothing to conflict with
  } else if (frr == mroute_.acceptingVlanId()) {
    verdict = SpecialVerdict::isInput;
    same = " same as iif";
  } else if (frr == mroute_.staticFastdropVlanId()) {
    verdict = SpecialVerdict::isFastdrop;
    same = " same as static fast drop";
  } else if (frr == mroute_.notifyingVlanId()) {
    verdict = SpecialVerdict::isNotify;
    same = " same as notifying";
  }
  if (same) {
    ZET_TRACE(7, "Ignoring Frr interface: " << srt_.iifFrr() << same);
    if (frrSeen_) explain(SpecialKind::backup, srt_.iifFrr(), frr, verdict);
    clearFrr = true;
  }
  SKEIN("frr: iif, iifFrr", srt_.iif(), srt_.iifFrr(), ", clearFrr: ", clearFrr);
  if (!clearFrr) return;
  mroute_.frrVlanIdIs(VlanIdOrNone());
  mroute_.frrOifSetIs(nullptr);
}

void PortVlanSetComputation::clearMbrFastdrops() {
  auto const & mbrVlan = mira_.mbrVlan();
  if (mbrVlan.empty() || mroute_.acceptingVlanId() ||
      mroute_.oifSet()->portVlanSet().portVlan().empty()) {
    return;
  }
  for (auto i = mroute_.fastdrop().begin(); i; i.advance()) {
    VlanId vid = i.key();
    if (!mbrVlan.contains(vid)) continue;
    mroute_.fastdropDel(vid);
    ZET_TRACE(7, "(): cleanup fastdrop for mbr intf " << vid);
  }
}

// --- Tools

// The platform's word comes last: it may depend on all else.
PortVlanSet PortVlanSetComputation::specialSet(Special const & what) {
  PortVlanSet set;
  set.vlanIs(inputVlanOf(what.input).value());
  set.keyKindIs(Routing::Multicast::Fib::mroute_);
  set.toCpuIs(what.toCpu);
  set.fastdropSetIs(what.fastdropSet);
  filters_.vlan |= vlanBit(what.members);  // an input without a VLAN may get one
  if (what.members) {
    Expansion expansion(root_, for_, set);
    expansion.addVlanToPortVlanSet(VlanId(what.members));
    expansion.doResolveAndAddLagsToPvSet(what.chooser, mira_.vrfName(), key_);
    set.settle();
    filters_.vlanGroup |= vlanGroupBit(what.members, groupHash_);
    filters_.vlanPort |= expansion.vlanPortFilter();
    filters_.lag |= expansion.lagFilter();
  }
  featureFlagIs(set);
  return set;
}

}  // namespace Brindle
