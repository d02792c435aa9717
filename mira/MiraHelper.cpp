#include "mira/MiraHelper.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

#include "mira/MiraSampHelper.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("MiraHelper", false);

// One record of vtepFloodsetPortOutLifSet; what is not of its form is left out.
void addVtep(std::string_view record, PortVlanSet & set) {
  size_t comma = record.find(',');
  if (comma == std::string_view::npos) return;
  U32 outLif = 0;
  auto [end, error] = std::from_chars(record.data(), record.data() + comma, outLif);
  if (error != std::errc() || end != record.data() + comma || comma + 1 == record.size()) {
    ZET_TRACE(0, "ignoring vtep record " << record);
    return;
  }
  set.portVlanIs({Nettle::IntfId(record.substr(comma + 1)), OutLif(outLif), 0}, true);
}

}  // namespace

U32 MiraHelper::doGetMiraFeatureFlag(L3::VrfName const &,
                                     Routing::Multicast::Fib::IpGenRouteKey const &,
                                     PortVlanSet const &, Iterator const *) {
  return 0;
}

U32 MiraHelper::doGetMcastGroupFeatureFlag(
    L3::VrfName const &, Zet::Ptr<Multicast::Group::Request const> const & request) {
  return U32{request->featureType()} << 16 | request->featureValue();
}

bool MiraHelper::resolveLagRequired(Zet::Ptr<Multicast::Group::Request const> const &) {
  return true;
}

PortVlanSet MiraHelper::doGetVtepFloodsetPortOutLifSet(Bridging::VlanId) const {
  PortVlanSet set;
  char const * text = simMode_ ? std::getenv("vtepFloodsetPortOutLifSet") : nullptr;
  std::string_view records = text ? text : "";
  for (size_t end; (end = records.find('\n')) != std::string_view::npos;) {
    addVtep(records.substr(0, end), set);
    records.remove_prefix(end + 1);
  }
  return set;
}

OutLif MiraHelper::doGetOutLifValue(Bridging::VlanId vid, Nettle::IntfId,
                                    Routing::Multicast::Fib::RouteKeyType) const {
  return OutLif(vid);
}

PortVlanSet MiraHelper::doGetEvpnTunnelFloodsetPortOutLifSet(Bridging::VlanId) const { return {}; }

void MiraHelper::handlePortVlanSetComputeDone(Bridging::VlanId) {}

Nettle::IntfId MiraHelper::chooseLagMember(Nettle::IntfId lag) { return lag; }

bool MiraHelper::passLag(PortVlanSet const &, PortVlanSet const &, L3::VrfName const &,
                         Routing::Multicast::Fib::IpGenRouteKey const &) {
  return false;
}

bool MiraHelper::isIntfLag(Nettle::IntfId intf) {
  return Nettle::PortChannelIntfId::isPortChannelIntfId(intf);
}

bool MiraHelper::isIntfHwLag(Nettle::IntfId) { return false; }

bool MiraHelper::simEnvironment(char const * name) const { return simMode_ && std::getenv(name); }

bool MiraHelper::useVxlanCoreSideFloodset() const {
  return simEnvironment("useVxlanCoreSideFloodset");
}

bool MiraHelper::useBidirFastdropRoute() const { return true; }

bool MiraHelper::floodToAllVteps() const { return simEnvironment("floodToAllVteps"); }

PortVlanSet MiraSampHelper::doGetEvpnTunnelFloodsetPortOutLifSet(Bridging::VlanId vid) const {
  ZET_TRACE(9, "doGetEvpnTunnelFloodsetPortOutLifSet: Vlan " << vid);
  PortVlanSet const * tunnels = evpnTunnelFloodsetPortOutLifSet_.find(vid);
  return tunnels ? *tunnels : PortVlanSet();
}

}  // namespace Brindle
