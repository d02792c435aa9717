// What the comparison of L2 routes has to know of what was before: the lines that said so, and each
// entry that came or went in a chip. The entry of a floodset that stands never goes, not even for a
// while, whatever happens to its outputs.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "sim/Host.h"
#include "tests/simulation/Standing.h"

namespace Simulation {

// Differs with each entry that went though it should not have.
class FloodsetWatch : public Brindle::Sim::Chip::Observer, public Findings {
 public:
  explicit FloodsetWatch(Brindle::Sim::Host const & host) : host_(host) {}
  // A switch that ends takes its entries out.
  ~FloodsetWatch();

  // Before a line is carried out, and after; `mayFail`: chips refuse from then on, or lack room.
  void before(std::vector<std::string> const & words);
  void note(std::vector<std::string> const & words, bool mayFail);

  // False while somebody tampers with chips.
  void looksIs(bool v) { looks_ = v; }

  // VLANs that have run no spanning tree since they came up, if only for a while.
  std::set<Bridging::VlanId> const & treeless() const { return treeless_; }
  // Whether floodsets keep their entries when they fail was changed while chips refused.
  bool keepingChanged() const { return keepingChanged_; }

  void onEntry(Brindle::Sim::Chip const & chip, Brindle::RouteHandle handle,
               Brindle::Sim::Chip::Match const & key) override;

 private:
  // Whether the route may be taken from a chip while it stands.
  bool mayLeave(Key const & key) const;

  Brindle::Sim::Host const & host_;
  // The entries that are active, by chip and key.
  std::map<std::pair<std::string, Key>, Brindle::RouteHandle> active_;
  std::set<Bridging::VlanId> treeless_;
  bool looks_ = true;
  bool mayFail_ = false;
  bool keepingChanged_ = false;
};

}  // namespace Simulation
