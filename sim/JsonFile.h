// JSON files of other programs, read with suspicion: what is not as expected is named by file, path
// and what was expected there.
#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Types.h"

namespace Brindle::Sim {

// One value of a file. All operations throw CommandError: "sw-mroute.json: $[2].iif: expected a
// text, found 5".
class JsonValue {
 public:
  // The whole of a file. Throws CommandError if it cannot be read or is no JSON.
  static JsonValue ofFile(std::string const & path);

  std::vector<JsonValue> items() const;  // of a list
  JsonValue at(std::string const & name) const;
  std::optional<JsonValue> find(std::string const & name) const;
  std::vector<std::pair<std::string, JsonValue>> members() const;

  std::string text() const;
  U32 number() const;
  bool boolean() const;

  // A member's value, or what stands for one that is absent.
  std::string text(std::string const & name, std::string const & otherwise) const;
  U32 number(std::string const & name, U32 otherwise) const;
  bool boolean(std::string const & name, bool otherwise) const;

  // Refuses this value.
  [[noreturn]] void expected(std::string const & what) const;

 private:
  using Json = nlohmann::json;
  struct File {
    std::string name;
    Json root;
  };
  JsonValue(std::shared_ptr<File const> file, Json const & json, std::string path)
      : file_(std::move(file)),
        json_(&json),
        path_(std::move(path)) {}
  void requireObject() const;

  std::shared_ptr<File const> file_;
  Json const * json_;
  std::string path_;
};

}  // namespace Brindle::Sim
