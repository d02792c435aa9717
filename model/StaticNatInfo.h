// The groups whose address is translated, and in which VLANs, as the agent tells.
#pragma once

#include "platform/CollectionText.h"
#include "platform/Entity.h"
#include "platform/HashMap.h"
#include "platform/IpGenAddr.h"
#include "platform/VlanId.h"

namespace Brindle {

using Zet::operator<<;

struct StaticNatIpInfo {
  Zet::OrderedSet<Bridging::VlanId> vlan;

  bool operator==(StaticNatIpInfo const &) const = default;
  static constexpr char const * zetType = "Brindle::StaticNatIpInfo";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&StaticNatIpInfo::vlan>("vlan")};
  }
};

class StaticNatInfo : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<StaticNatInfo, Zet::Entity> {
   public:
    virtual void onIpInfo(Nettle::IpGenAddr const &) {}
  };

  auto const & ipInfo() const { return ipInfo_; }
  // Null where the default stands.
  StaticNatIpInfo const * ipInfo(Nettle::IpGenAddr const & k) const { return ipInfo_.find(k); }
  void ipInfoIs(Nettle::IpGenAddr const & k, StaticNatIpInfo const & v) {
    if (v == StaticNatIpInfo()) return ipInfoDel(k);
    put<&NotifieeConst::onIpInfo>(ipInfo_, k, v);
  }
  void ipInfoDel(Nettle::IpGenAddr const & k) { erase<&NotifieeConst::onIpInfo>(ipInfo_, k); }

 private:
  Zet::HashMap2018<Nettle::IpGenAddr, StaticNatIpInfo> ipInfo_;
};

}  // namespace Brindle
