// What the machines for the boundary of one interface share, on both kinds of chips: the groups
// that it denies come and go.
#pragma once

#include "platform/Reactor.h"
#include "state/IntfBoundary.h"

namespace Brindle {

class BRINDLE_API BoundaryIntfSmBase : public Zet::Sm, public Zet::HashLink {
 public:
  using IntfBoundaryStatus = Nettle::IntfBoundaryStatus;

  // Adds what is missing of the boundary.
  void handleBoundary();
  // The chips deny IPv4 groups only.
  void handleBoundary(Nettle::IpGenPrefix const & group);

 protected:
  explicit BoundaryIntfSmBase(Zet::Ptr<IntfBoundaryStatus const> const & intf);

  virtual void doAddPrefix(Nettle::IpGenPrefix const & group) = 0;
  virtual void doDeletePrefix(Nettle::IpGenPrefix const & group) = 0;

 private:
  struct ZetIntf final : Zet::Reactor<IntfBoundaryStatus const, BoundaryIntfSmBase> {
    using Reactor::Reactor;
    void onBoundary(Nettle::IpGenPrefix const & group) override { sm()->handleBoundary(group); }
  };
  Zet::ReactorPtr<ZetIntf> zetIntf_{this};
};

}  // namespace Brindle
