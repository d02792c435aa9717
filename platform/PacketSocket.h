// Raw sockets for frames of one Ethernet protocol (packet(7)).
#pragma once
#include "platform/Export.h"
#include "platform/Types.h"

namespace Zet {

// A socket that receives frames of the protocol, which is in network byte order, on all
// interfaces; the kernel holds back at most about `receiveBuffer` bytes and drops the rest. Throws
// ErrnoException "creating socket", for instance where the right to open one is missing.
BRINDLE_API int openPacketSocket(int protocol, int receiveBuffer);
BRINDLE_API void closeSocket(int fd);
// As read(2): the bytes read, or -1 with the reason in errno.
BRINDLE_API std::int64_t readSocket(int fd, char * to, std::size_t size);

}  // namespace Zet
