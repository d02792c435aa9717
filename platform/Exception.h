// What Brindle throws: bad values and refused mutations. A failure of hardware is a value, a broken
// invariant an assertion; neither comes here. An exception leaves the handler that raised it, the
// framework catches it, and the loop goes on: a mutator that throws has changed nothing.
//
// All throwing is done by the functions below, out of line, so that a check costs its compare only.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Types.h"

namespace Zet {

// Base of all exceptions of Brindle. `idMask` says which ids the refused operation was for, 0 if
// none.
class BRINDLE_API Exception : public std::runtime_error {
 public:
  explicit Exception(std::string const & message, U32 idMask = 0);
  Exception(Exception const &) noexcept = default;
  Exception & operator=(Exception const &) noexcept = default;
  ~Exception() override;

  U32 idMask() const noexcept { return idMask_; }

 private:
  U32 idMask_;
};

// A value is out of its range, a text cannot be read, or a mutation is refused.
class BRINDLE_API RangeException : public Exception {
 public:
  using Exception::Exception;
  ~RangeException() override;
};

// A virtual operation that a derived class must supply is missing.
class BRINDLE_API NoImplementationException : public Exception {
 public:
  using Exception::Exception;
  ~NoImplementationException() override;
};

// An entity of this name stands already.
class BRINDLE_API NameInUseException : public Exception {
 public:
  explicit NameInUseException(std::string_view name);
  ~NameInUseException() override;
};

// A system call failed: the message, and what errno(3) said.
class BRINDLE_API ErrnoException : public Exception {
 public:
  ErrnoException(std::string const & message, int error);
  ~ErrnoException() override;

  int error() const noexcept { return error_; }

 private:
  int error_;
};

[[noreturn, gnu::cold]] BRINDLE_API void throwRangeException(char const * message);

[[noreturn, gnu::cold]] BRINDLE_API void throwNoImplementationException(char const * message,
                                                                        U32 idMask = 0);

[[noreturn, gnu::cold]] BRINDLE_API void throwNameInUseException(std::string_view name);

[[noreturn, gnu::cold]] BRINDLE_API void throwErrnoException(char const * message, int error);

// Refuses null for an attribute that may not be absent. `attribute` is its full name, such as
// "Brindle::Fabric::chip".
[[noreturn, gnu::cold]] BRINDLE_API void throwNullParameter(std::string_view attribute);

// Refuses to create a member again with another value of a constructor parameter. The values are
// given as text.
[[noreturn, gnu::cold]] BRINDLE_API void throwReinstantiatingMember(std::string_view attribute,
                                                                    std::string_view newValue,
                                                                    std::string_view currentValue);
[[noreturn, gnu::cold]] BRINDLE_API void throwReinstantiatingEntity(std::string_view fullName,
                                                                    std::string_view attribute,
                                                                    std::string_view newValue,
                                                                    std::string_view currentValue);

}  // namespace Zet

namespace Wharf {

// A table contradicts itself: found while reading it, and reported to its owner.
class BRINDLE_API CorruptionDetectedException : public Zet::Exception {
 public:
  using Exception::Exception;
  ~CorruptionDetectedException() override;

  [[noreturn, gnu::cold]] static void throwException(char const * text);
};

}  // namespace Wharf
