// Prints a line for each change of what stands in hardware, with what caused it.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "platform/Clock.h"
#include "sim/Causes.h"
#include "sim/Chip.h"

namespace Brindle::Sim {

// A change is shown when all that happens at its time has happened: an entry that takes another's
// place is one change.
class Watch final : public Zet::Sm, public Chip::Observer {
 public:
  // REQUIRES: the library runs.
  explicit Watch(Host & host);
  void handleDel() override;
  // A command has been carried out.
  void handleCommand(std::string_view line);
  void handleChip(Chip & chip);
  // The chip is going, and all that stands in it.
  void handleChipDel(Chip & chip);
  void onEntry(Chip const & chip, RouteHandle handle, Chip::Match const & key) override;

 private:
  struct Id {
    std::string chip;
    Causes::RouteKey sg;
    Bridging::VlanIdOrNone vlan;
    auto operator<=>(Id const &) const = default;
  };
  // The entries of one match: two of them while one takes the other's place.
  struct Standing {
    std::set<U32> handles;
    bool stands = false;
    bool drops = false;
    std::string outputs;
  };
  struct ZetClock : Zet::Reactor<Zet::Clock const, Watch> {
    using Reactor::Reactor;
    void onTime() override {
      timeMinIs(Zet::Clock::never);
      sm()->handleClock();
    }
  };
  void handleClock();
  void touch(Id const & id);
  void lookAtSetsAlone();
  Standing now(Id const & id, Standing const & before) const;
  void print(Id const & id, Standing const & before, Standing const & after);

  Host & host_;
  Zet::Ptr<Causes> const causes_;
  std::map<Id, Standing> standing_;
  std::set<Id> touched_;
  std::set<Id> setsAlone_;  // without an entry
  Zet::ReactorPtr<ZetClock> zetClock_{this};
};

}  // namespace Brindle::Sim
