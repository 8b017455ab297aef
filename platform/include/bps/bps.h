#pragma once
/// \file
/// Desktop stand-in for the platform's base services. Plain C calls, thread-safe, made by the
/// library only: the shared library does not export them.

#ifdef __cplusplus
extern "C" {
#endif

/// Result of a platform call that succeeded.
#define BPS_SUCCESS 0
/// Result of a platform call that failed; errno may tell why.
#define BPS_FAILURE (-1)

/// A platform event; the desktop makes them with desktop::makeGeolocationEvent() and
/// desktop::makeEvent(), and whoever made one owns it.
typedef struct bps_event_t bps_event_t;

/// Releases memory handed out by a platform call; null is allowed.
void bps_free(void *ptr);

/// Domain of an event; 0 for a null event. The caller keeps the event.
int bps_event_get_domain(bps_event_t *event);
/// Code of an event, such as GEOLOCATION_INFO; 0 for a null event. The caller keeps the event.
unsigned int bps_event_get_code(bps_event_t *event);

#ifdef __cplusplus
}
#endif
