// The agent of multicast boundaries: what it publishes, the cards of the switch, the kernel's
// reports of traffic that it has no route for, and the library's machines that go by these.
//
// Reports come from lines of a script; or, where it is asked for, from the kernel itself.
#pragma once

#include <deque>
#include <optional>

#include "boundary/AsyncBoundarySm.h"
#include "boundary/BoundaryConfigSm.h"

namespace Brindle::Sim {

class Host;

class BoundaryAgent final : public Zet::Sm {
 public:
  // Where the process runs: "FixedSystem", a linecard's name, or empty on a supervisor.
  struct Settings {
    Zet::String system{"FixedSystem"};
    bool kernel = false;  // the real socket
  };
  explicit BoundaryAgent(Host & host) : host_(host) {}

  // Throws CommandError if the machines run.
  void settingsAre(Settings const & v);
  Settings const & settings() const { return settings_; }
  // Runs the machines, and ends them: what they hold in chips goes.
  void start();
  void stop();
  bool runs() const { return static_cast<bool>(config_); }

  // What other agents say
  void boundaryIs(Nettle::IntfId intf, Nettle::IpGenPrefix const & groups, bool v);
  void linecardIs(Zet::Name name, bool deniesByTcam);
  void linecardDel(Zet::Name name);
  // With a device the kernel has the number from here. Throws CommandError if it refuses it.
  void vifIs(L3::VrfName vrf, U16 vif, Nettle::IntfId intf, std::string const & device);
  void vrfIs(L3::VrfName vrf) { vifs_->vrfStatusIs(vrf); }
  void vrfDel(L3::VrfName vrf) { vifs_->vrfStatusDel(vrf); }
  Routing::Multicast::Fib::Status const & boundaries() const { return *boundaries_; }

  // The kernel says that a packet came in for which it has no route. Throws CommandError if nobody
  // listens, or where none can come in, since the interface has no VLAN. The second form is for a
  // number of the kernel's, and returns whose it is, if anybody's.
  void noCache(Nettle::IpGenAddr const & source, Nettle::IpGenAddr const & group,
               Nettle::IntfId intf);
  Nettle::IntfId noCache(Nettle::IpGenAddr const & source, Nettle::IpGenAddr const & group, U16 vif,
                         L3::VrfName vrf);
  // Whether somebody listens to what comes in on the interface.
  bool listens(Nettle::IntfId intf) const;

  // The machines; null where they do not run.
  BoundaryConfigSm const * config() const { return config_.get(); }
  AsyncBoundarySm const * asyncTcam() const { return asyncTcam_.get(); }
  BoundarySm const * tcam() const { return config_ ? config_->tcamBoundarySm().get() : nullptr; }
  BoundaryFastdrop::BoundaryFastdropRootSm const * fastdrop() const {
    return config_ ? config_->fastdropBoundarySm().get() : nullptr;
  }

 private:
  class ScriptedPam;
  struct ZetConfig final : Zet::Reactor<BoundaryConfigSm, BoundaryAgent> {
    using Reactor::Reactor;
    void onFastdropStatusColl() override { sm()->handleFastdropStatusColl(); }
    void immediatePass() override { sm()->handleFastdropStatusColl(); }
  };

  void handleFastdropStatusColl();
  void handleLinecards();
  U16 vifOf(L3::VrfName vrf, Nettle::IntfId intf);
  Nettle::Pam * pamOf(L3::VrfName vrf) const;
  void requireListener(L3::VrfName vrf) const;

  Host & host_;
  Settings settings_;
  Zet::Ptr<Routing::Multicast::Fib::Status> const boundaries_ =
      Zet::make<Routing::Multicast::Fib::Status>();
  Zet::Ptr<HwEpoch::Status> const epochs_ = Zet::make<HwEpoch::Status>();
  Zet::Ptr<Routing::KernelMfib::StatusColl> const vifs_ =
      Zet::make<Routing::KernelMfib::StatusColl>();
  Zet::Ptr<Routing::Hardware::Status> const routingHwStatus_ =
      Zet::make<Routing::Hardware::Status>();
  Zet::Ptr<BoundaryConfigSm> config_;
  Zet::Ptr<AsyncBoundarySm> asyncTcam_;
  Zet::ReactorPtr<ZetConfig> zetConfig_{this};
};

}  // namespace Brindle::Sim
