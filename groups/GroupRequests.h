// The reactors on what clients request, in the three levels in which they publish it: a directory
// for each client, in it tables of requests, in them the requests.
#pragma once

#include "platform/Dir.h"
#include "platform/Reactor.h"
#include "state/McastGroup.h"

namespace Brindle {

class McastGroupProgrammerSm;

class ZetRequest final
    : public Zet::KeyedReactor<Multicast::Group::GroupKey, Multicast::Group::Request const,
                               McastGroupProgrammerSm> {
 public:
  using KeyedReactor::KeyedReactor;
  void onRequestId() override { handleRequestId(); }
  void immediatePass() override { onInit(); }
  void onInit();
  void handleRequestId();
  void onDelete();
};

class ZetClient final
    : public Zet::KeyedReactor<Zet::Name, Multicast::Group::Config const, McastGroupProgrammerSm> {
 public:
  ZetClient(McastGroupProgrammerSm * sm, Zet::Name const & name);
  auto const & request() const { return request_; }
  void requestDelAll();
  void onRequest(Multicast::Group::GroupKey const & key) override;
  void immediatePass() override;

 private:
  Zet::ReactorMap<Multicast::Group::GroupKey, ZetRequest> request_;
};

// Entities of other types in the directory are passed by.
class ZetClientDir final
    : public Zet::KeyedReactor<Zet::Name, Zet::Dir const, McastGroupProgrammerSm> {
 public:
  ZetClientDir(McastGroupProgrammerSm * sm, Zet::Name const & name);
  auto const & client() const { return client_; }
  void clientDelAll();
  void onEntityPtr(Zet::Name const & name) override;
  void immediatePass() override;

 private:
  void clientDel(Zet::Name name);

  Zet::ReactorMap<Zet::Name, ZetClient> client_;
};

}  // namespace Brindle
