#include "sim/Arguments.h"

#include <array>
#include <charconv>
#include <cmath>

#include "platform/Assert.h"
#include "platform/ShoalFiles.h"
#include "sim/OifText.h"
#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

std::optional<U32> unsignedNumber(std::string const & text) {
  U32 value = 0;
  auto const end = text.data() + text.size();
  auto const read = std::from_chars(text.data(), end, value);
  if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return value;
}

std::optional<double> decimal(std::string const & text) {
  double value = 0;
  auto const end = text.data() + text.size();
  auto const read = std::from_chars(text.data(), end, value, std::chars_format::fixed);
  if (read.ec != std::errc() || read.ptr != end || !std::isfinite(value)) return std::nullopt;
  return value;
}

bool isVlan(std::string const & text) {
  auto const number = unsignedNumber(text);
  if (number) Bridging::VlanId{*number};
  return number.has_value();
}

bool isIntf(std::string const & text) {
  if (text.size() > maxIntfName) throw CommandError("a name has at most 31 characters");
  return isIntfName(text);
}

bool isOif(std::string const & text) { return oifFromText(text).has_value(); }

bool isVrf(std::string const & text) {
  if (text.size() > L3::VrfName::maxLength) L3::VrfName{text};
  return !text.empty();
}

bool isText(std::string const &) { return true; }

bool isName(std::string const & text) { return !text.empty(); }

bool isTable(std::string const & text) {
  auto const point = text.find('.');
  if (point == 0 || point == text.npos || point + 1 == text.size()) return false;
  ZetShoal::shoalPath("/", text);
  return isVrf(text.substr(point + 1));
}

bool isAddress(std::string const & text) {
  auto const address = Nettle::IpGenAddr::fromText(text);
  return address && !address->isNull();
}

bool isPrefixOrAddress(std::string const & text) {
  return isAddress(text) || (!text.empty() && Nettle::IpGenPrefix::fromText(text));
}

Nettle::IpGenPrefix prefixOf(std::string const & text) {
  return text.find('/') == text.npos ? Nettle::IpGenPrefix(Nettle::IpGenAddr(text))
                                     : Nettle::IpGenPrefix(text);
}

bool isSource(std::string const & text) { return text == "*" || isPrefixOrAddress(text); }

bool isGroup(std::string const & text) {
  return isPrefixOrAddress(text) && prefixOf(text).address().isMulticast();
}

bool isAddressWithMask(std::string const & text) {
  auto const address = Nettle::IpAddrWithMask::fromText(text);
  return address && !address->isNull();
}

bool isMac(std::string const & text) {
  return !text.empty() && Nettle::EthAddr::fromText(text).has_value();
}

bool isNumber(std::string const & text) { return unsignedNumber(text).has_value(); }

template <U32 max> bool isNumberTo(std::string const & text) {
  auto const number = unsignedNumber(text);
  return number && *number <= max;
}

// A bit of a designated-forwarder profile; index 0 is no rendezvous point.
bool isPoint(std::string const & text) { return isNumberTo<63>(text) && *unsignedNumber(text); }

bool isSeconds(std::string const & text) {
  auto const value = decimal(text);
  return value && *value >= 0;
}

constexpr auto kinds = std::to_array<ValueKind>({
    {"VLAN", "a VLAN from 1 to 4094", isVlan},
    {"NEW-VLAN", "a VLAN from 1 to 4094", isVlan},
    {"IN", "a VLAN from 1 to 4094", isVlan},
    {"PORT", "a port", isIntf},
    {"OUTPUT", "a port", isIntf},
    {"INTF", "an interface", isIntf},
    {"IIF", "the accepting interface", isIntf},
    {"OIF", "an output such as br100 or et1=accept+forward", isOif},
    {"FRR", "the interface of the backup path", isIntf},
    {"NOTIFY", "the interface to be notified of", isIntf},
    {"FASTDROP", "the interface to drop on", isIntf},
    {"LAG", "a LAG", isIntf},
    {"PARENT", "the interface that it lies on", isIntf},
    {"VRF", "a VRF name", isVrf},
    {"SOURCE", "a source address, or *", isSource},
    {"GROUP", "a multicast group", isGroup},
    {"ADDRESS", "an IPv4 or IPv6 address", isAddress},
    {"ADDRESS/LEN", "an IPv4 address with mask length such as 10.0.0.1/24", isAddressWithMask},
    {"MAC", "an Ethernet address such as 01:00:5e:01:00:01", isMac},
    {"SECONDS", "seconds, such as 1.5", isSeconds},
    {"N", "a number", isNumber},
    {"LIF", "a VLAN, or the number of a logical interface above 4094", isNumber},
    {"CLIENT", "a client's number", isNumber},
    {"ID", "the number that a client gives a group", isNumber},
    {"ROUTES", "a number of routes", isNumber},
    {"OUTPUTS", "a number of outputs", isNumber},
    {"INDEX", "a chip's number from 0 to 15", isNumberTo<15>},
    {"PRIORITY", "a priority from 0 to 255", isNumberTo<255>},
    {"RPA", "the index of a rendezvous point from 0 to 65535", isNumberTo<65535>},
    {"POINT", "the index of a rendezvous point from 1 to 63", isPoint},
    {"VIF", "the kernel's number of an interface, from 0 to 65535", isNumberTo<65535>},
    {"PERCENT", "a percentage from 0 to 100", isNumberTo<100>},
    {"STATE", "a state from 0 to 255", isNumberTo<255>},
    {"MODE", "a switchport mode from 0 to 255", isNumberTo<255>},
    {"CHIP", "a chip's name", isName},
    {"NAME", "a name", isName},
    {"DEVICE", "a network device", isName},
    {"TABLE", "a table, PROTOCOL.VRF", isTable},
    {"FILE", "a file", isName},
    {"DIR", "a directory", isName},
    {"COMMAND", "a command", isText, true},
    {"TEXT", "a text", isText, true},
});

}  // namespace

ValueKind const & valueKind(std::string_view placeholder) {
  for (auto const & kind : kinds) {
    if (kind.placeholder == placeholder) return kind;
  }
  ZET_ASSERT(false, "placeholder");
  __builtin_unreachable();
}

std::vector<std::string> const & Arguments::texts(std::string_view placeholder) const {
  static std::vector<std::string> const none;
  auto const i = values_.find(placeholder);
  return i == values_.end() ? none : i->second;
}

std::string const & Arguments::text(std::string_view placeholder) const {
  return texts(placeholder).front();
}

std::string Arguments::text(std::string_view placeholder, std::string const & otherwise) const {
  return given(placeholder) ? text(placeholder) : otherwise;
}

U32 Arguments::number(std::string_view placeholder, U32 otherwise) const {
  return given(placeholder) ? *unsignedNumber(text(placeholder)) : otherwise;
}

std::vector<U32> Arguments::numbers(std::string_view placeholder) const {
  std::vector<U32> out;
  for (auto const & text : texts(placeholder)) out.push_back(*unsignedNumber(text));
  return out;
}

double Arguments::seconds() const { return *decimal(text("SECONDS")); }

Bridging::VlanId Arguments::vlan() const { return Bridging::VlanId(number("VLAN")); }

std::vector<Bridging::VlanId> Arguments::vlans() const {
  std::vector<Bridging::VlanId> out;
  for (auto const & text : texts("VLAN")) out.emplace_back(*unsignedNumber(text));
  return out;
}

L3::VrfName Arguments::vrf() const {
  return given("VRF") ? L3::VrfName(text("VRF")) : L3::VrfName::defaultVrf();
}

Nettle::IntfId Arguments::intf(std::string_view placeholder) const {
  return given(placeholder) ? Nettle::IntfId(text(placeholder)) : Nettle::IntfId();
}

std::vector<Nettle::IntfId> Arguments::intfs(std::string_view placeholder) const {
  std::vector<Nettle::IntfId> out;
  for (auto const & text : texts(placeholder)) out.emplace_back(text);
  return out;
}

Nettle::EthAddr Arguments::mac() const { return Nettle::EthAddr(text("MAC")); }

Nettle::IpGenAddr Arguments::address() const { return Nettle::IpGenAddr(text("ADDRESS")); }

Nettle::IpAddrWithMask Arguments::addressWithMask() const {
  return Nettle::IpAddrWithMask(text("ADDRESS/LEN"));
}

Nettle::IpGenPrefix Arguments::group() const { return prefixOf(text("GROUP")); }

std::vector<Nettle::IpGenPrefix> Arguments::groups() const {
  std::vector<Nettle::IpGenPrefix> out;
  for (auto const & text : texts("GROUP")) out.push_back(prefixOf(text));
  return out;
}

Multicast::Group::GroupKey Arguments::requestedGroup() const {
  return {number("CLIENT"), number("ID")};
}

Routing::Multicast::Fib::IpGenRouteKey Arguments::routeKey() const {
  auto const any = Nettle::IpGenPrefix(group().af() == Nettle::ipv4() ? "0.0.0.0/0" : "::/0");
  auto const source = text("SOURCE") == "*" ? any : prefixOf(text("SOURCE"));
  if (source.af() != group().af()) {
    throw CommandError("expected source and group of one address family, found \"" +
                       text("SOURCE") + "\" and \"" + text("GROUP") + "\"");
  }
  return {source, group()};
}

}  // namespace Brindle::Sim
