// The socket on which the kernel reports packets that failed the reverse-path check.
#include <algorithm>
#include <array>
#include <cerrno>

#include "mira/MiraRoot.h"
#include "mira/RpfMessage.h"
#include "platform/Budget.h"
#include "platform/Exception.h"
#include "platform/PacketSocket.h"
#include "platform/Skein.h"
#include "platform/Trace.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("RpfSocket", false);

// An Ethernet protocol of the kernel's own, in network byte order (packet(7)).
constexpr int rpfProtocol = 0x2c00;
// Bytes. A backlog of failures is worth nothing: the kernel shall drop it, not queue it.
constexpr int receiveBuffer = 200;
// Messages between two looks at the clock.
constexpr unsigned readStride = 50;

}  // namespace

void MiraRoot::doOpenSocket() {
  int const fd = Zet::openPacketSocket(rpfProtocol, receiveBuffer);
  socketIs(fd);
}

void MiraRoot::doCloseSocket() {
  if (fileDescriptor_) fileDescriptor_->descriptorIs(-1);
  if (socket_ >= 0) Zet::closeSocket(socket_);
  socket_ = -1;
}

void MiraRoot::socketIs(int fd) {
  if (socket_ == fd) return;
  socket_ = fd;
  handleSocket();
}

void MiraRoot::handleSocket() {
  SKEIN("MiraRoot::handleSocket ", socket_);
  if (fileDescriptor_) {
    fileDescriptor_->descriptorIs(-1);
  } else {
    fileDescriptor_ = Zet::make<Zet::FileDescriptor>("Fastdrop");
    zetFileDescriptor_.attach(fileDescriptor_);
  }
  fileDescriptor_->descriptorIs(socket_);
  fileDescriptor_->nonBlockingIs(true);
}

void MiraRoot::handleReadable() {
  SKEIN("MiraRoot::handleReadable");
  if (!initialized_) return;
  Keel::Budget const budget(fastdropLoopQuantum_);
  Keel::Paced<readStride> messages;
  std::array<char, RpfMessage::maxBytes> message;
  for (;;) {
    std::int64_t const n = Zet::readSocket(socket_, message.data(), message.size());
    if (n < 0 && errno != EAGAIN) {
      int const error = errno;
      ZET_TRACE(1, "read failed errno " << error);
      doCountReadable(messages.count());
      Zet::throwErrnoException("read", error);
    }
    if (n <= 0) break;
    auto const size = static_cast<std::size_t>(n);
    // What it lacks is not what the last one said.
    if (size < RpfMessage::minBytes) {
      std::fill(message.begin() + size, message.begin() + RpfMessage::minBytes, '\0');
    }
    if (!handleMessage(message.data(), static_cast<U32>(n))) continue;
    if (messages.inc() && budget.over()) break;
  }
  doCountReadable(messages.count());
}

void MiraRoot::doCountReadable(U64 messages) {
  ++handleReadableReviews_;
  handleReadableCount_ += messages;
}

// False if the message names no VLAN. REQUIRES: RpfMessage::minBytes.
bool MiraRoot::handleMessage(char const * message, U32 length) {
  U32 const vlan = RpfMessage(message).vlan();
  if (vlan == 0 || vlan > Bridging::VlanId::max) {
    ZET_TRACE(5, "Ignore RpfFailure with invalid vlan " << vlan);
    return false;
  }
  L3::VrfName const vrf = vrfOfVlan(Bridging::VlanId(vlan));
  ZET_TRACE(8, "Received RPF failure for Vlan " << vlan << " in vrf " << vrf);
  if (Zet::Ptr<Mira> const to = mira_.find(vrf)) to->handleRpfFailure(message, length);
  return true;
}

L3::VrfName MiraRoot::vrfOfVlan(Bridging::VlanId vlan) const {
  Nettle::IntfId const intf = in_.intfVlanIdTable->vlanIdToIntfId(vlan);
  auto const * status = in_.ipStatus->ipIntfStatus(intf);
  if (status && !status->vrf().empty()) return status->vrf();
  ZET_TRACE(5, "ERROR: Unable to find intfStatus for " << intf << " (Vlan " << vlan.value()
                                                       << ") fallback to default vrf");
  return L3::VrfName::defaultVrf();
}

}  // namespace Brindle
