// Mounts shared-memory tables into the object framework: each becomes an entity, whose reactors are
// called from the activity loop when the table's writer changes it.
//
//   auto mount = Zet::make<ZetShoal::Mount>();
//   mount->doMount("pim.default", "Shoal::Multicast::Fib::Status");
//   auto table = mount->getEntity("pim.default");   // cast to what the type stands for
#pragma once
#include <memory>
#include <string>

#include "platform/ActivityManager.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"
#include "platform/RbTreeMap.h"
#include "platform/Reactor.h"
#include "platform/ShoalWatch.h"

namespace ZetShoal {

// Tells the operator that a table is not read, and why (%s).
extern BRINDLE_API Zet::LogHandle SHOAL_TABLE_REFUSED;

// What a type of table must offer besides its constructor from the watch, a root directory and the
// table's name in it. `turn` hands over at most so many changes, if there are any: the callbacks
// come from there; what is left keeps it `due`. `refusal` says why the table is not read.
template <class T>
concept Mountable = std::is_base_of_v<Zet::Entity, T> &&
    std::is_constructible_v<T, std::shared_ptr<ShoalWatch>, std::string, std::string> &&
    requires(T & t, T const & c, U32 atMost) {
  { c.due() } -> std::same_as<bool>;
  t.turn(atMost);
  { c.refusal() } -> std::same_as<std::string const &>;
};

// A table as the mount drives it.
class BRINDLE_API MountedTable : public Zet::RefCounted {
 public:
  virtual Zet::Ptr<Zet::Entity> entity() const = 0;
  virtual bool due() const = 0;
  virtual void turn(U32 atMost) = 0;
  virtual std::string const & refusal() const = 0;

 private:
  friend class Mount;
  Zet::Name path_;
  std::string toldRefusal_;
};

// A type of table under its name. Types register themselves before main, by a global of
// MountTypeOf<T> in T's source.
class BRINDLE_API MountType {
 public:
  using Factory = Zet::Ptr<MountedTable> (*)(std::shared_ptr<ShoalWatch> const &,
                                             std::string const & root, std::string const & table);
  // `name` must last, as a literal does.
  MountType(char const * name, Factory);
  ~MountType();
  MountType(MountType const &) = delete;
  MountType & operator=(MountType const &) = delete;

  // Null if no type has this name.
  static MountType const * find(std::string_view name);
  Factory factory() const { return factory_; }

 private:
  char const * const name_;
  Factory const factory_;
  MountType * next_;
};

template <Mountable T> class MountTypeOf : public MountType {
 public:
  explicit MountTypeOf(char const * name)
      : MountType(name,
                  [](std::shared_ptr<ShoalWatch> const & watch, std::string const & root,
                     std::string const & table) -> Zet::Ptr<MountedTable> {
                    return Zet::make<Mounted>(watch, root, table);
                  }) {}

 private:
  struct Mounted final : MountedTable {
    Mounted(std::shared_ptr<ShoalWatch> const & watch, std::string const & root,
            std::string const & table)
        : table_(Zet::make<T>(watch, root, table)) {}
    Zet::Ptr<Zet::Entity> entity() const override { return table_; }
    bool due() const override { return table_->due(); }
    void turn(U32 atMost) override { table_->turn(atMost); }
    std::string const & refusal() const override { return table_->refusal(); }
    Zet::Ptr<T> const table_;
  };
};

// Where a table lies.
struct MountInfo {
  std::string root = shoalRoot();
};

// The mounted tables of an agent; it needs one of these. In one turn of the loop at most 256
// changes are handed over, or as many as 10 ms are enough for, from all tables by turns; the rest
// follows in the next turns, so that reviews and sockets go on meanwhile.
//
// A table need not stand yet to be mounted; it is empty then. One that is refused is logged, with
// the reason, and looked at again when its file is made anew; the others go on.
class BRINDLE_API Mount : public Zet::Sm {
 public:
  // Throws ShoalError if the system does not let it watch files.
  explicit Mount(Zet::Ptr<Zet::Clock const> const & clock = Zet::activityManager()->clock());

  // Does nothing if the path is mounted. See shoalTableName().
  // Throws RangeException for an unknown type, ShoalError for a path that no table can have.
  void doMount(std::string_view path, std::string_view type, MountInfo const & info = {});
  // Who still holds the entity can read it, but is told no more.
  void doUnmount(std::string_view path);
  // Null if the path is not mounted.
  Zet::Ptr<Zet::Entity> getEntity(std::string_view path) const;
  // Why the table is refused; empty if it is not.
  std::string refusal(std::string_view path) const;

  void handleDel() override;

 private:
  class Watch;
  struct ZetClock : Zet::Reactor<Zet::Clock const, Mount> {
    using Reactor::Reactor;
    void onTime() override {
      timeMinIs(Zet::Clock::never);
      sm()->handleClock();
    }
  };
  struct ZetFileDescriptor : Zet::Reactor<Zet::FileDescriptor, Mount> {
    using Reactor::Reactor;
    void onReadableCount() override { sm()->handleReadable(); }
  };

  void handleClock();
  void handleReadable();
  void doKick();
  U32 indexOf(std::string_view path) const;
  Zet::Ptr<MountedTable> nextDue();
  void doTellRefusal(MountedTable &);

  std::shared_ptr<Watch> const watch_;
  Zet::Ptr<Zet::FileDescriptor> const fileDescriptor_;
  Zet::CompactVector<Zet::Ptr<MountedTable>> table_;
  U32 served_ = 0;  // who had the last turn

  Zet::ReactorPtr<ZetClock> zetClock_{this};
  Zet::ReactorPtr<ZetFileDescriptor> zetFileDescriptor_{this};
};

}  // namespace ZetShoal
