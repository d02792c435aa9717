// Why a route is computed as it is: what decided each output of its record, and each port of each
// VLAN that it goes to.
//
// A computation that is given one of these tells it what it decides, and decides the same as
// without. All are values: which words say them, and what stands in the records behind them, is for
// who shows them. Of IP routes only, and of the route's own set: not of those of its special
// entries.
#pragma once

#include <vector>

#include "platform/Export.h"
#include "platform/IntfId.h"
#include "platform/VlanId.h"
#include "state/PortVlan.h"

namespace Brindle {

// How the computation of a route ended.
enum class RouteVerdict : U8 {
  computed,
  markedForDeletion,   // the route is to go
  inputInOtherVrf,     // its input is no IP interface, or one of another VRF
  backupWithoutInput,  // it has a fast-reroute input, but no primary one
  outputUnknown,       // an index of its record stands for nothing
};

// What became of one output of the record.
enum class OutputVerdict : U8 {
  expanded,     // the ports of its VLAN were looked at
  inputOnly,    // an input that accepts what fails the reverse-path check, too: nothing is sent
  inputExists,  // it accepts only, and the route has an input
  noVlan,       // the interface has no VLAN
  notSent,      // it neither sends nor accepts
};

// The entries of a route besides its own.
enum class SpecialKind : U8 { notify, fastdrop, backup };
enum class SpecialVerdict : U8 {
  stands,
  sends,            // an output is no place for it
  notProgrammable,  // its record keeps it out of the chips
  second,           // the route has one
  isInput,          // a backup that is the input, the place of the fastdrop, or of the notify entry
  isFastdrop,
  isNotify,
};

// How the ports of a VLAN were looked at.
enum class VlanVerdict : U8 {
  down,            // there is no such VLAN
  noSpanningTree,  // it runs none: nothing forwards in it
  soleInputPort,   // the input's, with one port that forwards: whoever sends there is its only host
  // All ports that forward get the traffic:
  floodsIpv6,       // snooping is of IPv4
  floodsUnsnooped,  // snooping is off
  floodsUnsettled,  // it knows too little after a change of the topology
  floodsRange,      // the group is a range
  snooped,
};

// Who asked for a port.
enum class PortWish : U8 { nobody, flood, listener, router, vteps };

enum class PortVerdict : U8 {
  member,  // it is in the set
  // It was asked for, but a LAG gives way to its members, if it has any here.
  replaced,
  noMember,
  notHere,        // only the MLAG peer has ports of it
  notDesignated,  // another member of the LAG carries the traffic
  notWanted,      // snooping has nobody behind it
  notForwarding,  // in the VLAN's spanning tree
  notInVlan,      // it was asked for all the same
  notConfigured,  // in the VLAN, whose configured ports count
  notAnOutput,    // nothing that a chip sends out of
  soleInputPort,  // see VlanVerdict
  noSpanningTree,
};

class BRINDLE_API Explanation {
 public:
  struct Output {
    Nettle::IntfId intf;
    Bridging::VlanIdOrNone vlan;
    U32 properties;
    OutputVerdict verdict;
    bool isInput;  // the one that the route accepts traffic from
  };
  struct Special {
    SpecialKind kind;
    Nettle::IntfId intf;
    Bridging::VlanIdOrNone vlan;
    SpecialVerdict verdict;
  };
  struct Vlan {
    Bridging::VlanId vlan;
    VlanVerdict verdict;
  };
  // What decided a port of a VLAN. Each has one of these, but for a port that the platform has put
  // into the set as several logical interfaces.
  struct Port {
    Bridging::VlanId vlan;
    Nettle::IntfId port;
    OutLif outLif;
    PortWish wish;  // of a LAG's member, who asked for the LAG
    PortVerdict verdict;
    Nettle::IntfId lag{};  // that it is a member of here, if any

    bool isIn() const { return verdict == PortVerdict::member; }
  };

  // --- What was decided

  RouteVerdict verdict() const { return verdict_; }
  // In the order of the record. The last of a kind of special entry holds.
  std::vector<Output> const & outputs() const { return outputs_; }
  std::vector<Special> const & specials() const { return specials_; }
  std::vector<Vlan> const & vlans() const { return vlans_; }
  // Sorted by VLAN and port.
  std::vector<Port> const & ports() const { return ports_; }

  // --- For the computation

  void verdictIs(RouteVerdict v) { verdict_ = v; }
  void outputIs(Output const & output) { outputs_.push_back(output); }
  void specialIs(Special const & special) { specials_.push_back(special); }
  void vlanIs(Bridging::VlanId vlan, VlanVerdict verdict);
  // Being in the set holds over all else; otherwise what was said first does.
  void portIs(Port const & port);
  // The member has been taken out of the set again: forgets it.
  void memberDel(PortVlan const & member);
  // What became of a LAG that was a member so far; and of a port that may stand in its place. With
  // such a port in the set the LAG is replaced.
  void lagIs(PortVlan const & lag, PortVerdict verdict);
  void lagMemberIs(PortVlan const & lag, Nettle::IntfId member, PortVerdict verdict);

 private:
  Port * find(PortVlan const & member);

  RouteVerdict verdict_ = RouteVerdict::computed;
  std::vector<Output> outputs_;
  std::vector<Special> specials_;
  std::vector<Vlan> vlans_;
  std::vector<Port> ports_;
};

}  // namespace Brindle
