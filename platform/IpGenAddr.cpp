#include "platform/IpGenAddr.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

#include "platform/Assert.h"
#include "platform/Exception.h"

namespace Nettle {

namespace {

constexpr U32 mask(U32 length) { return length == 0 ? 0 : ~U32{0} << (32 - length); }

// An address and a length, as "10.0.0.1/8" says.
struct AddressAndLength {
  IpGenAddr address;
  U32 length = 0;
};

std::optional<AddressAndLength> split(std::string_view text) {
  auto const slash = text.find('/');
  if (slash == 0 || slash == text.npos) return std::nullopt;
  auto const address = IpGenAddr::fromText(text.substr(0, slash));
  auto const digits = text.substr(slash + 1);
  U32 length = 0;
  auto const read = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  if (!address || read.ec != std::errc() || read.ptr != digits.data() + digits.size() ||
      length > addressBits(address->af())) {
    return std::nullopt;
  }
  return AddressAndLength{*address, length};
}

std::optional<AddressAndLength> splitV4(std::string_view text) {
  auto parts = split(text);
  if (parts && !parts->address.isV4()) parts.reset();
  return parts;
}

void appendWithLength(std::string & out, IpGenAddr const & address, U8 length) {
  address.appendText(out);
  out.append("/").append(std::to_string(length));
}

}  // namespace

IpGenAddr::IpGenAddr(std::string_view text) : IpGenAddr(Zet::parse<IpGenAddr>(text)) {}

void IpGenAddr::appendText(std::string & out) const {
  if (isNull()) return;
  char text[INET6_ADDRSTRLEN];
  out += inet_ntop(isV4() ? AF_INET : AF_INET6, bytes_.data(), text, sizeof text);
}

std::optional<IpGenAddr> IpGenAddr::fromText(std::string_view text) {
  IpGenAddr read;
  if (text.empty()) return read;
  char terminated[INET6_ADDRSTRLEN];
  if (text.size() >= sizeof terminated || text.find('\0') != text.npos) return std::nullopt;
  *std::copy(text.begin(), text.end(), terminated) = '\0';
  read.af_ = text.find(':') == text.npos ? AddressFamily::ipv4 : AddressFamily::ipv6;
  if (inet_pton(read.isV4() ? AF_INET : AF_INET6, terminated, read.bytes_.data()) != 1) {
    return std::nullopt;
  }
  return read;
}

IpGenPrefix::IpGenPrefix(IpGenAddr const & address, U32 length)
    : IpGenPrefix(around(address, length)) {
  if (address_ != address || length_ != length) [[unlikely]] {
    Zet::throwRangeException("IpGenPrefix::validAsPrefix != true not allowed");
  }
}

IpGenPrefix::IpGenPrefix(std::string_view text) : IpGenPrefix(Zet::parse<IpGenPrefix>(text)) {}

IpGenPrefix IpGenPrefix::around(IpGenAddr const & address, U32 length) {
  IpGenPrefix prefix;
  prefix.length_ = static_cast<U8>(std::min<U32>(length, addressBits(address.af())));
  if (address.isV4()) {
    prefix.address_ = IpGenAddr(address.v4() & mask(prefix.length_));
  } else if (address.isV6()) {
    auto bytes = address.bytes();
    U32 left = prefix.length_;
    for (U8 & byte : bytes) {
      U32 const bits = std::min(left, 8u);
      byte = static_cast<U8>(byte & 0xff00u >> bits);
      left -= bits;
    }
    prefix.address_ = IpGenAddr(bytes);
  }
  return prefix;
}

Prefix IpGenPrefix::v4Prefix() const {
  ZET_ASSERT(isNull() || address_.isV4(), "isNull() || address_.isV4()");
  return isNull() ? Prefix() : Prefix(address_.v4(), length_);
}

void IpGenPrefix::appendText(std::string & out) const {
  if (!isNull()) appendWithLength(out, address_, length_);
}

std::optional<IpGenPrefix> IpGenPrefix::fromText(std::string_view text) {
  if (text.empty()) return IpGenPrefix();
  auto const parts = split(text);
  if (!parts) return std::nullopt;
  auto const prefix = around(parts->address, parts->length);
  if (prefix.address_ != parts->address) return std::nullopt;
  return prefix;
}

IpAddrWithMask::IpAddrWithMask(U32 address, U32 length)
    : address_(address),
      length_(static_cast<U8>(length)) {
  if (length > 32) [[unlikely]] {
    Zet::throwRangeException("IpAddrWithMask::len > 32 not allowed");
  }
}

IpAddrWithMask::IpAddrWithMask(std::string_view text)
    : IpAddrWithMask(Zet::parse<IpAddrWithMask>(text)) {}

void IpAddrWithMask::appendText(std::string & out) const {
  appendWithLength(out, IpGenAddr(address_), length_);
}

std::optional<IpAddrWithMask> IpAddrWithMask::fromText(std::string_view text) {
  auto const parts = splitV4(text);
  if (!parts) return std::nullopt;
  return IpAddrWithMask(parts->address.v4(), parts->length);
}

Prefix::Prefix(U32 address, U32 length) : address_(address), length_(static_cast<U8>(length)) {
  if (length > 32 || (address & ~mask(length)) != 0) [[unlikely]] {
    Zet::throwRangeException("Prefix::validAsPrefix != true not allowed");
  }
}

Prefix::Prefix(IpAddrWithMask const & address)
    : Prefix(address.address() & mask(address.length()), address.length()) {}

Prefix::Prefix(std::string_view text) : Prefix(Zet::parse<Prefix>(text)) {}

void Prefix::appendText(std::string & out) const {
  appendWithLength(out, IpGenAddr(address_), length_);
}

std::optional<Prefix> Prefix::fromText(std::string_view text) {
  auto const parts = splitV4(text);
  if (!parts || (parts->address.v4() & ~mask(parts->length)) != 0) return std::nullopt;
  return Prefix(parts->address.v4(), parts->length);
}

}  // namespace Nettle
