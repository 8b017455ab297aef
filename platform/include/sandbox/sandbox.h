#pragma once
/// \file
/// The application's sandbox: where its files lie and how each of them is made. The library
/// asks here for its root and makes every file it writes through sandbox_open_private(), so
/// that no file of its own is ever readable by another account.
///
/// Both functions may be called from any thread.
#ifdef __cplusplus
extern "C" {
#endif

/// The sandbox's root, which holds data/ (private, writable) and app/native/ (the packaged
/// files), made on the first call; null when the working directory is the root, as for a host
/// that has not asked for a sandbox of its own. The text is the platform's and lives as long as
/// the process.
const char *sandbox_get_root(void);

/// open(2) of a file that only its owner may read or write: a file it creates is 0600 whatever
/// the umask, and an existing file of the caller's own is narrowed to 0600. Returns the
/// descriptor, which the caller owns and closes, or -1 with errno set.
int sandbox_open_private(const char *path, int flags);

#ifdef __cplusplus
}
#endif
