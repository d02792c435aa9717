// The computed routes of one VRF: the resolver writes them, the programmers read them.
#pragma once

#include <array>

#include "model/BoundaryMroute.h"
#include "model/DirtyInfo.h"
#include "model/Mroute.h"
#include "platform/VrfName.h"

namespace Brindle {

// What others watch of a table while routes are computed. It lies below all else, see RouteVersion.
class BRINDLE_API RouteTable : public Zet::Entity {
 public:
  using Key = RouteBase::Key;
  class NotifieeConst : public Zet::NotifieeOf<RouteTable, Zet::Entity> {
   public:
    virtual void onMroute(Key const &) {}
    virtual void onBoundaryMroute(Key const &) {}
    virtual void onMrouteBatchVersion() {}
    virtual void onFastdropCount() {}
  };
};

class BRINDLE_API MrouteTable : public RouteTable, public Zet::HashLink {
 public:
  class NotifieeConst : public Zet::NotifieeOf<MrouteTable, RouteTable> {
   public:
    virtual void onAf() {}
    virtual void onDirtyInfo() {}
    virtual void onBoundaryDirtyInfo() {}
    virtual void onVlanFilter() {}
    virtual void onVlanFilterCounter(U8 const &) {}
    virtual void onReviews() {}
    virtual void onRecomputations() {}
    virtual void onNoChangeRecomputations() {}
    virtual void onBoundaryFastdropCount() {}
    virtual void onMroutesInitialized() {}
    virtual void onInitialized() {}
  };
  explicit MrouteTable(L3::VrfName vrf);
  ~MrouteTable() override;

  L3::VrfName vrfName() const { return vrf_; }
  L3::VrfName const & fwkKey() const { return vrf_; }
  Zet::Name name() const override { return vrf_.name(); }

  Nettle::AddressFamily af() const { return af_; }
  void afIs(Nettle::AddressFamily v) { assign(af_, v, &NotifieeConst::onAf); }

  auto const & mroute() const { return mroute_; }
  Mroute * mroute(Key const & k) const { return mroute_.find(k); }
  Zet::Ptr<Mroute> mrouteIs(Key const & k) { return create<&NotifieeConst::onMroute>(mroute_, k); }
  void mrouteDel(Key const &);
  void mrouteDelAll();
  void mrouteNotify(Key const & k) { notify<&NotifieeConst::onMroute>(k); }

  auto const & boundaryMroute() const { return boundaryMroute_; }
  BoundaryMroute * boundaryMroute(Key const & k) const { return boundaryMroute_.find(k); }
  Zet::Ptr<BoundaryMroute> boundaryMrouteIs(Key const & k) {
    return create<&NotifieeConst::onBoundaryMroute>(boundaryMroute_, k);
  }
  void boundaryMrouteDel(Key const &);
  void boundaryMrouteDelAll();
  void boundaryMrouteNotify(Key const & k) { notify<&NotifieeConst::onBoundaryMroute>(k); }

  // What has changed since the last pass of the review began, for either kind of route.
  Zet::Ptr<DirtyInfo> const & dirtyInfo() const { return dirtyInfo_; }
  void dirtyInfoIs(Zet::Ptr<DirtyInfo> const & v) {
    assign(dirtyInfo_, v, &NotifieeConst::onDirtyInfo);
  }
  Zet::Ptr<DirtyInfo> const & boundaryDirtyInfo() const { return boundaryDirtyInfo_; }
  void boundaryDirtyInfoIs(Zet::Ptr<DirtyInfo> const & v) {
    assign(boundaryDirtyInfo_, v, &NotifieeConst::onBoundaryDirtyInfo);
  }

  // The union of the routes' VLAN filters, and of how many routes each bit of it is.
  U32 vlanFilter() const { return vlanFilter_; }
  U32 vlanFilterCounter(U8 bit) const {
    return bit < vlanFilterCounter_.size() ? vlanFilterCounter_[bit] : 0;
  }
  // Takes a route's change of filter over: `changed` are the bits in which it differs from the one
  // before. A route that leaves passes (0, its filter).
  void doUpdateVrfVlanFilter(U32 filter, U32 changed);

  // Passes of the review, computations of a route, and those of them that changed nothing.
  U32 reviews() const { return reviews_; }
  void reviewsInc(U32 n) { assign(reviews_, reviews_ + n, &NotifieeConst::onReviews); }
  U32 recomputations() const { return recomputations_; }
  void recomputationsInc(U32 n) {
    assign(recomputations_, recomputations_ + n, &NotifieeConst::onRecomputations);
  }
  U32 noChangeRecomputations() const { return noChangeRecomputations_; }
  void noChangeRecomputationsInc(U32 n) {
    assign(noChangeRecomputations_, noChangeRecomputations_ + n,
           &NotifieeConst::onNoChangeRecomputations);
  }

  // Routes that are dirty, see RouteBase::dirty(), and of them those that are held, see
  // Mroute::held(); the routes keep both.
  U32 dirtyMroutes() const { return dirtyMroutes_; }
  void dirtyMroutesInc(int n) { dirtyMroutes_ += static_cast<U32>(n); }
  U32 heldMroutes() const { return heldMroutes_; }
  void heldMroutesInc(int n) { heldMroutes_ += static_cast<U32>(n); }

  // Drop entries of all routes, and the routes that have any, in the order of mroute(): few of
  // many. The routes keep both.
  U32 fastdropCount() const { return fastdropCount_; }
  void fastdropCountInc(int n) {
    assign(fastdropCount_, fastdropCount_ + static_cast<U32>(n), &NotifieeConst::onFastdropCount);
  }
  auto const & fastdropMroute() const { return fastdropMroute_; }
  void fastdropMrouteIs(Key const & k, bool v) {
    if (v) {
      fastdropMroute_.at(k) = true;
    } else {
      fastdropMroute_.del(k);
    }
  }
  U32 boundaryFastdropCount() const { return boundaryFastdropCount_; }
  void boundaryFastdropCountInc(int n) {
    assign(boundaryFastdropCount_, boundaryFastdropCount_ + static_cast<U32>(n),
           &NotifieeConst::onBoundaryFastdropCount);
  }

  // The routes have been reviewed once after a restart.
  bool mroutesInitialized() const { return mroutesInitialized_; }
  void mroutesInitializedIs(bool v) {
    assign(mroutesInitialized_, v, &NotifieeConst::onMroutesInitialized);
  }
  // Rises when a batch of routes is complete.
  U32 mrouteBatchVersion() const { return mrouteBatchVersion_; }
  void mrouteBatchVersionInc(U32 n) {
    assign(mrouteBatchVersion_, mrouteBatchVersion_ + n, &NotifieeConst::onMrouteBatchVersion);
  }
  bool initialized() const { return initialized_; }
  void initializedIs(bool v) { assign(initialized_, v, &NotifieeConst::onInitialized); }

 private:
  L3::VrfName const vrf_;
  Nettle::AddressFamily af_ = Nettle::ipv4();
  bool mroutesInitialized_ = false;
  bool initialized_ = false;
  Zet::HashMap<Key, Mroute> mroute_;
  Zet::HashMap<Key, BoundaryMroute> boundaryMroute_;
  Zet::Ptr<DirtyInfo> dirtyInfo_;
  Zet::Ptr<DirtyInfo> boundaryDirtyInfo_;
  std::array<U32, 32> vlanFilterCounter_{};
  U32 vlanFilter_ = 0;
  U32 dirtyMroutes_ = 0;
  U32 heldMroutes_ = 0;
  U32 reviews_ = 0;
  U32 recomputations_ = 0;
  U32 noChangeRecomputations_ = 0;
  U32 fastdropCount_ = 0;
  U32 boundaryFastdropCount_ = 0;
  U32 mrouteBatchVersion_ = 0;
  Zet::HashMap2018<Key, bool> fastdropMroute_;
};

}  // namespace Brindle
