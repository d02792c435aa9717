// Which fastdrops must stand, by a plain model that follows the script: a fastdrop hangs on what
// was before. It counts failures, makes drops and lets them age as the operator was told that it is
// done, and shares nothing with the resolver.
//
// It is exact from one "settle" on, as long as only packets, time and settings of fastdrops come.
// As soon as the switch is told anything else, nobody knows when it is computed: then a failure may
// make a drop or not, and so may what is true for a while only. At the next "settle" what may be
// is compared with what is, and is known from there on.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "model/MrouteTableColl.h"
#include "tests/simulation/OracleFastdrops.h"
#include "tests/simulation/Standing.h"

namespace Simulation {

class FastdropHistory : public Findings {
 public:
  using Routes = std::map<RouteName, ExpectedRoute>;
  FastdropHistory(Brindle::Sim::Host const & host, BoundaryOracle const & boundaries)
      : host_(host),
        boundaries_(boundaries),
        rules_(host) {}

  // A line that was carried out.
  struct Line {
    std::vector<std::string> const & words;
    std::string const & printed;
    Zet::Seconds before;  // when it began
    std::function<Routes()> routes;
  };
  void follow(Line const & line);

  // The switch is at rest: compares, and adds the drops that stand to the routes.
  void compare(Routes & routes, Oracle const & oracle, Circumstances const & circumstances);

 private:
  using Seconds = Zet::Seconds;
  // Something happens once in it.
  struct Span {
    Seconds first = 0;
    Seconds last = 0;
    Span operator+(Seconds s) const { return {first + s, last + s}; }
    // Which of two comes first is not known; of two at the very same time it is.
    bool meets(Span const & o) const {
      return first <= o.last && o.first <= last && (first != last || o.first != o.last);
    }
  };
  struct Drop {
    bool sure = true;  // stands, or else may
    Span seen;         // when packets came last, as it is published
    Nettle::IntfId intf;
    bool seenAnew = false;  // or it has been published anew since, at any time
    enum Published { no, yes, unknown } published = unknown;
    U32 refusedVersion = 0;  // of the route, with which a chip may have refused the drop
  };
  struct Count {
    U16 failures = 0;
    bool sure = true;
    bool receives = false;  // the route in the VLAN, so that each computation forgets them
  };
  // A route since it came.
  static constexpr U32 unknownVlan = ~U32{0};
  struct Route {
    std::map<U32, Drop> drops;    // by VLAN
    std::map<U32, Count> counts;  // the same
    // The VLANs in which it may have been accepted when it was computed, since the last rest.
    std::set<U32> accepted;
    U32 backup = 0;  // VLAN of its fast-reroute input
    // The one before, where a drop goes at the next poll.
    std::set<U32> mayHaveHadBackup;
    U32 hadBackup = 0;
  };
  // How long the operator is kept waiting for the news that the limit is no longer reached.
  static constexpr Seconds allClearDelay = 60;
  // What the operator is told of a VRF.
  struct Limit {
    bool known = true;
    Seconds since = 0;     // it is not
    bool touched = false;  // and drops may have come or gone since
    bool reached = false;
    bool reachedBefore = false;    // before this line
    std::optional<Span> allClear;  // when he is told that it is no longer
    bool allClearSure = true;      // or may be, if drops came or went
  };
  struct Vrf {
    std::optional<Span> poll;
    Limit limit;
  };
  struct Stream {
    Key key;
    U32 vlan;
  };

  // What a line does
  void disturb(bool byReview);
  void failures(Line const & line, U32 times);
  bool isDenied(L3::VrfName vrf, Stream const & stream) const;
  void fail(L3::VrfName vrf, Stream const & stream);
  void fail(RouteName const & name, ExpectedRoute const & route, U32 vlan);
  void failUnknown(L3::VrfName vrf, Stream const & stream, Line const & line);
  void noteKept(RouteName const & name, U32 vlan, Drop & drop) const;
  void make(RouteName const & name, ExpectedRoute const & route, U32 vlan);
  void loseSight(L3::VrfName vrf, Route & model);
  void forget(RouteName const & name, bool sure);
  void mayMake(RouteName const & name, U32 vlan);
  void traffic(Line const & line);
  void refresh(L3::VrfName vrf, Stream const & stream);
  void clear(Line const & line);
  void glimpse(RouteName const & name, ExpectedRoute const * route);
  void glimpseAll(Line const & line);
  void noteIntfs(std::vector<std::string> const & words);
  void noteVrfs();
  void noteAcceptedNowhere(std::vector<std::string> const & words);
  void noteUnread(std::vector<std::string> const & words);

  // Time
  void passTime(bool partly);
  void passTime(L3::VrfName vrf, Vrf & state);
  Span startOf(Span due) const;
  void poll(L3::VrfName vrf, Vrf & state);
  bool age(RouteName const & name, Route & route, U32 vlan, Span at, bool sure);

  // The limit
  struct Total {
    U32 least = 0;
    U32 most = 0;
  };
  Total total(L3::VrfName vrf) const;
  static void doubt(Limit & limit, Seconds since, bool touched);
  void counted(L3::VrfName vrf, Span at);
  void tellAllClear(L3::VrfName vrf, Vrf & state);
  void expectLog(L3::VrfName vrf, char const * name) { ++expected_[{vrf, name}]; }
  void compareLog(std::string const & printed);

  // At rest
  void settle(RouteName const & name, Route & model);
  void settleLeft(Route & model, Brindle::Mroute const & found);
  void settleBackup(Route & model, U32 backup);
  void compareRoute(RouteName const & name, Route & model, Oracle const & oracle);
  void compareDrops(RouteName const & name, Route & model, Brindle::Mroute const & found);
  void compareCounts(RouteName const & name, Route & model, Brindle::Mroute const & found);
  void compareContents(RouteName const & name, Route const & model, Oracle const & oracle);
  void compareChips(RouteName const & name, Route const & model);
  void compareActivity(RouteName const & name, Route & model);
  void resolveLimit(L3::VrfName vrf, Limit & limit, Total before);
  void mayTellAllClear(Limit & limit) const;
  void compareTotals();
  void addDrops(RouteName const & name, ExpectedRoute & route, Oracle const & oracle);
  void countHolders();

  // Tools
  static std::string text(RouteName const & name, U32 vlan) {
    return name.text() + " fastdrop in VLAN " + std::to_string(vlan);
  }
  static Stream streamOf(std::vector<std::string> const & words);
  Brindle::Mroute const * mroute(RouteName const & name) const {
    return Simulation::mroute(host_, name);
  }
  ExpectedRoute const * standing(RouteName const & name) const;
  bool isLeft(RouteName const & name) const;
  bool isInput(RouteName const & name, U32 vlan) const;
  bool isInTwoVrfs(Key const & key) const;
  static Nettle::IntfId intfOf(Zet::String const & name) { return Nettle::IntfId(name.view()); }
  // When packets came last, as it is published; null if no drop is.
  double const * activity(RouteName const & name, U32 vlan) const;
  Drop::Published publishedAt(RouteName const & name, U32 vlan) const;
  Span span() const { return {before_, now_}; }

  Brindle::Sim::Host const & host_;
  BoundaryOracle const & boundaries_;
  FastdropRules const rules_;
  Routes rest_;
  std::map<RouteName, Route> routes_;
  std::map<L3::VrfName, Vrf> vrfs_;
  std::map<std::pair<L3::VrfName, std::string>, U32> expected_;  // messages of this line
  std::map<std::pair<Key, U32>, U32> holders_;                   // chips that hold an entry
  Circumstances circumstances_;
  Seconds before_ = 0;
  Seconds now_ = 0;
  Seconds readCost_ = 0;
  bool atRest_ = false;
  bool onlyReviewed_ = false;  // but for that, it would be
  U64 failures_ = 0;           // in the default VRF, which never goes
};

}  // namespace Simulation
