#include "mira/Explanation.h"

#include <algorithm>
#include <tuple>

namespace Brindle {

void Explanation::vlanIs(Bridging::VlanId vlan, VlanVerdict verdict) {
  auto const found =
      std::find_if(vlans_.begin(), vlans_.end(), [&](Vlan const & v) { return v.vlan == vlan; });
  if (found == vlans_.end()) {
    vlans_.push_back({vlan, verdict});
    return;
  }
  found->verdict = verdict;
}

void Explanation::portIs(Port const & port) {
  auto const samePort = [&](Port const & other) {
    return other.vlan == port.vlan && other.port == port.port;
  };
  auto at =
      std::lower_bound(ports_.begin(), ports_.end(), port, [](Port const & a, Port const & b) {
        return std::tuple(a.vlan, a.port) < std::tuple(b.vlan, b.port);
      });
  for (; at != ports_.end() && samePort(*at); ++at) {
    if (!at->isIn()) {
      if (port.isIn()) *at = port;
      return;
    }
    if (!port.isIn() || at->outLif == port.outLif) return;
  }
  ports_.insert(at, port);
}

Explanation::Port * Explanation::find(PortVlan const & member) {
  auto const found = std::find_if(ports_.begin(), ports_.end(), [&](Port const & port) {
    return port.port == member.port && port.outLif == member.outLif;
  });
  return found == ports_.end() ? nullptr : &*found;
}

void Explanation::memberDel(PortVlan const & member) {
  if (Port const * const port = find(member)) ports_.erase(ports_.begin() + (port - ports_.data()));
}

void Explanation::lagIs(PortVlan const & lag, PortVerdict verdict) {
  if (Port * const port = find(lag)) port->verdict = verdict;
}

void Explanation::lagMemberIs(PortVlan const & lag, Nettle::IntfId member, PortVerdict verdict) {
  Port * const port = find(lag);
  if (!port) return;
  if (verdict == PortVerdict::member) port->verdict = PortVerdict::replaced;
  portIs({port->vlan, member, lag.outLif, port->wish, verdict, lag.port});
}

}  // namespace Brindle
