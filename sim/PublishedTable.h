// One route table as a protocol writes it: routes by their interfaces, and an end to what an
// earlier run has left behind.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "sim/RouteSpec.h"
#include "state/ShmStatus.h"

namespace Brindle::Sim {

// Takes the table over if it stands. Its routes stay until they are published anew or, at the end
// of the first pass, deleted: a switch that is forwarding does not notice the change of writers.
class PublishedTable {
 public:
  // `slots`: how many routes are coming. Throws CommandError if the table has a writer.
  PublishedTable(std::string const & name, U32 slots);

  std::string const & name() const { return name_; }
  // As readers see it.
  Shoal::Multicast::Fib::Status const & status() const { return *table_; }
  // Routes of an earlier run that have not been published again.
  std::size_t stale() const { return stale_.size(); }

  // Throw CommandError for what cannot be published.
  void publish(RouteSpec const & spec);
  bool withdraw(Routing::Multicast::Fib::IpGenRouteKey const & key);
  void withdrawAll();
  // The first pass is over: what is stale goes. Returns how many.
  std::size_t sweep();
  // Tells the readers: once a batch.
  void commit() { table_->commit(); }
  // Takes the table away.
  void remove() { table_->remove(); }

  U32 routes() const { return table_->routes(); }
  std::size_t outputs() const { return indices_.size(); }
  // Each route as the command that makes it.
  std::vector<std::string> lines() const;

 private:
  using Key = Routing::Multicast::Fib::IpGenRouteKey;
  using OifIndex = Shoal::Multicast::Fib::OifIndex;
  using OifIndexIntf = Shoal::Multicast::Fib::OifIndexIntf;
  std::vector<Key> keys() const;
  OifIndex indexOf(OifIndexIntf const & oif);

  std::string const name_;
  Zet::Ptr<Shoal::Multicast::Fib::ShmStatusWriter> table_;
  std::set<Key> stale_;
  // The index of each output, by interface and properties, and the next free one.
  std::map<std::pair<Nettle::IntfId, U8>, OifIndex> indices_;
  U32 nextIndex_ = 0;
};

}  // namespace Brindle::Sim
