#include "groups/GroupRequests.h"

#include "groups/McastGroupProgrammer.h"
#include "platform/Trace.h"

namespace Brindle {

using Multicast::Group::Config;
using Multicast::Group::GroupKey;

namespace {

Zet::TraceHandle traceHandle("GroupRequests", false);

}  // namespace

// --- A request

void ZetRequest::onInit() {
  if (!target()) return;
  ZET_TRACE(8, "Calling onInit() with " << key());
  sm()->handleRequest(*target());
}

void ZetRequest::handleRequestId() {
  if (target()) sm()->handleRequestId(*target());
}

void ZetRequest::onDelete() {
  ZET_TRACE(5, "Remove request " << key());
  sm()->handleRequestDel(key());
}

// --- A table of requests

ZetClient::ZetClient(McastGroupProgrammerSm * sm, Zet::Name const & name)
    : KeyedReactor(sm, name),
      request_(sm) {}

void ZetClient::onRequest(GroupKey const & keyOfMember) {
  GroupKey const key = keyOfMember;
  if (auto * const request = target() ? target()->request(key) : nullptr) {
    request_.attach(key, request);
  } else if (Zet::Ptr<ZetRequest> const gone{request_.find(key)}) {
    request_.del(key);
    gone->onDelete();
  }
}

void ZetClient::immediatePass() {
  Zet::replay(target() ? &target()->request() : nullptr, request_,
              [this](GroupKey const & key) { onRequest(key); });
}

void ZetClient::requestDelAll() {
  for (auto i = request_.begin(); i; i.advance()) {
    Zet::Ptr<ZetRequest> const gone(request_.find(i.key()));
    request_.del(gone->key());
    gone->onDelete();
  }
}

// --- A client's directory

ZetClientDir::ZetClientDir(McastGroupProgrammerSm * sm, Zet::Name const & name)
    : KeyedReactor(sm, name),
      client_(sm) {}

void ZetClientDir::onEntityPtr(Zet::Name const & nameOfMember) {
  Zet::Name const name = nameOfMember;
  Zet::Ptr<Zet::Entity> const entity = target() ? target()->entityPtr(name) : nullptr;
  if (auto * const config = dynamic_cast<Config const *>(entity.get())) {
    client_.attach(name, config);
  } else {
    clientDel(name);
  }
}

void ZetClientDir::immediatePass() {
  if (target()) {
    auto const & entities = target()->entityPtr();
    for (auto i = entities.begin(); i && target(); i.advance()) onEntityPtr(i.key());
  }
  for (auto i = client_.begin(); i; i.advance()) {
    if (!target() || !target()->entityPtr(i.key())) clientDel(i.key());
  }
}

void ZetClientDir::clientDel(Zet::Name name) {
  Zet::Ptr<ZetClient> const gone(client_.find(name));
  if (!gone) return;
  client_.del(name);
  gone->requestDelAll();
}

void ZetClientDir::clientDelAll() {
  for (auto i = client_.begin(); i; i.advance()) clientDel(i.key());
}

}  // namespace Brindle
