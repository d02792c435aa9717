#include "tests/simulation/Runner.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "tests/simulation/Lab.h"

namespace Simulation {

namespace {

constexpr char privateTables[] = "tables private";
// Seconds of the processor, under sanitizers too; a busy machine may take ten times as long.
constexpr unsigned patience = 120;

// What the two processes share: each a file without a name.
struct Shared {
  Shared() : file(std::tmpfile()) {
    if (!file) throw std::runtime_error("no room for a temporary file");
  }
  ~Shared() { std::fclose(file); }
  Shared(Shared const &) = delete;
  Shared & operator=(Shared const &) = delete;
  std::string text() const {
    std::string out;
    std::rewind(file);
    char bytes[4096];
    for (std::size_t n; (n = std::fread(bytes, 1, sizeof bytes, file)) > 0;) out.append(bytes, n);
    return out;
  }
  std::FILE * const file;
};

// Route tables of a run's own.
struct Tables {
  Tables() {
    path = "/dev/shm/brindle-XXXXXX";
    if (!mkdtemp(path.data())) throw std::runtime_error("no room in /dev/shm");
  }
  ~Tables() {
    std::error_code error;
    std::filesystem::remove_all(path, error);
  }
  Tables(Tables const &) = delete;
  Tables & operator=(Tables const &) = delete;
  std::string path;
};

[[noreturn]] void runHere(Script const & script, std::FILE * report) {
  rlimit const most{patience, patience + 1};
  setrlimit(RLIMIT_CPU, &most);
  alarm(10 * patience);
  bool bad = false;
  {
    Lab lab;
    for (U32 i = 0; i < script.size() && !bad; ++i) {
      std::fprintf(report, "line %u\n", i);
      std::fflush(report);
      if (!lab.run(script[i])) std::fprintf(report, "refused %u\n", i);
      bad = !lab.wrong().empty();
    }
    std::fprintf(report, "trace %llu %u %llu\n", static_cast<unsigned long long>(lab.trace()),
                 lab.comparisons(), static_cast<unsigned long long>(lab.routesCompared()));
    std::fflush(report);
    if (bad) std::fputs(lab.wrong().c_str(), stderr);
  }
  std::fflush(stderr);
  _exit(bad ? 1 : 0);
}

void read(std::string const & report, Outcome & out) {
  char const * at = report.c_str();
  for (int used = 0; *at; at += used, used = 0) {
    unsigned line = 0;
    unsigned long long trace = 0, routes = 0;
    if (std::sscanf(at, "refused %u\n%n", &line, &used) == 1) {
      out.refused.push_back(line);
    } else if (std::sscanf(at, "trace %llu %u %llu\n%n", &trace, &line, &routes, &used) == 3) {
      out.trace = trace;
      out.comparisons = line;
      out.routesCompared = routes;
    } else if (std::sscanf(at, "line %u\n%n", &line, &used) == 1) {
      out.line = line;
    }
    if (!used) break;
  }
}

}  // namespace

Outcome run(Script const & script) {
  Shared const report, said;
  Tables const tables;
  setenv("BRINDLE_SHOAL_ROOT", tables.path.c_str(), 1);
  std::fflush(nullptr);
  pid_t const child = fork();
  if (child < 0) throw std::runtime_error("no room for a process");
  if (child == 0) {
    dup2(fileno(said.file), STDERR_FILENO);
    runHere(script, report.file);
  }
  int status = 0;
  waitpid(child, &status, 0);
  Outcome out;
  read(report.text(), out);
  out.text = said.text();
  if (WIFSIGNALED(status) && (WTERMSIG(status) == SIGALRM || WTERMSIG(status) == SIGXCPU)) {
    out.kind = Outcome::hung;
  } else if (WIFEXITED(status) && WEXITSTATUS(status) < 2) {
    out.kind = WEXITSTATUS(status) == 0 ? Outcome::good : Outcome::differs;
  } else {
    out.kind = Outcome::crashed;
  }
  return out;
}

namespace {

// What went wrong, without the names of what it went wrong with.
std::string manner(std::string const & text) {
  std::string out;
  for (char c : text.substr(0, text.find('\n'))) {
    if (c == ' ' || (c >= 'a' && c <= 'z')) out += c;
  }
  return out;
}

bool alike(Outcome const & a, Outcome const & b) {
  return a.kind == b.kind && manner(a.text) == manner(b.text);
}

Script without(Script const & script, std::size_t from, std::size_t count) {
  Script out(script.begin(), script.begin() + static_cast<std::ptrdiff_t>(from));
  auto const rest = std::min(from + count, script.size());
  out.insert(out.end(), script.begin() + static_cast<std::ptrdiff_t>(rest), script.end());
  return out;
}

class Shrinking {
 public:
  Shrinking(Script script, Outcome const & wanted) : script_(std::move(script)), wanted_(wanted) {}

  Script shortest() {
    for (std::size_t size = script_.size() / 2; size > 0 && runs_ < mostRuns;) {
      bool const any = takeOutLines(size);
      if (!any || size > 1) size /= 2;
    }
    for (std::size_t i = script_.size(); i-- > 0;) takeOutWords(i);
    return script_;
  }

 private:
  static constexpr unsigned mostRuns = 800;  // at some 10 ms

  bool isBetter(Script candidate) {
    if (runs_++ >= mostRuns || !alike(run(candidate), wanted_)) return false;
    script_ = std::move(candidate);
    return true;
  }
  // One pass; true if some could go.
  bool takeOutLines(std::size_t size) {
    bool any = false;
    for (std::size_t from = script_.size(); from > 0;) {
      from = from > size ? from - size : 0;
      any |= isBetter(without(script_, from, size));
    }
    return any;
  }
  void takeOutWords(std::size_t line) {
    auto words = Brindle::Sim::wordsOf(script_[line]);
    for (std::size_t i = words.size(); i-- > 1;) {
      auto fewer = words;
      fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
      Script candidate = script_;
      candidate[line] = Brindle::Sim::lineOf(fewer);
      if (isBetter(std::move(candidate))) words = std::move(fewer);
    }
  }

  Script script_;
  Outcome const & wanted_;
  unsigned runs_ = 0;
};

}  // namespace

Script shrunk(Script script, Outcome const & outcome) {
  script.resize(outcome.line + 1);
  script = Shrinking(std::move(script), outcome).shortest();
  // A line that is refused ends a run of brindle-sim.
  auto const refused = run(script).refused;
  for (auto i = refused.rbegin(); i != refused.rend(); ++i) script = without(script, *i, 1);
  if (script[0] != privateTables) script.insert(script.begin(), privateTables);
  return script;
}

}  // namespace Simulation
