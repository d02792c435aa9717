// Traces: what a developer switches on to follow a machine.
//
// Each source unit has one facility, with its own name, in its anonymous namespace or static:
//
//   Zet::TraceHandle traceHandle("MrouteSm", false);
//   ...
//   ZET_TRACE(8, "Created MrouteSm for vrf " << vrf);
//
// Levels go from 0 to 9: 8 for the entry of handlers, 9 for detailed steps. A statement whose level
// is off costs one load and one branch, and evaluates nothing.
#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Text.h"

namespace Zet {

// What one statement has to say.
struct TraceRecord {
  std::string_view facility;
  unsigned level;
  char const * file;
  int line;
  char const * function;
  std::string_view text;
};

// Where traces go.
class BRINDLE_API TraceSink {
 public:
  virtual void onTrace(TraceRecord const &) = 0;

 protected:
  ~TraceSink() = default;
};

// A facility.
class BRINDLE_API TraceHandle {
 public:
  // `name` must last, as a literal does. `on`: all levels, unless a setting says otherwise.
  TraceHandle(char const * name, bool on);
  ~TraceHandle();
  TraceHandle(TraceHandle const &) = delete;
  TraceHandle & operator=(TraceHandle const &) = delete;

  char const * name() const { return name_; }
  bool enabled(unsigned level) const { return level < levels_; }

  // Sets the levels of all facilities, also of those that are yet to come: "Mira*/8,SimFabric/9"
  // traces the levels up to 8 and 9 in those whose names match, where '*' stands for any text; the
  // last one that matches counts, and what no one matches is as it was built. At first the
  // environment variable BRINDLE_TRACE says. Throws RangeException, with nothing changed, for a
  // part of another form.
  static void levelsIs(std::string_view setting);
  // Null sets the default, standard error. The sink must last until it is replaced.
  static void sinkIs(TraceSink *);

 private:
  void apply();

  char const * const name_;
  U8 levels_ = 0;  // that many are on
  bool const on_;
  TraceHandle * next_;
};

// The stream of one statement.
class BRINDLE_API TraceHelper {
 public:
  using Buffer = std::optional<TraceHelper>;

  explicit TraceHelper(TraceHandle const & handle, unsigned level)
      : handle_(handle),
        level_(level) {}
  // Makes the stream in `buffer` if the level is enabled; null otherwise.
  static TraceHelper * createIfEnabled(TraceHandle const &, unsigned level, Buffer & buffer);

  template <Textual T> TraceHelper & operator<<(T const & value) {
    appendText(text_, value);
    return *this;
  }
  // Writes out what was streamed.
  void trace(char const * file, int line, char const * function);

 private:
  TraceHandle const & handle_;
  unsigned const level_;
  std::string text_;
};

}  // namespace Zet

// Traces what is streamed, at a level of the source unit's `traceHandle`.
#define ZET_TRACE(level, message)                                                           \
  do {                                                                                      \
    if (traceHandle.enabled(level)) [[unlikely]] {                                          \
      ::Zet::TraceHelper::Buffer zetBuffer;                                                 \
      auto * zetTrace = ::Zet::TraceHelper::createIfEnabled(traceHandle, level, zetBuffer); \
      *zetTrace << message;                                                                 \
      zetTrace->trace(__FILE__, __LINE__, __func__);                                        \
    }                                                                                       \
  } while (false)
