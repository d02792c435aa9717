#include "platform/MulticastRoutingSocket.h"

#include <fcntl.h>
#include <linux/mroute.h>
#include <sched.h>
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

OpenFile openHere() {
  OpenFile fd(socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_IGMP));
  if (!fd) throwErrnoException("creating multicast routing socket", errno);
  int const version = 1;
  if (setsockopt(fd.fd(), IPPROTO_IP, MRT_INIT, &version, sizeof version) != 0) {
    throwErrnoException("taking over the multicast routing table", errno);
  }
  return fd;
}

}  // namespace

OpenFile openMulticastRoutingSocket(Nettle::NamespaceName const & netNs) {
  if (netNs == Nettle::NamespaceName::defaultNamespace()) return openHere();
  InNamespace const there(netNs);
  return openHere();
}

}  // namespace Zet
