#include "sim/Host.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "mira/MiraBoundarySm.h"
#include "mira/MiraHelper.h"
#include "mira/MiraL2.h"
#include "platform/FileDescriptor.h"
#include "sim/BidirAgent.h"
#include "sim/BoundaryAgent.h"
#include "sim/Interrupt.h"
#include "sim/Watch.h"

namespace Brindle::Sim {

namespace {

constexpr U32 firstInternalVlan = 1006;
// Reviews and retries are at most a second apart; what is due later is waiting for something.
constexpr Zet::Seconds nearFuture = 2;

// Answers for the chips as the commands say.
class Helper final : public MiraHelper {
 public:
  Helper(MiraRoot * root, Host::Policy const & policy, bool byEnvironment)
      : MiraHelper(root),
        policy_(policy) {
    simModeIs(byEnvironment);
  }

  bool isIntfHwLag(Nettle::IntfId intf) override { return policy_.hardwareLags.contains(intf); }
  bool resolveLagRequired(Zet::Ptr<Multicast::Group::Request const> const &) override {
    return !policy_.groupsKeepLags;
  }
  bool passLag(PortVlanSet const &, PortVlanSet const &, L3::VrfName const &,
               Routing::Multicast::Fib::IpGenRouteKey const &) override {
    return true;
  }
  bool floodToAllVteps() const override {
    return simMode() ? MiraHelper::floodToAllVteps() : policy_.floodToVteps;
  }
  bool useVxlanCoreSideFloodset() const override {
    return simMode() ? MiraHelper::useVxlanCoreSideFloodset() : policy_.coreSideFloodset;
  }
  PortVlanSet doGetVtepFloodsetPortOutLifSet(Bridging::VlanId vlan) const override {
    return simMode() ? MiraHelper::doGetVtepFloodsetPortOutLifSet(vlan) : policy_.vteps;
  }

 private:
  Host::Policy const & policy_;
};

// Ends the wait for input when there is some.
struct InputReactor : Zet::FileDescriptor::NotifieeConst {
  void onReadableCount() override { Zet::activityManager()->stop(); }
};

Zet::Ptr<Zet::SimClock> simulatedClock() {
  auto clock = Zet::make<Zet::SimClock>();
  Zet::activityManager()->clockIs(clock);
  return clock;
}

}  // namespace

Host::Host(std::ostream & out)
    : out_(out),
      clock_(simulatedClock()),
      log_(out),
      routingInfoDir_(Zet::make<Zet::Dir>()),
      mfibDir_(Zet::make<Zet::Dir>()),
      prefixMrouteStatusDir_(Zet::make<Zet::Dir>()),
      agent_(Zet::make<Agent>("brindle-sim")),
      groups_(Zet::make<GroupClients>(clock_)),
      boundary_(Zet::make<BoundaryAgent>(*this)),
      bidir_(std::make_unique<BidirAgent>(*this)) {
  records_.intfVlanIdTable->ipStatusIs(records_.ipStatus);
  records_.hardware->hwRoutingIs(true);
  vrfIs(L3::VrfName::defaultVrf());
}

Host::~Host() {
  watch_ = nullptr;
  bidir_->stop();
  boundary_->stop();
  agent_->miraDel();
  hardware_->end();
  hardware_->chipDelAll();  // chips hold sets of the route tables
  publishers_.clear();
  std::error_code error;
  if (!privateTables_.empty()) std::filesystem::remove_all(privateTables_, error);
}

void Host::start() {
  if (started()) return;
  tables_ = Zet::make<MrouteTableColl>(settings_.af);
  hardware_->start(hardwareInputs());
  startResolver();
  startGroups();
}

Hardware::Inputs Host::hardwareInputs() {
  return {clock_, tables_, &records_, prefixMrouteStatusDir_, groups_->status()};
}

void Host::killProgrammer() {
  if (!hardware_->runs()) throw CommandError("expected a programmer that runs");
  bidir_->stop();
  hardware_->kill();
}

void Host::startProgrammer() {
  if (!started()) return start();
  if (hardware_->runs()) throw CommandError("expected a programmer that does not run");
  bool const hasBoundaries = boundary_->runs();
  boundary_->stop();  // its entries are in the chips that are cleared now
  hardware_->start(hardwareInputs());
  startGroups();
  if (hasBoundaries) boundary_->start();
  bidir_->start();
}

// Without a policy the service goes by the library's own: by way of a helper alone it finds the
// resolver.
void Host::startGroups() {
  MiraRoot * const root = agent_->mira().get();
  if (!helper_) helper_ = Zet::make<MiraHelper>(root);
  hardware_->startGroups({groups_->configDir(), groups_->status(), tables_, helper_});
}

GroupClients & Host::groupClients() {
  start();
  if (hardware_->groups()) return *groups_;
  throw CommandError("expected chips that answer later: say \"fabric async\" first");
}

BoundaryAgent & Host::boundaries() {
  start();
  boundary_->start();
  return *boundary_;
}

void Host::boundaryFastdropStatusCollIs(Zet::Ptr<BoundaryFastdrop::StatusColl> const & v) {
  if (started()) agent_->mira()->boundaryFastdropStatusCollIs(v);
}

MiraRoot::Inputs Host::inputs() const {
  MiraRoot::Inputs in;
  in.mrouteTableColl = tables_;
  in.clock = clock_;
  in.brTopo = records_.brTopo;
  in.vlanStatusDir = records_.vlanStatusDir;
  in.lagStatusDir = records_.lagStatusDir;
  in.snoopingStatus = records_.snooping;
  in.mfibVrfConfig = records_.mfibVrfConfig;
  in.mfibDir = mfibDir_;
  in.status = records_.hardware;
  in.fastdropClock = clock_;
  in.fastdropLogClock = clock_;
  in.intfVlanIdTable = records_.intfVlanIdTable;
  in.lagOperation = settings_.lagOperation;
  in.l2Enabled = settings_.l2Enabled;
  in.pimEnabled = records_.pimEnabled;
  in.routingInfoDir = routingInfoDir_;
  in.mlagStatus = records_.mlagStatus;
  in.brConfig = records_.brConfig;
  in.staticNatInfo = records_.staticNatInfo;
  in.reviewInfo = records_.reviewInfo;
  in.allVrfStatusLocal = records_.allVrfStatusLocal;
  in.ipStatus = records_.ipStatus;
  in.pimIntfStatus = records_.pimIntfStatus;
  in.prefixMrouteStatusDir = prefixMrouteStatusDir_;
  in.ignoreVlanForL2Groups = settings_.ignoreVlanForL2Groups;
  in.portPropertyMask = settings_.taggedPorts ? taggedPortProperty : 0;
  in.mbrIntf = records_.mbrIntf;
  in.sparseModeStatus = records_.sparseModeStatus;
  return in;
}

void Host::startResolver() {
  auto const root = agent_->miraIs(inputs());
  tellEnvironment();
  if (settings_.policy) {
    helper_ = Zet::make<Helper>(root.get(), policy_, settings_.vtepsByEnvironment);
    root->miraHelperIs(helper_);
  }
  root->lagConfigDirIs(records_.lagConfigDir);
  root->configuredLagMembersInOifSetIs(settings_.configuredLagMembers);
  root->pimVxlanStatusIs(records_.pimVxlanStatus);
  if (policy_.evpn) root->vlanFilteredFloodSetDirIs(records_.vlanFilteredFloodSetDir);
  for (auto vlan : policy_.vxlanVlans.items()) root->vxlanVlanIs(vlan, true);
  for (auto vlan : policy_.l2Vlans.items()) root->l2EnabledOnVlanIs(vlan, true);
  applyL2Settings();
  if (settings_.nsfGate) setGate(*root);
  auto const entities = Zet::make<Quay::EntityManager>();
  entities->entityIs("interface/config/subintf", records_.subIntfConfigDir);
  root->entityManagerIs(entities);
}

// To be done before the root starts, or the gate opens at once.
void Host::setGate(MiraRoot & root) const {
  root.mfibReadyStatusIs(records_.sparseReady);
  root.staticMfibReadyStatusIs(records_.staticReady);
  root.bidirMfibReadyStatusIs(records_.bidirReady);
  root.mcastEnabledStatusIs(records_.mcastEnabled);
  root.mcastPimStatusIs(records_.pimStatus);
}

void Host::requireNotStarted(char const * what) const {
  if (!started()) return;
  throw CommandError(std::string("expected ") + what + " before the start");
}

void Host::applyL2Settings() {
  if (!started()) return;
  MiraRoot & root = *agent_->mira();
  root.disableL2FloodingIs(settings_.disableL2Flooding);
  root.floodToVlanWithPimIs(settings_.floodToVlanWithPim);
  root.allowL2FloodsetSharingIs(settings_.allowL2FloodsetSharing);
  root.ignorePimConfigForL2RoutesIs(settings_.ignorePimConfigForL2Routes);
}

void Host::followRealTimeIs(bool v) {
  start();
  followsRealTime_ = v;
  clock_->followIs(v);
}

void Host::advance(Zet::Seconds time) {
  start();
  runUntil(now() + time, now() + time + longestSettling);
  if (interrupted()) throw CommandError("interrupted");
}

void Host::turns(U32 most) {
  start();
  while (most > 0 && Zet::activityManager()->runOnce(false)) --most;
}

void Host::settle(Zet::Seconds longest) {
  start();
  Zet::Seconds const end = now() + longest;
  runUntil(now(), end);
  auto const horizon = [&] {
    bool const answersCome = hardware_->nextAnswer() != Zet::Clock::never;
    return answersCome ? end : std::min(now() + nearFuture, end);
  };
  while (clock_->earliest() <= horizon() && now() <= end && !interrupted()) {
    runUntil(clock_->earliest(), end);
  }
  if (interrupted()) throw CommandError("interrupted");
}

// Runs to a time and on until nothing is due. Where reading the clock takes time there may always
// be something: then it ends all the same.
void Host::runUntil(Zet::Seconds time, Zet::Seconds end) {
  auto const & loop = Zet::activityManager();
  if (followsRealTime_) return loop->runUntil(time);
  while (!interrupted() && now() <= end) {
    if (loop->runOnce(false)) continue;
    if (now() >= time) return;
    clock_->doMoveTo(std::min(clock_->earliest(), time));
  }
}

void Host::runUntilReadable(int fd) {
  if (!followsRealTime_) return;
  auto const input = Zet::make<Zet::FileDescriptor>("input");
  auto const reactor = Zet::make<InputReactor>();
  try {
    input->descriptorIs(fd);
  } catch (Zet::ErrnoException const &) {
    return;  // a file: always readable
  }
  reactor->notifierIs(input.get());
  Zet::activityManager()->run();
  reactor->detach();
  input->descriptorIs(-1);
}

void Host::vrfIs(L3::VrfName vrf) {
  routingInfoIs(vrf)->routingIs(true);
  records_.mfibVrfConfig->configIs(vrf)->routingIs(true);
  // The kernel has it in a network namespace of its name.
  records_.allVrfStatusLocal->vrfIs(vrf)->networkNamespaceIs(Nettle::NamespaceName(vrf.view()));
  boundary_->vrfIs(vrf);
}

void Host::vrfDel(L3::VrfName vrf) {
  boundary_->vrfDel(vrf);
  bidir_->vrfIs(vrf, false);
  records_.allVrfStatusLocal->vrfDel(vrf);
  records_.mfibVrfConfig->configDel(vrf);
  routingInfoDir_->entityDel(vrf.name());
}

Zet::Ptr<Routing::RoutingGenInfo> Host::routingInfoIs(L3::VrfName vrf) {
  // Only this function puts anything there.
  if (auto const standing = routingInfoDir_->entityPtr(vrf.name())) {
    return static_cast<Routing::RoutingGenInfo *>(standing.get());
  }
  auto const info = Zet::make<Routing::RoutingGenInfo>(vrf.name());
  routingInfoDir_->entityIs(vrf.name(), info);
  return info;
}

Routing::RoutingGenInfo const * Host::routingInfo(L3::VrfName vrf) const {
  return static_cast<Routing::RoutingGenInfo *>(routingInfoDir_->entityPtr(vrf.name()).get());
}

Bridging::VlanId Host::freeInternalVlan() const {
  for (U32 number = firstInternalVlan; number <= Bridging::VlanId::max; ++number) {
    Bridging::VlanId const vlan(number);
    bool taken = records_.vlanStatusDir->vlanStatus(vlan) != nullptr;
    for (auto const & entry : records_.intfVlanIdTable->internalVlanId().items()) {
      taken |= entry.value == vlan;
    }
    if (!taken) return vlan;
  }
  throw CommandError("expected a free VLAN between 1006 and 4094, found none");
}

void Host::policyIs(bool v) {
  settings_.policy = v;
  if (v) return;
  policy_.hardwareLags = {};
  policy_.floodToVteps = policy_.coreSideFloodset = false;
  policy_.vteps = {};
  tellEnvironment();
}

void Host::requirePolicy() const {
  if (!settings_.policy) throw CommandError("expected a platform with a policy");
}

void Host::hardwareLagIs(Nettle::IntfId lag, bool v) {
  requirePolicy();
  v ? policy_.hardwareLags.insert(lag) : policy_.hardwareLags.del(lag);
  if (started()) markLagDirty(*agent_->mira(), lag);
  handleReplicationMode();
}

void Host::groupsKeepLagsIs(bool v) {
  requirePolicy();
  policy_.groupsKeepLags = v;
  handleReplicationMode();
}

void Host::handleReplicationMode() {
  if (hardware_->groups()) hardware_->groups()->updateGroupReplicationMode();
}

void Host::floodToVtepsIs(bool v) {
  requirePolicy();
  policy_.floodToVteps = v;
  tellEnvironment();
  if (started()) reviewAll();
}

void Host::vxlanVlanIs(Bridging::VlanId vlan, bool v) {
  v ? policy_.vxlanVlans.insert(vlan) : policy_.vxlanVlans.del(vlan);
  if (started()) agent_->mira()->vxlanVlanIs(vlan, v);
}

void Host::coreSideFloodsetIs(bool v) {
  requirePolicy();
  policy_.coreSideFloodset = v;
  handleVteps();
}

void Host::vtepIs(PortVlan const & vtep, bool v) {
  requirePolicy();
  policy_.vteps.portVlanIs(vtep, v);
  handleVteps();
}

// What a platform's own helper answers, the library's default one reads there.
void Host::tellEnvironment() const {
  if (!settings_.vtepsByEnvironment) return;
  auto const flag = [](char const * name, bool v) { v ? setenv(name, "", 1) : unsetenv(name); };
  flag("floodToAllVteps", policy_.floodToVteps);
  flag("useVxlanCoreSideFloodset", policy_.coreSideFloodset);
  std::string vteps;
  for (PortVlan const & vtep : policy_.vteps.portVlan().items()) {
    vteps += std::to_string(vtep.outLif.value()) + "," + std::string(vtep.port.view()) + "\n";
  }
  setenv("vtepFloodsetPortOutLifSet", vteps.c_str(), 1);
}

void Host::evpnIs(bool v) {
  policy_.evpn = v;
  if (!started()) return;
  Zet::Ptr<Evpn::EvpnVlanFilteredFloodSetDir const> const dir =
      v ? records_.vlanFilteredFloodSetDir.get() : nullptr;
  agent_->mira()->vlanFilteredFloodSetDirIs(dir);
}

void Host::handleVteps() {
  tellEnvironment();
  if (!started()) return;
  for (auto vlan : policy_.vxlanVlans.items()) agent_->mira()->handleVxlanVlan(vlan);
}

void Host::l2VlanIs(Bridging::VlanId vlan, bool v) {
  v ? policy_.l2Vlans.insert(vlan) : policy_.l2Vlans.del(vlan);
  if (started()) agent_->mira()->l2EnabledOnVlanIs(vlan, v);
}

Chip & Host::chip(std::string const & name) const {
  for (Chip * const chip : chips()) {
    if (chip->name().view() == name) return *chip;
  }
  throw CommandError("expected a chip that stands, found \"" + name + "\"");
}

Chip & Host::chipIs(std::string const & name, U32 index) {
  for (Chip const * other : chips()) {
    if (other->name().view() == name) throw CommandError("chip " + name + " stands already");
    if (other->index() == index) {
      throw CommandError("chip " + std::string(other->name().view()) + " has the number " +
                         std::to_string(index) + " already");
    }
  }
  Chip & added = hardware_->chipIs(Zet::Name(std::string_view(name)), index);
  if (watch_) watch_->handleChip(added);
  return added;
}

void Host::chipDel(std::string const & name) {
  Chip & gone = chip(name);
  if (watch_) watch_->handleChipDel(gone);
  hardware_->chipDel(gone.name());
}

void Host::watchIs(bool v) {
  start();
  if (!v) {
    watch_ = nullptr;
  } else if (!watch_) {
    watch_ = Zet::make<Watch>(*this);
  }
}

void Host::attach(std::string const & table) {
  start();
  mfibDir_->entityIs(Zet::Name(std::string_view(table)), Zet::make<Zet::Dir>());
}

void Host::detach(std::string const & table) {
  Zet::Name const name{std::string_view(table)};
  if (!mfibDir_->entityPtr(name)) {
    throw CommandError("expected a table that is attached, found \"" + table + "\"");
  }
  mfibDir_->entityDel(name);
}

std::vector<std::string> Host::tables() const {
  std::vector<std::string> out;
  for (auto const & entry : mfibDir_->entityPtr().items()) out.emplace_back(entry.key.view());
  return out;
}

void Host::privateTables() {
  if (!privateTables_.empty()) return;
  requireNotStarted("private tables");
  if (!publishers_.empty())
    throw CommandError("expected private tables before the first publisher");
  std::string path = "/dev/shm/brindle-XXXXXX";
  if (!mkdtemp(path.data())) throw CommandError(path + ": " + std::strerror(errno));
  privateTables_ = path;
  setenv("BRINDLE_SHOAL_ROOT", path.c_str(), 1);
}

PublisherProcess & Host::publisherIs(std::string const & table) {
  for (auto const & standing : publishers_) {
    if (standing->table() == table) return *standing;
  }
  return *publishers_.emplace_back(std::make_unique<PublisherProcess>(table));
}

PublisherProcess & Host::publisher(std::string const & table) {
  for (auto const & standing : publishers_) {
    if (standing->table() == table) return *standing;
  }
  throw CommandError("expected a publisher that runs; \"publisher start " + table +
                     "\" starts one");
}

void Host::publisherDel(std::string const & table) {
  PublisherProcess const * const which = &publisher(table);
  std::erase_if(publishers_, [which](auto const & one) { return one.get() == which; });
}

Mira & Host::mira(L3::VrfName vrf) {
  start();
  auto const mira = root().mira(vrf);
  if (!mira) {
    throw CommandError("expected a VRF that is routed, found \"" + std::string(vrf.view()) + "\"");
  }
  return *mira;
}

RpfFrames & Host::rpfFrames() {
  start();
  if (!rpfFrames_) rpfFrames_.emplace(*agent_->mira());
  return *rpfFrames_;
}

void Host::reviewAll() {
  start();
  auto const & machines = root().mira();
  for (auto i = machines.begin(); i; i.advance()) {
    auto const mira = root().mira(i.key());
    mira->doMarkAllRoutesDirty();
    if (mira->miraBoundarySm()) mira->miraBoundarySm()->handleMarkAllVlansDirty();
  }
  if (root().miraL2()) root().miraL2()->doMarkAllVlansDirty();
}

}  // namespace Brindle::Sim
