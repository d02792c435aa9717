// Where shared-memory tables lie in the file system, how they may be named, and what is thrown
// where one cannot be made.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Export.h"
#include "platform/Types.h"

namespace ZetShoal {

// Thrown where a table cannot be made, taken over or written: a bad name, another writer, no room
// in the file system. Nothing that stands in shared memory makes a reader throw it.
class BRINDLE_API ShoalError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The directory that holds all tables of this machine: the environment's BRINDLE_SHOAL_ROOT, or
// "/dev/shm/brindle".
BRINDLE_API std::string shoalRoot();

// The directory of table `name` under `root`. A name has 1 to 200 bytes, none of them '/' or NUL,
// and is neither "." nor ".."; anything else throws ShoalError.
BRINDLE_API std::string shoalPath(std::string_view root, std::string_view name);

// The name of the table that is mounted under a path: its slashes stand as colons there.
BRINDLE_API std::string shoalTableName(std::string_view path);

// The file of one map within a table's directory. Beyond the rule for tables a map is not named
// like the table's own files: "lock", "bell", or anything that ends in ".next".
BRINDLE_API std::string shoalMapPath(std::string_view tablePath, std::string_view map);

// `text` with the present errno's description behind it.
std::string withErrno(std::string text);

// An open file descriptor, closed with its holder; -1 holds none.
class OpenFile {
 public:
  explicit OpenFile(int fd = -1) : fd_(fd) {}
  OpenFile(OpenFile && other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  OpenFile & operator=(OpenFile && other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  BRINDLE_API ~OpenFile();

  int fd() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

 private:
  int fd_;
};

}  // namespace ZetShoal
