// The forwarding agent's hold on the resolver.
#pragma once
#include "mira/MiraRoot.h"

namespace Brindle {

// Owns the one root of the process. It can also fill a route table with made-up routes, so that
// the resolver can be driven without a routing protocol.
class BRINDLE_API Agent : public Zet::Entity {
 public:
  explicit Agent(Zet::Name name) : name_(name) {}
  ~Agent() override { miraDel(); }
  Zet::Name name() const override { return name_; }
  // The name as a backup of this agent knew it.
  void nameIsFromBackup(Zet::Name v) { name_ = v; }
  bool hasBackupSupport() const { return false; }

  // Returns the root that stands. Throws RangeException if it stands with other inputs, and what
  // the root's constructor throws.
  Zet::Ptr<MiraRoot> miraIs(MiraRoot::Inputs const &);
  Zet::Ptr<MiraRoot> const & mira() const { return mira_; }
  void miraDel();

  using IntfOifIndex = Shoal::Multicast::Fib::IntfOifIndex;
  // The indices that doMakeShoalRoutes() has given to interfaces.
  IntfOifIndex intfOifIndex(Nettle::IntfId intf) const { return lookup(intfOifIndex_, intf); }
  // Throws RangeException for the default index.
  void intfOifIndexIs(Nettle::IntfId intf, IntfOifIndex index);
  // Returns what stood.
  IntfOifIndex intfOifIndexDel(Nettle::IntfId intf);

  // Publishes the route (1.2.3.4/32, 224.1.x.y/32), x.y being `groupIndex`, with the interfaces
  // "Vlan1" to "Vlan<intfCount>": it comes in on the first and goes out on the others. Throws
  // RangeException when there is no index left for an interface.
  void doMakeShoalRoutes(unsigned groupIndex, unsigned intfCount,
                         Zet::Ptr<Shoal::Multicast::Fib::Status> const & table);

 private:
  Zet::Name name_;
  Zet::Ptr<MiraRoot> mira_;
  Zet::HashMap2018<Nettle::IntfId, IntfOifIndex> intfOifIndex_;
};

}  // namespace Brindle
