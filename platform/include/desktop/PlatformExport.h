#pragma once
/// \file
/// The mark of what the desktop platform exports from the shared library that carries it: the
/// calls and the application object that a host uses. The platform's C calls, which only the
/// library makes, stay unmarked and hidden, so that their generic names never meet another
/// library's in the same process. In the static library the mark changes nothing.
#if defined(__GNUC__)
#define DESKTOP_PLATFORM_EXPORT __attribute__((visibility("default")))
#else
#define DESKTOP_PLATFORM_EXPORT
#endif
