#pragma once
// Desktop stand-in: the process's locale (for example "en_US") unless a test set one.
#include <bps/bps.h>
#ifdef __cplusplus
extern "C" {
#endif

// Sets *locale to a new text to be released with bps_free; returns BPS_SUCCESS, or
// BPS_FAILURE leaving *locale untouched.
int locale_get_locale(char **locale);

#ifdef __cplusplus
}
#endif
