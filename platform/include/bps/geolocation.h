#pragma once
// Desktop stand-in for geolocation events. Events are made by
// desktop::makeGeolocationEvent() and desktop::makeEvent().
#include <bps/bps.h>
#ifdef __cplusplus
extern "C" {
#endif

enum {
    GEOLOCATION_INFO = 0x01,
    GEOLOCATION_CANCEL = 0x02,
    GEOLOCATION_ERROR = 0x03,
};

int geolocation_get_domain(void);
double geolocation_event_get_latitude(bps_event_t *event);
double geolocation_event_get_longitude(bps_event_t *event);
double geolocation_event_get_accuracy(bps_event_t *event);

#ifdef __cplusplus
}
#endif
