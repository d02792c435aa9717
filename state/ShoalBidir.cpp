#include "state/ShoalBidir.h"

namespace Shoal::Multicast::Fib {

namespace {

[[noreturn]] void throwReadOnly() {
  Zet::throwNoImplementationException("Shoal::Multicast::Fib::BidirStatus: the table is only read");
}

template <class Key> void keep(Zet::OrderedSet<Key> & known, Key const & key, bool present) {
  if (present) {
    known.insert(key);
  } else {
    known.del(key);
  }
}

}  // namespace

std::string bidirStatusPath(Nettle::AddressFamily af, L3::VrfName vrf) {
  char const * const directory =
      af == Nettle::ipv6() ? "routing6/multicast/bidirstatus/" : "routing/multicast/bidirstatus/";
  return directory + std::string(vrf.view());
}

bool isGroupRange(Nettle::IpGenPrefix const & prefix) {
  return prefix.address().isMulticast() && prefix.length() >= (prefix.address().isV4() ? 4 : 8);
}

BidirStatus::~BidirStatus() = default;

void BidirStatus::bidirGroupIs(Prefix const &) { throwReadOnly(); }

void BidirStatus::bidirGroupDel(Prefix const &) { throwReadOnly(); }

void BidirStatus::dfProfileIs(IntfId, DfProfile) { throwReadOnly(); }

void BidirStatus::tell(Prefix const & prefix, bool present) {
  keep(bidirGroup_, prefix, present);
  notify<&NotifieeConst::onBidirGroup>(prefix);
}

void BidirStatus::tell(IntfId intf, bool present) {
  keep(dfProfile_, intf, present);
  notify<&NotifieeConst::onDfProfile>(intf);
}

}  // namespace Shoal::Multicast::Fib
