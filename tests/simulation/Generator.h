// A script for brindle-sim from a 64-bit seed: a switch is set up, then bursts of random events,
// each followed by "settle"; in between its chips get room again; at the end all that it depends
// on is taken away in random order.
//
// Each seed weighs the kinds of events anew, so that one run stirs the spanning tree and another
// the VRFs. The generator does not know the switch: a line may ask for what cannot be done, and is
// then refused.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/simulation/Random.h"

namespace Simulation {

class Generator {
 public:
  explicit Generator(U64 seed);

  std::vector<std::string> script();

 private:
  struct Event {
    U32 weight;
    void (Generator::*make)();
  };
  // A route as it was published last.
  struct Published {
    std::string iif;
    std::vector<std::string> oifs;
    std::string frr;
    std::string notify;
    std::string fastdrop;
    bool programmable = false;
    bool toCpu = false;
    bool acceptAny = false;
    bool acceptDf = false;
    bool hold = false;
    U32 rpa = 0;
  };

  // Parts of a script
  void configure();
  void addChips();
  void populate();
  void startPublishers();
  void burst();
  void heal();
  void tearDown();
  void weigh();
  void event();
  // Parts of a line. A list, since its parts are made in their order; operands of + need not be.
  using Parts = std::initializer_list<std::string>;
  void add(Parts parts);
  void add(std::string const & line) {
    if (line.starts_with("clock read-cost ")) clockCosts_ = !line.ends_with(" 0");
    bool const isBrief = line == "settle" && settlesBriefly() && !clockCosts_;
    lines_.push_back(isBrief ? "settle 5" : line);
  }

  // Events
  void vlanAdd();
  void vlanDel();
  void portAdd();
  void portDel();
  void portMove();
  void stpPort();
  void stpInstance();
  void snooping();
  void snoopingFlood();
  void snoopingAlone();
  void join();
  void leave();
  void router();
  void learning();
  void linkFlood();
  void lagMember();
  void lagDel();
  void lagHardware();
  void mlag();
  void intfAdd();
  void intfDel();
  void intfVrf();
  void internalVlan();
  void vrfAdd();
  void vrfDel();
  void routing();
  void hardware();
  void nat();
  void vxlan();
  void pim();
  void publishNew();
  void publishChanged();
  void withdraw();
  void attach();
  void addPublisherEvents();
  void publishBurst();
  void publishMany();
  void publishAnew();
  void publishTwin();
  void walkCutOff();
  void publisherGo();
  void publisherCome();
  void publisherRestart();
  void publisherSync();
  void tableDamage();
  void chipRefuse();
  void chipSize();
  void chipCome();
  void chipGo();
  void chipSignal();
  void clock();
  void turns();
  void reviewAll();

  // Events of L2 routes
  void configureL2();
  void addL2Events();
  void tearDownL2();
  void staticGroup();
  void staticAlone();
  void otherGroup();
  void vlanAgain();
  void l2Setting();
  void pimVlan();
  void pimVxlan();
  void coreSide();
  void linkMode();
  void stpOff();
  void mlagAlone();
  void mlagOrphan();
  void pimGroups();
  void vlanElsewhere();
  void evpnPeer();
  void evpn();
  void keeping();
  void walk();

  // Events of connected subnets
  void addSubnetEvents();
  void configureSubnets();
  void addressAdd();
  void addressAdd(std::string const & intf);
  void addressDel();
  void addressMove();
  void publishStar();
  void subnetRefuse();
  void chipFull();
  void chipReset();
  void intfAgain();

  // Events of packets that fail the reverse-path check
  void addFastdropEvents();
  void rpfFailure();
  void traffic();
  void idle();
  void fastdropLimit();
  void fastdropOff();
  void inputRole();
  void fastdropEpisode();
  void backupGone();
  void failoverGone();
  void fastdropAgain();
  void borderFailures();

  // Events of chips that answer later, and of programmers
  void configureAsync();
  void weighAsync();
  void asyncEvent();
  void healAsync();
  void tearDownAsync();
  void chipAnswers();
  void xactAll();
  void xactOne();
  void chipFail();
  void chipLimit();
  void review();
  void programmerLife();
  void backupTakesOver();
  std::string laterChip();

  // Events of agents that ask for groups
  void configureGroups();
  void weighGroups();
  void groupEvent();
  void tearDownGroups();
  void groupRequest();
  void groupDrop();
  void groupAgain();
  void groupLag();
  void groupMode();
  void clientGo();
  void groupTwins();
  void groupFull();
  std::string groupName();
  std::string groupPort();
  std::string groupPorts();
  std::string groupMembers();

  // Events of multicast boundaries
  void startBoundaries();
  void weighBoundaries();
  void boundaryEvent();
  void tearDownBoundaries();
  void boundaryAdd();
  void boundaryDel();
  void boundaryAgain();
  void boundaryIntf();
  void boundarySubnets();
  void boundaryFull();
  void lineCard();
  void noCache();
  void learnedRoute();
  void learnedAge();
  void learnedMany();
  void boundaryVif();
  bool faultsDrawn() const { return routeFaults_ || setFaults_; }
  std::string deniedStream();
  std::string boundedIntf();
  std::string deniedGroups();

  // Events of bidirectional PIM
  void startBidir();
  void weighBidir();
  void bidirEvent();
  void healBidir();
  void settleOn();
  void tearDownBidir();
  void bidirSwitch();
  void bidirVrf();
  void bidirGroups();
  void dfProfile();
  void bidirAgain();
  void bidirPublisher();
  void bidirDamage();
  void bidirFull();
  void bidirRoom();
  void dfIntf();
  void dfRoute();
  std::string bidirGroup();
  std::string dfLine(std::string const & intf);
  std::string bidirTable() { return "pim." + points_.of(vrfs_); }
  std::string bidirChip() { return "c" + std::to_string(points_.below(chips_)); }

  std::string result();
  // Where chips answer later and fail, a settle lasts as long as it may.
  // So it does where each look at the clock takes time.
  bool settlesBriefly() { return async_ && !healing_ && later_.percent(90); }
  // More than any seed needs. What answers later counts in fewer bits.
  std::string plenty() const { return async_ ? "60000" : "100000"; }

  // Words
  std::string vlan();
  std::string port();
  std::string ports();
  std::string lag() { return "Port-Channel" + std::to_string(random_.between(1, 3)); }
  std::string lagPort(std::string const & lag);
  std::string routedPort();
  std::string intf();
  std::string vrf();
  std::string table();
  std::string group();
  std::string source();
  std::string mac();
  std::string stream();
  std::string failingVlan();
  std::string chip() { return "c" + std::to_string(random_.below(chips_)); }
  std::string onOff() { return random_.percent(50) ? "on" : "off"; }
  std::string oif();
  std::string address(std::string const & intf);
  std::string addressedIntf();
  Published freshRoute();
  void publishTo(std::string const & intf, std::string const & group);
  void change(Published & route);
  void publish(std::string const & table, std::string const & key, Published const & route);
  void publishNew(std::string const & table);
  void withdraw(std::string const & table, std::string const & key);
  // Keys of a table that are published, as far as the generator knows.
  std::vector<std::string> keysOf(std::string const & table) const;
  void forget(std::string const & table);
  void burstOn(std::string const & table, U32 changes);
  void stop(std::string const & table, bool withdraw);
  void start(std::string const & table);

  Random random_;
  std::vector<std::string> lines_;
  std::vector<Event> events_;
  U32 totalWeight_ = 0;
  bool calm_ = false;  // one event between two comparisons
  bool v6_ = false;
  bool l2_ = false;           // L2 routes are computed
  bool l2Elsewhere_ = false;  // by another process, so that they are only wanted
  U32 chips_ = 1;
  bool lateChips_ = false;
  bool routeFaults_ = false;
  bool setFaults_ = false;
  std::vector<std::string> vrfs_ = {"default"};
  std::vector<std::string> tables_ = {"pim.default"};
  std::map<std::pair<std::string, std::string>, Published> published_;  // by table and key
  std::set<std::string> stopped_;  // tables without a publisher
  bool subnets_ = false;
  std::vector<std::pair<std::string, std::string>> addresses_;  // each with its interface
  Random later_;
  std::vector<Event> asyncEvents_;
  U32 asyncWeight_ = 0;
  Random agents_;
  std::vector<Event> groupEvents_;
  U32 groupWeight_ = 0;
  bool asksForGroups_ = false;
  Random edges_;
  std::vector<Event> boundaryEvents_;
  U32 boundaryWeight_ = 0;
  bool bounded_ = false;
  std::string card_ = "FixedSystem";
  std::set<std::pair<std::string, std::string>> denied_;  // groups, each with its interface
  Random points_;
  std::vector<Event> bidirEvents_;
  U32 bidirWeight_ = 0;
  bool async_ = false;
  bool asyncFaults_ = false;
  bool programmerDies_ = false;
  bool killed_ = false;
  bool healing_ = false;
  bool clockCosts_ = false;
};

}  // namespace Simulation
