// System-log messages: what the operator is told.
#pragma once
#include <initializer_list>
#include <string_view>

#include "platform/Export.h"
#include "platform/HashMap.h"
#include "platform/Seconds.h"
#include "platform/String.h"
#include "platform/Value.h"

namespace Zet {

// As in syslog(3).
enum class LogSeverity : U8 { emergency, alert, critical, error, warning, notice, info, debug };
constexpr auto logSeverityNames = enumNames<LogSeverity::debug>(
    "emergency", "alert", "critical", "error", "warning", "notice", "info", "debug");
constexpr auto & zetNames(LogSeverity) { return logSeverityNames; }

// The recommended action of a message that asks for none.
inline constexpr char const * NoActionRequired = "No action required";

class LogHandle;

// Where messages go.
class BRINDLE_API LogSink {
 public:
  virtual void onLog(LogHandle const & handle, std::string_view text) = 0;

 protected:
  ~LogSink() = default;
};

// One named message: a global object, built at start-up.
//
// The rate is limited here, for every site alike. Messages of one handle with the same hash are
// taken to be the same message: it is let through at most once in maxInterval seconds. Different
// ones of a handle are at least minInterval seconds apart; 0 sets no such limit. Time is
// the process's (see Clock.h). What is held back is counted.
class BRINDLE_API LogHandle {
 public:
  // `format` as in printf(3), of whose conversions it may have %s and %d, both filled with texts,
  // and %%. No flag is defined yet.
  LogHandle(String name, LogSeverity severity, String format, String explanation,
            String recommendedAction, double minInterval, double maxInterval, unsigned char flags);
  ~LogHandle();
  LogHandle(LogHandle const &) = delete;
  LogHandle & operator=(LogHandle const &) = delete;

  // Whether the message of this hash may be emitted now; if not, that is counted. 0 is the hash of
  // a message without arguments.
  bool okToLog(U32 hash);
  // Emits the message unless it may not be now. Arguments that are missing are left blank.
  void log(U32 hash, std::string_view const * args, std::size_t count);
  // The same with the hash of the arguments.
  void log(std::initializer_list<std::string_view> args = {});

  String const & name() const { return name_; }
  LogSeverity severity() const { return severity_; }
  String const & format() const { return format_; }
  String const & explanation() const { return explanation_; }
  String const & recommendedAction() const { return recommendedAction_; }
  double minInterval() const { return minInterval_; }
  double maxInterval() const { return maxInterval_; }
  unsigned char flags() const { return flags_; }
  // How many messages were held back.
  U64 suppressed() const { return suppressed_; }

  // All handles of the process, in order of construction.
  static LogHandle * first();
  LogHandle * next() const { return next_; }
  // Null sets the default, syslog(3). The sink must last until it is replaced. A new one has seen
  // nothing yet, so all messages may be emitted anew.
  static void sinkIs(LogSink *);

 private:
  void doForgetOld(Seconds now);
  void doReset();

  String const name_;
  LogSeverity const severity_;
  String const format_;
  String const explanation_;
  String const recommendedAction_;
  double const minInterval_;
  double const maxInterval_;
  unsigned char const flags_;
  U64 suppressed_ = 0;
  Seconds last_;                  // when any message of this handle was emitted
  HashMap2018<U32, Seconds> at_;  // the same by hash
  U32 forgetAt_;                  // size of at_ at which it is next cleared of old ones
  LogHandle * next_ = nullptr;
};

}  // namespace Zet
