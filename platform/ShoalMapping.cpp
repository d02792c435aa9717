#include "platform/ShoalMapping.h"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <utility>

namespace ZetShoal {

// What the handler knows of one mapping. Guards form a list that only grows, so that the handler
// can walk it at any instant; one whose mapping has gone (begin 0) is used again.
struct Guard {
  std::atomic<bool> taken{true};
  std::atomic<std::uintptr_t> begin{0};
  std::atomic<std::uintptr_t> end{0};
  std::atomic<int> protection{0};
  std::atomic<bool> lost{false};
  Guard * next = nullptr;
};

namespace {

std::atomic<Guard *> guards{nullptr};
std::uintptr_t pageSize;
struct sigaction previous;

// Puts zero pages from the page of `address` on to the end of the mapping.
bool replaceRest(Guard & guard, std::uintptr_t address) {
  std::uintptr_t const page = address & ~(pageSize - 1);
  guard.lost.store(true);
  // The raw call: a wrapper, such as a sanitizer's, may do what a handler must not.
  long const result = ::syscall(SYS_mmap, page, guard.end.load() - page, guard.protection.load(),
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0L);
  return result != -1;
}

void passOn(int signal, siginfo_t * info, void * context) {
  if (previous.sa_flags & SA_SIGINFO) return previous.sa_sigaction(signal, info, context);
  if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN)
    return previous.sa_handler(signal);
  // The faulting instruction runs again and ends the process as it would have without us.
  struct sigaction const standard = {};
  ::sigaction(signal, &standard, nullptr);
  if (info->si_code <= 0) ::raise(signal);
}

void handleBusError(int signal, siginfo_t * info, void * context) {
  int const savedErrno = errno;
  auto const address = reinterpret_cast<std::uintptr_t>(info->si_addr);
  bool replaced = false;
  for (Guard * g = info->si_code > 0 ? guards.load() : nullptr; g && !replaced; g = g->next)
    replaced = address >= g->begin.load() && address < g->end.load() && replaceRest(*g, address);
  errno = savedErrno;
  if (!replaced) passOn(signal, info, context);
}

bool installHandler() {
  pageSize = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  struct sigaction action = {};
  action.sa_sigaction = handleBusError;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  return ::sigaction(SIGBUS, &action, &previous) == 0;
}

Guard * takeGuard() {
  [[maybe_unused]] static bool const installed = installHandler();
  for (Guard * g = guards.load(); g; g = g->next) {
    bool free = false;
    if (g->taken.compare_exchange_strong(free, true)) return g;
  }
  auto * const guard = new Guard;
  guard->next = guards.load();
  while (!guards.compare_exchange_weak(guard->next, guard)) {}
  return guard;
}

}  // namespace

ShoalMapping::ShoalMapping(int fd, std::size_t size, Access access) {
  int const protection = access == Access::write ? PROT_READ | PROT_WRITE : PROT_READ;
  void * const data = ::mmap(nullptr, size, protection, MAP_SHARED, fd, 0);
  if (data == MAP_FAILED) return;
  data_ = static_cast<std::byte *>(data);
  size_ = size;
  guard_ = takeGuard();
  guard_->lost.store(false);
  lost_ = &guard_->lost;
  guard_->protection.store(protection);
  auto const begin = reinterpret_cast<std::uintptr_t>(data);
  guard_->end.store((begin + size + pageSize - 1) & ~(pageSize - 1));
  guard_->begin.store(begin);
}

ShoalMapping::ShoalMapping(ShoalMapping && other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      guard_(std::exchange(other.guard_, nullptr)),
      lost_(std::exchange(other.lost_, nullptr)) {}

ShoalMapping & ShoalMapping::operator=(ShoalMapping && other) noexcept {
  std::swap(data_, other.data_);
  std::swap(size_, other.size_);
  std::swap(guard_, other.guard_);
  std::swap(lost_, other.lost_);
  return *this;
}

ShoalMapping::~ShoalMapping() {
  if (!data_) return;
  guard_->begin.store(0);  // first: the addresses may be given to another mapping at once
  guard_->end.store(0);
  ::munmap(data_, size_);
  guard_->taken.store(false);
}

}  // namespace ZetShoal
