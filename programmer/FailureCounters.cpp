#include "programmer/FailureCounters.h"

#include <numeric>

#include "model/LogMessages.h"
#include "platform/Assert.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("FailureCounters", false);

using Kind = FailureCounters::Kind;
using Callback = void (FailureCounters::NotifieeConst::*)();

// What is said and done when routes of a kind begin to lack hardware, and when they no longer do.
struct Overflow {
  Callback changed;  // the machine tells the operator of all routes of the kind at once
  Zet::LogHandle * disabled;
  Zet::LogHandle * resumed;
  char const * begins;
  char const * ends;
};
Overflow const overflows[] = {
    {},
    {nullptr, &ETH_VLAN_FLOODSET_FORWARDING_DISABLED, &ETH_VLAN_FLOODSET_FORWARDING_RESUMED,
     "Vlan Floodset for vlan ", "Vlan Floodset for vlan "},
    {nullptr, &ETH_UNKNOWN_MULTICAST_FORWARDING_DISABLED, &ETH_UNKNOWN_MULTICAST_FORWARDING_RESUMED,
     "Unknown Multicast for vlan ", "Vlan Floodset for vlan "},
    {&FailureCounters::NotifieeConst::onFailedEthGroupsHwOverflow, nullptr, nullptr, nullptr,
     nullptr},
    {},
    {nullptr, &ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_DISABLED,
     &ETH_VXLAN_CORE_SIDE_FLOODSET_FORWARDING_RESUMED, "Vxlan core side Floodset for vlan ",
     "Vxlan core side Floodset for vlan "},
    {nullptr, nullptr, nullptr, "Evpn multihome floodset for vlan ",
     "Evpn multihome floodset for vlan "},
    {&FailureCounters::NotifieeConst::onFailedMroutesHwOverflow, nullptr, nullptr, nullptr,
     nullptr},
};

Kind knownKind(FailureCounters::Key const & key) {
  Kind const kind = key.kind();
  ZET_ASSERT(kind != Kind::unknown_, "0 && \"Unknown RouteKey type\"");
  return kind;
}

// A floodset: by its VLAN, and of a peer by that, too.
std::string subject(FailureCounters::Key const & key) {
  std::string text = std::to_string(key.vlanId().value());
  if (key.kind() == Kind::evpnMultihomeFloodset_) {
    text += " and VTEP " + Zet::textOf(key.evpnTepIp());
  }
  return text;
}

void tellBegin(Overflow const & row, FailureCounters::Key const & key,
               MrouteFailureReason const & reason) {
  if (!row.begins) return;
  ZET_TRACE(5, row.begins << subject(key) << " failed to program with reason " << reason.pretty());
  std::string const vlan = std::to_string(key.vlanId().value());
  if (row.disabled) row.disabled->log({vlan, reason.logExplain()});
}

void tellEnd(Overflow const & row, FailureCounters::Key const & key) {
  if (!row.ends) return;
  ZET_TRACE(5, row.ends << subject(key) << " back to normal");
  std::string const vlan = std::to_string(key.vlanId().value());
  if (row.resumed) row.resumed->log({vlan});
}

}  // namespace

U32 FailureCounters::failed() const { return std::accumulate(failed_.begin(), failed_.end(), 0u); }

void FailureCounters::updateCounters(Key const & key, MrouteFailureReason reason,
                                     bool addOrRemove) {
  U32 const change = addOrRemove ? 1 : ~U32{0};
  failed_[knownKind(key)] += change;
  if (reason.blocked()) {
    assign(blockedRoutes_, blockedRoutes_ + change, &NotifieeConst::onBlockedRoutes);
  } else if (reason.timeout()) {
    timeoutRoutes_ += change;
  } else if (reason.inProgress()) {
    inProgressRoutes_ += change;
  }
}

void FailureCounters::updateHwOverflowCounters(Key const & key, MrouteFailureReason newReason,
                                               MrouteFailureReason) {
  Kind const kind = knownKind(key);
  Overflow const & row = overflows[kind];
  if (newReason.hwFailure()) {
    lastHwOverflowReason_ = newReason;
    ++hwOverflow_[kind];
    tellBegin(row, key, newReason);
  } else {
    --hwOverflow_[kind];
    tellEnd(row, key);
  }
  if (row.changed) notify(row.changed);
}

}  // namespace Brindle
