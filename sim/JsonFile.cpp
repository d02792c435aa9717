#include "sim/JsonFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "sim/Words.h"

namespace Brindle::Sim {

namespace {

constexpr std::size_t shownLength = 40;

// "[json.exception.parse_error.101] parse error at line 1 ..." without its front.
std::string withoutId(std::string const & what) {
  auto const end = what.find("] ");
  return end == what.npos ? what : what.substr(end + 2);
}

}  // namespace

JsonValue JsonValue::ofFile(std::string const & path) {
  auto file = std::make_shared<File>();
  file->name = path;
  std::ifstream in(path);
  if (!in) throw CommandError(path + ": " + std::strerror(errno));
  try {
    file->root = Json::parse(in);
  } catch (Json::exception const & e) {
    throw CommandError(path + ": expected JSON: " + withoutId(e.what()));
  }
  return JsonValue(file, file->root, "$");
}

std::vector<JsonValue> JsonValue::items() const {
  if (!json_->is_array()) expected("a list");
  std::vector<JsonValue> out;
  for (auto const & item : *json_) {
    out.push_back({file_, item, path_ + "[" + std::to_string(out.size()) + "]"});
  }
  return out;
}

JsonValue JsonValue::at(std::string const & name) const {
  auto found = find(name);
  if (!found) expected("a member \"" + name + "\"");
  return *found;
}

std::optional<JsonValue> JsonValue::find(std::string const & name) const {
  requireObject();
  auto const i = json_->find(name);
  if (i == json_->end()) return std::nullopt;
  return JsonValue(file_, *i, path_ + "." + name);
}

std::vector<std::pair<std::string, JsonValue>> JsonValue::members() const {
  requireObject();
  std::vector<std::pair<std::string, JsonValue>> out;
  for (auto const & [name, value] : json_->items()) {
    out.emplace_back(name, JsonValue(file_, value, path_ + "." + name));
  }
  return out;
}

std::string JsonValue::text() const {
  if (!json_->is_string()) expected("a text");
  return json_->get<std::string>();
}

U32 JsonValue::number() const {
  if (!json_->is_number_unsigned() || json_->get<U64>() > ~U32{0}) expected("a number");
  return json_->get<U32>();
}

bool JsonValue::boolean() const {
  if (!json_->is_boolean()) expected("true or false");
  return json_->get<bool>();
}

std::string JsonValue::text(std::string const & name, std::string const & otherwise) const {
  auto const value = find(name);
  return value ? value->text() : otherwise;
}

U32 JsonValue::number(std::string const & name, U32 otherwise) const {
  auto const value = find(name);
  return value ? value->number() : otherwise;
}

bool JsonValue::boolean(std::string const & name, bool otherwise) const {
  auto const value = find(name);
  return value ? value->boolean() : otherwise;
}

void JsonValue::expected(std::string const & what) const {
  auto found = json_->dump(-1, ' ', false, Json::error_handler_t::replace);
  if (found.size() > shownLength) found = found.substr(0, shownLength) + "...";
  throw CommandError(file_->name + ": " + path_ + ": expected " + what + ", found " + found);
}

void JsonValue::requireObject() const {
  if (!json_->is_object()) expected("an object");
}

}  // namespace Brindle::Sim
