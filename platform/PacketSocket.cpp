#include "platform/PacketSocket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "platform/Assert.h"
#include "platform/Exception.h"

namespace Zet {

int openPacketSocket(int protocol, int receiveBuffer) {
  int const fd = ::socket(AF_PACKET, SOCK_RAW, protocol);
  if (fd < 0) throwErrnoException("creating socket", errno);
  int const err = ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
  ZET_ASSERT(err == 0, "err == 0");
  return fd;
}

void closeSocket(int fd) { ::close(fd); }

std::int64_t readSocket(int fd, char * to, std::size_t size) { return ::read(fd, to, size); }

}  // namespace Zet
