#include "sim/Render.h"

namespace Brindle::Sim {

namespace {

Json keyJson(KeyView const & key) {
  Json json;
  if (!key.vrf.empty()) json["vrf"] = key.vrfText();
  if (key.isL2()) {
    json["kind"] = key.kind();
    if (key.key.kind() == Routing::Multicast::Fib::mcastGroup_) {
      json["client"] = key.key.mcastGroup().client;
      json["id"] = key.key.mcastGroup().group;
      return json;
    }
    json["vlan"] = key.key.vlanId().value();
    json["address"] = key.source() == "-" ? Json() : Json(key.source());
    return json;
  }
  json["source"] = key.source();
  json["group"] = key.group();
  return json;
}

// An interface that is not there is null.
Json intfJson(std::string const & name) { return name.empty() ? Json() : Json(name); }

Json outputsJson(OutputsView const & outputs) {
  Json list = Json::array();
  for (auto const & output : outputs) {
    list.push_back({{"port", output.port}, {"lif", output.lif}, {"tagged", output.tagged}});
  }
  return list;
}

Json toJson(RouteView const & route) {
  Json json = keyJson(route.key);
  json["iif"] = intfJson(route.iif);
  json["vlan"] = route.vlan;
  json["set"] = route.set ? Json(*route.set) : Json();
  json["outputs"] = outputsJson(route.outputs);
  json["toCpu"] = route.toCpu;
  json["notify"] = intfJson(route.notify);
  json["fastdrop"] = intfJson(route.fastdrop);
  json["frr"] = intfJson(route.frr);
  json["state"] = route.stateName();
  json["reason"] = route.reason;
  return json;
}

Json toJson(FloodsetView const & floodset) {
  RouteView const & route = floodset.route;
  Json json = keyJson(route.key);
  json["set"] = route.set ? Json(*route.set) : Json();
  json["outputs"] = outputsJson(route.outputs);
  json["toCpu"] = route.toCpu;
  json["state"] = route.stateName();
  json["reason"] = route.reason;
  return json;
}

Json toJson(SetView const & set) {
  Json routes = Json::array();
  for (auto const & key : set.routes) routes.push_back(keyJson(key));
  return {{"set", set.number},
          {"outputs", outputsJson(set.outputs)},
          {"toCpu", set.toCpu},
          {"routes", std::move(routes)}};
}

Json toJson(EntryView const & entry) {
  Json json = keyJson(entry.key);
  json["handle"] = entry.handle ? Json(*entry.handle) : Json();
  json["vlan"] = entry.vlan;
  json["active"] = entry.active;
  json["outputs"] = outputsJson(entry.outputs);
  return json;
}

Json toJson(ChipView const & chip) {
  Json entries = Json::array();
  for (auto const & entry : chip.entries) entries.push_back(toJson(entry));
  return {{"chip", chip.name},
          {"index", chip.index},
          {"ports", chip.ports},
          {"routesInUse", chip.routesInUse},
          {"routeCapacity", chip.routeCapacity},
          {"routeRoom", chip.routeRoom},
          {chip.setUnit + "InUse", chip.setsInUse},
          {chip.setUnit.substr(0, chip.setUnit.size() - 1) + "Capacity", chip.setCapacity},
          {chip.setUnit.substr(0, chip.setUnit.size() - 1) + "Room", chip.setRoom},
          {"failedRoutes", chip.failedRoutes},
          {"failedSets", chip.failedSets},
          {"entries", std::move(entries)}};
}

Json toJson(StatusView::Route const & route) {
  Json json = keyJson(route.key);
  json["accepting"] = intfJson(route.accepting);
  json["notifying"] = intfJson(route.notifying);
  json["fastdrop"] = intfJson(route.fastdrop);
  json["frr"] = intfJson(route.frr);
  json["noRoute"] = route.noRoute;
  json["noOutputs"] = route.noOutputs;
  json["lastPoll"] = route.lastPoll;
  return json;
}

Json toJson(FastdropView const & fastdrop) {
  Json json = keyJson(fastdrop.key);
  json["interface"] = intfJson(fastdrop.intf);
  json["vlan"] = fastdrop.vlan;
  json["failures"] = fastdrop.failures;
  json["state"] = fastdrop.stateName();
  json["age"] = fastdrop.age ? Json(*fastdrop.age) : Json();
  return json;
}

Json toJson(VrfFastdropView const & vrf) {
  Json fastdrops = Json::array();
  for (auto const & fastdrop : vrf.fastdrops) fastdrops.push_back(toJson(fastdrop));
  return {{"vrf", vrf.vrf},
          {"enabled", vrf.enabled},
          {"limitReached", vrf.limitReached},
          {"count", vrf.count},
          {"limit", vrf.limit},
          {"threshold", vrf.threshold},
          {"pollingInterval", vrf.pollingInterval},
          {"failures", vrf.failures},
          {"fastdrops", std::move(fastdrops)}};
}

Json toJson(FailureView const & failure) {
  Json json = keyJson(failure.key);
  json["refusedBy"] = failure.chips;
  return json;
}

Json toJson(TransactionView const & view) {
  Json json = keyJson(view.key);
  json["chip"] = view.chip;
  json["of"] = view.ofEntry ? "ingress" : "set";
  json["id"] = view.id;
  json["entry"] = view.entry;
  json["entryVlan"] = view.vlan;
  json["waitsForSet"] = view.set ? Json(view.set) : Json();
  json["result"] = Zet::stringValue(view.result);
  return json;
}

Json toJson(GroupView::Request const & request) {
  return {{"id", request.id},
          {"outputs", outputsJson(request.outputs)},
          {"toCpu", request.toCpu},
          {"feature", request.feature},
          {"asked", request.asked}};
}

Json toJson(GroupView::Answer const & answer) {
  return {{"success", answer.success},
          {"multicastId", answer.multicastId},
          {"requestId", answer.requestId},
          {"responseId", answer.responseId},
          {"after", answer.after ? Json(*answer.after) : Json()}};
}

Json toJson(GroupView const & group) {
  Json chips = Json::array();
  for (auto const & one : group.chips) {
    chips.push_back({{"chip", one.chip},
                     {"multicastId", one.multicastId},
                     {"outputs", outputsJson(one.outputs)},
                     {"active", one.active}});
  }
  return {{"client", group.client},
          {"id", group.group},
          {"request", group.request ? toJson(*group.request) : Json()},
          {"answer", group.answer ? toJson(*group.answer) : Json()},
          {"route", group.route ? toJson(*group.route) : Json()},
          {"chips", std::move(chips)}};
}

template <class View> Json listJson(std::vector<View> const & views) {
  Json list = Json::array();
  for (auto const & view : views) list.push_back(toJson(view));
  return list;
}

}  // namespace

Json toJson(std::vector<RouteView> const & routes) { return listJson(routes); }
Json toJson(std::vector<FloodsetView> const & floodsets) { return listJson(floodsets); }
Json toJson(std::vector<SetView> const & sets) { return listJson(sets); }
Json toJson(std::vector<ChipView> const & chips) { return listJson(chips); }
Json toJson(std::vector<VrfFastdropView> const & vrfs) { return listJson(vrfs); }
Json toJson(std::vector<FailureView> const & failures) { return listJson(failures); }
Json toJson(std::vector<TransactionView> const & views) { return listJson(views); }
Json toJson(std::vector<GroupView> const & groups) { return listJson(groups); }

Json toJson(StatusView const & status) {
  return {{"hwRouting", status.hwRouting},
          {"routingEnabled", status.routingEnabled},
          {"resourceFull", status.resourceFull},
          {"routes", listJson(status.routes)}};
}

Json toJson(VerifyView const & view) {
  Json differences = Json::array();
  for (auto const & one : view.differences) {
    Json json = keyJson(one.key);
    json["where"] = one.where;
    json["what"] = one.what;
    differences.push_back(std::move(json));
  }
  return {{"verified", view.routes}, {"differences", std::move(differences)}};
}

}  // namespace Brindle::Sim
