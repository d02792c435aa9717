// What a protocol publishes of bidirectional PIM beside its routes: the two tables of its VRF, of
// which each is taken over with the first word that is meant for it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "state/ShmBidirStatus.h"

namespace Brindle::Sim {

// One table. As with routes, what an earlier run has left stands until it is published anew or,
// at the end of the first pass, deleted.
class PublishedBidirTable {
 public:
  // Throws CommandError if the table has a writer.
  PublishedBidirTable(Nettle::AddressFamily, L3::VrfName);

  // Throw CommandError for what cannot be published.
  void groupIs(Nettle::IpGenPrefix const & group, bool present);
  void profileIs(Nettle::IntfId intf, Shoal::Multicast::Fib::DfProfile profile);
  void withdrawAll();
  std::size_t sweep();
  void commit() { table_->commit(); }
  void remove() { table_->remove(); }

  Nettle::AddressFamily af() const { return af_; }
  // As readers see it.
  Shoal::Multicast::Fib::BidirStatus const & status() const { return *table_; }
  // What it holds, in one line; each member as the command that makes it.
  std::string summary() const;
  std::vector<std::string> lines() const;

 private:
  Nettle::AddressFamily const af_;
  std::string const path_;
  Zet::Ptr<Shoal::Multicast::Fib::ShmBidirStatusWriter> table_;
  Zet::OrderedSet<Nettle::IpGenPrefix> staleGroups_;
  Zet::OrderedSet<Nettle::IntfId> staleProfiles_;
};

class PublishedBidir {
 public:
  // `routeTable` is PROTOCOL.VRF.
  explicit PublishedBidir(std::string const & routeTable);

  // Takes the table over if that has not been done.
  PublishedBidirTable & table(Nettle::AddressFamily);
  // Takes over the tables that stand.
  void takeOver();
  // The tables that have been taken over.
  std::vector<PublishedBidirTable *> tables() const;
  // Takes these away.
  void remove();

 private:
  std::string const vrf_;
  std::map<Nettle::AddressFamily, std::unique_ptr<PublishedBidirTable>> tables_;
};

}  // namespace Brindle::Sim
