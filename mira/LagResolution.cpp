// How the LAGs of an expansion become members of its set: passed as they are, replaced by all
// their members, or by the designated one.
#include <vector>

#include "mira/Expansion.h"
#include "mira/Mira.h"
#include "mira/MiraHelper.h"
#include "mira/MiraRoot.h"
#include "platform/Trace.h"
#include "state/Lag.h"

namespace Brindle {

using Bridging::VlanIdOrNone;
using Nettle::IntfId;
using Routing::Multicast::Fib::IpGenRouteKey;

namespace {

Zet::TraceHandle traceHandle("LagResolution", false);

// A permutation of 0 to 255 for Pearson's hash.
constexpr U8 kPearson[256] = {
    0xfb, 0xaf, 0x77, 0xd7, 0x51, 0x0e, 0x4f, 0xbf, 0x67, 0x31, 0xb5, 0x8f, 0xba, 0x9d, 0x00, 0xe8,
    0x1f, 0x20, 0x37, 0x3c, 0x98, 0x3a, 0x11, 0xed, 0xae, 0x46, 0xa0, 0x90, 0xdc, 0x5a, 0x39, 0xdf,
    0x3b, 0x03, 0x12, 0x8c, 0x6f, 0xa6, 0xcb, 0xc4, 0x86, 0xf3, 0x7c, 0x5f, 0xde, 0xb3, 0xc5, 0x41,
    0xb4, 0x30, 0x24, 0x0f, 0x6b, 0x2e, 0xe9, 0x82, 0xa5, 0x1e, 0x7b, 0xa1, 0xd1, 0x17, 0x61, 0x10,
    0x28, 0x5b, 0xdb, 0x3d, 0x64, 0x0a, 0xd2, 0x6d, 0xfa, 0x7f, 0x16, 0x8a, 0x1d, 0x6c, 0xf4, 0x43,
    0xcf, 0x09, 0xb2, 0xcc, 0x4a, 0x62, 0x7e, 0xf9, 0xa7, 0x74, 0x22, 0x4d, 0xc1, 0xc8, 0x79, 0x05,
    0x14, 0x71, 0x47, 0x23, 0x80, 0x0d, 0xb6, 0x5e, 0x19, 0xe2, 0xe3, 0xc7, 0x4b, 0x1b, 0x29, 0xf5,
    0xe6, 0xe0, 0x2b, 0xe1, 0xb1, 0x1a, 0x9b, 0x96, 0xd4, 0x8e, 0xda, 0x73, 0xf1, 0x49, 0x58, 0x69,
    0x27, 0x72, 0x3e, 0xff, 0xc0, 0xc9, 0x91, 0xd6, 0xa8, 0x9e, 0xdd, 0x94, 0x9a, 0x7a, 0x0c, 0x54,
    0x52, 0xa3, 0x2c, 0x8b, 0xe4, 0xec, 0xcd, 0xf2, 0xd9, 0x0b, 0xbb, 0x92, 0x9f, 0x40, 0x56, 0xef,
    0xc3, 0x2a, 0x6a, 0xc6, 0x76, 0x70, 0xb8, 0xac, 0x57, 0x02, 0xad, 0x75, 0xb0, 0xe5, 0xf7, 0xfd,
    0x89, 0xb9, 0x63, 0xa4, 0x66, 0x93, 0x2d, 0x42, 0xe7, 0x34, 0x8d, 0xd3, 0xc2, 0xce, 0xf6, 0xee,
    0x38, 0x6e, 0x4e, 0xf8, 0x3f, 0xf0, 0xbd, 0x5d, 0x5c, 0x33, 0x35, 0xb7, 0x13, 0xab, 0x48, 0x32,
    0x21, 0x68, 0x65, 0x45, 0x08, 0xfc, 0x53, 0x78, 0x4c, 0x87, 0x55, 0x36, 0xca, 0x7d, 0xbc, 0xd5,
    0x60, 0xeb, 0x88, 0xd0, 0xa2, 0x81, 0xbe, 0x84, 0x9c, 0x26, 0x2f, 0x01, 0x07, 0xfe, 0x18, 0x04,
    0xd8, 0x83, 0x59, 0x15, 0x1c, 0x85, 0x25, 0x99, 0x95, 0x50, 0xaa, 0x44, 0x06, 0xa9, 0xea, 0x97,
};

// Both peers of an MLAG, and each restart, choose alike: only the VLAN and the group decide.
U8 pearson(VlanIdOrNone vid, Nettle::EthAddr const & group) {
  U8 h = kPearson[vid.value() >> 8];
  h = kPearson[h ^ (vid.value() & 0xff)];
  for (U8 b : group.bytes()) h = kPearson[h ^ b];
  return h;
}

}  // namespace

PortVlanSet MiraRoot::resolveAndAddLagsToPvSet(L3::VrfName const & vrf, VlanIdOrNone vid,
                                               IpGenRouteKey const & key, PortVlanSet const & pvSet,
                                               PortVlanSet const & lagPvSet) const {
  PortVlanSet set = pvSet;
  Expansion expansion(*this, {key.kind(), ethAddrFromIpAddr(key.group().address())}, set);
  expansion.lagsAre(lagPvSet);
  expansion.doResolveAndAddLagsToPvSet(vid, vrf, key);
  set.settle();
  return set;
}

void Expansion::doResolveAndAddLagsToPvSet(VlanIdOrNone vid, L3::VrfName const & vrf,
                                           IpGenRouteKey const & key) {
  ZET_TRACE(9, ", Resolving lags to add to pvSet"
                   << " mh=" << (helper_ ? 1 : 0));
  lagPvSet_.settle();
  for (auto i = lagPvSet_.portVlan().begin(); i; i.advance()) {
    PortVlan const pv = *i;
    auto const * status = root_.lagStatusDir()->intfStatus().find(pv.port);
    if (!status) {
      addLocalMember(pv);
      continue;
    }
    PortVlan lag = pv;
    if (key.kind() == Routing::Multicast::Fib::mcastGroup_ && root_.ignoreVlanForL2Groups() &&
        !pv.isOutLif()) {
      lag.outLif = OutLif();
    }
    if (root_.lagOperation() == lagDesignated) {
      designateLagMember(lag, *status, vid);
    } else if (root_.lagOperation() == lagPass && passMe(pv.port, vrf, key)) {
      ZET_TRACE(9, "passing lag " << pv.port << " from vid " << pv.vlanId());
      pvSet_.append(lag);
      lagPvSet_.portVlanDel(pv);
    } else {
      expandLag(lag, *status);
    }
  }
}

// The LAG is one that the MLAG peer knows, with a port of this switch at most.
void Expansion::addLocalMember(PortVlan const & lag) {
  ZET_TRACE(9, "LagStatus does not exist for port " << lag.port << " from vid " << lag.vlanId());
  explainLag(lag, PortVerdict::notHere);
  auto const & mlagStatus = root_.mlagStatus();
  auto const * mlag = mlagStatus ? mlagStatus->intfStatus().find(lag.port) : nullptr;
  if (mlag && mlag->localIntf()) {
    explainLagMember(lag, mlag->localIntf(), PortVerdict::member);
    pvSet_.append({mlag->localIntf(), lag.outLif, lag.portProperty});
  }
}

bool Expansion::passMe(IntfId lag, L3::VrfName const & vrf, IpGenRouteKey const & key) {
  if (!helper_) return true;
  if (!helper_->isIntfHwLag(lag)) return false;
  pvSet_.settle();  // the helper may read it
  return helper_->passLag(pvSet_, lagPvSet_, vrf, key);
}

// By its members, or by all that are configured, whether they are up or not.
void Expansion::expandLag(PortVlan const & lag, Interface::EthLagIntfStatus const & status) {
  ZET_TRACE(9, "Expanding lag " << lag.port);
  explainLag(lag, PortVerdict::noMember);
  bool byConfig = root_.configuredLagMembersInOifSet();
  IntfList const * configured = byConfig ? root_.lagToIntf(lag.port) : nullptr;
  if (byConfig && !configured) return;
  for (IntfId member : configured ? configured->intf().items() : status.member().items()) {
    if (isPeerPort(member)) {
      ZET_TRACE(9, "skipping peer port " << member << " from vid " << lag.vlanId());
      explainLagMember(lag, member, PortVerdict::notAnOutput);
      continue;
    }
    maybeAddLagMemberInPvSet(lag, member);
  }
}

// Traffic that is sent to one member only goes to one that is up.
void Expansion::designateLagMember(PortVlan const & lag, Interface::EthLagIntfStatus const & status,
                                   VlanIdOrNone vid) {
  std::vector<IntfId> members;
  explainLag(lag, PortVerdict::noMember);
  for (IntfId member : status.member().items()) {
    bool const peers = isPeerPort(member);
    explainLagMember(lag, member, peers ? PortVerdict::notAnOutput : PortVerdict::notDesignated);
    if (!peers) members.push_back(member);
  }
  if (members.empty()) {
    ZET_TRACE(9, "Not adding lag " << lag.port << " because lag is empty");
    return;
  }
  IntfId chosen = members[pearson(vid, for_.ethAddr) % members.size()];
  ZET_TRACE(9, " designated port " << chosen << " from vid " << lag.vlanId());
  maybeAddLagMemberInPvSet(lag, chosen);
}

void Expansion::maybeAddLagMemberInPvSet(PortVlan const & lag, IntfId member) {
  ZET_TRACE(9, ": Adding port " << member << " from vid " << lag.outLif);
  explainLagMember(lag, member, PortVerdict::member);
  pvSet_.append({member, lag.outLif, lag.portProperty});
}

inline void Expansion::explainLag(PortVlan const & lag, PortVerdict verdict) {
  if (explanation_) explanation_->lagIs(lag, verdict);
}

inline void Expansion::explainLagMember(PortVlan const & lag, IntfId member, PortVerdict verdict) {
  if (explanation_) explanation_->lagMemberIs(lag, member, verdict);
}

}  // namespace Brindle
