// Marks what libbrindle.so exports. The library is built with hidden visibility, so a class with
// members defined in a source, or a function, that users outside the library call carries it.
#pragma once

#define BRINDLE_API __attribute__((visibility("default")))
