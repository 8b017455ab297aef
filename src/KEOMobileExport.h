#pragma once
/// \file
/// The one mark of what the shared library exports.
///
/// The library is built with hidden visibility, so only declarations marked KEOMOBILE_EXPORT
/// (the public classes and the platform calls a host makes) are in its dynamic symbol table and
/// in the ABI that its soname promises; every internal class stays private to it. In the static
/// library the mark changes nothing.
#if defined(__GNUC__)
#define KEOMOBILE_EXPORT __attribute__((visibility("default")))
#else
#define KEOMOBILE_EXPORT
#endif
