// The values of a command, as its function gets them.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/EthAddr.h"
#include "platform/IntfId.h"
#include "platform/IpGenAddr.h"
#include "platform/VlanId.h"
#include "platform/VrfName.h"
#include "state/RouteKey.h"

namespace Brindle::Sim {

// A kind of value, by the upper-case word that stands for it in the syntax of commands.
struct ValueKind {
  std::string_view placeholder;
  // What an error says: "a VLAN from 1 to 4094".
  std::string_view expected;
  // False, or an exception that says more, if the text is no such value.
  bool (*accepts)(std::string const & text);
  // Any text at all, words of the syntax too.
  bool free = false;
};

// REQUIRES: a placeholder that stands in the table of Arguments.cpp.
ValueKind const & valueKind(std::string_view placeholder);

// What a line gave. All values have been accepted by their kinds.
class Arguments {
 public:
  void wordIs(std::string const & word) { words_.insert(word); }
  void valueIs(std::string const & placeholder, std::string const & text) {
    values_[placeholder].push_back(text);
  }

  // Whether the line holds this word of the syntax.
  bool has(std::string_view word) const { return words_.count(word) != 0; }
  // Of on|off.
  bool on() const { return has("on"); }

  bool given(std::string_view placeholder) const { return values_.count(placeholder) != 0; }
  // All that the line gave for a placeholder.
  std::vector<std::string> const & texts(std::string_view placeholder) const;
  // REQUIRES: given. The others give their default instead.
  std::string const & text(std::string_view placeholder) const;
  std::string text(std::string_view placeholder, std::string const & otherwise) const;

  U32 number(std::string_view placeholder, U32 otherwise = 0) const;
  std::vector<U32> numbers(std::string_view placeholder) const;
  double seconds() const;
  Bridging::VlanId vlan() const;
  std::vector<Bridging::VlanId> vlans() const;
  L3::VrfName vrf() const;                                           // "default"
  Nettle::IntfId intf(std::string_view placeholder = "INTF") const;  // none
  std::vector<Nettle::IntfId> intfs(std::string_view placeholder = "PORT") const;
  Nettle::EthAddr mac() const;
  Nettle::IpGenAddr address() const;
  Nettle::IpAddrWithMask addressWithMask() const;
  Nettle::IpGenPrefix group() const;
  std::vector<Nettle::IpGenPrefix> groups() const;
  // Of CLIENT and ID.
  Multicast::Group::GroupKey requestedGroup() const;
  // Of SOURCE and GROUP. Throws CommandError if they do not go together.
  Routing::Multicast::Fib::IpGenRouteKey routeKey() const;

 private:
  std::set<std::string, std::less<>> words_;
  std::map<std::string, std::vector<std::string>, std::less<>> values_;
};

}  // namespace Brindle::Sim
