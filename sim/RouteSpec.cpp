#include "sim/RouteSpec.h"

#include "sim/OifText.h"

namespace Brindle::Sim {

namespace {

using Shoal::Multicast::Fib::OifIndexIntf;
using Shoal::Multicast::Fib::Route;

std::string prefixText(Nettle::IpGenPrefix const & prefix) {
  return prefix.isHost() ? Zet::textOf(prefix.address()) : Zet::textOf(prefix);
}

void append(std::string & text, char const * word, Nettle::IntfId intf) {
  if (intf) text.append(word).append(intf.view());
}

// `isAccepted`: the output of the input interface accepts.
std::string scalarsText(Route const & route, bool isAccepted) {
  std::string text = "route add " + keyText(route.key());
  append(text, " iif ", route.iif());
  append(text, " frr ", route.iifFrr());
  append(text, " notify ", route.notify());
  if (route.notifyProgrammable()) text += " programmable";
  append(text, " fastdrop ", route.staticFastdropIntf());
  if (route.priority().value) text += " priority " + std::to_string(route.priority().value);
  if (route.rpaId()) text += " rpa " + std::to_string(route.rpaId());
  if (route.flags() & Route::toCpu) text += " to-cpu";
  if (route.flags() & Route::acceptAny) text += " accept-any";
  if (route.iif() && !isAccepted) text += " accept-df";
  if (route.isStarG() && !(route.flags() & Route::installStarG)) text += " hold";
  return text;
}

bool accepts(OifIndexIntf const & oif, Nettle::IntfId iif) {
  return oif.intf == iif && oif.properties & Shoal::Multicast::Fib::oifAccept;
}

void appendOif(std::string & text, OifIndexIntf const & oif, bool & first) {
  text.append(first ? " oif " : " ").append(oifToText(oif));
  first = false;
}

U32 flagsOf(Arguments const & arguments, bool starG) {
  U32 flags = starG && !arguments.has("hold") ? Route::installStarG : 0;
  if (arguments.has("to-cpu")) flags |= Route::toCpu;
  if (arguments.has("accept-any")) flags |= Route::acceptAny;
  return flags;
}

}  // namespace

void RouteSpec::oifAdd(Nettle::IntfId intf, unsigned properties) {
  if (!intf) return;
  for (auto & oif : oifs) {
    if (oif.intf != intf) continue;
    oif.properties = static_cast<U8>(oif.properties | properties);
    return;
  }
  oifs.push_back({intf, static_cast<U8>(properties)});
}

RouteSpec routeSpecOf(Arguments const & arguments) {
  using namespace Shoal::Multicast::Fib;
  RouteSpec spec{Route(arguments.routeKey()), {}};
  Route & route = spec.route;
  route.iifIs(arguments.intf("IIF"));
  route.iifFrrIs(arguments.intf("FRR"));
  route.notifyIs(arguments.intf("NOTIFY"));
  route.notifyProgrammableIs(arguments.has("programmable"));
  route.staticFastdropIntfIs(arguments.intf("FASTDROP"));
  route.flagsIs(flagsOf(arguments, route.isStarG()));
  route.rpaIdIs(static_cast<RpaIndex>(arguments.number("RPA")));
  route.priorityIs(RoutePriority(static_cast<U8>(arguments.number("PRIORITY"))));

  bool const any = arguments.has("accept-any");
  if (!arguments.has("accept-df")) {
    spec.oifAdd(route.iif(), any ? oifAccept | oifNoRpf : oifAccept);
  }
  for (auto const & text : arguments.texts("OIF")) {
    auto const oif = oifFromText(text);
    spec.oifAdd(oif->intf, oif->properties);
  }
  spec.oifAdd(route.iifFrr(), oifFrr);
  spec.oifAdd(route.notify(), oifNotify);
  spec.oifAdd(route.staticFastdropIntf(), oifPersistentFastdrop);
  return spec;
}

std::string routeText(Route const & route, Shoal::Multicast::Fib::Status const & table) {
  bool isAccepted = false;
  for (auto i = route.oifIteratorConst(); i; i.advance()) {
    isAccepted |= accepts(table.oifIndexIntf(i.index()), route.iif());
  }
  std::string text = scalarsText(route, isAccepted);
  bool first = true;
  for (auto i = route.oifIteratorConst(); i; i.advance()) {
    appendOif(text, table.oifIndexIntf(i.index()), first);
  }
  return text;
}

std::string routeText(RouteSpec const & spec) {
  bool isAccepted = false;
  for (auto const & oif : spec.oifs) {
    isAccepted |= accepts(oif, spec.route.iif());
  }
  std::string text = scalarsText(spec.route, isAccepted);
  bool first = true;
  for (auto const & oif : spec.oifs) appendOif(text, oif, first);
  return text;
}

std::string keyText(Routing::Multicast::Fib::IpGenRouteKey const & key) {
  return (key.isStarG() ? "*" : prefixText(key.source())) + " " + prefixText(key.group());
}

}  // namespace Brindle::Sim
