// The framework's string.
#pragma once

#include <compare>
#include <string>
#include <string_view>

#include "platform/Hash.h"
#include "platform/Ptr.h"

namespace Zet {

// An immutable text whose copies share one reference-counted body; empty texts have none.
class String {
 public:
  String() = default;
  String(char const * text) : String(std::string_view(text)) {}
  String(char const * text, std::size_t length) : String(std::string_view(text, length)) {}
  explicit String(std::string_view text)
      : body_(text.empty() ? Ptr<Body const>() : make<Body const>(text)) {}

  bool empty() const { return !body_; }
  std::size_t size() const { return view().size(); }
  std::string_view view() const { return body_ ? std::string_view(body_->text) : ""; }
  operator std::string_view() const { return view(); }
  char const * c_str() const { return empty() ? "" : view().data(); }
  char const * begin() const { return c_str(); }
  char const * end() const { return begin() + size(); }
  U32 hash() const { return hashOf(view()); }

  String & operator+=(std::string_view tail) {
    return *this = String(std::string(view()).append(tail));
  }
  friend String operator+(String head, String const & tail) { return head += tail; }
  friend bool operator==(String const & a, String const & b) {
    return a.body_ == b.body_ || a.view() == b.view();
  }
  friend std::strong_ordering operator<=>(String const & a, String const & b) {
    return a.view() <=> b.view();
  }

  static constexpr char const * zetType = "Zet::String";

 private:
  struct Body : RefCounted {
    explicit Body(std::string_view t) : text(t) {}
    std::string const text;
  };
  Ptr<Body const> body_;
};

}  // namespace Zet
