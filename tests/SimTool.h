// Runs the tools as a user does, with tables in a directory of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace Brindle::Sim {

class SimTool : public testing::Test {
 protected:
  SimTool() : dir_(testing::TempDir() + "brindle-sim-XXXXXX") {
    EXPECT_NE(mkdtemp(dir_.data()), nullptr);
    setenv("BRINDLE_SHOAL_ROOT", (dir_ + "/tables").c_str(), 1);
  }
  ~SimTool() override {
    unsetenv("BRINDLE_SHOAL_ROOT");
    std::filesystem::remove_all(dir_);
  }

  struct Result {
    int exit = -1;
    std::string text;  // output and errors, as they came
  };
  // A line for the shell; @ stands for the directory of the tools, % for that of the sources.
  Result run(std::string line, std::string const & input = "") const;
  // Writes a file of the test; returns its path.
  std::string file(std::string const & name, std::string const & content) const {
    std::string const path = dir_ + "/" + name;
    std::ofstream(path) << content;
    return path;
  }
  // A script of brindle-sim on tables of its own; the same, which is to pass.
  Result script(std::string const & lines) const {
    return run("@brindle-sim run " + file("script.sim", "tables private\n" + lines));
  }
  void passes(std::string const & lines) const {
    auto const result = script(lines);
    EXPECT_EQ(result.exit, 0) << result.text;
  }
  std::string const & dir() const { return dir_; }

  static void expand(std::string & text, std::string const & what, std::string const & by) {
    for (auto at = text.find(what); at != text.npos; at = text.find(what, at + by.size())) {
      text.replace(at, what.size(), by);
    }
  }
  static std::string contentOf(std::string const & path) {
    std::ostringstream out;
    out << std::ifstream(path).rdbuf();
    return out.str();
  }

 private:
  std::string dir_;
};

}  // namespace Brindle::Sim
