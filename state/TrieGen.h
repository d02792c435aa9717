// Longest-prefix match over IPv4 prefixes.
//
// A path-compressed binary trie (Morrison 1968: PATRICIA): a node for each prefix and one for each
// place where two of them part, so its memory is that of at most twice as many nodes as prefixes,
// and a look-up visits at most 33 nodes.
//
//   trie.routeIs(Nettle::Prefix("239.1.0.0/16"), true);
//   trie.longestMatch(Nettle::IpGenPrefix("239.1.2.3/32"));   // 239.1.0.0/16
#pragma once

#include <vector>

#include "platform/Entity.h"
#include "platform/IpGenAddr.h"

namespace Routing {

class BRINDLE_API TrieGen final : public Zet::Entity {
 public:
  // Throws RangeException for a family other than IPv4.
  TrieGen(Zet::Name name, Nettle::AddressFamily af);
  Zet::Name name() const override { return name_; }

  // Adds a prefix, or takes it out. 0.0.0.0/0 is a prefix like others.
  void routeIs(Nettle::Prefix const & prefix, bool stands);
  void routeDel(Nettle::Prefix const & prefix) { routeIs(prefix, false); }
  bool route(Nettle::Prefix const & prefix) const;
  U32 routes() const { return routes_; }

  // The longest prefix that holds all of `what`; null if there is none, or for another family.
  Nettle::IpGenPrefix longestMatch(Nettle::IpGenPrefix const & what) const;

 private:
  static constexpr U32 none = ~0U;
  struct Node {
    U32 address;
    U8 length;
    bool stands;  // a prefix; otherwise two of them part here
    U32 child[2];

    bool holds(U32 other, U32 otherLength) const;
    // Which child leads on to the address. REQUIRES: length < 32.
    U32 & towards(U32 other) { return child[other << length >> 31]; }
    U32 towards(U32 other) const { return child[other << length >> 31]; }
  };

  U32 make(U32 address, U32 length, bool stands);
  void drop(U32 node);
  U32 & link(U32 parent, U32 address);
  bool add(U32 address, U32 length);
  bool remove(U32 address, U32 length);
  void collapse(U32 node, U32 parent);

  Zet::Name const name_;
  std::vector<Node> nodes_;
  std::vector<U32> free_;
  U32 root_ = none;
  U32 routes_ = 0;
};

}  // namespace Routing
