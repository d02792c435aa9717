// What the paced passes share: a time to stop, a walk that resumes, and generations. Their policies
// differ and stay with each pass.
#pragma once
#include <utility>

#include "platform/Clock.h"
#include "platform/Types.h"

namespace Keel {

// The end of a slice of work. Asking reads the clock.
class Budget {
 public:
  // Begins now and lasts `quantum`.
  explicit Budget(Zet::Seconds quantum) : deadline_(Zet::System::currentTime() + quantum) {}

  bool over() const { return Zet::System::currentTime() >= deadline_; }

 private:
  Zet::Seconds const deadline_;
};

// Counts what is handled, and says when it is time to look at the budget: with each `stride`-th
// item, and with none but that.
//
//   if (routes.inc() && budget.over()) return pause();
template <unsigned stride> class Paced {
 public:
  bool inc() { return inc(1); }
  // How many make the next stride full; and so many at once, not more than that.
  unsigned toGo() const { return toGo_; }
  bool inc(unsigned n) {
    toGo_ -= n;
    if (toGo_) return false;
    toGo_ = stride;
    ++strides_;
    return true;
  }
  U64 count() const { return strides_ * stride + (stride - toGo_); }

 private:
  unsigned toGo_ = stride;
  U64 strides_ = 0;
};

// Walks a HashMap as a ring, from any key. The member that it stands on may leave the table as
// long as leave() is called first, so two of them, one standing where the walk began and one
// walking, meet again whatever is deleted.
template <class Map> class WrapIterator {
 public:
  using Key = typename Map::Key;
  using Inner = typename Map::Iterator;

  WrapIterator() = default;
  // At the key; at the first member if the key is not in the map; null if the map is empty.
  WrapIterator(Map const & map, Key const & key) : map_(&map), at_(map.startAt(key)) {
    if (!at_ || !(at_.key() == key)) at_ = map.begin();
  }

  explicit operator bool() const { return static_cast<bool>(at_); }
  auto * operator->() const { return at_.operator->(); }
  auto & operator*() const { return *at_; }
  auto const & ptr() const { return at_.ptr(); }
  Key const & key() const { return at_.key(); }
  bool operator==(WrapIterator const & o) const { return at_ == o.at_; }

  // To the next member, or from the last to the first: true then.
  bool advance() {
    at_.advance();
    if (at_) return false;
    at_ = map_->begin();
    return true;
  }
  // Moves on by at most so many members, for as long as `leave` is true of the one that it stands
  // on, but not past `stop`, nor beyond the first one once it has come to the end of the map:
  // `wrapped` then. Returns by how many. `leave` must not change the map.
  template <class Leave>
  U32 skip(WrapIterator const & stop, U32 most, bool & wrapped, Leave leave) {
    auto * at = at_.operator->();
    auto * const stopAt = stop.at_.operator->();
    U32 moved = 0;
    while (moved < most && leave(*at)) {
      ++moved;
      at = map_->next(at);
      wrapped = !at;
      if (wrapped || at == stopAt) break;
    }
    at_ = wrapped ? map_->begin() : map_->at(at);
    return moved;
  }
  // The member of this key is about to be deleted: if the walk stands on it, it moves on, to null
  // if there is no other. True if it went from the last member to the first.
  bool leave(Key const & key) {
    if (!at_ || !(at_.key() == key)) return false;
    Inner const old = at_;
    bool const wrapped = advance();
    if (at_ == old) at_ = Inner();
    return wrapped;
  }

 private:
  Map const * map_ = nullptr;
  Inner at_;
};

// The generation behind `g`. 0 is none: it stands for what no pass has seen.
constexpr U32 nextGeneration(U32 g) { return g + 1 ? g + 1 : 1; }

}  // namespace Keel
