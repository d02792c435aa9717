#include "tests/simulation/ComparisonBoundaries.h"

#include <algorithm>

namespace Simulation {

BoundaryComparison::BoundaryComparison(Brindle::Sim::Host const & host, BoundaryOracle & oracle)
    : host_(host),
      oracle_(oracle) {
  for (auto const * chip : host.chips()) {
    for (auto const & entry : chip->entries()) {
      if (entry.oifSet) continue;
      found_[nameOf(*chip)].emplace(entry.key.sg, entry.key.vlanId.value());
    }
  }
  compareDenials();
}

// --- In the chips

// What is certain comes first: a subnet and what is denied of it may look alike.
void BoundaryComparison::compareDenials() {
  for (Is const which : {Is::yes, Is::unknown}) {
    for (auto & [intf, denier] : oracle_.deniers()) {
      for (auto & [group, sources] : denier.groups) {
        for (auto & [source, denial] : sources) {
          take(Key(source, group), denier.vlan, denial, which);
        }
      }
    }
  }
}

void BoundaryComparison::take(Key const & key, U32 vlan, BoundaryOracle::Denial & denial,
                              Is which) {
  for (auto & [chip, is] : denial) {
    if (is != which) continue;
    auto & found = found_[chip];
    auto const at = found.find({key, vlan});
    auto const alike = std::count_if(found.begin(), found.end(),
                                     [&key](auto const & one) { return one.first == key; });
    bool const isSubnets = which == Is::unknown && alike <= subnetsAlike(key);
    bool const stands = at != found.end() && !isSubnets;
    if (stands) {
      found.erase(at);
      shown_ += chip + " denies " + key.pretty() + " in " + std::to_string(vlan) + "\n";
    } else if (which == Is::yes) {
      differ(chip + " lacks what denies " + key.pretty() + " in VLAN " + std::to_string(vlan));
    }
    is = stands ? Is::yes : Is::no;
  }
  bool const mixed = std::any_of(denial.begin(), denial.end(), [&denial](auto const & one) {
    return one.second != denial.begin()->second;
  });
  if (mixed && !chipsAnswerLater(host_)) {
    differ(key.pretty() + " is denied in VLAN " + std::to_string(vlan) + " by some chips only");
  }
}

// The entry of a connected subnet is the same, in whatever VLAN it has come.
std::ptrdiff_t BoundaryComparison::subnetsAlike(Key const & key) const {
  if (key.group() != Nettle::IpGenPrefix("224.0.0.0/4")) return 0;
  auto const & intfs = host_.records().pimIntfStatus->intfStatus().items();
  return std::count_if(intfs.begin(), intfs.end(), [&key](auto const & entry) {
    auto const * const route = entry.value->route(key.source());
    return route && route->programmed();
  });
}

}  // namespace Simulation
