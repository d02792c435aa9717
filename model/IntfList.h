// The interfaces that belong to an interface, such as the members of a LAG.
#pragma once

#include "platform/CollectionText.h"
#include "platform/IntfId.h"

namespace Brindle {

using Zet::operator<<;

class IntfList {
 public:
  IntfList() = default;
  explicit IntfList(Nettle::IntfId key) : key_(key) {}

  Nettle::IntfId key() const { return key_; }
  auto const & intf() const { return intf_; }
  bool intf(Nettle::IntfId k) const { return intf_.contains(k); }
  void intfIs(Nettle::IntfId k, bool v) { v ? intf_.insert(k) : intf_.del(k); }
  void intfDel(Nettle::IntfId k) { intf_.del(k); }
  void intfDelAll() { intf_.clear(); }

  bool operator!() const { return intf_.empty(); }
  bool operator==(IntfList const &) const = default;

  static constexpr char const * zetType = "Brindle::IntfList";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&IntfList::key_>("key"), Zet::field<&IntfList::intf_>("intf")};
  }

 private:
  Nettle::IntfId key_;
  Zet::OrderedSet<Nettle::IntfId> intf_;
};

}  // namespace Brindle
