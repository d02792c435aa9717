#include "sim/BoundaryAgent.h"

#include <algorithm>
#include <cstring>

#include "boundary/IgmpMsg.h"
#include "sim/Host.h"

namespace Brindle::Sim {

using Nettle::IntfId;
using Nettle::IpGenAddr;

// What a script says that the kernel does.
class BoundaryAgent::ScriptedPam final : public Routing::Multicast::Notify::MrtNotifySocketPam {
 public:
  using MrtNotifySocketPam::MrtNotifySocketPam;
  void enabledIs(bool) override {}
  Zet::Ptr<Nettle::Pkt> rxPkt() override {
    if (packets_.empty()) return nullptr;
    Zet::Ptr<Nettle::Pkt> const pkt = packets_.front();
    packets_.pop_front();
    return pkt;
  }
  void deliver(Zet::Ptr<Nettle::Pkt> const & pkt) {
    packets_.push_back(pkt);
    readableCountInc();
  }

 private:
  std::deque<Zet::Ptr<Nettle::Pkt>> packets_;
};

namespace {

// As the kernel lays it out (struct igmpmsg of <linux/mroute.h>); addresses in network order.
Zet::Ptr<Nettle::Pkt> noCacheMessage(U16 vif, IpGenAddr const & source, IpGenAddr const & group) {
  constexpr std::size_t size = BoundaryFastdrop::IgmpMsg::bytes;
  auto const pkt = Zet::make<Nettle::Pkt>(static_cast<U32>(size));
  auto const room = pkt->room();
  room[8] = BoundaryFastdrop::IgmpMsg::noCacheMessage;
  std::memcpy(&room[10], &vif, sizeof vif);
  for (auto const & [at, address] : {std::pair(12u, source.v4()), {16u, group.v4()}}) {
    for (U32 i = 0; i < 4; ++i) room[at + i] = static_cast<char>(address >> (24 - 8 * i));
  }
  pkt->sizeIs(size);
  return pkt;
}

}  // namespace

// --- The machines

void BoundaryAgent::settingsAre(Settings const & v) {
  if (runs()) throw CommandError("expected where boundaries run before they are begun");
  settings_ = v;
}

void BoundaryAgent::start() {
  if (runs()) return;
  auto const & records = host_.records();
  auto const & hardware = host_.hardware();
  BoundaryConfigSmIs in;
  in.epochStatus = epochs_;
  in.myLinecardName = settings_.system;
  in.vrfConfig = records.mfibVrfConfig;
  in.mfibStatus = boundaries_;
  in.pimIntfStatus = records.pimIntfStatus;
  in.fabric = hardware.fabric();
  in.intfVlanIdTable = records.intfVlanIdTable;
  // A linecard of a modular system has nothing of the kernel's.
  bool const hearsKernel =
      settings_.system.empty() || settings_.system == Zet::String("FixedSystem");
  if (hearsKernel) {
    in.allVrfStatusLocal = records.allVrfStatusLocal;
    in.kernelMfibStatusColl = vifs_;
    in.routingHwStatus = routingHwStatus_;
  }
  if (!settings_.kernel) {
    in.newPam = [](Zet::Name name) -> Zet::Ptr<Routing::Multicast::Notify::MrtNotifySocketPam> {
      return Zet::make<ScriptedPam>(name);
    };
  }
  config_ = boundaryConfigSmFactory(in);
  zetConfig_.attach(config_);
  handleLinecards();
}

void BoundaryAgent::stop() {
  zetConfig_.attach(nullptr);
  host_.boundaryFastdropStatusCollIs(nullptr);
  asyncTcam_ = nullptr;
  config_ = nullptr;
}

void BoundaryAgent::handleFastdropStatusColl() {
  if (zetConfig_.target()) host_.boundaryFastdropStatusCollIs(config_->fastdropStatusColl());
}

// The library decides for chips that answer at once; for those that answer later an agent does, by
// the same rules.
void BoundaryAgent::handleLinecards() {
  auto const fabric = host_.hardware().asyncFabric();
  if (!runs() || !fabric) return;
  bool const own =
      !settings_.system.empty() &&
      config_->isTcamBoundarySupported(settings_.system) == TcamBoundarySupport::tcamSupported;
  bool const stops = config_->isFixedSystem() ? !own : !config_->fastdropLinecards().empty();
  if (stops) {
    asyncTcam_ = nullptr;
  } else if (own && !asyncTcam_) {
    asyncTcam_ = asyncBoundarySmFactory(
        {boundaries_, fabric, Zet::activityManager()->clock(), host_.records().intfVlanIdTable});
  }
}

// --- Other agents

void BoundaryAgent::boundaryIs(IntfId intf, Nettle::IpGenPrefix const & groups, bool v) {
  Zet::Name const name(intf.view());
  if (!v && !boundaries_->intfBoundaryStatus(name)) return;
  auto const boundary = boundaries_->intfBoundaryStatusIs(name);
  boundary->boundaryIs(groups, v);
  if (boundary->boundary().empty()) boundaries_->intfBoundaryStatusDel(name);
}

void BoundaryAgent::linecardIs(Zet::Name name, bool deniesByTcam) {
  bool const stands = epochs_->card(name);
  Zet::Ptr<HwEpoch::CardStatus> const card =
      stands ? epochs_->cardIs(name) : Zet::make<HwEpoch::CardStatus>(name);
  auto const feature = HwEpoch::stringValue(HwEpoch::EpochFeature::tcamBoundary);
  card->featureIs(Zet::Name(feature.view()))
      ->modeIs(deniesByTcam ? HwEpoch::RestrictionStatus::supported : 0);
  if (!stands) epochs_->cardIs(card);
  handleLinecards();
}

void BoundaryAgent::linecardDel(Zet::Name name) {
  epochs_->cardDel(name);
  handleLinecards();
}

void BoundaryAgent::vifIs(L3::VrfName vrf, U16 vif, IntfId intf, std::string const & device) {
  if (!device.empty()) {
    if (!settings_.kernel) throw CommandError("expected a device only after \"boundary kernel\"");
    auto * const pam = static_cast<Routing::Multicast::Notify::MrtNotifySocketPam *>(pamOf(vrf));
    if (!pam)
      throw CommandError("expected boundaries that are learned: say \"boundary add\" first");
    try {
      pam->vifIs(vif, device);
    } catch (Zet::ErrnoException const & e) {
      throw CommandError(e.what());
    }
  }
  vifs_->vrfStatusIs(vrf)->intfIdCollIs(vif, intf);
}

// --- The kernel

Nettle::Pam * BoundaryAgent::pamOf(L3::VrfName vrf) const {
  auto const * const machine = fastdrop() ? fastdrop()->boundaryFastdropSm(vrf) : nullptr;
  return machine ? machine->mrtPam()->pam().get() : nullptr;
}

bool BoundaryAgent::listens(IntfId intf) const {
  return !settings_.kernel && pamOf(host_.root().doGetVrfNameFromIntfId(intf));
}

// The kernel numbers interfaces as they come.
U16 BoundaryAgent::vifOf(L3::VrfName vrf, IntfId intf) {
  auto const table = vifs_->vrfStatusIs(vrf);
  U16 next = 0;
  for (auto i = table->intfIdColl().begin(); i; i.advance()) {
    if (i->value == intf) return i.key();
    next = static_cast<U16>(i.key() + 1);
  }
  table->intfIdCollIs(next, intf);
  return next;
}

void BoundaryAgent::noCache(IpGenAddr const & source, IpGenAddr const & group, IntfId intf) {
  L3::VrfName const vrf = host_.root().doGetVrfNameFromIntfId(intf);
  requireListener(vrf);
  noCache(source, group, vifOf(vrf, intf), vrf);
}

IntfId BoundaryAgent::noCache(IpGenAddr const & source, IpGenAddr const & group, U16 vif,
                              L3::VrfName vrf) {
  requireListener(vrf);
  auto const * const vifs = vifs_->vrfStatus(vrf);
  IntfId const intf = vifs ? vifs->intfIdColl(vif) : IntfId();
  if (intf && !host_.records().intfVlanIdTable->intfIdToVlanId(intf)) {
    throw CommandError("expected an interface with a VLAN, found \"" + std::string(intf.view()) +
                       "\"");
  }
  static_cast<ScriptedPam *>(pamOf(vrf))->deliver(noCacheMessage(vif, source, group));
  return intf;
}

void BoundaryAgent::requireListener(L3::VrfName vrf) const {
  if (settings_.kernel) throw CommandError("expected a script's reports, the kernel makes its own");
  if (pamOf(vrf)) return;
  throw CommandError("expected boundaries that are learned in VRF " + std::string(vrf.view()));
}

}  // namespace Brindle::Sim
