#include "boundary/MrtNotifySocketPam.h"

#include <algorithm>
#include <cerrno>

#include "platform/Exception.h"
#include "platform/Log.h"
#include "platform/MulticastRoutingSocket.h"
#include "platform/PacketSocket.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Routing::Multicast::Notify {

namespace {

Zet::TraceHandle traceHandle("MrtNotifySocketPam", false);

Zet::LogHandle MCAST_BOUNDARY_SOCKET_FAILED(
    "MCAST_BOUNDARY_SOCKET_FAILED", Zet::LogSeverity::error,
    "Multicast boundaries drop nothing in network namespace %s: %s.",
    "Traffic that crosses a multicast boundary is learned from the kernel, but its multicast "
    "routing socket could not be opened. Each network namespace has one owner of it.",
    "End the other process that owns multicast routing in this namespace, or give this one the "
    "right to administer its network (CAP_NET_ADMIN, CAP_NET_RAW), then disable and enable "
    "multicast routing in its VRF.",
    0.0, 1.0, 0);

}  // namespace

void MrtNotifySocketPam::enabledIs(bool v) {
  if (v == enabled()) return;
  if (v) {
    doOpen();
  } else {
    doClose();
  }
}

void MrtNotifySocketPam::doOpen() {
  SKEIN("MrtNotifySocketPam::doOpen ", netNs_.view());
  try {
    socket_ = Zet::openMulticastRoutingSocket(netNs_);
    zetFileDescriptor_.attach(fileDescriptor_);
    fileDescriptor_->nonBlockingIs(true);
    fileDescriptor_->descriptorIs(socket_.fd());
  } catch (Zet::ErrnoException const & e) {
    ZET_TRACE(0, "no messages from namespace " << netNs_ << ": " << e.what());
    doClose();
    MCAST_BOUNDARY_SOCKET_FAILED.log({netNs_.view(), e.what()});
  }
}

void MrtNotifySocketPam::doClose() {
  fileDescriptor_->descriptorIs(-1);
  socket_ = ZetShoal::OpenFile();
}

Zet::Ptr<Nettle::Pkt> MrtNotifySocketPam::rxPkt() {
  if (!enabled()) return nullptr;
  auto pkt = Nettle::globalPktManager().newPkt();
  auto const room = pkt->room();
  auto const n = Zet::readSocket(socket_.fd(), room.data(),
                                 std::min<std::size_t>(room.size(), maxRxPktData()));
  if (n < 0 && errno != EAGAIN) ZET_TRACE(1, "read failed errno " << errno);
  if (n <= 0) return nullptr;
  pkt->sizeIs(static_cast<std::size_t>(n));
  return pkt;
}

}  // namespace Routing::Multicast::Notify
