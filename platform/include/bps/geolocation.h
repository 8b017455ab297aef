#pragma once
/// \file
/// Desktop stand-in for geolocation events. Events are made by
/// desktop::makeGeolocationEvent() and desktop::makeEvent(); the readers below only read the
/// event, which the caller keeps. Thread-safe. The library reads events with them; the shared
/// library does not export them, and a host needs only the event codes.
#include <bps/bps.h>
#ifdef __cplusplus
extern "C" {
#endif

/// Codes of geolocation events.
enum {
    GEOLOCATION_INFO = 0x01,   ///< a position
    GEOLOCATION_CANCEL = 0x02, ///< the request was cancelled
    GEOLOCATION_ERROR = 0x03,  ///< no position could be had
};

/// The domain that geolocation events carry.
int geolocation_get_domain(void);
/// Latitude of a position event, in degrees; 0 for a null event.
double geolocation_event_get_latitude(bps_event_t *event);
/// Longitude of a position event, in degrees; 0 for a null event.
double geolocation_event_get_longitude(bps_event_t *event);
/// Horizontal accuracy of a position event, in metres; 0 for a null event.
double geolocation_event_get_accuracy(bps_event_t *event);

#ifdef __cplusplus
}
#endif
