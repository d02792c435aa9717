// Messages of the kernel's multicast routing, without the kernel.
#pragma once
#include <deque>
#include <string>

#include "boundary/MrtNotifySocketPam.h"
#include "platform/IpGenAddr.h"

namespace Tests {

// Hands out what was queued. It needs no socket, and remembers whether it was switched on.
class QueuePam final : public Routing::Multicast::Notify::MrtNotifySocketPam {
 public:
  using MrtNotifySocketPam::MrtNotifySocketPam;
  static Zet::Ptr<MrtNotifySocketPam> make(Zet::Name name) { return Zet::make<QueuePam>(name); }

  void enabledIs(bool v) override { on = v; }
  Zet::Ptr<Nettle::Pkt> rxPkt() override {
    if (queue.empty()) return nullptr;
    auto pkt = Nettle::globalPktManager().newPkt();
    pkt->sizeIs(queue.front().copy(pkt->room().data(), maxRxPktData()));
    queue.pop_front();
    return pkt;
  }
  void deliver() { readableCountInc(); }
  void deliver(std::string const & message) {
    queue.push_back(message);
    deliver();
  }

  bool on = false;
  std::deque<std::string> queue;
};

// A no-cache message.
inline std::string noCache(U32 vif, U32 source, U32 group) {
  std::string message(28, '\0');
  auto word = [&](std::size_t at, U32 v) {
    for (std::size_t i = 0; i < 4; ++i) message[at + i] = static_cast<char>(v >> 8 * (3 - i));
  };
  message[0] = 0x45;
  message[8] = 1;
  message[10] = static_cast<char>(vif);
  message[11] = static_cast<char>(vif >> 8);
  word(12, source);
  word(16, group);
  return message;
}
inline std::string noCache(U32 vif, char const * source, char const * group) {
  return noCache(vif, Nettle::IpGenAddr(source).v4(), Nettle::IpGenAddr(group).v4());
}

}  // namespace Tests
