// What the programmer for chips that answer later shows operators itself, on a file descriptor.
#include <sys/mman.h>
#include <unistd.h>

#include "programmer/ProgrammerCommandRequest.h"
#include "sim/Commands.h"
#include "sim/Host.h"

namespace Brindle::Sim {

namespace {

// A file without a name, which takes all that is written to it.
class Page {
 public:
  Page() : fd_(memfd_create("page", MFD_CLOEXEC)) {
    if (fd_ < 0) throw CommandError("no room for a page");
  }
  ~Page() { close(fd_); }
  Page(Page const &) = delete;
  Page & operator=(Page const &) = delete;

  U32 fd() const { return static_cast<U32>(fd_); }
  std::string text() const {
    std::string out;
    char bytes[4096];
    for (ssize_t n; (n = pread(fd_, bytes, sizeof bytes, static_cast<off_t>(out.size()))) > 0;) {
      out.append(bytes, static_cast<std::size_t>(n));
    }
    return out;
  }

 private:
  int const fd_;
};

// Calls print(request, descriptor) and prints what that wrote, byte for byte.
template <class Print> void show(Host & host, Print print) {
  if (!host.hardware().reviewConfig()) {
    throw CommandError("expected chips that answer later: say \"fabric async\" first");
  }
  Page const page;
  auto const request = Zet::make<ProgrammerCommandRequest>(host.hardware().asyncMrouteRootSm());
  print(*request, page.fd());
  host.out() << page.text();
}

StatusToPrint filterOf(Arguments const & arguments) {
  if (arguments.has("programmed")) return StatusToPrint::printProgrammed;
  if (arguments.has("not-programmed")) return StatusToPrint::printNotProgrammed;
  return arguments.has("summary") ? StatusToPrint::printSummary : StatusToPrint::printAllGroups;
}

Bridging::VlanIdOrNone vlanOf(Arguments const & arguments) {
  return Bridging::VlanIdOrNone(arguments.number("VLAN"));
}

void showFailedGroups(Host & host, Arguments const &) {
  show(host, [](auto const & request, U32 fd) { request.doPrintFailedGroups(fd); });
}

void showVlans(Host & host, Arguments const & arguments) {
  show(host, [&](auto const & request, U32 fd) {
    request.doPrintVlans(fd, vlanOf(arguments), filterOf(arguments));
  });
}

void showFloodsets(Host & host, Arguments const & arguments) {
  show(host, [&](auto const & request, U32 fd) {
    request.doPrintVlanMulticastFloodsets(fd, vlanOf(arguments), filterOf(arguments));
  });
}

void showEthGroups(Host & host, Arguments const & arguments) {
  auto const group = arguments.given("MAC") ? arguments.mac() : Nettle::EthAddr();
  show(host, [&](auto const & request, U32 fd) {
    request.doPrintEthGroups(fd, vlanOf(arguments), group, filterOf(arguments));
  });
}

constexpr Command<Host> rows[] = {
    {"show failed groups", "The failed routes of all kinds, as the programmer tells them.",
     showFailedGroups},
    {"show vlans [VLAN] [programmed|not-programmed|summary]",
     "Where VLANs are flooded to, in one line each.", showVlans},
    {"show floodsets [VLAN] [programmed|not-programmed|summary]",
     "The same of their unknown multicast.", showFloodsets},
    {"show eth-groups [VLAN] [group MAC] [programmed|not-programmed|summary]",
     "The same of Ethernet groups.", showEthGroups},
};

}  // namespace

Subject<Host> const programmerCommands = {"What the programmer shows", rows};

}  // namespace Brindle::Sim
