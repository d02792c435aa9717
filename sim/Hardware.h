// The hardware of the simulated switch, its chips, and the programmer that runs on them: of the
// kind that answers at once, or of the kind that answers later.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "groups/McastGroupProgrammer.h"
#include "model/MrouteTableColl.h"
#include "platform/Dir.h"
#include "prefix/PrefixMrouteSm.h"
#include "programmer/AsyncMrouteProgrammer.h"
#include "programmer/MrouteProgrammer.h"
#include "sim/Chip.h"
#include "sim/Records.h"

namespace Brindle::Sim {

class Hardware {
 public:
  using RouteKey = Routing::Multicast::Fib::IpGenRouteKey;

  struct Inputs {
    Zet::Ptr<Zet::Clock const> clock;
    Zet::Ptr<MrouteTableColl> tables;
    Records * records;
    Zet::Ptr<Zet::Dir> prefixMrouteStatusDir;
    Zet::Ptr<Multicast::Group::Status> groupStatus;
  };
  // Of the service that has the chips hold what other agents ask for.
  struct GroupInputs {
    Zet::Ptr<Zet::Dir const> configDir;
    Zet::Ptr<Multicast::Group::Status> status;
    Zet::Ptr<MrouteTableColl> tables;
    Zet::Ptr<MiraHelper> helper;
  };
  // Why a route is not in the chips as it is to be.
  struct Trouble {
    enum Kind { refused, inProgress, blocked } kind;
    std::vector<std::string> why;
    // The chips that are known to have refused it, each for want of an entry (true) or of a set.
    std::vector<std::pair<std::string, bool>> full{};
  };
  // Routes that wait for room on a chip.
  struct Waiting {
    U32 routes = 0;
    U32 sets = 0;
  };

  virtual ~Hardware() = default;

  // Chips. The name and the number must be free, and the name be there.
  virtual Chip & chipIs(Zet::Name name, U32 index) = 0;
  virtual void chipDel(Zet::Name name) = 0;
  virtual void chipDelAll() = 0;
  virtual std::vector<Chip *> chips() const = 0;
  // What stands in one: its entries, and sets that stand without one.
  virtual std::vector<Chip::Entry> entries(Chip const & chip) const { return chip.entries(); }

  // The programmer. A start takes out of the chips what an earlier life has left there. A kill is a
  // crash: chips and what is published stay as they are. An end is an orderly one.
  virtual void start(Inputs const &) = 0;
  virtual void kill() = 0;
  virtual void end() = 0;
  virtual bool runs() const = 0;
  // Once a programmer and the resolver run. The service of a programmer that was killed goes on
  // until the next one starts: requests come and go as the routes of the resolver do.
  virtual void startGroups(GroupInputs const &) {}

  // Nothing if the route is as it is to be, or nobody has heard of it.
  virtual std::optional<Trouble> trouble(L3::VrfName vrf, RouteKey const & key) const = 0;
  // All routes that chips have refused.
  virtual std::vector<RouteKey> refused(L3::VrfName vrf) const = 0;
  virtual Waiting waiting(L3::VrfName, Chip const &) const { return {}; }
  // When a chip is to answer next; never if none is.
  virtual Zet::Seconds nextAnswer() const { return Zet::Clock::never; }

  // The chips as the library has them: null where they are of the other kind.
  virtual Zet::Ptr<Fabric> fabric() const { return nullptr; }
  virtual Zet::Ptr<AsyncFabric> asyncFabric() const { return nullptr; }
  // The one of the tables of bidirectional groups, which always answer at once.
  virtual Zet::Ptr<Fabric> groupFabric() const = 0;

  // The switch by which the operator holds the programmer; null where it has none.
  virtual MrouteReviewConfig * reviewConfig() const { return nullptr; }

  // The programmer's machines: null where it is of the other kind, or does not run.
  virtual MrouteSm const * mrouteSm(L3::VrfName) const { return nullptr; }
  virtual PrefixMrouteSm const * prefixMrouteSm() const { return nullptr; }
  virtual AsyncMrouteSm const * asyncMrouteSm(L3::VrfName) const { return nullptr; }
  virtual Zet::Ptr<AsyncMrouteRootSm> asyncMrouteRootSm() const { return nullptr; }
  virtual McastGroupProgrammerSm * groups() const { return nullptr; }
};

std::unique_ptr<Hardware> makeSyncHardware();
// `unknownEntries`: floodsets of unknown multicast have entries in the chips.
std::unique_ptr<Hardware> makeAsyncHardware(bool unknownEntries);

}  // namespace Brindle::Sim
