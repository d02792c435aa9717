// Replication groups that other agents of the switch ask for, and what they are told of them.
#pragma once

#include "platform/HashMap.h"
#include "platform/KeyedEntity.h"
#include "platform/RbTreeMap.h"
#include "state/GroupKey.h"
#include "state/PortVlan.h"

namespace Multicast::Group {

// What a client wants a packet to be replicated to: ports, all in one VLAN, or logical interfaces
// of tunnels. A new requestId says that all the rest has been written.
class Request : public Zet::KeyedEntity<GroupKey> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Request, Zet::Entity> {
   public:
    virtual void onRequestId() {}
  };
  using KeyedEntity::KeyedEntity;

  U32 requestId() const { return requestId_; }
  void requestIdIs(U32 v) { assign(requestId_, v, &NotifieeConst::onRequestId); }
  auto const & portVlan() const { return portVlan_; }
  void portVlanIs(Brindle::PortVlan const & k, bool v) {
    v ? portVlan_.insert(k) : portVlan_.del(k);
  }
  void portVlanDelAll() { portVlan_.clear(); }
  // The CPU is to get it, too.
  bool toCpu() const { return toCpu_; }
  void toCpuIs(bool v) { toCpu_ = v; }
  // A word for the platform, in two halves.
  U16 featureType() const { return featureType_; }
  void featureTypeIs(U16 v) { featureType_ = v; }
  U16 featureValue() const { return featureValue_; }
  void featureValueIs(U16 v) { featureValue_ = v; }

 private:
  U32 requestId_ = 0;
  Zet::OrderedSet<Brindle::PortVlan> portVlan_;
  bool toCpu_ = false;
  U16 featureType_ = 0;
  U16 featureValue_ = 0;
};

// The requests of one client, in its directory.
class Config : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Config, Zet::Entity> {
   public:
    virtual void onRequest(GroupKey const &) {}
  };

  auto const & request() const { return request_; }
  Request * request(GroupKey const & k) const { return request_.find(k); }
  Zet::Ptr<Request> requestIs(GroupKey const & k) {
    return create<&NotifieeConst::onRequest>(request_, k);
  }
  void requestDel(GroupKey const & k) { erase<&NotifieeConst::onRequest>(request_, k); }

 private:
  Zet::HashMap<GroupKey, Request> request_;
};

// What the client of a group is told; a new responseId says that it is told anew.
class Response : public Zet::KeyedEntity<GroupKey> {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Response, Zet::Entity> {
   public:
    virtual void onResponseId() {}
  };
  using KeyedEntity::KeyedEntity;

  // The group stands in hardware.
  bool success() const { return success_; }
  void successIs(bool v) { success_ = v; }
  // Its id there, the same on all chips; 0 if it does not stand.
  U32 multicastId() const { return multicastId_; }
  void multicastIdIs(U32 v) { multicastId_ = v; }
  // The request that this answers.
  U32 requestId() const { return requestId_; }
  void requestIdIs(U32 v) { requestId_ = v; }
  U32 responseId() const { return responseId_; }
  void responseIdIs(U32 v) { assign(responseId_, v, &NotifieeConst::onResponseId); }

 private:
  bool success_ = false;
  U32 multicastId_ = 0;
  U32 requestId_ = 0;
  U32 responseId_ = 0;
};

class Status : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Status, Zet::Entity> {
   public:
    virtual void onResponse(GroupKey const &) {}
  };

  auto const & response() const { return response_; }
  Response * response(GroupKey const & k) const { return response_.find(k); }
  Zet::Ptr<Response> responseIs(GroupKey const & k) {
    return create<&NotifieeConst::onResponse>(response_, k);
  }
  void responseDel(GroupKey const & k) { erase<&NotifieeConst::onResponse>(response_, k); }

 private:
  Zet::HashMap<GroupKey, Response> response_;
};

}  // namespace Multicast::Group
