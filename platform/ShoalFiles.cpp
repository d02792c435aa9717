#include "platform/ShoalFiles.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace ZetShoal {

namespace {

constexpr std::size_t maxName = 200;

void checkName(std::string_view name, char const * kind) {
  bool const bad = name.empty() || name.size() > maxName || name == "." || name == ".." ||
                   name.find('/') != name.npos || name.find('\0') != name.npos;
  if (bad) throw ShoalError(std::string("bad name of a ") + kind + ": '" + std::string(name) + "'");
}

std::string joined(std::string_view directory, std::string_view name) {
  std::string path(directory);
  path += '/';
  path += name;
  return path;
}

}  // namespace

std::string shoalRoot() {
  char const * const root = std::getenv("BRINDLE_SHOAL_ROOT");
  return root && *root ? root : "/dev/shm/brindle";
}

std::string shoalPath(std::string_view root, std::string_view name) {
  checkName(name, "shared-memory table");
  return joined(root, name);
}

std::string shoalTableName(std::string_view path) {
  std::string name(path);
  std::replace(name.begin(), name.end(), '/', ':');
  return name;
}

std::string shoalMapPath(std::string_view tablePath, std::string_view map) {
  checkName(map, "map");
  if (map == "lock" || map == "bell" || map.ends_with(".next"))
    throw ShoalError("bad name of a map: '" + std::string(map) + "' is a file of the table");
  return joined(tablePath, map);
}

std::string withErrno(std::string text) {
  text += ": ";
  text += std::strerror(errno);
  return text;
}

OpenFile::~OpenFile() {
  if (fd_ >= 0) ::close(fd_);
}

}  // namespace ZetShoal
