// A file descriptor in the activity loop.
#pragma once
#include "platform/Entity.h"

namespace Zet {

// Watches one descriptor and tells its reactors, in each turn of the loop, that it can be read:
// level-triggered, so a handler need not read all there is. It owns the registration, not the
// descriptor: whoever opened that closes it, after descriptorIs(-1).
class BRINDLE_API FileDescriptor : public Entity {
 public:
  class NotifieeConst : public NotifieeOf<FileDescriptor, Entity> {
   public:
    virtual void onReadableCount() {}
  };
  explicit FileDescriptor(Name name) : name_(name) {}

  Name name() const override { return name_; }
  // -1 for none. Throws ErrnoException for a descriptor that cannot be waited for, such as a
  // regular file's (see epoll_ctl(2)); it then holds none.
  int descriptor() const { return descriptor_; }
  void descriptorIs(int fd);
  // Whether reads return at once (fcntl(2), O_NONBLOCK); kept for later descriptors. Throws
  // ErrnoException.
  bool nonBlocking() const { return nonBlocking_; }
  void nonBlockingIs(bool);
  // How often the loop has found the descriptor readable, closed by its other end, or broken.
  U64 readableCount() const { return readableCount_; }

 private:
  friend class ActivityManager;
  ~FileDescriptor() override { descriptorIs(-1); }
  void readableCountInc() {
    ++readableCount_;
    notify(&NotifieeConst::onReadableCount);
  }
  void applyNonBlocking();

  Name const name_;
  int descriptor_ = -1;
  bool nonBlocking_ = false;
  U64 registration_ = 0;
  U64 readableCount_ = 0;
};

}  // namespace Zet
