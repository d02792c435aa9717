#include "platform/FileDescriptor.h"

#include <errno.h>
#include <fcntl.h>

#include "platform/ActivityManager.h"
#include "platform/Exception.h"

namespace Zet {

void FileDescriptor::descriptorIs(int fd) {
  if (fd == descriptor_) return;
  if (descriptor_ >= 0) activityManager()->unwatch(registration_, descriptor_);
  descriptor_ = -1;
  if (fd < 0) return;
  registration_ = activityManager()->watch(this, fd);
  descriptor_ = fd;
  if (nonBlocking_) applyNonBlocking();
}

void FileDescriptor::nonBlockingIs(bool nonBlocking) {
  if (nonBlocking == nonBlocking_) return;
  nonBlocking_ = nonBlocking;
  if (descriptor_ >= 0) applyNonBlocking();
}

void FileDescriptor::applyNonBlocking() {
  int const flags = fcntl(descriptor_, F_GETFL);
  int const wanted = nonBlocking_ ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
  if (flags < 0 || (wanted != flags && fcntl(descriptor_, F_SETFL, wanted) < 0)) {
    throwErrnoException("fcntl", errno);
  }
}

}  // namespace Zet
