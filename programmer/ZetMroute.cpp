#include "programmer/ZetMroute.h"

#include "platform/Assert.h"
#include "platform/Skein.h"
#include "platform/Trace.h"
#include "programmer/MrouteSm.h"
#include "programmer/MrouteUpdate.h"
#include "programmer/RpaReadiness.h"

namespace Brindle {

namespace {

Zet::TraceHandle traceHandle("ZetMroute", false);

}  // namespace

void ZetMroute::handleChange() {
  if (!target() || mroute_->version() == 0) return;
  ZET_TRACE(8, "ZetMroute::handleChange " << key());
  doUpdateFabric();
}

void ZetMroute::doUpdateFabric() {
  if (!target() || mroute_->version() == 0) return;
  if (!isRpaReady(*mroute_)) return;
  ZET_ASSERT(mroute_->oifSet(), "mroute->oifSet()");
  if (isPrefixRoute()) {
    ZET_TRACE(9, key() << ", Ignoring prefix route");
    return;
  }
  SKEIN("ZetMroute::doUpdateFabric", key());
  Update(*this).run();
}

// The routes of connected prefixes are programmed elsewhere.
bool ZetMroute::isPrefixRoute() const {
  namespace Fib = Routing::Multicast::Fib;
  Fib::RouteKeyType const kind = key().kind();
  if (kind != Fib::mroute_ && kind != Fib::unknown_) return false;
  return !key().source().isHost() && !key().source().isDefault();
}

void ZetMroute::reasonIs(U32 v) {
  if (reason_ == v) return;
  reason_ = v;
  handleReason();
}

void ZetMroute::handleReason() {
  if (reason_) {
    sm()->failedMrouteIs({key(), reason_, this});
  } else {
    sm()->failedMrouteDel(key());
  }
}

// The chips' own references would keep sets alive.
void ZetMroute::releaseChips() const {
  for (ZetChip * chip : sm()->chips()) chip->chip().releasedIs(true);
}

void ZetMroute::doUpdateStatus() {
  if (auto status = sm()->statusWriter().routeStatus(key())) doUpdateStatus(*status);
}

void ZetMroute::doUpdateStatus(RouteStatus & status) {
  if (!chipInfo_.hasVlanInfos() && status.fastdropLastPollTime().empty()) return;
  sm()->statusWriter().doUpdateFastdrops(status, chipInfo_.fastdropVlans());
}

void ZetMroute::handleDel() {
  SKEIN("ZetMroute::handleDel", key());
  chipInfo_.doDeleteAll();
  RouteStatusWriter const & writer = sm()->statusWriter();
  Zet::Ptr<RouteStatus> const status = writer.routeStatus(key());
  writer.routeStatusDel(key());
  sm()->failedMrouteDel(key());
  bool const gaveRoom = status && status->hwFlags() == 0;
  if (gaveRoom && !sm()->failedMroute().empty()) sm()->doKickReview();
}

}  // namespace Brindle
