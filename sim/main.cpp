// brindle-sim: a whole simulated switch that runs the library as a real one would, driven by
// commands from scripts, from a pipe or from a prompt. docs/sim.md has the commands.
#include <net/ethernet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdlib>
#include <iostream>

#include "platform/ShoalFiles.h"
#include "sim/Commands.h"
#include "sim/Host.h"
#include "sim/Import.h"
#include "sim/Interrupt.h"
#include "sim/Prompt.h"
#include "sim/Render.h"

namespace {

using namespace Brindle::Sim;

constexpr int exitInterrupted = 130;  // as a shell says it

struct Options {
  std::vector<std::string> scripts;
  std::string directory;
  std::string host;
  bool prompt = false;
};

// The library opens a raw socket, on which it hears of RPF failures, unless a variable that it
// reads when it is loaded forbids that. Whoever may not open one has the program start anew with
// it.
void ensureRawSocket(char ** argv) {
  constexpr char variable[] = "MIRA_NO_FASTDROPS";
  if (std::getenv(variable)) return;
  ZetShoal::OpenFile const probe(socket(AF_PACKET, SOCK_RAW, 0));
  if (probe || (errno != EPERM && errno != EACCES)) return;
  std::cerr << "brindle-sim: no right to a raw socket: RPF failures are not heard (" << variable
            << " is set)" << std::endl;
  setenv(variable, "1", 1);
  execve("/proc/self/exe", argv, environ);
  std::cerr << "brindle-sim: cannot start anew: " << std::strerror(errno) << std::endl;
  std::exit(1);
}

// The lines of a descriptor that is no terminal. The loop runs while there is none.
class PipeLines {
 public:
  explicit PipeLines(Host & host) : host_(host) {}

  bool nextLine(std::string & line) {
    for (;;) {
      auto const end = unread_.find('\n');
      if (end != unread_.npos || (atEnd_ && !unread_.empty())) {
        line = unread_.substr(0, end);
        unread_.erase(0, end == unread_.npos ? end : end + 1);
        return true;
      }
      if (atEnd_ || interrupted()) return false;
      readMore();
    }
  }

 private:
  void readMore() {
    host_.runUntilReadable(STDIN_FILENO);
    char bytes[65536];
    auto const count = read(STDIN_FILENO, bytes, sizeof bytes);
    if (count > 0) unread_.append(bytes, static_cast<std::size_t>(count));
    atEnd_ = count == 0 || (count < 0 && errno != EINTR);
  }

  Host & host_;
  std::string unread_;
  bool atEnd_ = false;
};

void runPipe(Host & host) {
  HostInterpreter interpreter(host);
  PipeLines lines(host);
  std::string line;
  for (unsigned number = 1; !host.finished() && lines.nextLine(line); ++number) {
    try {
      interpreter.run(line);
      host.out().flush();
    } catch (std::exception const & e) {
      throw CommandError("stdin:" + std::to_string(number) + ": " + e.what());
    }
  }
}

std::vector<std::string> names(Host & host, std::string const & placeholder) {
  std::vector<std::string> out;
  if (placeholder == "CHIP") {
    for (Chip const * chip : host.chips()) out.emplace_back(chip->name().view());
  } else if (placeholder == "TABLE") {
    out = host.tables();
  } else if (placeholder == "VLAN") {
    auto const & vlans = host.records().vlanStatusDir->vlanStatus();
    for (auto i = vlans.begin(); i; i.advance()) out.push_back(std::to_string(i.key().value()));
  } else if (placeholder == "VRF") {
    auto const & vrfs = host.records().allVrfStatusLocal->vrf();
    for (auto i = vrfs.begin(); i; i.advance()) out.emplace_back(i.key().view());
  } else if (placeholder == "INTF" || placeholder == "IIF") {
    auto const & intfs = host.records().ipStatus->ipIntfStatus();
    for (auto i = intfs.begin(); i; i.advance()) out.emplace_back(i.key().view());
  }
  return out;
}

void runPrompt(Host & host) {
  HostInterpreter interpreter(host);
  auto const wait = [&host] {
    host.runUntilReadable(STDIN_FILENO);
    return !interrupted();
  };
  Prompt prompt(interpreter.table(),
                {wait, [&host](std::string const & what) { return names(host, what); }});
  std::string line;
  std::cout << "A simulated switch. Tab completes, help lists the commands." << std::endl;
  while (!host.finished() && prompt.nextLine(line)) {
    clearInterrupt();
    try {
      interpreter.run(line);
    } catch (std::exception const & e) {
      std::cout << "error: " << e.what() << '\n';
    }
    std::cout.flush();
  }
}

void showImported(Host & host) {
  host.settle();
  host.out() << '\n';
  print(host.out(), routeViews(host));
  host.out() << '\n';
  print(host.out(), chipViews(host));
}

void run(Options const & options, bool input) {
  Host host(std::cout);
  catchInterrupts();
  for (auto const & script : options.scripts) {
    if (!host.finished()) runScript(host, script);
  }
  if (!options.directory.empty()) {
    importBox(host, readRecordedBox(options.directory, options.host));
    showImported(host);
  }
  if (host.finished() || !(input || options.prompt)) return;
  if (isatty(STDIN_FILENO)) {
    runPrompt(host);
  } else {
    runPipe(host);
  }
}

}  // namespace

int main(int argc, char ** argv) {
  ensureRawSocket(argv);
  CLI::App app{
      "A simulated switch on which the multicast forwarding library runs. Without a "
      "subcommand it takes commands from the prompt, or from a pipe."};
  Options options;
  auto * const script = app.add_subcommand("run", "Run scripts");
  script->add_option("FILE", options.scripts, "Scripts, one after the other")->required();
  auto * const import = app.add_subcommand("import", "Become a recorded Linux box and show it");
  import->add_option("DIR", options.directory, "Directory of the record")->required();
  import->add_option("--host", options.host, "NAME of NAME-link.json and so on");
  for (auto * const sub : {script, import}) {
    sub->add_flag("-i,--prompt", options.prompt, "Then go on at the prompt, or with a pipe");
  }
  app.require_subcommand(0, 1);
  CLI11_PARSE(app, argc, argv);
  try {
    run(options, app.get_subcommands().empty());
  } catch (std::exception const & e) {
    std::cout.flush();
    std::cerr << "brindle-sim: " << e.what() << std::endl;
    return interrupted() ? exitInterrupted : 1;
  }
  return interrupted() ? exitInterrupted : 0;
}
