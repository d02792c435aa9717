#include "sim/RouteGenerator.h"

#include <algorithm>
#include <charconv>

#include "sim/OifText.h"
#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

constexpr U32 firstGroup = 0xe1000000;   // 225.0.0.0
constexpr U32 firstSource = 0x0a000001;  // 10.0.0.1
constexpr U32 maxGroups = 1 << 24;
constexpr U32 maxSources = 1 << 24;

void require(bool holds, char const * expected) {
  if (!holds) throw CommandError(std::string("expected ") + expected);
}

// A random start for one route, the same whenever it is asked for.
U64 scatter(U64 seed, U64 number, U64 turn) {
  U64 x = seed ^ number * 0x9e3779b97f4a7c15u ^ turn << 40;
  x = (x ^ x >> 30) * 0xbf58476d1ce4e5b9u;
  x = (x ^ x >> 27) * 0x94d049bb133111ebu;
  return x ^ x >> 31;
}

U32 numberOf(std::string_view text, std::string_view whole) {
  U32 value = 0;
  auto const read = std::from_chars(text.data(), text.data() + text.size(), value);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size()) {
    throw CommandError("expected interfaces such as Vlan[100-131],et1, found \"" +
                       std::string(whole) + "\"");
  }
  return value;
}

void addRange(std::vector<Nettle::IntfId> & out, std::string_view item, std::string_view whole) {
  auto const open = item.find('[');
  auto const dash = item.find('-', open);
  bool const shaped = dash != item.npos && item.ends_with("]");
  std::string_view const empty;
  U32 const first = numberOf(shaped ? item.substr(open + 1, dash - open - 1) : empty, whole);
  U32 const last = numberOf(item.substr(dash + 1, item.size() - dash - 2), whole);
  require(first <= last && last - first < 65536, "a range of interfaces that rises");
  for (U32 i = first; i <= last; ++i) {
    out.emplace_back(std::string(item.substr(0, open)) + std::to_string(i));
  }
}

}  // namespace

std::vector<Nettle::IntfId> intfsOf(std::string_view text) {
  std::vector<Nettle::IntfId> out;
  for (std::string_view rest = text; !rest.empty();) {
    auto const item = rest.substr(0, rest.find(','));
    rest.remove_prefix(std::min(rest.size(), item.size() + 1));
    require(isIntfName(item), "interfaces such as Vlan[100-131],et1");
    if (item.find('[') == item.npos) {
      out.emplace_back(item);
    } else {
      addRange(out, item, text);
    }
  }
  return out;
}

RouteGenerator::RouteGenerator(Plan const & plan)
    : plan_(plan),
      random_(plan.seed),
      turn_(plan.routes),
      gone_(plan.routes) {
  require(plan.groups >= 1 && plan.groups <= maxGroups, "1 to 16777216 groups");
  require(plan.routes / plan.groups < maxSources, "fewer than 16777216 sources a group");
  require(!plan.iifs.empty(), "an accepting interface");
  require(plan.oifs < plan.outs.size() || (plan.oifs == 0 && plan.outs.empty()),
          "more interfaces (--oif) than a route has outputs (--oifs)");
}

Routing::Multicast::Fib::IpGenRouteKey RouteGenerator::key(U32 number) const {
  using Nettle::IpGenAddr;
  using Nettle::IpGenPrefix;
  bool const starG = number >= plan_.routes;
  U32 const group = starG ? number - plan_.routes : number % plan_.groups;
  auto const source = starG ? IpGenPrefix(IpGenAddr(U32{0}), 0)
                            : IpGenPrefix(IpGenAddr(firstSource + number / plan_.groups));
  return {source, IpGenPrefix(IpGenAddr(firstGroup + group))};
}

RouteSpec RouteGenerator::route(U32 number) const {
  using namespace Shoal::Multicast::Fib;
  U32 const turn = number < plan_.routes ? turn_[number] : 0;
  RouteSpec spec{Route(key(number)), {}};
  U64 const start = scatter(plan_.seed, number, 0);
  auto const iif = plan_.iifs[start % plan_.iifs.size()];
  spec.route.iifIs(iif);
  spec.route.priorityIs(RoutePriority(plan_.priority));
  if (spec.route.isStarG()) spec.route.flagsIs(Route::installStarG);
  spec.oifAdd(iif, oifAccept);
  // Neighbours in a ring; with each turn one leaves at the front and one comes in behind.
  auto const outs = plan_.outs.size();
  for (std::size_t i = 0, taken = 0; taken < plan_.oifs; ++i) {
    auto const out = plan_.outs[(start / 8 + turn + i) % outs];
    if (out == iif) continue;
    spec.oifAdd(out, oifForward);
    ++taken;
  }
  return spec;
}

RouteGenerator::Change RouteGenerator::nextChange() {
  require(plan_.routes > 0, "routes to change");
  U32 const number = static_cast<U32>(random_() % plan_.routes);
  bool const goes = !gone_[number] && random_() % 4 == 0;
  if (!goes && !gone_[number]) ++turn_[number];
  gone_[number] = goes;
  return {route(number), !goes};
}

}  // namespace Brindle::Sim
