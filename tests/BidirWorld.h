// What bidirectional PIM publishes of a VRF, without shared memory, and the state of a switch as
// far as the machines need it that put it into chips.
#pragma once
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "platform/ActivityManager.h"
#include "platform/Exception.h"
#include "state/IntfVlanId.h"
#include "state/ShoalBidir.h"

namespace Tests {

class BidirTable final : public Shoal::Multicast::Fib::BidirStatus {
 public:
  using BidirStatus::bidirGroup;
  using BidirStatus::BidirStatus;
  using BidirStatus::dfProfile;
  Shoal::Multicast::Fib::BidirGroup bidirGroup(Prefix const & prefix) const override {
    if (prefix == corrupt) Wharf::CorruptionDetectedException::throwException("torn");
    bool const stands = !refused && bidirGroup().contains(prefix);
    return {stands ? prefix : Prefix()};
  }
  Shoal::Multicast::Fib::DfProfile dfProfile(IntfId intf) const override {
    auto const at = profiles.find(intf);
    return at == profiles.end() ? Shoal::Multicast::Fib::DfProfile() : at->second;
  }
  void corruptionDetected(Wharf::CorruptionDetectedException const &) const override {
    refused = true;
  }
  void group(std::string_view prefix, bool present = true) { tell(Prefix(prefix), present); }
  // 0 for none.
  void profile(std::string_view intf, U64 bitmap) {
    IntfId const id(intf);
    profiles[id].bitmap = bitmap;
    tell(id, bitmap != 0);
  }

  Prefix corrupt;
  mutable bool refused = false;

 private:
  std::map<IntfId, Shoal::Multicast::Fib::DfProfile> profiles;
};

class BidirWorld : public testing::Test {
 protected:
  BidirWorld() { Zet::activityManager()->clockIs(clock); }
  ~BidirWorld() override { Zet::activityManager()->clockIs(nullptr); }
  void vlan(std::string_view intf, U32 vid) {
    if (vid) {
      vlans->internalVlanIdIs(Nettle::IntfId(intf), Bridging::VlanId(vid));
    } else {
      vlans->internalVlanIdDel(Nettle::IntfId(intf));
    }
  }
  void pass(Zet::Seconds time) { clock->nowIs(clock->now() + time); }
  // "10=3 20=1": what a map from VLAN to bitmap holds.
  static std::string textOf(std::map<U32, U64> const & profiles) {
    std::string out;
    for (auto const & [vid, bitmap] : profiles) {
      out += (out.empty() ? "" : " ") + std::to_string(vid) + "=" + std::to_string(bitmap);
    }
    return out;
  }

  Zet::Ptr<Zet::SimClock> const clock = Zet::make<Zet::SimClock>(1000);
  Zet::Ptr<IntfVlanId::Table> const vlans = Zet::make<IntfVlanId::Table>();
  Zet::Ptr<BidirTable> const table = Zet::make<BidirTable>();
};

}  // namespace Tests
