#pragma once
// Desktop stand-in for the platform's base services.
#ifdef __cplusplus
extern "C" {
#endif

#define BPS_SUCCESS 0
#define BPS_FAILURE (-1)

typedef struct bps_event_t bps_event_t;

// Releases memory handed out by a platform call; null is allowed.
void bps_free(void *ptr);

// Domain and code of an event; both 0 for a null event.
int bps_event_get_domain(bps_event_t *event);
unsigned int bps_event_get_code(bps_event_t *event);

#ifdef __cplusplus
}
#endif
