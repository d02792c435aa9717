#include "platform/ShoalWatch.h"

#include <limits.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/ShoalReader.h"

namespace ZetShoal {

namespace {

constexpr U32 selfMask = IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_MASK_ADD;
constexpr U32 tableMask = IN_MODIFY | IN_MOVED_TO | IN_CREATE | IN_DELETE | IN_ATTRIB | selfMask;
constexpr U32 ancestorMask = IN_MOVED_TO | IN_CREATE | selfMask;

std::string parentOf(std::string const & path) {
  std::size_t const slash = path.find_last_of('/');
  if (slash == path.npos) return ".";
  return path.substr(0, std::max<std::size_t>(slash, 1));
}

}  // namespace

ShoalWatch::ShoalWatch() : inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (!inotify_) throw ShoalError(withErrno("cannot watch shared-memory tables"));
}

void ShoalWatch::collect() {
  // Bounded: who rings without a pause finds the descriptor readable in the next turn, too.
  for (unsigned reads = 0; reads < 16; ++reads) {
    alignas(inotify_event) char buffer[16384];
    ssize_t const size = ::read(inotify_.fd(), buffer, sizeof buffer);
    if (size <= 0) return;
    for (char const * at = buffer; at < buffer + size;) {
      auto const & event = *reinterpret_cast<inotify_event const *>(at);
      handleEvent(event.wd, event.mask);
      at += sizeof event + event.len;
    }
    // The kernel gives all that fits: where another one would have, there is none.
    if (static_cast<std::size_t>(size) + sizeof(inotify_event) + NAME_MAX + 1 <= sizeof buffer)
      return;
  }
}

void ShoalWatch::handleEvent(int watch, U32 mask) {
  // The bell: the maps themselves tell what is new.
  if (mask == IN_MODIFY) return;
  for (Entry & entry : entries_) {
    if (entry.watch != watch && !(mask & IN_Q_OVERFLOW)) continue;
    entry.dir->filesMoved_ = true;
    if (mask & IN_IGNORED) entry.watch = -1;
  }
}

std::string ShoalWatch::add(ShoalReaderDir & dir, std::string const & path) {
  int watch = -1;
  // Again if the next directory on the way was made before its parent was watched.
  for (unsigned tries = 0; tries < 8; ++tries) {
    std::string at = path, below;
    while ((watch = ::inotify_add_watch(inotify_.fd(), at.c_str(),
                                        below.empty() ? tableMask : ancestorMask)) < 0) {
      if (errno != ENOENT && errno != ENOTDIR) return withErrno("cannot watch " + at);
      below = at;
      at = parentOf(at);
    }
    if (below.empty() || ::access(below.c_str(), F_OK) != 0) break;
    release(watch);
  }
  remove(dir, watch);
  entries_.push_back({watch, &dir});
  return {};
}

void ShoalWatch::remove(ShoalReaderDir & dir, int kept) {
  auto const at = std::find_if(entries_.begin(), entries_.end(),
                               [&](Entry const & entry) { return entry.dir == &dir; });
  if (at == entries_.end()) return;
  int const watch = at->watch;
  entries_.erase(at);
  if (watch != kept) release(watch);
}

void ShoalWatch::release(int watch) {
  bool const used = std::any_of(entries_.begin(), entries_.end(),
                                [&](Entry const & entry) { return entry.watch == watch; });
  if (!used && watch >= 0) ::inotify_rm_watch(inotify_.fd(), watch);
}

}  // namespace ZetShoal
