// A chip of the simulated switch, whichever programmer it belongs to: what commands do to it, and
// the one view of what stands in it, which show commands, the watch and comparisons read.
//
// Chips that answer at once are of SyncChip, chips that answer later of AsyncChip.
#pragma once

#include <optional>
#include <vector>

#include "sim/BidirTables.h"
#include "sim/Tampering.h"

namespace Brindle::Sim {

class Chip {
 public:
  static constexpr U32 defaultRoutes = 1000;
  static constexpr U32 defaultSets = 4000;

  using Entry = ChipEntry;
  using Match = Entry::Match;
  // Hears of each entry after it has come, changed or gone.
  class Observer {
   public:
    virtual void onEntry(Chip const & chip, RouteHandle handle, Match const & key) = 0;

   protected:
    ~Observer() = default;
  };
  // Null for nobody.
  void observerIs(Observer * v) { observer_ = v; }

  virtual Zet::Name name() const = 0;
  virtual U32 index() const = 0;

  // What stands in it, in any order; one entry, if it stands.
  std::vector<Entry> entries() const;
  std::optional<Entry> entry(RouteHandle) const;
  // As the hardware has what was written.
  std::optional<Entry> seen(Entry const & entry) const { return tampering_.seen(entry); }

  // Something happens to an entry behind the library's back; all of that is undone.
  void tamper(Entry const & entry, Tamper const & tamper);
  void restore();

  // The ports that belong to it.
  virtual Zet::OrderedSet<Nettle::IntfId> const & ports() const = 0;
  bool hasPort(Nettle::IntfId k) const { return ports().contains(k); }
  virtual void portIs(Nettle::IntfId, bool) = 0;

  // Routes in use, and sets in use: outputs of all sets, or as many sets, as the chip counts.
  virtual U32 routesInUse() const = 0;
  virtual U32 setsInUse() const = 0;
  virtual char const * setUnit() const = 0;
  virtual U32 routeCapacity() const = 0;
  virtual U32 setCapacity() const = 0;
  virtual bool hasRouteRoom() const = 0;
  virtual bool hasSetRoom() const = 0;
  // Throw CommandError for what the chip cannot be.
  virtual void routeCapacityIs(U32 n) = 0;
  virtual void setCapacityIs(U32 n) = 0;

  // So many of the next requests fail as if the table were full.
  void refuseRoutesIs(U32 n) { refuseRoutes_ = n; }
  void refuseSetsIs(U32 n) { refuseSets_ = n; }
  // Says that there is room where there is some; asks that failed routes be tried again. Throw
  // CommandError if the chip says no such thing.
  virtual void announceRoom() = 0;
  virtual void kick() = 0;

  // Its tables for bidirectional PIM.
  Zet::Ptr<GroupTable> const & groups() const { return groups_; }
  virtual ProfileTable & profiles() const = 0;

  // Takes all entries out, as a driver does that finds those of an earlier life.
  virtual void clear() = 0;

 protected:
  Chip(Zet::Name name, U32 index) : groups_(Zet::make<GroupTable>(name, index)) {}
  ~Chip() = default;
  void clearBidir() {
    groups_->clear();
    profiles().clear();
  }
  // What was written to it.
  virtual std::vector<Entry> written() const = 0;
  virtual std::optional<Entry> written(RouteHandle) const = 0;
  // An entry has been written anew, or deleted: what happened to it is past.
  void writtenIs(RouteHandle handle) { tampering_.writtenIs(handle); }
  void forgetTampering() { tampering_.clear(); }
  // Whether the next request is to fail; counts it.
  bool refusesRoute() { return takeOne(refuseRoutes_); }
  bool refusesSet() { return takeOne(refuseSets_); }
  bool isObserved() const { return observer_; }
  void tellObserver(RouteHandle handle, Match const & key) const {
    if (observer_) observer_->onEntry(*this, handle, key);
  }

 private:
  static bool takeOne(U32 & count) { return count != 0 && count-- != 0; }

  void tellOfAll() const;

  Zet::Ptr<GroupTable> const groups_;
  Observer * observer_ = nullptr;
  Tampering tampering_;
  U32 refuseRoutes_ = 0;
  U32 refuseSets_ = 0;
};

}  // namespace Brindle::Sim
