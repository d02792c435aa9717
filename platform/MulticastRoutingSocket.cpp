#include "platform/MulticastRoutingSocket.h"

#include <fcntl.h>
#include <linux/mroute.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>

#include "platform/Assert.h"
#include "platform/Exception.h"

namespace Zet {

namespace {

using ZetShoal::OpenFile;

OpenFile openNamespace(std::string const & path) {
  OpenFile file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) throwErrnoException(("opening " + path).c_str(), errno);
  return file;
}

// A name is one of a file in that directory, and of none elsewhere.
std::string pathOf(Nettle::NamespaceName const & netNs) {
  auto const name = netNs.view();
  std::string const path = "/run/netns/" + std::string(name);
  bool const elsewhere = name.empty() || name == "." || name == ".." ||
                         name.find('/') != name.npos || name.find('\0') != name.npos;
  if (elsewhere) throwErrnoException(("opening " + path).c_str(), EINVAL);
  return path;
}

// For the length of a scope the calling thread is in a network namespace.
class InNamespace {
 public:
  explicit InNamespace(Nettle::NamespaceName const & netNs)
      : home_(openNamespace("/proc/thread-self/ns/net")) {
    std::string const path = pathOf(netNs);
    if (setns(openNamespace(path).fd(), CLONE_NEWNET) != 0) {
      throwErrnoException(("entering " + path).c_str(), errno);
    }
  }
  ~InNamespace() {
    // Whatever this thread does elsewhere would be done to another network.
    int const back = setns(home_.fd(), CLONE_NEWNET);
    ZET_ASSERT(back == 0, "setns(home) == 0");
  }
  InNamespace(InNamespace const &) = delete;
  InNamespace & operator=(InNamespace const &) = delete;

 private:
  OpenFile const home_;
};

template <class T> void setOption(int socket, int option, T const & value, char const * what) {
  if (setsockopt(socket, IPPROTO_IP, option, &value, sizeof value) == 0) return;
  throwErrnoException(what, errno);
}

OpenFile openHere() {
  OpenFile fd(socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_IGMP));
  if (!fd) throwErrnoException("creating multicast routing socket", errno);
  setOption(fd.fd(), MRT_INIT, 1, "taking over the multicast routing table");
  return fd;
}

// In the namespace of the socket, which need not be the caller's.
int indexOf(int socket, std::string const & device) {
  ifreq request{};
  if (device.size() >= sizeof request.ifr_name) {
    throwErrnoException(("finding network device " + device).c_str(), ENODEV);
  }
  device.copy(request.ifr_name, device.size());
  if (ioctl(socket, SIOCGIFINDEX, &request) != 0) {
    throwErrnoException(("finding network device " + device).c_str(), errno);
  }
  return request.ifr_ifindex;
}

}  // namespace

OpenFile openMulticastRoutingSocket(Nettle::NamespaceName const & netNs) {
  if (netNs == Nettle::NamespaceName::defaultNamespace()) return openHere();
  InNamespace const there(netNs);
  return openHere();
}

void addMulticastVif(int socket, U16 number, std::string const & device) {
  vifctl vif{};
  vif.vifc_vifi = number;
  vif.vifc_flags = VIFF_USE_IFINDEX;
  vif.vifc_threshold = 1;
  vif.vifc_lcl_ifindex = indexOf(socket, device);
  setOption(socket, MRT_ADD_VIF, vif, ("adding " + device + " as a vif").c_str());
}

}  // namespace Zet
