// Why what stands in hardware may have changed: what was published, which marks the route met, and
// the commands that were given shortly before.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "mira/Mira.h"

namespace Brindle::Sim {

class Host;

// Follows the marks of all VRFs from its making on.
class Causes : public Zet::Sm {
 public:
  using RouteKey = Routing::Multicast::Fib::IpGenRouteKey;
  explicit Causes(Host & host);

  // A command has been given that may change something.
  void commandIs(std::string_view line);
  // Nothing is under way any more: what comes next has other causes.
  void forget();
  // Of a change of the route's entry for an input VLAN. `dropped`: the entry was a drop entry that
  // has gone. A change is explained once.
  std::string of(RouteKey const & key, Bridging::VlanIdOrNone vlan, bool dropped);

 private:
  struct ZetDirtyChangeSet : Zet::KeyedReactor<L3::VrfName, DirtyChangeSet const, Causes> {
    using KeyedReactor::KeyedReactor;
    void onDirtyVlanCount() override;
    void onDirtyVlanPortCount() override;
    void onDirtyVlanGroupCount() override;
    void onDirtyLagCount() override;
    void onAllVlansDirtyCount() override;
    void note(Filters const & bits, std::string const & text) { sm()->note(key(), bits, text); }
  };
  struct Recent {
    Zet::Seconds time;
    std::string text;
  };
  struct Mark : Recent {
    L3::VrfName vrf;
    Filters bits;
  };

  void note(L3::VrfName vrf, Filters const & bits, std::string const & text);
  void followVrfs();
  void forgetOld();
  std::string reason(RouteKey const & key, Bridging::VlanIdOrNone vlan, bool dropped);
  std::string reasonOf(Mira const & mira, Mroute const & route, Bridging::VlanIdOrNone vlan);

  Host & host_;
  std::vector<Recent> commands_;
  std::vector<Mark> marks_;
  // Routes as they were published when they were last explained.
  std::map<std::pair<L3::VrfName, RouteKey>, Shoal::Multicast::Fib::Route> published_;
  Zet::ReactorMap<L3::VrfName, ZetDirtyChangeSet> zetDirtyChangeSet_{this};
};

}  // namespace Brindle::Sim
