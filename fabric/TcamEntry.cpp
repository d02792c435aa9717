#include "fabric/TcamEntry.h"

#include "model/LogMessages.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("TcamEntry", false);

}  // namespace

bool TcamEntry::doProgram(Fabric const & fabric, SwitchChip::RouteKey const & key,
                          Bridging::VlanIdOrNone vlan, std::string_view intf) {
  for (auto i = fabric.chip().begin(); i; i.advance()) {
    if (!doProgram(i->value, key, vlan, intf)) return false;
  }
  return true;
}

bool TcamEntry::doProgram(Zet::Ptr<SwitchChip> const & chip, SwitchChip::RouteKey const & key,
                          Bridging::VlanIdOrNone vlan, std::string_view intf) {
  chip->doAllocateRoute(key, vlan, true, nullptr, false, false, 0, L3::VrfName::defaultVrf());
  RouteHandle const handle = chip->routeHandle();
  if (handle.isNull()) {
    ZET_TRACE(5, "Failed to allocate tcam entry in chip " << chip->index());
    SKEIN("TcamEntry::doProgram", ": Failed to allocate tcam entry for key: ", key, " ", intf);
    PREFIX_MROUTE_HW_RESOURCE_FULL.log();
    return false;
  }
  chip->doSetBridgeAction(handle, false);
  chip->doActivateRoute(handle);
  routeHandleIs(chip, handle);
  return true;
}

}  // namespace Brindle
