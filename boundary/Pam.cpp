#include "boundary/Pam.h"

namespace Nettle {

// Never destroyed, as the loop.
PktManager & globalPktManager() {
  static PktManager & manager = *new PktManager;
  return manager;
}

void PktManager::bufferSizeIs(U32 bytes) {
  if (bytes == bufferSize_) return;
  bufferSize_ = bytes;
  last_ = nullptr;
}

Zet::Ptr<Pkt> PktManager::newPkt() {
  if (!last_ || last_->references() > 1) last_ = Zet::make<Pkt>(bufferSize_);
  last_->sizeIs(0);
  return last_;
}

}  // namespace Nettle
