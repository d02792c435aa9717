#include "tests/simulation/FloodsetWatch.h"

#include <algorithm>

namespace Simulation {

using namespace Routing::Multicast::Fib;
using Brindle::Sim::Chip;

namespace {

Bridging::VlanId vlanOf(std::string const & word) {
  return Bridging::VlanId(static_cast<U32>(std::stoul(word)));
}

}  // namespace

FloodsetWatch::~FloodsetWatch() {
  for (Chip * chip : host_.chips()) chip->observerIs(nullptr);
}

// --- Lines

void FloodsetWatch::before(std::vector<std::string> const & words) {
  // The driver takes out what an earlier life has left.
  if (words[0] == "programmer") return active_.clear();
  mayFail_ |= std::find(words.begin(), words.end(), "fail") != words.end();
  bool const del = words.size() == 3 && words[0] == "chip" && words[1] == "del";
  if (!del) return;
  for (Chip * chip : host_.chips()) {
    if (nameOf(*chip) == words[2]) chip->observerIs(nullptr);
  }
  std::erase_if(active_, [&](auto const & one) { return one.first.first == words[2]; });
}

void FloodsetWatch::note(std::vector<std::string> const & words, bool mayFail) {
  std::string const verb = words.size() > 1 ? words[0] + " " + words[1] : words[0];
  if (verb == "chip add") {
    for (Chip * chip : host_.chips()) chip->observerIs(this);
  }
  if (verb == "stp vlan" && words.back() == "off") treeless_.insert(vlanOf(words[2]));
  if (verb == "vlan del" && words.size() == 3) treeless_.erase(vlanOf(words[2]));
  if (verb == "hw delete-l2-on-failure") keepingChanged_ = mayFail;
  mayFail_ = mayFail;
  if (!mayFail) keepingChanged_ = false;
}

// --- Entries

// A floodset that a chip refuses keeps its old entries, unless the platform wants it otherwise.
bool FloodsetWatch::mayLeave(Key const & key) const {
  if (!host_.routeTables().l2FloodsetTable()->mroute(key)) return true;
  bool const ofVlan = key.kind() == vlanFloodset_ || key.kind() == multicastFloodset_;
  bool const kept = ofVlan && !chipsAnswerLater(host_);
  return mayFail_ && (!kept || host_.records().hardware->deleteL2RouteOnFailure());
}

void FloodsetWatch::onEntry(Chip const & chip, Brindle::RouteHandle handle,
                            Chip::Match const & key) {
  if (key.sg.kind() == mroute_ || !looks_) return;
  std::pair const where(nameOf(chip), key.sg);
  if (auto const entry = chip.entry(handle)) {
    if (entry->active) active_[where] = handle;
    return;
  }
  auto const active = active_.find(where);
  if (active == active_.end() || active->second != handle) return;
  active_.erase(active);
  if (mayLeave(key.sg)) return;
  differ(where.first + ": " + key.sg.pretty() + " has gone for a while");
}

}  // namespace Simulation
