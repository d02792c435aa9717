// When a chip that answers later ends its transactions, in which order, and how.
#pragma once

#include <map>
#include <random>
#include <vector>

#include "model/RouteHandle.h"
#include "platform/ActivityManager.h"
#include "platform/Reactor.h"
#include "platform/Xact.h"

namespace Brindle::Sim {

// What the operator wants of a chip.
struct Answers {
  enum When { later, atOnce, onCommand };
  enum Order { fifo, lifo, random };

  When when = later;
  Zet::Seconds delay = 0.001;
  // Of answers that are due at one time.
  Order order = fifo;
  U32 failPercent = 0;
  U32 seed = 1;  // of random order and of failures
};

// Holds the open transactions of a chip, and ends them. One that points an entry at a set can only
// succeed after that of the set: it waits, in whatever order.
class Answering final : public Zet::Sm {
 public:
  using Result = Keel::XactResult;
  // Whose transactions they are.
  class Xacts {
   public:
    virtual bool isOpen(U32 id, RouteHandle handle) const = 0;
    // It cannot succeed yet.
    virtual bool isBlocked(U32 id, RouteHandle handle) const = 0;
    // False if it cannot end so yet.
    virtual bool end(U32 id, RouteHandle handle, Result) = 0;

   protected:
    ~Xacts() = default;
  };
  explicit Answering(Xacts & xacts);

  Answers const & answers() const { return answers_; }
  // Holds for those that are open, too.
  void answersIs(Answers const &);

  // A transaction has been issued: of a set or, with a handle, of the pointing of that entry, which
  // may be issued again.
  void openIs(U32 id, RouteHandle handle = {});
  // Ends all that are open, but for those that cannot end yet.
  void endAll(Result);
  // Ends one. False if it cannot end yet. REQUIRES: it is open.
  bool end(U32 id, RouteHandle handle, Result);
  // When the next answer is due; never if none is.
  Zet::Seconds next() const;

 private:
  struct ZetClock final : Zet::Reactor<Zet::Clock const, Answering> {
    using Reactor::Reactor;
    void onTime() override { sm()->handleClock(); }
  };

  struct Open {
    U32 id;
    RouteHandle handle;
    Zet::Seconds since;
  };
  using Numbers = std::vector<U64>;

  void handleClock();
  void arm();
  Numbers due(Zet::Seconds until);
  template <class ResultOf> void answer(Numbers const & which, ResultOf resultOf);
  bool isOpen(Open const & o) const;
  void forgetClosed();
  Result draw();

  Xacts & xacts_;
  Answers answers_;
  std::mt19937 random_{answers_.seed};
  U64 last_ = 0;
  std::map<U64, Open> open_;  // in the order of their coming; some may have gone meanwhile
  Zet::ReactorPtr<ZetClock> zetClock_{this};
};

}  // namespace Brindle::Sim
