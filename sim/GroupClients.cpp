#include "sim/GroupClients.h"

#include <set>

#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

Zet::Name directoryOf(U32 client) { return Zet::Name("client" + std::to_string(client)); }

// A client that asks for others ends the process of the service, which trusts it.
void requireAlike(std::vector<PortVlan> const & members) {
  for (auto const & member : members) {
    PortVlan const & first = members.front();
    bool const alike = member.isOutLif() == first.isOutLif() &&
                       (member.isOutLif() || member.vlanId() == first.vlanId());
    if (!alike) throw CommandError("expected ports of one VLAN, or logical interfaces only");
  }
}

Zet::Name nameOf(Multicast::Group::GroupKey const & group) {
  return Zet::Name("group" + std::to_string(group.group));
}

std::string textOf(Multicast::Group::GroupKey const & group) {
  return "group " + std::to_string(group.group) + " of client " + std::to_string(group.client);
}

}  // namespace

GroupClients::GroupClients(Zet::Ptr<Zet::SimClock const> const & clock) : clock_(clock) {
  zetStatus_.attach(status_);
}

void GroupClients::requestIs(GroupKey const & group, Wish const & wish) {
  requireAlike(wish.members);
  auto & config = config_[group];
  bool const isNew = !config;
  if (isNew) config = Zet::make<Config>();
  auto const request = config->requestIs(group);
  request->portVlanDelAll();
  for (auto const & member : wish.members) request->portVlanIs(member, true);
  request->toCpuIs(wish.toCpu);
  request->featureTypeIs(wish.featureType);
  request->featureValueIs(wish.featureValue);
  times_[group] = {clock_->shown(), std::nullopt};
  request->requestIdIs(++lastRequestId_);
  if (isNew) directoryIs(group.client)->entityIs(nameOf(group), config);
}

Zet::Ptr<Zet::Dir> GroupClients::directoryIs(U32 client) {
  // Only this function puts anything there.
  if (auto const standing = configDir_->entityPtr(directoryOf(client))) {
    return static_cast<Zet::Dir *>(standing.get());
  }
  auto const directory = Zet::make<Zet::Dir>();
  configDir_->entityIs(directoryOf(client), directory);
  return directory;
}

void GroupClients::requestDel(GroupKey const & group) {
  if (!config_.erase(group)) {
    throw CommandError("expected " + textOf(group) + ", which is not asked for");
  }
  times_.erase(group);
  directoryIs(group.client)->entityDel(nameOf(group));
}

void GroupClients::clientDel(U32 client) {
  if (!configDir_->entityPtr(directoryOf(client))) {
    throw CommandError("expected a client that asks, found " + std::to_string(client));
  }
  auto const isHis = [=](auto const & one) { return one.first.client == client; };
  std::erase_if(config_, isHis);
  std::erase_if(times_, isHis);
  configDir_->entityDel(directoryOf(client));
}

std::vector<GroupClients::GroupKey> GroupClients::groups() const {
  std::set<GroupKey> all;
  for (auto const & one : times_) all.insert(one.first);
  auto const & told = status_->response();
  for (auto i = told.begin(); i; i.advance()) all.insert(i.key());
  return {all.begin(), all.end()};
}

GroupClients::Request const * GroupClients::request(GroupKey const & group) const {
  auto const config = config_.find(group);
  return config == config_.end() ? nullptr : config->second->request(group);
}

GroupClients::Times GroupClients::times(GroupKey const & group) const {
  auto const found = times_.find(group);
  return found == times_.end() ? Times() : found->second;
}

void GroupClients::handleResponse(GroupKey const & groupOfMember) {
  GroupKey const group = groupOfMember;
  zetResponse_.follow(group, status_->response(group));
}

void GroupClients::handleResponseId(GroupKey const & group) {
  auto const found = times_.find(group);
  auto const * const told = status_->response(group);
  auto const * const asked = request(group);
  bool const isAnswer = told && asked && told->requestId() == asked->requestId();
  if (isAnswer && found != times_.end()) found->second.answered = clock_->shown();
}

}  // namespace Brindle::Sim
