// Sub-interfaces and their parents.
#pragma once

#include "platform/IntfId.h"
#include "platform/RbTreeMap.h"
#include "platform/Reactor.h"

namespace Interface {

// The configured sub-interfaces, each with the interface that it is a part of.
class SubIntfConfigDir : public Zet::Entity {
 public:
  class NotifieeConst : public Zet::NotifieeOf<SubIntfConfigDir, Zet::Entity> {
   public:
    virtual void onParentIntf(Nettle::IntfId const &) {}
  };

  auto const & parentIntf() const { return parentIntf_; }
  Nettle::IntfId parentIntf(Nettle::IntfId k) const { return lookup(parentIntf_, k); }
  void parentIntfIs(Nettle::IntfId k, Nettle::IntfId v) {
    put<&NotifieeConst::onParentIntf>(parentIntf_, k, v);
  }
  void parentIntfDel(Nettle::IntfId k) { erase<&NotifieeConst::onParentIntf>(parentIntf_, k); }

 private:
  Zet::RbTreeMap<Nettle::IntfId, Nettle::IntfId> parentIntf_;
};

}  // namespace Interface

namespace Fjord {

// The sub-interfaces of each parent.
class ParentIntfToSubIntfDir : public Zet::Entity {
 public:
  using SubIntfs = Zet::OrderedSet<Nettle::IntfId>;

  // Null if the interface has none.
  SubIntfs const * subIntf(Nettle::IntfId parentIntf) const { return subIntf_.find(parentIntf); }
  void subIntfIs(Nettle::IntfId parentIntf, Nettle::IntfId intf) {
    subIntf_.at(parentIntf).insert(intf);
  }
  void subIntfDel(Nettle::IntfId parentIntf, Nettle::IntfId intf) {
    SubIntfs * intfs = subIntf_.find(parentIntf);
    if (!intfs) return;
    intfs->del(intf);
    if (intfs->empty()) subIntf_.del(parentIntf);
  }

 private:
  Zet::RbTreeMap<Nettle::IntfId, SubIntfs> subIntf_;
};

// Keeps the directory by parent as the configuration by sub-interface says.
class SubIntfMappingSm : public Zet::Sm {
 public:
  SubIntfMappingSm(Zet::Ptr<Interface::SubIntfConfigDir const> const & config,
                   Zet::Ptr<ParentIntfToSubIntfDir> const & dir)
      : dir_(dir) {
    zetSubIntfConfigDir_.attach(config);
  }

 private:
  struct ZetSubIntfConfigDir : Zet::Reactor<Interface::SubIntfConfigDir const, SubIntfMappingSm> {
    using Reactor::Reactor;
    void onParentIntf(Nettle::IntfId const & intf) override { sm()->handleParentIntf(intf); }
    void immediatePass() override {
      Zet::replay(target() ? &target()->parentIntf() : nullptr, sm()->parentIntf_,
                  [this](Nettle::IntfId intf) { sm()->handleParentIntf(intf); });
    }
  };

  void handleParentIntf(Nettle::IntfId intf) {
    auto const * config = zetSubIntfConfigDir_.target();
    Nettle::IntfId const now = config ? config->parentIntf(intf) : Nettle::IntfId();
    if (Nettle::IntfId const * before = parentIntf_.find(intf)) dir_->subIntfDel(*before, intf);
    parentIntf_.del(intf);
    if (!now) return;
    parentIntf_.at(intf) = now;
    dir_->subIntfIs(now, intf);
  }

  Zet::Ptr<ParentIntfToSubIntfDir> const dir_;
  Zet::RbTreeMap<Nettle::IntfId, Nettle::IntfId> parentIntf_;  // as last seen
  Zet::ReactorPtr<ZetSubIntfConfigDir> zetSubIntfConfigDir_{this};
};

}  // namespace Fjord
