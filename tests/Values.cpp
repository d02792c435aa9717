// Values: text forms both ways, checked ranges, names and network values, exceptions and
// assertions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <limits>
#include <random>
#include <set>
#include <sstream>

#include "platform/Assert.h"
#include "platform/Bits.h"
#include "platform/CollectionText.h"
#include "platform/EthAddr.h"
#include "platform/Exception.h"
#include "platform/IntfId.h"
#include "platform/IpGenAddr.h"
#include "platform/NamespaceName.h"
#include "platform/String.h"
#include "platform/VrfName.h"
#include "tests/Thrown.h"

namespace Orchard {

using Zet::operator<<;

enum class Fruit : U8 { none, apple, pear = 3 };
constexpr auto fruitNames = Zet::enumNames<Fruit::pear>("none", "apple", "", "pear");
constexpr auto & zetNames(Fruit) { return fruitNames; }

struct Crate {
  Nettle::IntfId intf;
  Bridging::VlanId vlan;
  bool operator==(Crate const &) const = default;
  static constexpr char const * zetType = "Orchard::Crate";
  static constexpr auto zetFields() {
    return std::array{Zet::field<&Crate::intf>("intf"), Zet::field<&Crate::vlan>("vlan")};
  }
};

class Tree {
 public:
  Tree() = default;
  Tree(Crate const & crate, Fruit fruit) : crate_(crate), fruit_(fruit) {}
  bool operator==(Tree const &) const = default;
  static constexpr char const * zetType = "Orchard::Tree";
  static constexpr auto zetFields() {
    return std::array{
        Zet::field<&Tree::crate_>("crate"),   Zet::field<&Tree::fruit_>("fruit"),
        Zet::field<&Tree::height_>("height"), Zet::field<&Tree::depth_>("depth"),
        Zet::field<&Tree::tall_>("tall"),     Zet::field<&Tree::label_>("label"),
    };
  }

 private:
  Crate crate_;
  Fruit fruit_ = Fruit::none;
  double height_ = 0.1;
  std::int16_t depth_ = -3;
  bool tall_ = true;
  std::string label_ = "o'k";
};

}  // namespace Orchard

namespace {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Nettle::EthAddr;
using Nettle::IntfId;
using Nettle::IntfKind;
using Nettle::IpAddrWithMask;
using Nettle::IpGenAddr;
using Nettle::IpGenPrefix;
using Nettle::Prefix;
using Tests::thrown;
using Zet::strepToValue;
using Zet::valueToStrep;

template <class T> std::string streamed(T const & value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

template <class T> void expectBothWays(T const & value, std::string const & text) {
  EXPECT_EQ(valueToStrep(value), text);
  EXPECT_EQ(strepToValue<T>(text), value) << text;
}

Orchard::Tree const tree({IntfId("Ethernet3/1"), VlanId(100)}, Orchard::Fruit::pear);
std::string const treeText =
    "Value('Orchard::Tree', ** {'crate': Value('Orchard::Crate', ** {'intf': 'Ethernet3/1', "
    "'vlan': 100}), 'fruit': pear, 'height': 0.1, 'depth': -3, 'tall': True, 'label': 'o\\'k'})";

TEST(TextForm, GoesBothWays) {
  expectBothWays(tree, treeText);
  EXPECT_EQ(streamed(tree), treeText);
  expectBothWays(U8{255}, "255");
  expectBothWays(std::numeric_limits<U64>::max(), "18446744073709551615");
  expectBothWays(std::numeric_limits<std::int64_t>::min(), "-9223372036854775808");
  expectBothWays(1e300, "1e+300");
  expectBothWays(std::numeric_limits<double>::infinity(), "inf");
  expectBothWays(false, "False");
  expectBothWays(Orchard::Fruit::apple, "apple");
  expectBothWays(Orchard::Fruit{2}, "2");
  expectBothWays(Orchard::Fruit{200}, "200");
  expectBothWays(IpGenAddr("10.0.0.1"), "'10.0.0.1'");
  expectBothWays(IpGenAddr(), "''");
  expectBothWays(IpGenPrefix("ff00::/8"), "'ff00::/8'");
  expectBothWays(IpAddrWithMask("10.0.0.1/8"), "'10.0.0.1/8'");
  expectBothWays(EthAddr("01:00:5e:00:00:fb"), "'01:00:5e:00:00:fb'");
  expectBothWays(VlanIdOrNone(), "0");
  expectBothWays(IntfId(), "''");
  expectBothWays(L3::VrfName("a'b"), "'a\\'b'");
  expectBothWays(Zet::Name("chip0"), "'chip0'");
  expectBothWays(Zet::String("text"), "'text'");
  EXPECT_EQ(streamed(IpGenAddr("10.0.0.1")) + streamed(Zet::Name("n")), "10.0.0.1n");

  using Outputs = Zet::RbTreeMap<IntfId, Zet::OrderedSet<VlanId>>;
  Outputs outputs;
  expectBothWays(outputs, "{}");
  outputs.at(IntfId("Ethernet10"));
  outputs.at(IntfId("Ethernet2")).insert(VlanId(7));
  outputs.at(IntfId("Ethernet2")).insert(VlanId(5));
  expectBothWays(outputs, "{'Ethernet2': [5, 7], 'Ethernet10': []}");
  for (auto bad : {"{'a': [5, ]}", "{'a': [5]", "{'a': [5], }", "{'a' [5]}", "[]"}) {
    EXPECT_NE(thrown([&] { strepToValue<Outputs>(bad); }), "nothing") << bad;
  }
  EXPECT_EQ(valueToStrep(Zet::Ptr<Zet::Entity>()), "None");

  std::string everyByte;
  for (int c = 0; c < 256; ++c) everyByte += static_cast<char>(c);
  EXPECT_EQ(strepToValue<std::string>(valueToStrep(everyByte)), everyByte);
  EXPECT_EQ(valueToStrep(std::string("\n\x01\\")), "'\\n\\x01\\\\'");
}

TEST(TextForm, RefusesBadTextWithPositionAndExpectation) {
  auto refusal = [](auto example, std::string_view text) {
    return thrown([&] { strepToValue<decltype(example)>(text); });
  };
  EXPECT_EQ(refusal(U8{}, "256"), "position 0: expected a number from 0 to 255, not '256'");
  EXPECT_EQ(refusal(U32{}, "-1"), "position 0: expected a number from 0 to 4294967295, not '-1'");
  EXPECT_EQ(refusal(std::int16_t{}, "-32769"),
            "position 0: expected a number from -32768 to 32767, not '-32769'");
  EXPECT_EQ(refusal(U64{}, "18446744073709551616"),
            "position 0: expected a number from 0 to 18446744073709551615, not "
            "'18446744073709551616'");
  EXPECT_EQ(refusal(U8{}, "7 "), "position 1: expected the end of the text, not ' '");
  EXPECT_EQ(refusal(double{}, ""), "position 0: expected a number, not ''");
  EXPECT_EQ(refusal(true, "true"), "position 0: expected True or False, not 'true'");
  EXPECT_EQ(refusal(Orchard::Fruit{}, "appl"),
            "position 0: expected one of none apple pear, not 'appl'");
  EXPECT_EQ(refusal(Orchard::Fruit{}, "256"),
            "position 0: expected one of none apple pear, not '256'");
  EXPECT_EQ(refusal(std::string(), "'open"),
            "position 0: expected a text in quotes, not '\\'open'");
  EXPECT_EQ(refusal(std::string(), "'\\xg0'"),
            "position 1: expected \\x and two hexadecimal digits, not '\\\\xg0\\''");
  EXPECT_EQ(refusal(IpGenAddr(), "'10.0.0'"),
            "position 0: expected an IPv4 or IPv6 address, not '\\'10.0.0\\''");
  EXPECT_EQ(refusal(VlanId(), "4095"), "VlanId::value < 1 or > 4094 not allowed");
  EXPECT_EQ(refusal(tree, "Value('Orchard::Crate', ** {})"),
            "position 0: expected Value('Orchard::Tree', ** {, not "
            "'Value(\\'Orchard::Crate\\', ** {})'");
}

// Whatever is read prints as it was read, or is refused; nothing is guessed, nothing crashes.
TEST(TextForm, DamagedTextIsRefusedOrMeansWhatItSays) {
  for (std::size_t n = 0; n < treeText.size(); ++n) {
    EXPECT_NE(thrown([&] { strepToValue<Orchard::Tree>(treeText.substr(0, n)); }), "nothing") << n;
  }
  std::mt19937 random(1);
  int read = 0;
  for (int i = 0; i < 20000; ++i) {
    auto text = treeText;
    text[random() % text.size()] = static_cast<char>(random());
    thrown([&] {
      auto const value = strepToValue<Orchard::Tree>(text);
      EXPECT_EQ(strepToValue<Orchard::Tree>(valueToStrep(value)), value) << text;
      ++read;
    });
  }
  EXPECT_GT(read, 0);
}

TEST(CheckedValues, KeepTheirRange) {
  char const vlanText[] = "VlanId::value < 1 or > 4094 not allowed";
  char const noneText[] = "VlanIdOrNone::value > 4094 not allowed";
  for (U32 bad : {0u, 4095u, 65536u, 65537u, ~0u}) {
    EXPECT_EQ(thrown([&] { VlanId{bad}; }), vlanText) << bad;
    EXPECT_EQ(thrown([&] { VlanIdOrNone{bad}; }), bad ? noneText : "nothing") << bad;
  }
  EXPECT_EQ(VlanId(1).value() + VlanId(4094).value(), 4095);
  EXPECT_EQ(thrown([] { VlanId{VlanIdOrNone()}; }), vlanText);
  EXPECT_EQ(VlanId(7), VlanIdOrNone(7));

  EXPECT_EQ(L3::VrfName(std::string(100, 'v')).view().size(), 100);
  EXPECT_EQ(thrown([] { L3::VrfName(std::string(101, 'v')); }),
            "VrfName::bytes > VrfName::maxLength not allowed");
  EXPECT_EQ(Nettle::NamespaceName(std::string(150, 'n')).view().size(), 150);
  EXPECT_EQ(thrown([] { Nettle::NamespaceName(std::string(151, 'n')); }),
            "NamespaceName::bytes > 150 not allowed");

  char const prefixText[] = "Prefix::validAsPrefix != true not allowed";
  EXPECT_EQ(thrown([] { Prefix(0x0a000001, 31); }), prefixText);
  EXPECT_EQ(thrown([] { Prefix(0, 33); }), prefixText);
  EXPECT_EQ(thrown([] { Prefix(0x80000000, 0); }), prefixText);
  char const genText[] = "IpGenPrefix::validAsPrefix != true not allowed";
  EXPECT_EQ(thrown([] { IpGenPrefix(IpGenAddr("ff00::1"), 127); }), genText);
  EXPECT_EQ(thrown([] { IpGenPrefix(IpGenAddr("10.0.0.0"), 33); }), genText);
  EXPECT_EQ(thrown([] { IpGenPrefix(IpGenAddr(), 1); }), genText);
  EXPECT_NE(thrown([] { IpAddrWithMask(0, 33); }), "nothing");
}

TEST(Addresses, ReadAndPrint) {
  struct {
    char const * text;
    char const * printed;
  } const good[] = {
      {"0.0.0.0", "0.0.0.0"},
      {"255.255.255.255", "255.255.255.255"},
      {"::", "::"},
      {"0:0:0:0:0:0:0:1", "::1"},
      {"2001:DB8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},
      {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
      {"ff02::1:ff00:0", "ff02::1:ff00:0"},
      {"::ffff:10.0.0.1", "::ffff:10.0.0.1"},
  };
  for (auto const & row : good) {
    EXPECT_EQ(Zet::textOf(IpGenAddr(row.text)), row.printed);
    EXPECT_EQ(IpGenAddr(row.printed), IpGenAddr(row.text));
  }
  for (auto bad : {"1.2.3", "1.2.3.256", "1.2.3.4.5", "01.2.3.4", " 1.2.3.4", "1.2.3.4 ", "1::2::3",
                   "12345::", "fe80::1%eth0", ":::", "x",
                   "1111:2222:3333:4444:5555:6666:7777:8888:9999:0000:1111:2222:3333"}) {
    EXPECT_EQ(thrown([&] { IpGenAddr{bad}; }).find("expected an IPv4 or IPv6 address, not '"), 0);
  }
  EXPECT_NE(thrown([] { IpGenAddr{std::string_view("1.2.3.4\0", 8)}; }), "nothing");
  for (auto bad : {"10.0.0.0", "10.0.0.0/", "10.0.0.0/33", "10.0.0.1/8", "::/129", "/8",
                   "10.0.0.0/8x", "10.0.0.0/-1", "10.0.0.0/4294967304"}) {
    EXPECT_NE(thrown([&] { IpGenPrefix{bad}; }), "nothing") << bad;
  }
  EXPECT_NE(thrown([] { Prefix{"ff00::/8"}; }), "nothing");
  for (auto bad : {"01:00:5e:00:00", "01:00:5e:00:00:0g", "01-00-5e-00-00-01", "1:0:5e:0:0:1",
                   "01:00:5e:00:00:01:", "01:00:5e:00:00:-1", ""}) {
    EXPECT_NE(thrown([&] { EthAddr{bad}; }), "nothing") << bad;
  }
  EXPECT_EQ(EthAddr("AB:cd:00:00:00:01"), EthAddr(EthAddr::Bytes{0xab, 0xcd, 0, 0, 0, 1}));
  EXPECT_EQ(IpGenAddr("1.2.3.4").v4(), 0x01020304u);
  EXPECT_EQ(IpGenAddr(0x01020304u), IpGenAddr("1.2.3.4"));
}

TEST(Addresses, OrderContainmentAndSubnets) {
  char const * const ascending[] = {
      "", "1.2.3.4", "1.2.4.3", "224.0.0.1", "::", "::1", "::1:0:0:0:0", "2001::", "ff02::1"};
  for (auto * at = ascending; at + 1 != std::end(ascending); ++at) {
    EXPECT_LT(IpGenAddr(at[0]), IpGenAddr(at[1]));
    EXPECT_NE(IpGenAddr(at[0]).hash(), IpGenAddr(at[1]).hash());
  }
  EXPECT_LT(IpGenPrefix("10.0.0.0/8"), IpGenPrefix("10.0.0.0/9"));
  EXPECT_NE(IpGenPrefix("10.0.0.0/8").hash(), IpGenPrefix("10.0.0.0/9").hash());

  IpGenPrefix const ten("10.64.0.0/10"), six("2001:db8::/33"), all("0.0.0.0/0");
  EXPECT_TRUE(ten.contains(IpGenAddr("10.127.255.255")) && !ten.contains(IpGenAddr("10.128.0.0")));
  EXPECT_TRUE(six.contains(IpGenAddr("2001:db8:7fff::1")));
  EXPECT_FALSE(six.contains(IpGenAddr("2001:db8:8000::1")));
  EXPECT_TRUE(all.contains(ten) && !ten.contains(all) && !all.contains(six));
  EXPECT_FALSE(IpGenPrefix().contains(IpGenAddr()));
  EXPECT_TRUE(all.isDefault() && !all.isNull() && !IpGenPrefix().isDefault());
  EXPECT_TRUE(IpGenPrefix("::1/128").isHost() && !IpGenPrefix("1.0.0.0/31").isHost());
  EXPECT_FALSE(IpGenPrefix().isHost());
  EXPECT_EQ(IpGenPrefix(IpGenAddr("::1")), IpGenPrefix("::1/128"));

  EXPECT_EQ(Prefix(IpAddrWithMask("10.1.2.3/23")), Prefix("10.1.2.0/23"));
  EXPECT_EQ(Prefix(IpAddrWithMask("10.1.2.3/32")), Prefix("10.1.2.3/32"));
  EXPECT_TRUE(Prefix(IpAddrWithMask("10.1.2.3/0")).isNull());
  EXPECT_EQ(IpGenPrefix("10.1.2.0/23").v4Prefix().genPrefix(), IpGenPrefix("10.1.2.0/23"));
  EXPECT_TRUE(IpGenAddr("239.1.1.1").isMulticast() && IpGenAddr("ff02::1").isMulticast());
  EXPECT_FALSE(IpGenAddr("240.0.0.0").isMulticast() || IpGenAddr("fe80::").isMulticast());
}

// Chains of a table stay short from either end of the hash, for the keys that switches have.
TEST(Hashes, SpreadRegularKeys) {
  auto expectSpread = [](char const * what, std::function<U32(U32)> const & hash) {
    std::array<int, 256> low{}, high{};
    for (U32 i = 0; i < 4096; ++i) {
      ++low[hash(i) & 255];
      ++high[hash(i) >> 24];
    }
    EXPECT_LT(*std::max_element(low.begin(), low.end()), 48) << what;
    EXPECT_LT(*std::max_element(high.begin(), high.end()), 48) << what;
  };
  expectSpread("VLANs", [](U32 i) { return VlanIdOrNone(i % 4095).hash(); });
  expectSpread("hosts", [](U32 i) { return IpGenAddr(0x0a000000 + i).hash(); });
  expectSpread("networks", [](U32 i) { return IpGenAddr(i << 20).hash(); });
  expectSpread("IPv6 networks", [](U32 i) {
    return IpGenAddr(IpGenAddr::Bytes{0x20, 1, static_cast<U8>(i >> 8), static_cast<U8>(i)}).hash();
  });
  expectSpread("groups", [](U32 i) {
    return EthAddr({1, 0, 0x5e, 1, static_cast<U8>(i >> 8), static_cast<U8>(i)}).hash();
  });
  expectSpread("ports", [](U32 i) { return IntfId("Ethernet" + std::to_string(i + 1)).hash(); });
  EXPECT_NE(Zet::hashAll(1, 2), Zet::hashAll(2, 1));

  static_assert(Zet::bitReverse(1) == 0x80000000 && Zet::bitReverse(0x12345678) == 0x1e6a2c48);
}

TEST(Interfaces, OrderIsNaturalHoweverTheyCame) {
  struct Made {
    std::string word;
    U32 slot, port;
    auto operator<=>(Made const &) const = default;
    std::string name() const {
      return word + std::to_string(slot) + (port ? "/" + std::to_string(port) : "");
    }
  };
  std::vector<Made> expected;
  for (auto word : {"Order", "Ordinal", "P"}) {
    for (U32 slot = 0; slot < 70; ++slot) {
      for (U32 port = 0; port < 30; ++port) expected.push_back({word, slot, port});
    }
  }
  auto come = expected;
  // One slot after another, each from its last port: no room between neighbours for long.
  for (std::size_t i = 0; i + 30 <= come.size() / 2; i += 30) {
    std::reverse(come.begin() + static_cast<int>(i), come.begin() + static_cast<int>(i) + 30);
  }
  std::shuffle(come.begin() + static_cast<int>(come.size()) / 2, come.end(), std::mt19937(2));
  std::vector<IntfId> sorted;
  for (auto const & made : come) sorted.emplace_back(made.name());
  std::sort(sorted.begin(), sorted.end());
  std::sort(expected.begin(), expected.end());
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    ASSERT_EQ(sorted[i].view(), expected[i].name());
  }

  char const * const others[] = {
      "",      "A2",     "A02",         "A2b",         "A10",
      "A10.2", "A10.10", "A4294967295", "A4294967296", "A18446744073709551616",
      "Ab",    "a1"};
  std::set<IntfId> set;
  for (auto * name : others) set.insert(IntfId(name));
  ASSERT_EQ(set.size(), std::size(others));
  EXPECT_TRUE(set.begin()->empty());
  EXPECT_LT(IntfId("A02"), IntfId("A2"));
  auto at = std::next(set.begin(), 3);
  for (auto * name = others + 3; name != std::end(others); ++name, ++at)
    EXPECT_EQ(at->view(), *name);
}

TEST(Interfaces, NamesTellTheirKind) {
  struct {
    char const * name;
    IntfKind kind;
    char const * shortName;
    char const * related = "";
    U32 vlan = 0;
  } const rows[] = {
      {"Ethernet1", IntfKind::ethernet, "Et1"},
      {"Ethernet3/12/1", IntfKind::ethernet, "Et3/12/1"},
      {"Ethernet", IntfKind::plain, "Ethernet"},
      {"Ethernet01", IntfKind::plain, "Ethernet01"},
      {"Ethernet1/", IntfKind::plain, "Ethernet1/"},
      {"Ethernet1.100", IntfKind::subIntf, "Et1.100", "Ethernet1"},
      {"Ethernet1.x", IntfKind::plain, "Ethernet1.x"},
      {"Port-Channel5", IntfKind::portChannel, "Po5"},
      {"Port-Channel5/1", IntfKind::plain, "Port-Channel5/1"},
      {"Port-Channel5.7", IntfKind::subIntf, "Po5.7", "Port-Channel5"},
      {"Vlan5.7", IntfKind::plain, "Vlan5.7"},
      {"PeerEthernet1/2", IntfKind::peerEthernet, "PEt1/2", "Ethernet1/2"},
      {"PeerPort-Channel9", IntfKind::peerPortChannel, "PPo9", "Port-Channel9"},
      {"Vlan100", IntfKind::vlan, "Vl100", "", 100},
      {"Vlan4095", IntfKind::plain, "Vlan4095"},
      {"Vlan0", IntfKind::plain, "Vlan0"},
      {"Vlan99999999999", IntfKind::plain, "Vlan99999999999"},
      {"Vxlan1", IntfKind::vxlan, "Vx1"},
      {"Vxlan2", IntfKind::plain, "Vxlan2"},
      {"VxlanTunnel7", IntfKind::vxlanTunnel, "VxlanTunnel7"},
      {"Cpu", IntfKind::cpu, "Cpu"},
      {"Null0", IntfKind::null0, "Null0"},
      {"eth0", IntfKind::plain, "eth0"},
      {"", IntfKind::plain, ""},
  };
  for (auto const & row : rows) {
    IntfId const intf(row.name);
    SCOPED_TRACE(row.name);
    EXPECT_EQ(intf.kind(), row.kind);
    EXPECT_EQ(intf.shortName(), row.shortName);
    EXPECT_EQ(intf.routedVlan().value(), row.vlan);
    bool const peerPort = Nettle::PeerEthIntfId::isPeerEthIntfId(intf);
    EXPECT_EQ(peerPort           ? Nettle::PeerEthIntfId::peer(intf)
              : intf.isSubIntf() ? intf.parent()
                                 : Nettle::PeerPortChannelIntfId::peer(intf),
              IntfId(row.related));
    EXPECT_EQ(intf, IntfId(std::string(row.name)));
  }
  EXPECT_EQ(IntfId::ofVlan(VlanId(100)), IntfId("Vlan100"));
}

TEST(Interfaces, AKindCanBeDeclared) {
  IntfId const tunnel("vx7"), bridge("br300"), port("et9"), sub("et9.5");
  auto const hash = bridge.hash();
  tunnel.kindIs(IntfKind::vxlanTunnel);
  bridge.routedVlanIs(VlanId(300));
  sub.parentIs(port);
  EXPECT_TRUE(IntfId("vx7").isVxlanTunnel());
  EXPECT_EQ(IntfId::ofVlan(VlanId(300)), bridge);
  EXPECT_EQ(bridge.routedVlan(), VlanId(300));
  EXPECT_EQ(bridge.hash(), hash);
  EXPECT_EQ(sub.parent(), port);
  bridge.routedVlanIs(VlanId(301));
  EXPECT_EQ(IntfId::ofVlan(VlanId(300)), IntfId("Vlan300"));
  bridge.kindIs(IntfKind::plain);
  EXPECT_EQ(IntfId::ofVlan(VlanId(301)), IntfId("Vlan301"));
  EXPECT_EQ(bridge.routedVlan(), VlanIdOrNone());
  EXPECT_DEATH(IntfId().kindIs(IntfKind::cpu), "index != 0");
}

TEST(Names, AreOneAndOrderedByText) {
  std::string const text = "chip7";
  Zet::Name const a(text), b("chip10");
  EXPECT_TRUE(a == Zet::Name("chip7") && a != b && b < a && Zet::Name() < b);
  EXPECT_TRUE(Zet::Name("").empty() && Zet::Name() == Zet::Name(""));
  EXPECT_STREQ(a.c_str(), "chip7");

  Zet::String const one("one\0two", 7);
  Zet::String const both = one + "!";
  EXPECT_EQ(std::string(both.begin(), both.end()), std::string("one\0two!", 8));
  EXPECT_TRUE(one < both && one.hash() != both.hash() && Zet::String("") == Zet::String());
  Zet::String self("ab");
  self += self;
  EXPECT_EQ(self, "abab");
}

TEST(Refusals, SayTheWordsOfTheSystem) {
  EXPECT_THROW(Zet::throwNameInUseException("chip0"), Zet::NameInUseException);
  EXPECT_THROW(Wharf::CorruptionDetectedException::throwException("lost"),
               Wharf::CorruptionDetectedException);
  EXPECT_EQ(thrown<Zet::ErrnoException>([] { Zet::throwErrnoException("creating socket", EPERM); }),
            "creating socket: Operation not permitted");
  EXPECT_DEATH(ZET_ASSERT(1 > 2, "one < two"), "Values.cpp:[0-9]+: assertion failed: one < two");
}

}  // namespace
