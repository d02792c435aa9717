// What the verification of both programmers has in common: the comparison of an entry with its
// chip, and the search for entries that nobody holds.
#pragma once

#include <map>
#include <optional>
#include <set>

#include "sim/Host.h"
#include "sim/Verify.h"

namespace Brindle::Sim {

class Verifier {
 public:
  Verifier(Host const & host, std::optional<KeyView> const & only) : host_(host), only_(only) {}
  virtual ~Verifier() = default;
  VerifyView run();

 protected:
  // What an entry is to be; where several sets will do, those of `others`, too.
  struct Wanted {
    RouteHandle handle;
    Chip::Match match;
    OifSet const * set = nullptr;
    bool active = true;
    std::optional<U32> rpaId;  // nothing for any
  };

  // Looks at each route of a VRF by route(), and at whatever else holds entries.
  virtual void routes(L3::VrfName vrf) = 0;
  virtual void others() {}

  bool isMeant(KeyView const & key) const;
  void count() { ++view_.routes; }
  void differ(KeyView const & key, std::string const & where, std::string const & what);
  U32 differences() const { return static_cast<U32>(view_.differences.size()); }

  // Someone holds the entry.
  void hold(Chip const & chip, RouteHandle handle) { held_[&chip].insert(handle.value); }
  void compareEntry(KeyView const & key, Chip const & chip, Wanted const & wanted);
  void compareEntry(KeyView const & key, Chip const & chip, Wanted const & wanted,
                    std::optional<Chip::Entry> const & found);
  // What the programmer took from the table is what stands there.
  template <class Route> void compareTable(KeyView const & key, Route const & route) {
    Mroute const & mroute = route.mroute();
    if (route.oifSet() != mroute.oifSet()) differ(key, "table", "wants another set");
    if (route.acceptingVlanId() != mroute.acceptingVlanId()) {
      differ(key, "table", "wants another accepting VLAN");
    }
    if (route.rpaId() != mroute.rpaId()) differ(key, "table", "wants another rendezvous point");
  }
  // It waits for its rendezvous point, or has not been computed: no programmer takes notice of it.
  static bool isUnready(Mroute const & mroute) {
    return mroute.version() == 0 ||
           (!mroute.acceptingVlanId() && mroute.rpaId() >= Shoal::Multicast::Fib::rpaInvalid);
  }
  // The interface that is published of an entry is that of its VLAN.
  void compareIntf(KeyView const & key, char const * which, Nettle::IntfId published,
                   Bridging::VlanIdOrNone vlan);

  Host const & host_;

 private:
  void findUnheld();

  std::optional<KeyView> const only_;
  VerifyView view_;
  std::map<Chip const *, std::set<U32>> held_;
};

std::unique_ptr<Verifier> makeSyncVerifier(Host const & host, std::optional<KeyView> const & only);
std::unique_ptr<Verifier> makeAsyncVerifier(Host const & host, std::optional<KeyView> const & only);

}  // namespace Brindle::Sim
