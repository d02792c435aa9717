// The kernel's reports of multicast packets that it has no route for, from the multicast routing
// socket of a network namespace.
#pragma once

#include "boundary/Pam.h"
#include "platform/FileDescriptor.h"
#include "platform/MulticastRoutingSocket.h"
#include "platform/NamespaceName.h"
#include "platform/ShoalFiles.h"

namespace Routing::Multicast::Notify {

// Opens the socket when it is enabled. Where that fails, since the namespace is not there, the
// table in it has another owner, or a right is missing, the operator is told, and there are no
// packets until it is enabled again.
class BRINDLE_API MrtNotifySocketPam : public Nettle::Pam {
 public:
  explicit MrtNotifySocketPam(Zet::Name name) : Pam(name) {}

  Nettle::NamespaceName const & netNs() const { return netNs_; }
  // Takes effect when the socket is opened next.
  void netNsIs(Nettle::NamespaceName const & v) { assign(netNs_, v); }

  // Whether it has its socket. To enable what has none tries once more.
  bool enabled() const { return static_cast<bool>(socket_); }
  virtual void enabledIs(bool v);

  // Has the kernel report what comes in by a network device of the namespace, as long as the socket
  // is open. Throws ErrnoException, also where there is no socket.
  void vifIs(U16 number, std::string const & device) {
    Zet::addMulticastVif(socket_.fd(), number, device);
  }

  Zet::Ptr<Nettle::Pkt> rxPkt() override;
  void handleDel() override { doClose(); }

 private:
  struct ZetFileDescriptor final : Zet::Reactor<Zet::FileDescriptor, MrtNotifySocketPam> {
    using Reactor::Reactor;
    void onReadableCount() override { sm()->readableCountInc(); }
  };

  void doOpen();
  void doClose();

  Nettle::NamespaceName netNs_;
  ZetShoal::OpenFile socket_;
  Zet::Ptr<Zet::FileDescriptor> const fileDescriptor_ =
      Zet::make<Zet::FileDescriptor>("MrouteMrtNotify");
  Zet::ReactorPtr<ZetFileDescriptor> zetFileDescriptor_{this};
};

// Makes the one of a namespace; another one than this has packets from elsewhere.
using NewPam = Zet::Ptr<MrtNotifySocketPam> (*)(Zet::Name);
inline Zet::Ptr<MrtNotifySocketPam> newMrtNotifySocketPam(Zet::Name name) {
  return Zet::make<MrtNotifySocketPam>(name);
}

}  // namespace Routing::Multicast::Notify
