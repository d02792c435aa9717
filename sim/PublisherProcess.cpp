#include "sim/PublisherProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

constexpr unsigned maxUnanswered = 256;  // replies of so many fit into a pipe

struct Pipe {
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
      throw CommandError(std::string("pipe: ") + std::strerror(errno));
    read = ZetShoal::OpenFile(ends[0]);
    write = ZetShoal::OpenFile(ends[1]);
  }
  ZetShoal::OpenFile read;
  ZetShoal::OpenFile write;
};

// Beside this program, where the build and an installation put both.
std::string publisherPath() {
  std::error_code error;
  auto const self = std::filesystem::read_symlink("/proc/self/exe", error);
  return (self.parent_path() / "brindle-publish").string();
}

}  // namespace

PublisherProcess::PublisherProcess(std::string const & table) : table_(table) {
  start();
  readReply();
}

void PublisherProcess::start() {
  Pipe commands;
  Pipe replies;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, commands.read.fd(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, replies.write.fd(), STDOUT_FILENO);
  auto const path = publisherPath();
  std::string words[] = {path, "--table", table_, "-"};
  char * arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(),
                        nullptr};
  // A group of its own: what interrupts this process is not meant for it.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  int const error = posix_spawn(&pid_, path.c_str(), &actions, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw CommandError(path + ": " + std::strerror(error));
  commands_ = std::move(commands.write);
  replies_ = std::move(replies.read);
  out_ = 1;  // it says that it is ready
}

PublisherProcess::~PublisherProcess() {
  commands_ = ZetShoal::OpenFile();
  if (pid_ <= 0) return;
  // The end of its input ends it. One that hangs is told more plainly.
  for (int tries = 0; tries < 200; ++tries) {
    if (waitpid(pid_, nullptr, WNOHANG) != 0) return;
    poll(nullptr, 0, 10);
  }
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

std::string PublisherProcess::run(std::string const & command) {
  collect();
  send(command);
  return readReply();
}

void PublisherProcess::send(std::string const & command) {
  if (out_ == maxUnanswered) collect();
  std::string const line = command + "\n";
  for (std::size_t at = 0; at < line.size();) {
    auto const written = write(commands_.fd(), line.data() + at, line.size() - at);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw CommandError("the publisher of " + table_ + " has ended");
    at += static_cast<std::size_t>(written);
  }
  ++out_;
}

void PublisherProcess::collect() {
  while (out_ > 0) readReply();
}

bool PublisherProcess::readLine(std::string & line) {
  for (auto end = unread_.find('\n');; end = unread_.find('\n')) {
    if (end != unread_.npos) {
      line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      return true;
    }
    char bytes[4096];
    auto const count = read(replies_.fd(), bytes, sizeof bytes);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    unread_.append(bytes, static_cast<std::size_t>(count));
  }
}

// Lines of output, and then "ok" or "error: ...".
std::string PublisherProcess::readReply() {
  std::string text;
  std::string line;
  while (readLine(line)) {
    if (line != "ok" && !line.starts_with("error: ")) {
      text += line + "\n";
      continue;
    }
    --out_;
    if (line != "ok") throw CommandError(line.substr(7));
    return text;
  }
  out_ = 0;
  throw CommandError("the publisher of " + table_ + " has ended" +
                     (text.empty() ? "" : ": " + text));
}

std::string lineOf(std::vector<std::string> const & words) {
  std::string line;
  for (auto const & word : words) {
    bool const plain = !word.empty() && word.find_first_of(" \t#\"") == word.npos;
    if (!line.empty()) line += ' ';
    line += plain ? word : "\"" + word + "\"";
  }
  return line;
}

}  // namespace Brindle::Sim
