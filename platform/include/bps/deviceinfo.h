#pragma once
// Desktop stand-in: the OS version is what a user calls their system's version: NAME and
// VERSION_ID of /etc/os-release (else /usr/lib/os-release), such as "Debian GNU/Linux 12";
// PRETTY_NAME when there is no VERSION_ID; without the file, the kernel's name and release.
#include <bps/bps.h>
#ifdef __cplusplus
extern "C" {
#endif

typedef struct deviceinfo_details_t deviceinfo_details_t;

// Fills *details with a new handle; returns BPS_SUCCESS, or BPS_FAILURE with errno set
// (in which case *details is left untouched).
int deviceinfo_get_details(deviceinfo_details_t **details);
// The OS version, owned by the handle; null for a null handle.
const char *deviceinfo_details_get_device_os_version(deviceinfo_details_t *details);
// Releases the handle and sets *details to null; a null handle is allowed.
void deviceinfo_free_details(deviceinfo_details_t **details);

#ifdef __cplusplus
}
#endif
