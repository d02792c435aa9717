#include "platform/Exception.h"

#include <system_error>

namespace Zet {

namespace {

std::string join(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (auto part : parts) text += part;
  return text;
}

}  // namespace

Exception::Exception(std::string const & message, U32 idMask)
    : std::runtime_error(message),
      idMask_(idMask) {}
Exception::~Exception() = default;
RangeException::~RangeException() = default;
NoImplementationException::~NoImplementationException() = default;

NameInUseException::NameInUseException(std::string_view name)
    : Exception(join({"name '", name, "' is in use"})) {}
NameInUseException::~NameInUseException() = default;

ErrnoException::ErrnoException(std::string const & message, int error)
    : Exception(join({message, ": ", std::generic_category().message(error)})),
      error_(error) {}
ErrnoException::~ErrnoException() = default;

void throwRangeException(char const * message) { throw RangeException(message); }

void throwNoImplementationException(char const * message, U32 idMask) {
  throw NoImplementationException(message, idMask);
}

void throwNameInUseException(std::string_view name) { throw NameInUseException(name); }

void throwErrnoException(char const * message, int error) { throw ErrnoException(message, error); }

void throwNullParameter(std::string_view attribute) {
  auto const name = attribute.substr(attribute.rfind(':') + 1);
  throw RangeException(
      join({"null _", name, " parameter to mutator for ", attribute, " not allowed"}));
}

void throwReinstantiatingMember(std::string_view attribute, std::string_view newValue,
                                std::string_view currentValue) {
  throw RangeException(
      join({"Reinstantiating the pointer interface where constructor parameter attribute _",
            attribute, " has a different value of ", newValue, " than the current value of ",
            currentValue, " not allowed"}));
}

void throwReinstantiatingEntity(std::string_view fullName, std::string_view attribute,
                                std::string_view newValue, std::string_view currentValue) {
  throw RangeException(
      join({"Reinstantiating the entity with fullName ", fullName,
            " where constructor parameter attribute '", attribute, "' has a different value of ",
            newValue, " than the current value of ", currentValue, " not allowed"}));
}

}  // namespace Zet

namespace Wharf {

CorruptionDetectedException::~CorruptionDetectedException() = default;

void CorruptionDetectedException::throwException(char const * text) {
  throw CorruptionDetectedException(text);
}

}  // namespace Wharf
