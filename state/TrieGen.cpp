#include "state/TrieGen.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "platform/Exception.h"

namespace Routing {

namespace {

constexpr U32 bits = 32;

U32 masked(U32 address, U32 length) {
  return length == 0 ? 0 : address >> (bits - length) << (bits - length);
}

U32 commonLength(U32 a, U32 b, U32 most) {
  return std::min(static_cast<U32>(std::countl_zero(a ^ b)), most);
}

}  // namespace

bool TrieGen::Node::holds(U32 other, U32 otherLength) const {
  return length <= otherLength && masked(other, length) == address;
}

TrieGen::TrieGen(Zet::Name name, Nettle::AddressFamily af) : name_(name) {
  if (af != Nettle::ipv4()) Zet::throwRangeException("TrieGen::af != ipv4 not allowed");
}

// --- Nodes

U32 TrieGen::make(U32 address, U32 length, bool stands) {
  Node const node{address, static_cast<U8>(length), stands, {none, none}};
  if (free_.empty()) {
    nodes_.push_back(node);
    return static_cast<U32>(nodes_.size() - 1);
  }
  U32 const at = free_.back();
  free_.pop_back();
  nodes_[at] = node;
  return at;
}

void TrieGen::drop(U32 node) {
  free_.push_back(node);
  if (free_.size() < nodes_.size()) return;
  nodes_.clear();
  free_.clear();
}

// Where the node on the way to the address hangs: under `parent`, or at the root.
U32 & TrieGen::link(U32 parent, U32 address) {
  return parent == none ? root_ : nodes_[parent].towards(address);
}

// --- Prefixes

void TrieGen::routeIs(Nettle::Prefix const & prefix, bool stands) {
  if (stands) {
    routes_ += add(prefix.address(), prefix.length());
  } else {
    routes_ -= remove(prefix.address(), prefix.length());
  }
}

bool TrieGen::route(Nettle::Prefix const & prefix) const {
  return longestMatch(prefix.genPrefix()) == prefix.genPrefix();
}

bool TrieGen::add(U32 address, U32 length) {
  U32 parent = none, at = root_;
  while (at != none && nodes_[at].holds(address, length)) {
    if (nodes_[at].length == length) return !std::exchange(nodes_[at].stands, true);
    parent = at;
    at = nodes_[at].towards(address);
  }
  U32 top = make(address, length, true);
  if (at != none) {
    U32 const other = nodes_[at].address;
    U32 const common = commonLength(address, other, std::min<U32>(length, nodes_[at].length));
    if (common < length) {
      U32 const leaf = top;
      top = make(masked(address, common), common, false);
      nodes_[top].towards(address) = leaf;
    }
    nodes_[top].towards(other) = at;
  }
  link(parent, address) = top;
  return true;
}

bool TrieGen::remove(U32 address, U32 length) {
  U32 above = none, parent = none, at = root_;
  while (at != none && nodes_[at].holds(address, length) && nodes_[at].length < length) {
    above = parent;
    parent = at;
    at = nodes_[at].towards(address);
  }
  if (at == none || !nodes_[at].holds(address, length) || !nodes_[at].stands) return false;
  nodes_[at].stands = false;
  collapse(at, parent);
  if (parent != none) collapse(parent, above);
  return true;
}

// A node that is no prefix and parts nothing goes.
void TrieGen::collapse(U32 node, U32 parent) {
  auto const [first, second] = nodes_[node].child;
  if (nodes_[node].stands || (first != none && second != none)) return;
  link(parent, nodes_[node].address) = first != none ? first : second;
  drop(node);
}

// --- Look-up

Nettle::IpGenPrefix TrieGen::longestMatch(Nettle::IpGenPrefix const & what) const {
  if (what.af() != Nettle::ipv4()) return {};
  U32 const address = what.address().v4(), length = what.length();
  Node const * best = nullptr;
  for (U32 at = root_; at != none && nodes_[at].holds(address, length);
       at = nodes_[at].towards(address)) {
    if (nodes_[at].stands) best = &nodes_[at];
    if (nodes_[at].length == bits) break;
  }
  return best ? Nettle::IpGenPrefix(Nettle::IpGenAddr(best->address), best->length)
              : Nettle::IpGenPrefix();
}

}  // namespace Routing
