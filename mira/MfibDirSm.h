// Mounts the route tables of the protocols.
//
// Each entry of a directory names a table in shared memory, `<protocol>.<vrf>`, split at the first
// point. This machine mounts a table when its entry shows up and puts it into the collection of its
// VRF, which stands as long as the VRF has a table. MiraRoot owns it. It reads no routes; a table
// that is not what it should be is the mount's to refuse, and empty for whoever reads it.
#pragma once
#include "platform/Dir.h"
#include "platform/Mount.h"
#include "platform/Reactor.h"
#include "state/ShoalFib.h"

namespace Brindle {

class BRINDLE_API MfibDirSm : public Zet::Sm {
 public:
  using MfibShoalDir = Shoal::Multicast::Fib::MfibShoalDir;

  // `root` is where the tables lie; empty for the machine's usual place. Throws ShoalError if the
  // system does not let it watch files.
  MfibDirSm(Zet::Ptr<Zet::Dir const> const & mfibDir, Zet::Name root,
            Zet::Ptr<MfibShoalDir> const & shoalDir);

  // An entry came or went. One that names no table, or none that can be mounted, is left alone, and
  // the operator told.
  void handleEntity(Zet::Name const & name);

 private:
  struct ZetMfibDir : Zet::Reactor<Zet::Dir const, MfibDirSm> {
    using Reactor::Reactor;
    void onEntityPtr(Zet::Name const & name) override { sm()->handleEntity(name); }
    void immediatePass() override;
  };
  using MfibStatus = Shoal::Multicast::Fib::Status;

  void doMount(Zet::Name const & name);
  void doUnmount(Zet::Name const & name);

  // Fixed at construction
  ZetShoal::MountInfo const info_;
  Zet::Ptr<MfibShoalDir> const shoalDir_;
  Zet::Ptr<ZetShoal::Mount> const mount_;

  // State
  Zet::RbTreeMap<Zet::Name, Zet::Ptr<MfibStatus>> mounted_;

  // Reactors
  Zet::ReactorPtr<ZetMfibDir> zetMfibDir_{this};
};

}  // namespace Brindle
