// IP addresses and prefixes of both families in one type each, and the IPv4-only types of
// interfaces.
#pragma once

#include <array>
#include <compare>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Value.h"

namespace Nettle {

using Zet::operator<<;

enum class AddressFamily : U8 { none, ipv4, ipv6 };
constexpr auto addressFamilyNames = Zet::enumNames<AddressFamily::ipv6>("none", "ipv4", "ipv6");
constexpr auto & zetNames(AddressFamily) { return addressFamilyNames; }

constexpr AddressFamily ipv4() { return AddressFamily::ipv4; }
constexpr AddressFamily ipv6() { return AddressFamily::ipv6; }

// The bits of an address of the family: 32, 128, or 0.
constexpr U8 addressBits(AddressFamily af) {
  return af == AddressFamily::ipv4 ? 32 : af == AddressFamily::ipv6 ? 128 : 0;
}

// An IPv4 or IPv6 address, or none. Text as in RFC 5952; none is the empty text. Ordered by family,
// then as numbers.
class BRINDLE_API IpGenAddr {
 public:
  using Bytes = std::array<U8, 16>;

  constexpr IpGenAddr() = default;
  // In host order.
  explicit constexpr IpGenAddr(U32 v4)
      : bytes_{static_cast<U8>(v4 >> 24), static_cast<U8>(v4 >> 16), static_cast<U8>(v4 >> 8),
               static_cast<U8>(v4)},
        af_(AddressFamily::ipv4) {}
  // In network order.
  explicit constexpr IpGenAddr(Bytes const & v6) : bytes_(v6), af_(AddressFamily::ipv6) {}
  explicit IpGenAddr(std::string_view text);

  AddressFamily af() const { return af_; }
  bool isNull() const { return af_ == AddressFamily::none; }
  bool isV4() const { return af_ == AddressFamily::ipv4; }
  bool isV6() const { return af_ == AddressFamily::ipv6; }
  // 224.0.0.0/4 or ff00::/8.
  bool isMulticast() const { return isV4() ? bytes_[0] >> 4 == 14 : bytes_[0] == 0xff; }
  // An IPv4 address in host order.
  U32 v4() const {
    U32 word;
    std::memcpy(&word, bytes_.data(), sizeof word);
    return __builtin_bswap32(word);
  }
  // In network order; of an IPv4 address the first four.
  Bytes const & bytes() const { return bytes_; }

  U32 hash() const {
    if (isV4()) return Zet::hashOf(v4());
    return isNull() ? 0 : Zet::hashMix(Zet::hashOf(word(0)), Zet::hashOf(word(1)));
  }
  bool operator==(IpGenAddr const & o) const {
    return word(0) == o.word(0) && word(1) == o.word(1) && af_ == o.af_;
  }
  std::strong_ordering operator<=>(IpGenAddr const & o) const {
    if (af_ != o.af_) return af_ <=> o.af_;
    auto const byFirst = __builtin_bswap64(word(0)) <=> __builtin_bswap64(o.word(0));
    return byFirst != 0 ? byFirst : __builtin_bswap64(word(1)) <=> __builtin_bswap64(o.word(1));
  }

  static constexpr char const * zetType = "Nettle::IpGenAddr";
  static constexpr char const * zetExpected = "an IPv4 or IPv6 address";
  void appendText(std::string &) const;
  static std::optional<IpGenAddr> fromText(std::string_view);

 private:
  U64 word(std::size_t i) const {
    U64 word;
    std::memcpy(&word, bytes_.data() + 8 * i, sizeof word);
    return word;
  }

  Bytes bytes_{};
  AddressFamily af_ = AddressFamily::none;
};

// An IPv4 or IPv6 prefix, or null, which has no family and the empty text. The bits behind the
// prefix are 0. Text "10.0.0.0/8". Ordered by address, then length.
class BRINDLE_API IpGenPrefix {
 public:
  constexpr IpGenPrefix() = default;
  // Throws RangeException if the length is beyond the family's, or a bit behind the prefix is set.
  IpGenPrefix(IpGenAddr const & address, U32 length);
  // The prefix of one address; null of none.
  explicit IpGenPrefix(IpGenAddr const & host) : address_(host), length_(addressBits(host.af())) {}
  explicit IpGenPrefix(std::string_view text);
  // The prefix that `address` lies in; a length beyond the family's is the family's.
  static IpGenPrefix around(IpGenAddr const & address, U32 length);

  AddressFamily af() const { return address_.af(); }
  IpGenAddr const & address() const { return address_; }
  U8 length() const { return length_; }
  bool isNull() const { return address_.isNull(); }
  bool isHost() const { return !isNull() && length_ == addressBits(af()); }
  bool isDefault() const { return !isNull() && length_ == 0; }
  bool contains(IpGenAddr const & address) const {
    return !isNull() && address.af() == af() && around(address, length_).address_ == address_;
  }
  bool contains(IpGenPrefix const & inner) const {
    return inner.length_ >= length_ && contains(inner.address_);
  }
  // REQUIRES: IPv4, or null, which gives the null Prefix.
  class Prefix v4Prefix() const;

  U32 hash() const { return Zet::hashMix(address_.hash(), length_); }
  auto operator<=>(IpGenPrefix const &) const = default;

  static constexpr char const * zetType = "Nettle::IpGenPrefix";
  static constexpr char const * zetExpected =
      "an IPv4 or IPv6 prefix such as 10.0.0.0/8, with no bit set behind its length";
  void appendText(std::string &) const;
  static std::optional<IpGenPrefix> fromText(std::string_view);

 private:
  IpGenAddr address_;
  U8 length_ = 0;
};

// An IPv4 address with the length of its subnet's mask, as an interface has it: host bits may be
// set. Null is 0.0.0.0/0.
class BRINDLE_API IpAddrWithMask {
 public:
  constexpr IpAddrWithMask() = default;
  // Address in host order. Throws RangeException if the length is above 32.
  IpAddrWithMask(U32 address, U32 length);
  explicit IpAddrWithMask(std::string_view text);

  constexpr U32 address() const { return address_; }
  constexpr U8 length() const { return length_; }
  constexpr bool isNull() const { return *this == IpAddrWithMask(); }

  constexpr U32 hash() const { return Zet::hashAll(address_, length_); }
  constexpr auto operator<=>(IpAddrWithMask const &) const = default;

  static constexpr char const * zetType = "Nettle::IpAddrWithMask";
  static constexpr char const * zetExpected = "an IPv4 address with mask length such as 10.0.0.1/8";
  void appendText(std::string &) const;
  static std::optional<IpAddrWithMask> fromText(std::string_view);

 private:
  U32 address_ = 0;
  U8 length_ = 0;
};

// An IPv4 prefix. Null is 0.0.0.0/0.
class BRINDLE_API Prefix {
 public:
  constexpr Prefix() = default;
  // Address in host order. Throws RangeException if the length is above 32, or a bit behind the
  // prefix is set.
  Prefix(U32 address, U32 length);
  // The subnet of an interface's address.
  explicit Prefix(IpAddrWithMask const & address);
  explicit Prefix(std::string_view text);

  constexpr U32 address() const { return address_; }
  constexpr U8 length() const { return length_; }
  constexpr bool isNull() const { return *this == Prefix(); }
  IpGenPrefix genPrefix() const { return {IpGenAddr(address_), length_}; }

  constexpr U32 hash() const { return Zet::hashAll(address_, length_); }
  constexpr auto operator<=>(Prefix const &) const = default;

  static constexpr char const * zetType = "Nettle::Prefix";
  static constexpr char const * zetExpected =
      "an IPv4 prefix such as 10.0.0.0/8, with no bit set behind its length";
  void appendText(std::string &) const;
  static std::optional<Prefix> fromText(std::string_view);

 private:
  U32 address_ = 0;
  U8 length_ = 0;
};

}  // namespace Nettle
