#include "tests/simulation/Generator.h"

namespace Simulation {

std::vector<std::string> Generator::script() {
  configure();
  addChips();
  weigh();
  weighAsync();
  weighGroups();
  weighBoundaries();
  weighBidir();
  calm_ = random_.percent(20);
  bool const early = random_.percent(50);
  if (early) startPublishers();
  populate();
  if (!early) startPublishers();
  startBoundaries();
  startBidir();
  for (U32 i = random_.between(1, 20); i > 0; --i) publishNew();
  add("settle");
  U32 const bursts = calm_ ? random_.between(40, 120) : random_.between(4, 16);
  for (U32 i = 0; i < bursts; ++i) {
    burst();
    if (random_.percent(calm_ ? 2 : 12)) heal();
  }
  heal();
  tearDown();
  return lines_;
}

// What is to be said before the start.
void Generator::configure() {
  add("tables private");
  configureAsync();
  configureGroups();
  v6_ = random_.percent(12);
  if (v6_) add("hw family ipv6");
  add({"lag operation ", random_.of({"pass", "expand", "designated"})});
  if (random_.percent(20)) add("lag configured-members on");
  if (random_.percent(30)) add("hw tagged-ports on");
  if (random_.percent(30)) add("hw need-iif on");
  if (random_.percent(30)) add("hw batch on");
  if (random_.percent(40)) add("hw policy off");
  configureL2();
  configureSubnets();
  for (auto const * name : {"red", "blue"}) {
    if (!random_.percent(50)) continue;
    vrfs_.push_back(name);
    add({std::string("vrf add "), name});
  }
  for (auto const & name : vrfs_) {
    if (name != "default") tables_.push_back("pim." + name);
    if (random_.percent(40)) tables_.push_back("static." + name);
  }
}

// Where a route would have to leave several chips because one of them refuses its new entry while
// the old one stands on another, the process ends, by design: no such fault then.
void Generator::addChips() {
  chips_ = random_.percent(50) ? 1 : random_.between(2, 4);
  bool const avoidDuplicates = random_.percent(30);
  if (avoidDuplicates) add("hw avoid-duplicates on");
  routeFaults_ = (chips_ == 1 || avoidDuplicates) && random_.percent(50);
  setFaults_ = random_.percent(40);
  lateChips_ = !routeFaults_ && random_.percent(30);
  for (U32 i = 0; i < chips_; ++i) {
    std::string line = "chip add c" + std::to_string(i);
    if (routeFaults_ || setFaults_) {
      line += " routes " + (routeFaults_ ? std::to_string(random_.between(2, 20)) : plenty());
      line += " sets " + (setFaults_ ? std::to_string(random_.between(4, 60)) : plenty());
    }
    add({line, " ports ", ports(), " ", ports(), " ", ports()});
  }
}

// The same kinds of events as in the bursts, with those that build first.
void Generator::populate() {
  for (auto const * number : {"10", "20", "30"}) {
    add({std::string("vlan add "), number, " port ", ports(), " ", ports()});
    add({std::string("ip link add Vlan"), number, " vrf ", vrf()});
    if (subnets_) addressAdd(std::string("Vlan") + number);
  }
  if (subnets_ && random_.percent(60)) {
    add({"ip link add et1 internal-vlan 1006 vrf ", vrf()});
    addressAdd("et1");
  }
  for (U32 i = calm_ ? random_.between(15, 50) : random_.between(0, 14); i > 0; --i) {
    switch (random_.below(10)) {
      case 0:
        intfAdd();
        break;
      case 1:
        portAdd();
        break;
      case 2:
        lagMember();
        break;
      case 3:
        snooping();
        break;
      case 4:
        join();
        break;
      case 5:
        addressAdd();
        break;
      case 6:
        staticGroup();
        break;
      case 7:
        pimVlan();
        break;
      case 8:
        pimVxlan();
        break;
      default:
        intfAdd();
        break;
    }
  }
}

// The first starts the switch, too.
void Generator::startPublishers() {
  for (auto const & name : tables_) add({"publisher start ", name});
}

// What one event does not bring about in a calm seed no other one does behind it.
void Generator::burst() {
  for (U32 i = calm_ || random_.percent(30) ? 1 : random_.between(2, 25); i > 0; --i) {
    event();
    asyncEvent();
    groupEvent();
    boundaryEvent();
    bidirEvent();
  }
  add("settle");
}

void Generator::heal() {
  healing_ = true;
  for (U32 i = 0; i < chips_; ++i) {
    auto const line = [&](char const * verb, std::string const & rest) {
      add({std::string("chip "), verb, " c", std::to_string(i), rest});
    };
    line("refuse", " routes 0");
    line("refuse", " sets 0");
    line("set", " routes " + plenty());
    line("set", " sets " + plenty());
    line("free", "");
    if (random_.percent(50)) line("kick", "");
  }
  healAsync();
  healBidir();
  add("settle");
  if (!lateChips_) settleOn();
  // What a chip refused that has gone is tried again with the next computation only.
  if (!lateChips_) add("echo healed");
  add("review all");
  add("settle");
  settleOn();
  add("echo healed");
  healing_ = false;
}

void Generator::tearDown() {
  std::vector<std::string> last;
  for (auto const & name : tables_) {
    if (random_.percent(50)) {
      last.push_back("detach " + name);
    } else {
      start(name);
      last.push_back("publish " + name + " route del all");
    }
  }
  for (auto const & name : vrfs_) {
    if (name != "default") last.push_back("vrf del " + name);
  }
  for (auto const * number : {"10", "20", "30", "42", "100"}) {
    last.push_back(std::string("vlan del ") + number);
    last.push_back(std::string("ip link del Vlan") + number);
  }
  for (auto const * name : {"et1", "et2", "Ethernet5.100"}) {
    last.push_back(std::string("ip link del ") + name);
  }
  for (auto const * number : {"1", "2", "3"}) {
    last.push_back(std::string("lag del Port-Channel") + number);
  }
  for (auto const & [intf, address] : addresses_) {
    if (random_.percent(30)) last.push_back("ip addr del " + address + " dev " + intf);
  }
  random_.shuffle(last);
  tearDownGroups();
  tearDownAsync();
  tearDownBoundaries();
  tearDownBidir();
  for (auto const & line : last) {
    add(line);
    if (random_.percent(15)) add("settle");
  }
  if (l2_ || l2Elsewhere_) tearDownL2();
  add("settle");
  add("echo emptied");
}

// --- Weights

void Generator::weigh() {
  using G = Generator;
  events_ = {{3, &G::vlanAdd},         {3, &G::vlanDel},      {8, &G::portAdd},
             {8, &G::portDel},         {6, &G::portMove},     {10, &G::stpPort},
             {3, &G::stpInstance},     {4, &G::snooping},     {3, &G::snoopingFlood},
             {12, &G::join},           {8, &G::leave},        {5, &G::router},
             {2, &G::learning},        {2, &G::linkFlood},    {10, &G::lagMember},
             {3, &G::lagDel},          {2, &G::lagHardware},  {4, &G::mlag},
             {8, &G::intfAdd},         {6, &G::intfDel},      {5, &G::intfVrf},
             {6, &G::internalVlan},    {3, &G::vrfAdd},       {3, &G::vrfDel},
             {3, &G::routing},         {2, &G::hardware},     {3, &G::nat},
             {3, &G::vxlan},           {2, &G::pim},          {12, &G::publishNew},
             {25, &G::publishChanged}, {8, &G::withdraw},     {3, &G::attach},
             {4, &G::chipRefuse},      {3, &G::chipSize},     {1, &G::chipCome},
             {1, &G::chipGo},          {3, &G::chipSignal},   {8, &G::clock},
             {1, &G::reviewAll},       {4, &G::snoopingAlone}};
  addPublisherEvents();
  if (l2_ || l2Elsewhere_) addL2Events();
  addSubnetEvents();
  addFastdropEvents();
  for (auto & event : events_) {
    // A quarter of all kinds is silent, a tenth is loud.
    U32 const sort = random_.below(20);
    event.weight *= sort < 5 ? 0 : sort < 18 ? 2 : 10;
    totalWeight_ += event.weight;
  }
  if (totalWeight_ == 0) totalWeight_ = events_[0].weight = 1;
}

void Generator::event() {
  U32 at = random_.below(totalWeight_);
  auto event = events_.begin();
  while (at >= event->weight) at -= event++->weight;
  (this->*event->make)();
}

void Generator::add(Parts parts) {
  std::string line;
  for (auto const & part : parts) line += part;
  add(line);
}

// --- Words

// Two pairs of these meet in a filter of 32 bits.
std::string Generator::vlan() { return random_.of({"10", "20", "30", "42", "100", "10", "20"}); }

std::string Generator::port() {
  if (random_.percent(20)) return lag();
  if (random_.percent(6)) return random_.of({"Cpu", "Vxlan1", "VxlanTunnel7", "PeerEthernet4"});
  if (random_.percent(5)) return "Ethernet5.7";
  return "p" + std::to_string(random_.between(1, 9));
}

std::string Generator::ports() {
  std::string text = port();
  while (random_.percent(50)) text += " " + port();
  return text;
}

std::string Generator::routedPort() { return random_.of({"et1", "et2", "Ethernet5.100"}); }

std::string Generator::intf() { return random_.percent(25) ? routedPort() : "Vlan" + vlan(); }

std::string Generator::vrf() { return random_.of(vrfs_); }

std::string Generator::table() { return random_.of(tables_); }

// The second and the third share a MAC address.
std::string Generator::group() {
  if (v6_) return random_.of({"ff1e::1", "ff1e::2", "ff3e::1:1"});
  if (random_.percent(3)) return "239.2.0.0/24";
  return random_.of({"239.1.1.1", "239.1.1.2", "239.129.1.2", "232.1.1.1"});
}

std::string Generator::source() {
  if (random_.percent(subnets_ ? 35 : 15)) return "*";
  if (v6_) return random_.of({"fd00::1", "fd00::2"});
  if (random_.percent(2)) return "10.0.0.0/24";
  return random_.of({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
}

}  // namespace Simulation
