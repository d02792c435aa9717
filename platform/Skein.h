// The flight recorder: a ring in memory of what the process did last, cheap enough to be always on.
//
//   SKEIN("Mira::doReview() finished. walked ", walked, " mroutes ", table.size());
//
// A record is written without allocating or formatting, in some 20 instructions. It is read as text
// on demand, or when the process crashes.
#pragma once
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Seconds.h"
#include "platform/Text.h"

class BRINDLE_API Skein {
 public:
  // Where a record is written.
  struct Site {
    char const * file;
    int line;
  };
  // An argument that lasts as a literal does.
  struct Literal {
    char const * text;
  };
  // A ring of that many records, of which the newest stay.
  static constexpr U32 capacity = 8192;
  static constexpr unsigned wordsPerRecord = 13;

  // Use the macro SKEIN. Arguments may be literals, numbers, enumerators, any value that is plain
  // data, and texts, of which the first 23 bytes are kept. An array of char const is taken to be
  // a literal.
  template <class... A> static void write(Site const & site, A &&... args) {
    static_assert((Arg<A>::words + ... + 0) <= wordsPerRecord, "too much for one record");
    Record & r = ring_[next_++ % capacity];
    r.site = &site;
    r.kinds = kinds<A...>.data();
    r.time = time_;
    [[maybe_unused]] U64 * to = r.word;
    ((Arg<A>::store(to, {args}), to += Arg<A>::words), ...);
  }

  // Calls sink(std::string_view) with the text of each record, the oldest first.
  template <class F> static void print(F && sink) {
    std::string line;
    for (U64 n = next_ < capacity ? 0 : next_ - capacity; n < next_; ++n) {
      line.clear();
      appendRecord(line, n);
      sink(std::string_view(line));
    }
  }
  // Prints to the descriptor when the process ends by a failed assertion or a fault: for whoever
  // looks at its last words, since a core file shows the ring in words only.
  static void printOnCrash(int fd);
  // How many records were ever written.
  static U64 written() { return next_; }

  // The time that records carry, which the activity loop sets in each turn.
  static void timeIs(Zet::Seconds time) { time_ = time; }

 private:
  struct Kind {
    unsigned words;
    bool literal;
    void (*append)(std::string &, U64 const *);
  };
  struct Record {
    Site const * site;
    Kind const * kinds;  // up to one whose append is null
    Zet::Seconds time;
    U64 word[wordsPerRecord];
  };
  static_assert(sizeof(Record) == 128);

  template <class A> struct Arg;
  template <class T> struct Plain;
  struct Lasting;
  struct Copied;
  template <class... A>
  static constexpr std::array<Kind, sizeof...(A) + 1> kinds{
      Kind{Arg<A>::words, Arg<A>::literal, &Arg<A>::append}...};

  static void appendRecord(std::string &, U64 number);

  static Record ring_[capacity];
  static U64 next_;
  static Zet::Seconds time_;
};

struct Skein::Lasting {
  static constexpr unsigned words = 1;
  static constexpr bool literal = true;
  static void store(U64 * to, Literal l) { *to = reinterpret_cast<U64>(l.text); }
  static void append(std::string & out, U64 const * from) {
    out += reinterpret_cast<char const *>(*from);
  }
};

struct Skein::Copied {
  static constexpr unsigned words = 3;
  static constexpr bool literal = false;
  static void store(U64 * to, std::string_view text) {
    to[2] = 0;
    std::memcpy(to, text.data(), std::min<std::size_t>(text.size(), 23));
    if (text.size() < 16) reinterpret_cast<char *>(to)[text.size()] = '\0';
  }
  static void append(std::string & out, U64 const * from) {
    out += reinterpret_cast<char const *>(from);
  }
};

template <class T> struct Skein::Plain {
  static_assert(std::is_trivially_copyable_v<T>);
  static constexpr unsigned words = (sizeof(T) + 7) / 8;
  static constexpr bool literal = false;
  static void store(U64 * to, T const & value) { std::memcpy(to, &value, sizeof value); }
  static void append(std::string & out, U64 const * from) {
    std::array<std::byte, sizeof(T)> bytes;
    std::memcpy(bytes.data(), from, sizeof(T));
    Zet::appendText(out, std::bit_cast<T>(bytes));
  }
};

template <class A>
struct Skein::Arg
    : std::conditional_t<std::is_trivially_copyable_v<std::remove_cvref_t<A>> &&
                             !std::is_pointer_v<std::decay_t<A>> &&
                             !std::is_same_v<std::remove_cvref_t<A>, std::string_view>,
                         Plain<std::remove_cvref_t<A>>, Copied> {};
template <std::size_t n> struct Skein::Arg<char const (&)[n]> : Skein::Lasting {};
template <> struct Skein::Arg<Skein::Literal> : Skein::Lasting {};

// Writes a record when the scope ends, with the time that it took.
class BRINDLE_API BlockTimerMsg {
 public:
  // `what` must last, as a literal does.
  explicit BlockTimerMsg(char const * what);
  ~BlockTimerMsg();
  BlockTimerMsg(BlockTimerMsg const &) = delete;
  BlockTimerMsg & operator=(BlockTimerMsg const &) = delete;

 private:
  char const * const what_;
  Zet::Seconds const began_;
};

// Writes a record; see Skein::write().
#define SKEIN(...)                                                \
  do {                                                            \
    static constexpr ::Skein::Site skeinSite{__FILE__, __LINE__}; \
    ::Skein::write(skeinSite, __VA_ARGS__);                       \
  } while (false)
