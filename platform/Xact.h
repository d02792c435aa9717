// Operations of hardware that take their time.
#pragma once
#include <string>

#include "platform/Entity.h"
#include "platform/HashTable.h"
#include "platform/Value.h"

namespace Keel {

using Zet::operator<<;

// How an operation ended.
enum class XactResult : U8 { outstanding, success, failure };
constexpr auto xactResultNames =
    Zet::enumNames<XactResult::failure>("outstanding", "success", "failure");
constexpr auto & zetNames(XactResult) { return xactResultNames; }

// One operation. Who carries it out sets the result and then raises statusVersion by one; who
// waits reads the result when statusVersion changes. It may have ended before the caller gets it.
class Xact : public Zet::Entity, public Zet::HashLink {
 public:
  class NotifieeConst : public Zet::NotifieeOf<Xact, Zet::Entity> {
   public:
    virtual void onStatusVersion() {}
  };
  // Named "<kind>-<id>"; `kind` must last, as a literal does.
  explicit Xact(U32 id, char const * kind = "xact") : id_(id), kind_(kind) {}

  // Interned only for who asks: the ids never end.
  Zet::Name name() const override { return Zet::Name(kind_ + ('-' + std::to_string(id_))); }
  U32 const & fwkKey() const { return id_; }
  U32 id() const { return id_; }
  XactResult result() const { return result_; }
  void resultIs(XactResult v) { assign(result_, v); }
  U32 statusVersion() const { return statusVersion_; }
  void statusVersionIs(U32 v) { assign(statusVersion_, v, &NotifieeConst::onStatusVersion); }

 private:
  U32 const id_;
  char const * const kind_;
  XactResult result_ = XactResult::outstanding;
  U32 statusVersion_ = 0;
};

}  // namespace Keel
