#include "programmer/ProgrammerCommandRequest.h"

#include <iomanip>
#include <set>

#include "platform/FdText.h"
#include "platform/Trace.h"

namespace Brindle {

using Bridging::VlanIdOrNone;

namespace {

Zet::TraceHandle traceHandle("ProgrammerCommandRequest", false);

bool write(U32 fd, std::string_view text) { return Zet::writeText(static_cast<int>(fd), text); }

bool isShown(StatusToPrint filter, ProgrammingStatus status) {
  switch (filter) {
    case StatusToPrint::printAllGroups:
      return true;
    case StatusToPrint::printProgrammed:
      return status == ProgrammingStatus::programmed;
    case StatusToPrint::printNotProgrammed:
      return status == ProgrammingStatus::notProgrammed || status == ProgrammingStatus::inProgress;
    case StatusToPrint::printSummary:
      return false;
  }
  return false;
}

struct Printed {
  bool found;  // a group, shown or not
  bool open;   // the descriptor takes more
};

Printed printGroups(U32 fd, VlanStatus const & vlan, Nettle::EthAddr ethAddr,
                    StatusToPrint filter) {
  Printed printed{false, true};
  for (auto const & group : vlan.ethGroup().items()) {
    bool const isMeant = ethAddr == Nettle::EthAddr() || group.key == ethAddr;
    if (!isMeant) continue;
    printed.found = true;
    if (!isShown(filter, group.value->status())) continue;
    std::stringstream row;
    row << Zet::textOf(group.key) << ' ';
    printed.open = doPrintOifSet(fd, group.value->oifSet(), row);
    if (!printed.open) break;
  }
  return printed;
}

// Calls f with the VLAN, or with all, until it returns false.
template <class F> void eachVlan(L2Status const & status, VlanIdOrNone vlan, F f) {
  if (vlan) {
    if (VlanStatus * const one = status.vlanStatus(Bridging::VlanId(vlan))) f(*one);
    return;
  }
  for (VlanStatus & each : status.vlanStatus()) {
    if (!f(each)) return;
  }
}

}  // namespace

bool doPrintOifSet(U32 fd, Zet::Ptr<OifSet const> const & oifSet, std::stringstream & row) {
  std::set<Nettle::IntfId> intfs;
  if (oifSet) {
    if (oifSet->portVlanSet().toCpu()) intfs.insert(Nettle::IntfId("Cpu"));
    for (PortVlan const & member : oifSet->portVlanSet().portVlan()) intfs.insert(member.port);
  }
  char const * separator = "";
  for (Nettle::IntfId const intf : intfs) {
    row << std::exchange(separator, ",") << intf.shortName();
  }
  row << '\n';
  return write(fd, row.str());
}

L2Status const * ProgrammerCommandRequest::l2Status() const {
  if (!mrouteRootSm_) {
    ZET_TRACE(5, "No mrouteRootSm.");
    return nullptr;
  }
  AsyncMrouteSm const * const machine = mrouteRootSm_->asyncMrouteSm(L3::VrfName::defaultVrf());
  if (machine && machine->l2Status()) return machine->l2Status().get();
  ZET_TRACE(5, "No L2 Status.");
  return nullptr;
}

void ProgrammerCommandRequest::doPrintFailedGroups(U32 fd) const {
  if (!mrouteRootSm_) return;
  for (AsyncMrouteSm const & machine : mrouteRootSm_->asyncMrouteSm()) {
    for (auto const & failed : machine.failedMroute()) {
      std::stringstream row;
      row << std::setw(30) << failed.fwkKey().pretty() << ':' << std::setw(50)
          << failed.value.mroute->reason().pretty() << '\n';
      if (!write(fd, row.str())) return;
    }
  }
}

template <class Row>
void ProgrammerCommandRequest::doPrintFloodsets(U32 fd, VlanIdOrNone vlan, StatusToPrint filter,
                                                char const * none, Row row) const {
  L2Status const * const status = l2Status();
  if (!status) return;
  bool any = false;
  eachVlan(*status, vlan, [&](VlanStatus const & each) {
    auto const [state, oifSet] = row(each);
    if (!isShown(filter, state)) return true;
    any = true;
    std::stringstream text;
    text << "Vlan " << each.vlanId().value() << ": ";
    return doPrintOifSet(fd, oifSet, text);
  });
  if (!any && filter != StatusToPrint::printSummary) write(fd, none);
}

void ProgrammerCommandRequest::doPrintVlans(U32 fd, VlanIdOrNone vlan, StatusToPrint filter) const {
  doPrintFloodsets(fd, vlan, filter, "no vlan floodsets\n", [](VlanStatus const & each) {
    return std::pair(each.vlanFloodsetStatus(), each.vlanFloodsetOifSet());
  });
}

void ProgrammerCommandRequest::doPrintVlanMulticastFloodsets(U32 fd, VlanIdOrNone vlan,
                                                             StatusToPrint filter) const {
  doPrintFloodsets(fd, vlan, filter, "no default route\n", [](VlanStatus const & each) {
    return std::pair(each.defaultRouteStatus(), each.defaultRouteOifSet());
  });
}

void ProgrammerCommandRequest::doPrintEthGroups(U32 fd, VlanIdOrNone vlan, Nettle::EthAddr ethAddr,
                                                StatusToPrint filter) const {
  L2Status const * const status = l2Status();
  if (!status) return;
  bool any = false;
  eachVlan(*status, vlan, [&](VlanStatus const & each) {
    auto const [found, open] = printGroups(fd, each, ethAddr, filter);
    any |= found;
    return open;
  });
  if (!any && filter != StatusToPrint::printSummary) write(fd, "00:00:00:00:00:00 \n");
}

bool ProgrammerCommandRequest::doPrintVlanEthGroups(U32 fd, Zet::Ptr<VlanStatus const> const & vlan,
                                                    Nettle::EthAddr ethAddr,
                                                    StatusToPrint filter) const {
  return vlan && printGroups(fd, *vlan, ethAddr, filter).found;
}

}  // namespace Brindle
