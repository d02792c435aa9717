#include "sim/GroupViews.h"

#include <algorithm>

#include "sim/Host.h"

namespace Brindle::Sim {

namespace {

using Key = Routing::Multicast::Fib::IpGenRouteKey;

OutputsView localOutputs(Chip const & chip, Chip::Entry const & entry) {
  OutputsView out;
  if (entry.oifSet) out = outputsOf(entry.oifSet->portVlanSet());
  std::erase_if(out, [&](auto const & one) { return !chip.hasPort(Nettle::IntfId(one.port)); });
  return out;
}

std::vector<GroupView::Standing> standing(Host const & host, Key const & key) {
  std::vector<GroupView::Standing> out;
  for (Chip const * chip : host.chips()) {
    for (auto const & entry : host.hardware().entries(*chip)) {
      if (entry.key.sg != key) continue;
      out.push_back({std::string(chip->name().view()), entry.multicastId,
                     localOutputs(*chip, entry), entry.active});
    }
  }
  return out;
}

OutputsView outputsOf(GroupClients::Request const & request) {
  PortVlanSet members;
  for (PortVlan const & member : request.portVlan().items()) members.portVlanIs(member, true);
  return Sim::outputsOf(members);
}

GroupView view(Host const & host, GroupClients::GroupKey const & group) {
  auto const & clients = host.groups();
  GroupView view{group.client, group.group, {}, {}, {}, {}};
  auto const times = clients.times(group);
  if (auto const * request = clients.request(group)) {
    view.request = {request->requestId(), outputsOf(*request), request->toCpu(),
                    U32{request->featureType()} << 16 | request->featureValue(), times.asked};
  }
  if (auto const * response = clients.response(group)) {
    view.answer = {response->success(),
                   response->multicastId(),
                   response->requestId(),
                   response->responseId(),
                   {}};
    if (times.answered) view.answer->after = *times.answered - times.asked;
  }
  Key const key = Routing::Multicast::Fib::makeRouteKeyMcastGroup(group);
  view.route = groupRouteView(host, key);
  view.chips = standing(host, key);
  return view;
}

}  // namespace

std::vector<GroupView> groupViews(Host const & host) {
  std::vector<GroupView> out;
  for (auto const & group : host.groups().groups()) out.push_back(view(host, group));
  return out;
}

}  // namespace Brindle::Sim
