// What bidirectional PIM (RFC 5015) publishes of a VRF, as its readers see it: the group prefixes
// that are bidirectional, and for what rendezvous points the switch is designated forwarder on each
// interface. One table to each VRF and address family; what it is made of is its derived class's
// business.
#pragma once

#include <string>

#include "platform/Entity.h"
#include "platform/Exception.h"
#include "platform/IntfId.h"
#include "platform/IpGenAddr.h"
#include "platform/RbTreeMap.h"
#include "platform/VrfName.h"

namespace Shoal::Multicast::Fib {

using Zet::operator<<;

// By these ZetShoal::Mount finds the table of a VRF.
constexpr char const * bidirStatusType = "Shoal::Multicast::Fib::BidirStatus";
BRINDLE_API std::string bidirStatusPath(Nettle::AddressFamily, L3::VrfName);

// Whether all addresses of the prefix are multicast groups.
BRINDLE_API bool isGroupRange(Nettle::IpGenPrefix const &);

// A bidirectional group prefix. The default value says that there is no such one.
struct BidirGroup {
  Nettle::IpGenPrefix prefix;

  bool operator==(BidirGroup const &) const = default;

  static constexpr char const * zetType = "Shoal::Multicast::Fib::BidirGroup";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&BidirGroup::prefix>("prefix")};
  }
};

// Of one interface: a bit for each rendezvous point, by its RpaIndex, for which the switch is
// designated forwarder there. The default value says that it is for none.
struct DfProfile {
  U64 bitmap = 0;

  bool operator==(DfProfile const &) const = default;

  static constexpr char const * zetType = "Shoal::Multicast::Fib::DfProfile";
  static constexpr auto zetFields() { return std::array{Zet::field<&DfProfile::bitmap>("bitmap")}; }
};

// One table. A callback tells a key whose value may have changed; the reader takes the value as it
// is when it reads.
class BRINDLE_API BidirStatus : public Zet::Entity {
 public:
  using Prefix = Nettle::IpGenPrefix;
  using IntfId = Nettle::IntfId;
  class NotifieeConst : public Zet::NotifieeOf<BidirStatus, Zet::Entity> {
   public:
    virtual void onBidirGroup(Prefix const &) {}
    virtual void onDfProfile(IntfId const &) {}
  };

  explicit BidirStatus(Zet::Name name = {}) : name_(name) {}
  ~BidirStatus() override;
  Zet::Name name() const override { return name_; }

  // The prefixes and interfaces that have been told and not been told gone since.
  Zet::OrderedSet<Prefix> const & bidirGroup() const { return bidirGroup_; }
  Zet::OrderedSet<IntfId> const & dfProfile() const { return dfProfile_; }

  // The value now. Throws Wharf::CorruptionDetectedException if the table contradicts itself there;
  // whoever catches it hands it to corruptionDetected().
  virtual BidirGroup bidirGroup(Prefix const &) const = 0;
  // The value now. Where the table contradicts itself it deals with that by itself, and there is no
  // profile.
  virtual DfProfile dfProfile(IntfId) const = 0;
  // From now on nothing is read of the table until it is made anew. Each key will be told.
  virtual void corruptionDetected(Wharf::CorruptionDetectedException const &) const {}

  // For the table's own writer; a table that is only read throws NoImplementationException. The
  // default profile takes the interface's away.
  virtual void bidirGroupIs(Prefix const &);
  virtual void bidirGroupDel(Prefix const &);
  virtual void dfProfileIs(IntfId, DfProfile);
  void dfProfileDel(IntfId intf) { dfProfileIs(intf, {}); }

 protected:
  // A key has come, has another value, or has gone.
  void tell(Prefix const &, bool present);
  void tell(IntfId, bool present);

 private:
  Zet::Name const name_;
  Zet::OrderedSet<Prefix> bidirGroup_;
  Zet::OrderedSet<IntfId> dfProfile_;
};

}  // namespace Shoal::Multicast::Fib
