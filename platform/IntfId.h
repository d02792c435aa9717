// Interfaces by name.
#pragma once

#include <compare>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Name.h"
#include "platform/Value.h"
#include "platform/VlanId.h"

namespace Nettle {

using Zet::operator<<;

// What a name says of its interface.
enum class IntfKind : U8 {
  plain,            // any other name: a port
  ethernet,         // "Ethernet1", "Ethernet3/1"
  subIntf,          // "Ethernet1.100", "Port-Channel5.100": has a parent
  portChannel,      // "Port-Channel5"
  peerEthernet,     // "PeerEthernet1": a port of the MLAG peer; its peer is "Ethernet1"
  peerPortChannel,  // "PeerPort-Channel5"; its peer is "Port-Channel5"
  vlan,             // "Vlan100": the routed interface of a VLAN
  vxlan,            // "Vxlan1": the switch's one VXLAN port
  vxlanTunnel,      // "VxlanTunnel7": a tunnel to one remote VTEP
  cpu,              // "Cpu"
  null0,            // "Null0"
};
constexpr auto intfKindNames = Zet::enumNames<IntfKind::null0>(
    "plain", "ethernet", "subIntf", "portChannel", "peerEthernet", "peerPortChannel", "vlan",
    "vxlan", "vxlanTunnel", "cpu", "null0");
constexpr auto & zetNames(IntfKind) { return intfKindNames; }

// An interface: 4 bytes, an index into the process's table of names, in which all that is asked
// often is kept ready. 0 is no interface. Ordered by name, numbers in it by value: "Ethernet2"
// before "Ethernet10".
//
// Names are never given back. The table belongs to one thread, the agent's. An index means nothing
// to another process, nor to the next run: names are what travels.
class BRINDLE_API IntfId {
 public:
  constexpr IntfId() = default;
  // Interns the name; the empty name is no interface.
  explicit IntfId(std::string_view name);
  // The routed interface of a VLAN: "Vlan%d", unless another name was declared to be it.
  static IntfId ofVlan(Bridging::VlanId vlan);

  // Says of a name what it does not say itself, as an importer knows it: that "vx100" is a VXLAN
  // tunnel, "br100" the routed interface of VLAN 100, "et1.5" a sub-interface of "et1". To be said
  // before any record holds the interface, since nobody is told.
  void kindIs(IntfKind kind) const;
  void routedVlanIs(Bridging::VlanId vlan) const;
  void parentIs(IntfId parent) const;

  bool empty() const { return index_ == 0; }
  explicit operator bool() const { return index_ != 0; }
  std::string_view view() const { return entry().name.view(); }
  char const * c_str() const { return entry().name.c_str(); }
  Zet::Name name() const { return entry().name; }
  // As operators abbreviate it: "Et1", "Po3", "Vl100", "Vx1", "PEt1"; others unchanged.
  std::string shortName() const;

  IntfKind kind() const { return entry().traits.kind; }
  bool isSubIntf() const { return kind() == IntfKind::subIntf; }
  bool isVxlanTunnel() const { return kind() == IntfKind::vxlanTunnel; }
  // The VLAN whose routed interface this is.
  Bridging::VlanIdOrNone routedVlan() const { return entry().traits.vlan; }
  // Of a sub-interface; none for others.
  IntfId parent() const { return isSubIntf() ? fromIndex(entry().traits.related) : IntfId(); }

  // By name, the same in every run.
  U32 hash() const { return entry().hash; }
  // Dense from 1, in the order in which this process met the names: for arrays by interface.
  U32 index() const { return index_; }

  friend bool operator==(IntfId a, IntfId b) { return a.index_ == b.index_; }
  friend std::strong_ordering operator<=>(IntfId a, IntfId b) {
    return a.entry().rank <=> b.entry().rank;
  }

  static constexpr char const * zetType = "Nettle::IntfId";
  static constexpr char const * zetExpected = "an interface name";
  void appendText(std::string & out) const { out += view(); }
  static std::optional<IntfId> fromText(std::string_view text) { return IntfId(text); }

 private:
  friend class IntfTable;
  friend class PeerEthIntfId;
  friend class PeerPortChannelIntfId;

  struct Traits {
    U32 related = 0;  // index of the parent or peer
    Bridging::VlanIdOrNone vlan{};
    IntfKind kind = IntfKind::plain;
  };
  struct Entry {
    Zet::Name name{};
    U64 rank = 0;  // rises in the order of names
    U32 hash = 0;
    Traits traits{};
  };
  static IntfId fromIndex(U32 index) {
    IntfId intf;
    intf.index_ = index;
    return intf;
  }
  Entry const & entry() const { return entries_[index_]; }

  static Entry const * entries_;  // moves when the table grows

  U32 index_ = 0;
};

class PortChannelIntfId {
 public:
  static bool isPortChannelIntfId(IntfId intf) { return intf.kind() == IntfKind::portChannel; }
};

class PeerEthIntfId {
 public:
  static bool isPeerEthIntfId(IntfId intf) { return intf.kind() == IntfKind::peerEthernet; }
  // The port as the peer itself names it; none if `intf` is no peer port.
  static IntfId peer(IntfId intf) {
    return isPeerEthIntfId(intf) ? IntfId::fromIndex(intf.entry().traits.related) : IntfId();
  }
};

class PeerPortChannelIntfId {
 public:
  static bool isPeerPortChannelIntfId(IntfId intf) {
    return intf.kind() == IntfKind::peerPortChannel;
  }
  static IntfId peer(IntfId intf) {
    return isPeerPortChannelIntfId(intf) ? IntfId::fromIndex(intf.entry().traits.related)
                                         : IntfId();
  }
};

}  // namespace Nettle
