// Events of connected subnets: addresses, the (*,G) routes that wait for them, and chips that have
// no room.
#include "tests/simulation/Generator.h"

namespace Simulation {

// In half of the seeds they are what matters.
void Generator::configureSubnets() { subnets_ = random_.percent(50); }

void Generator::addSubnetEvents() {
  using G = Generator;
  U32 const more = subnets_ ? 3 : 1;
  std::initializer_list<Event> const events = {
      {8 * more, &G::addressAdd},  {4 * more, &G::addressDel}, {2 * more, &G::addressMove},
      {8 * more, &G::publishStar}, {4 * more, &G::chipFull},   {2 * more, &G::subnetRefuse},
      {1, &G::chipReset},          {2 * more, &G::intfAgain},
  };
  events_.insert(events_.end(), events);
}

// Mostly in a subnet that is this interface's alone. Two of these are often of one subnet.
std::string Generator::address(std::string const & intf) {
  std::string const & whose = random_.percent(12) ? this->intf() : intf;
  U32 second = 0;
  for (char c : whose) second = (second * 31 + static_cast<unsigned char>(c)) % 250;
  U32 const third = random_.below(3), last = random_.between(1, 2);
  return "10." + std::to_string(second) + "." + std::to_string(third) + "." + std::to_string(last) +
         random_.of({"/24", "/24", "/24", "/16", "/30", "/32"});
}

void Generator::addressAdd() { addressAdd(intf()); }

void Generator::addressAdd(std::string const & intf) {
  std::string const what = address(intf);
  add({"ip addr add ", what, " dev ", intf});
  addresses_.emplace_back(intf, what);
}

void Generator::addressDel() {
  if (addresses_.empty()) return addressAdd();
  U32 const which = random_.below(static_cast<U32>(addresses_.size()));
  auto const [where, what] = addresses_[which];
  add({"ip addr del ", what, " dev ", where});
  addresses_.erase(addresses_.begin() + which);
}

// Another primary address, or another secondary one.
void Generator::addressMove() {
  if (addresses_.empty()) return addressAdd();
  std::string const where = random_.of(addresses_).first;
  addressDel();
  addressAdd(where);
}

std::string Generator::addressedIntf() {
  return addresses_.empty() || random_.percent(25) ? intf() : random_.of(addresses_).first;
}

void Generator::publishStar() {
  std::string const where = table();
  std::string const what = "* " + group();
  Published route = freshRoute();
  route.iif = addressedIntf();
  if (random_.percent(40)) route.notify = addressedIntf();
  if (random_.percent(80)) route.rpa = 0;
  publish(where, what, route);
}

// The next subnet finds no room.
void Generator::subnetRefuse() {
  if (!routeFaults_) return;
  add({"chip refuse ", chip(), " routes ", std::to_string(random_.between(1, 3))});
  switch (random_.below(4)) {
    case 0:
      return internalVlan();
    case 1:
      return addressAdd(addressedIntf());
    default:
      publishStar();
  }
  if (random_.percent(50)) clock();
}

// A chip gets as little room as it can do with.
void Generator::chipFull() {
  if (!routeFaults_) return;
  std::string const which = chip();
  for (auto const * routes : {"24", "16", "12", "8", "6", "4", "2", "1"}) {
    add({"chip set ", which, " routes ", routes});
  }
  if (random_.percent(60)) addressAdd(addressedIntf());
  if (random_.percent(20)) internalVlan();
  if (random_.percent(60)) publishStar();
}

// An interface loses its IP for a while, and its addresses with it.
void Generator::intfAgain() {
  std::string const where = addressedIntf();
  add({"ip link del ", where});
  if (random_.percent(30)) clock();
  if (random_.percent(30)) add("settle");
  std::erase_if(addresses_, [&where](auto const & one) { return one.first == where; });
  add({"ip link add ", where, " vrf ", vrf()});
  for (U32 i = random_.below(3); i > 0; --i) addressAdd(where);
}

void Generator::chipReset() {
  if (!lateChips_) return;
  std::string const which = chip();
  add({"chip del ", which});
  if (random_.percent(50)) addressAdd();
  add({"chip add ", which, " ports ", ports(), " ", ports()});
}

}  // namespace Simulation
