// The agents of the switch that ask for replication groups: each has a directory of requests, and
// hears what becomes of them. A new request comes with all that is in it, as state of another agent
// does: each has a table of its own.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "platform/Clock.h"
#include "platform/Dir.h"
#include "platform/Reactor.h"
#include "state/McastGroup.h"

namespace Brindle::Sim {

class GroupClients final : public Zet::Sm {
 public:
  using GroupKey = Multicast::Group::GroupKey;
  using Request = Multicast::Group::Request;
  using Response = Multicast::Group::Response;

  // What a client wants of a group.
  struct Wish {
    std::vector<PortVlan> members;
    bool toCpu = false;
    U16 featureType = 0;
    U16 featureValue = 0;
  };
  // When it asked last, and when it was answered last.
  struct Times {
    Zet::Seconds asked = 0;
    std::optional<Zet::Seconds> answered;
  };

  explicit GroupClients(Zet::Ptr<Zet::SimClock const> const & clock);

  // As the service of groups reads and writes them.
  Zet::Ptr<Zet::Dir> const & configDir() const { return configDir_; }
  Zet::Ptr<Multicast::Group::Status> const & status() const { return status_; }

  // Asks, be it anew. Throws CommandError for members that no client may ask for together.
  void requestIs(GroupKey const & group, Wish const & wish);
  // Throws CommandError if there is no such request.
  void requestDel(GroupKey const & group);
  // The client goes, with all its requests.
  void clientDel(U32 client);

  // What is asked for, or stands, by the numbers of the clients and theirs.
  std::vector<GroupKey> groups() const;
  // Null if there is none.
  Request const * request(GroupKey const & group) const;
  Response const * response(GroupKey const & group) const { return status_->response(group); }
  Times times(GroupKey const & group) const;

 private:
  using Config = Multicast::Group::Config;
  struct ZetStatus final : Zet::Reactor<Multicast::Group::Status const, GroupClients> {
    using Reactor::Reactor;
    void onResponse(GroupKey const & group) override { sm()->handleResponse(group); }
  };
  struct ZetResponse final : Zet::KeyedReactor<GroupKey, Response const, GroupClients> {
    using KeyedReactor::KeyedReactor;
    void onResponseId() override { sm()->handleResponseId(key()); }
  };

  Zet::Ptr<Zet::Dir> directoryIs(U32 client);
  void handleResponse(GroupKey const & group);
  void handleResponseId(GroupKey const & group);

  Zet::Ptr<Zet::SimClock const> const clock_;
  Zet::Ptr<Zet::Dir> const configDir_ = Zet::make<Zet::Dir>();
  Zet::Ptr<Multicast::Group::Status> const status_ = Zet::make<Multicast::Group::Status>();
  std::map<GroupKey, Zet::Ptr<Config>> config_;
  std::map<GroupKey, Times> times_;
  U32 lastRequestId_ = 0;
  Zet::ReactorPtr<ZetStatus> zetStatus_{this};
  Zet::ReactorMap<GroupKey, ZetResponse> zetResponse_{this};
};

}  // namespace Brindle::Sim
