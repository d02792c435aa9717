// Packet access: what reads packets one by one from a socket of the kernel, and the buffers that
// they come in.
#pragma once

#include <span>
#include <vector>

#include "platform/Reactor.h"

namespace Nettle {

// One packet.
class Pkt final : public Zet::RefCounted {
 public:
  explicit Pkt(U32 capacity) : buffer_(capacity) {}

  // What has been read, from the current header on.
  std::span<char const> data() const { return {buffer_.data(), size_}; }
  std::span<char> room() { return buffer_; }
  // REQUIRES: not beyond the room.
  void sizeIs(std::size_t size) { size_ = size; }

 private:
  std::vector<char> buffer_;
  std::size_t size_ = 0;
};

// Where packets come from. A packet that nobody holds any more is used again, so that a reader that
// looks at one after the other allocates nothing.
class PktManager {
 public:
  U32 bufferSize() const { return bufferSize_; }
  // Of the packets to come.
  void bufferSizeIs(U32 bytes);
  Zet::Ptr<Pkt> newPkt();

 private:
  U32 bufferSize_ = 2048;
  Zet::Ptr<Pkt> last_;
};

// The one of this process, for its one thread.
BRINDLE_API PktManager & globalPktManager();

class BRINDLE_API Pam : public Zet::Sm {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Pam, Zet::Entity> {
   public:
    virtual void onReadableCount() {}
  };
  Zet::Name name() const override { return name_; }

  // The next packet; null if there is none at present. It is good until the next call, unless the
  // caller holds it.
  virtual Zet::Ptr<Pkt> rxPkt() = 0;
  // Rises when there is something to read, in each turn of the loop until it has been read.
  U64 readableCount() const { return readableCount_; }
  // The longest packet that is read; the end of a longer one is cut off.
  U32 maxRxPktData() const { return maxRxPktData_; }
  void maxRxPktDataIs(U32 bytes) { assign(maxRxPktData_, bytes); }

 protected:
  explicit Pam(Zet::Name name) : name_(name) {}
  void readableCountInc() {
    ++readableCount_;
    notify(&NotifieeConst::onReadableCount);
  }

 private:
  Zet::Name const name_;
  U32 maxRxPktData_ = 2048;
  U64 readableCount_ = 0;
};

}  // namespace Nettle
