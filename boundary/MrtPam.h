// The socket of one network namespace on which the kernel reports multicast packets without a
// route.
#pragma once

#include "boundary/MrtNotifySocketPam.h"
#include "platform/IpGenAddr.h"
#include "platform/KeyedEntity.h"

namespace Brindle::BoundaryFastdrop {

struct MrtPamKey {
  Nettle::AddressFamily af = Nettle::ipv4();
  Nettle::NamespaceName netNs;

  U32 hash() const { return Zet::hashAll(static_cast<U8>(af), netNs); }
  auto operator<=>(MrtPamKey const &) const = default;
  static constexpr char const * zetType = "Brindle::BoundaryFastdrop::MrtPamKey";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&MrtPamKey::af>("af"), Zet::field<&MrtPamKey::netNs>("netNs")};
  }
};

class BRINDLE_API MrtPam final : public Zet::KeyedEntity<MrtPamKey> {
 public:
  using Pam = Routing::Multicast::Notify::MrtNotifySocketPam;
  class NotifieeConst : public Zet::NotifieeOf<MrtPam, Zet::Entity> {
   public:
    virtual void onPam() {}
  };

  // Another family than IPv4 ends the process.
  explicit MrtPam(MrtPamKey const & key, Routing::Multicast::Notify::NewPam newPam =
                                             &Routing::Multicast::Notify::newMrtNotifySocketPam);
  Nettle::AddressFamily af() const { return key().af; }
  Nettle::NamespaceName const & netNs() const { return key().netNs; }

  Zet::Ptr<Pam> const & pam() const { return pam_; }
  void pamIs(Zet::Ptr<Pam> const & v) { assign(pam_, v, &NotifieeConst::onPam); }

 private:
  void handlePamInit(Routing::Multicast::Notify::NewPam newPam);

  Zet::Ptr<Pam> pam_;
};

}  // namespace Brindle::BoundaryFastdrop
