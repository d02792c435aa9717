#include "platform/Mount.h"

#include "platform/Budget.h"
#include "platform/Exception.h"
#include "platform/Trace.h"

namespace ZetShoal {

namespace {

Zet::TraceHandle traceHandle("Mount", false);

// Of one turn of the loop. The clock is looked at after each slice.
constexpr U32 kChanges = 256;
constexpr U32 kSlice = 32;
constexpr Zet::Seconds kQuantum = 0.01;

constinit MountType * firstType = nullptr;

}  // namespace

Zet::LogHandle SHOAL_TABLE_REFUSED(
    "SHOAL_TABLE_REFUSED", Zet::LogSeverity::error, "A shared-memory table is not read: %s",
    "The files of the table are damaged, or were written by another version of the software, or "
    "its name is not that of a table. What the table held is taken away.",
    "Restart the agent that writes the table. It is read again as soon as it is made anew.", 0, 1,
    0);

// --- Types

MountType::MountType(char const * name, Factory made)
    : name_(name),
      factory_(made),
      next_(firstType) {
  firstType = this;
}

MountType::~MountType() {
  MountType ** at = &firstType;
  while (*at != this) at = &(*at)->next_;
  *at = next_;
}

MountType const * MountType::find(std::string_view name) {
  MountType const * t = firstType;
  while (t && name != t->name_) t = t->next_;
  return t;
}

// --- The mount

// Outlives the mount where somebody still holds a table.
class Mount::Watch final : public ShoalWatch {
 public:
  explicit Watch(Mount * m) : mount(m) {}
  void handleRefusal() override {
    if (mount) mount->doKick();
  }
  Mount * mount;
};

Mount::Mount(Zet::Ptr<Zet::Clock const> const & clock)
    : watch_(std::make_shared<Watch>(this)),
      fileDescriptor_(Zet::make<Zet::FileDescriptor>("Mount")) {
  zetClock_.attach(clock);
  fileDescriptor_->descriptorIs(watch_->fd());
  zetFileDescriptor_.attach(fileDescriptor_);
}

void Mount::handleDel() {
  watch_->mount = nullptr;
  fileDescriptor_->descriptorIs(-1);
}

// The number of tables if the path is not mounted.
U32 Mount::indexOf(std::string_view path) const {
  U32 i = 0;
  while (i < table_.size() && table_[i]->path_.view() != path) ++i;
  return i;
}

void Mount::doMount(std::string_view path, std::string_view type, MountInfo const & info) {
  if (indexOf(path) < table_.size()) return;
  MountType const * found = MountType::find(type);
  if (!found) {
    std::string const text = "no shared-memory table has the type " + std::string(type);
    Zet::throwRangeException(text.c_str());
  }
  Zet::Ptr<MountedTable> table = found->factory()(watch_, info.root, shoalTableName(path));
  table->path_ = Zet::Name(path);
  table_.push_back(std::move(table));
  ZET_TRACE(8, "mounted " << path << " as " << type);
  doKick();
}

void Mount::doUnmount(std::string_view path) {
  U32 const i = indexOf(path);
  if (i == table_.size()) return;
  ZET_TRACE(8, "unmounting " << path);
  table_.remove(i);
}

Zet::Ptr<Zet::Entity> Mount::getEntity(std::string_view path) const {
  U32 const i = indexOf(path);
  return i < table_.size() ? table_[i]->entity() : nullptr;
}

std::string Mount::refusal(std::string_view path) const {
  U32 const i = indexOf(path);
  return i < table_.size() ? table_[i]->refusal() : "";
}

// --- Turns

void Mount::doKick() {
  if (zetClock_->timeMin() == Zet::Clock::never && zetClock_->target()) {
    zetClock_->timeMinIs(zetClock_->target()->shown());
  }
}

void Mount::handleReadable() {
  watch_->collect();
  doKick();
}

void Mount::handleClock() {
  Zet::Ptr<Mount> const self(this);
  Keel::Budget const budget(kQuantum);
  for (U32 left = kChanges; left; left -= kSlice) {
    Zet::Ptr<MountedTable> const table = nextDue();
    if (!table) return;
    table->turn(kSlice);
    doTellRefusal(*table);
    if (budget.over()) break;
  }
  doKick();
}

Zet::Ptr<MountedTable> Mount::nextDue() {
  for (U32 n = table_.size(); n; --n) {
    served_ = (served_ + 1) % table_.size();
    if (table_[served_]->due()) return table_[served_];
  }
  return {};
}

void Mount::doTellRefusal(MountedTable & table) {
  if (table.refusal() == table.toldRefusal_) return;
  table.toldRefusal_ = table.refusal();
  if (table.toldRefusal_.empty()) {
    ZET_TRACE(3, table.path_ << " is read again");
  } else {
    SHOAL_TABLE_REFUSED.log({table.toldRefusal_});
  }
}

}  // namespace ZetShoal
