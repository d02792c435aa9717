// What operators are shown of the L2 routes and of the failed routes of the programmer for chips
// that answer later.
#pragma once

#include <sstream>

#include "programmer/AsyncMrouteProgrammer.h"

namespace Brindle {

// The rows that an operator wants to see.
enum class StatusToPrint : U8 {
  printAllGroups,
  printNotProgrammed,  // those in progress, too
  printProgrammed,
  printSummary,  // none, and no word of there being none
};

// Writes plain text straight to a file descriptor, a row at a time, and only reads the programmer.
// A command ends, and nothing else, when the descriptor takes no more. Without a programmer nothing
// is written.
//
// A VLAN or address of zero stands for all. Sets are shown by the short names of their interfaces,
// each once; a row whose route has failed has none.
class BRINDLE_API ProgrammerCommandRequest final : public Zet::Entity {
 public:
  explicit ProgrammerCommandRequest(Zet::Ptr<AsyncMrouteRootSm> const & mrouteRootSm)
      : mrouteRootSm_(mrouteRootSm) {}
  Zet::Ptr<AsyncMrouteRootSm> const & mrouteRootSm() const { return mrouteRootSm_; }

  // The failed routes of all VRFs, with the reasons.
  void doPrintFailedGroups(U32 fd) const;
  void doPrintVlans(U32 fd, Bridging::VlanIdOrNone vlan, StatusToPrint filter) const;
  void doPrintVlanMulticastFloodsets(U32 fd, Bridging::VlanIdOrNone vlan,
                                     StatusToPrint filter) const;
  void doPrintEthGroups(U32 fd, Bridging::VlanIdOrNone vlan, Nettle::EthAddr ethAddr,
                        StatusToPrint filter) const;
  // The groups of one VLAN. True if there is one, shown or not.
  bool doPrintVlanEthGroups(U32 fd, Zet::Ptr<VlanStatus const> const & vlan,
                            Nettle::EthAddr ethAddr, StatusToPrint filter) const;

 private:
  L2Status const * l2Status() const;
  template <class Row>
  void doPrintFloodsets(U32 fd, Bridging::VlanIdOrNone vlan, StatusToPrint filter,
                        char const * none, Row row) const;

  Zet::Ptr<AsyncMrouteRootSm> const mrouteRootSm_;
};

// Ends the row that `row` has begun with the interfaces of the set, which may be null, and writes
// it. False if the descriptor takes no more.
BRINDLE_API bool doPrintOifSet(U32 fd, Zet::Ptr<OifSet const> const & oifSet,
                               std::stringstream & row);

}  // namespace Brindle
