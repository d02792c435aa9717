// Replication groups that other agents of the switch ask for, and what they are told of them.
#pragma once

#include "platform/HashMap.h"
#include "platform/KeyedEntity.h"
#include "state/GroupKey.h"

namespace Multicast::Group {

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
