// What bidirectional PIM must bring about: which groups of which VRF each chip holds, and which
// profile in which VLAN. A group is in all chips or, for want of room, in none. Profiles hang on
// what was before: two tables, or two interfaces in turn, may speak of one VLAN, of which the last
// word counts, and one that is changed while a chip is exactly full leaves all of them. So this
// follows the script, by VLANs, and compares at each rest.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/simulation/Publishers.h"
#include "tests/simulation/Standing.h"

namespace Simulation {

class BidirOracle : public Findings {
 public:
  using Words = std::vector<std::string>;
  using Published = std::map<BidirName, PublishedPim>;

  explicit BidirOracle(Brindle::Sim::Host const & host) : host_(host) {}

  // After a line that the switch has taken, with what is published then.
  void note(Words const & words, Published const & published);
  // At rest. `isHealed`: chips that answer later have answered.
  void compare(bool isHealed);
  std::string takeShown() { return std::exchange(shown_, {}); }

 private:
  using Chip = Brindle::Sim::Chip;
  using IntfId = Nettle::IntfId;
  using Group = Brindle::Sim::GroupTable::Group;
  using Groups = std::multiset<Group>;
  // A profile of an interface in a table that is followed.
  struct Owner {
    BidirName table;
    IntfId intf;
    auto operator<=>(Owner const &) const = default;
  };
  // What each chip has in a VLAN; nothing is not noted.
  using Standing = std::map<std::string, U64>;
  struct Vlan {
    std::map<Owner, U64> claims;  // profiles that belong there
    Standing standing;            // at the last rest, or when its machine ended
    std::set<Owner> speakers;     // whose profile may have been written or taken out since
    std::set<U64> spoken;         // with these
    std::set<Owner> waiting;      // at the last rest
    // Profiles of which a chip that ran full took the room, but which no word of room is due to.
    std::set<Owner> stuck;
    std::set<Owner> changed;  // as the script has said since the last rest
    // Who spoke last is not known, until the next rest or, where chips answer later, for good.
    bool open = false;
    bool mixed = false;
    // What was left there may go when the interface that had it is spoken of again: a routed one
    // that lost the VLAN without being told, or one whose table is read anew.
    bool loose = false;
  };

  // Following the script
  std::set<BidirName> following() const;
  std::map<Owner, U64> claims(std::set<BidirName> const & tables) const;
  void noteEnded(std::set<BidirName> const & now);
  void noteClaims(std::set<BidirName> const & now);
  void speak(U32 vlan, Owner const & owner, U64 bitmap = 0);
  void miss(U32 vlan, U64 bitmap);
  void leave(U32 vlan);
  U32 vlanOf(IntfId intf) const;

  // In the chips
  Groups groupsOf(Chip const & chip, BidirName const & table) const;
  Standing found(U32 vlan) const;
  bool isSomeFull(bool ofGroups) const;
  bool isRoomDue() const;
  bool waits(Owner const & owner) const;
  bool isTriedLater(Owner const & owner) const;
  bool mayBeUnderWay(Vlan const & state) const;
  void compareGroups();
  void compareGroups(BidirName const & table, std::map<std::string, Groups> & found);
  void compareVlan(U32 vlan, Vlan & state, bool isHealed);
  void compareOwned(U32 vlan, Vlan const & state, Owner const & owner, Standing const & found);
  void compareLate(U32 vlan, Vlan const & state, Standing const & found, bool isHealed);
  void compareOpen(U32 vlan, Vlan const & state, Standing const & found);
  void rest(Vlan & state, Standing const & found);
  void differ(U32 vlan, Standing const & found, std::string const & expected);

  Brindle::Sim::Host const & host_;
  Published published_;
  std::set<BidirName> following_;
  std::map<std::string, Groups> left_;  // groups of machines that have ended, by chips
  std::map<U32, Vlan> vlans_;
  std::map<Owner, U32> where_;  // the VLAN of each profile that may stand since the last rest
  std::map<IntfId, U32> internal_;
  bool wasFull_ = false;  // some chip had no more room for profiles than it needed, since then
};

}  // namespace Simulation
