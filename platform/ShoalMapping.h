// Maps a file that another process may cut short at any moment.
//
// Touching a page beyond the end of a mapped file raises SIGBUS, which ends a process. No check
// made beforehand closes that gap: the file can shrink between the check and the next load. Reads
// through pread() would, at ten times the price of a load; sealed memory (memfd_create(2)) would,
// but dies with its writer, while a table must outlive it. So one handler of SIGBUS serves the
// whole process: a fault inside one of our mappings puts private zero pages in the place of the
// rest of it, notes the loss, and lets the load go on. A reader then finds zeros and lost(), and
// the good case costs nothing. Any other SIGBUS goes to the handler that stood before.
//
// A host that replaces the process's handler of SIGBUS later gives this protection up.
#pragma once

#include <atomic>

#include "platform/Types.h"

namespace ZetShoal {

class ShoalMapping {
 public:
  enum class Access { read, write };

  ShoalMapping() = default;
  // Maps the first `size` bytes of the file; data() is null if the system refuses (see errno).
  ShoalMapping(int fd, std::size_t size, Access access);
  ShoalMapping(ShoalMapping && other) noexcept;
  ShoalMapping & operator=(ShoalMapping && other) noexcept;
  ~ShoalMapping();

  std::byte * data() const { return data_; }
  std::size_t size() const { return size_; }
  // Whether a part of the mapping has been replaced by zeros. To be asked after the loads whose
  // result is to be believed; it never turns back.
  bool lost() const { return lost_ && lost_->load(std::memory_order_acquire); }

 private:
  std::byte * data_ = nullptr;
  std::size_t size_ = 0;
  struct Guard * guard_ = nullptr;
  std::atomic<bool> const * lost_ = nullptr;  // the guard's
};

}  // namespace ZetShoal
