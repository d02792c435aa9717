// The publishers of the switch under test. They are in this process, so that a run depends on
// nothing but its lines; what brindle-sim does by processes of their own is done here by hand.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/Ptr.h"
#include "sim/PublishCommands.h"
#include "tests/LocalTable.h"
#include "tests/simulation/Oracle.h"

namespace Simulation {

// What is published of bidirectional PIM, by VRF and address family.
struct PublishedPim {
  std::set<Nettle::IpGenPrefix> groups;
  std::map<Nettle::IntfId, U64> profiles;
  // A record contradicts itself: whoever has looked at it reads nothing any more. Until then the
  // rest counts.
  bool damaged = false;
  U32 takeovers = 0;  // by publishers; a new one has all of it told again
};
using BidirName = std::pair<L3::VrfName, Nettle::AddressFamily>;

class Publishers {
 public:
  // Carries out a line that begins with "publish", "publisher" or "tables"; false if it is none of
  // these. Throws CommandError.
  bool run(std::vector<std::string> const & words);
  // What each of these tables holds, in the same order.
  std::vector<ReadTable> read(std::vector<std::string> const & tables) const;
  std::map<BidirName, PublishedPim> const & bidir() const { return bidir_; }

 private:
  struct Publisher {
    explicit Publisher(std::string const & table);
    Brindle::Sim::PublishedTable table;
    std::ostringstream out;
    Brindle::Sim::Publication publication;
    Brindle::Sim::Interpreter<Brindle::Sim::Publication> interpreter;
    std::set<Nettle::AddressFamily> takenOver;  // tables of bidirectional PIM
  };
  struct Table {
    std::unique_ptr<Publisher> publisher;
    // What stands in the table while nobody publishes it.
    Zet::Ptr<Tests::LocalTable> left = Zet::make<Tests::LocalTable>();
  };

  void start(std::string const & table);
  void stop(std::string const & table, bool withdraw);
  void publish(std::vector<std::string> const & words);
  void damage(std::vector<std::string> const & words);
  void noteBidir(std::string const & table, Publisher & publisher);
  Table & running(std::string const & table);

  std::map<std::string, Table> tables_;
  std::map<BidirName, PublishedPim> bidir_;
};

}  // namespace Simulation
