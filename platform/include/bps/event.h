#pragma once
/// \file
/// Desktop stand-in for the platform's event header: the event type lives in bps/bps.h.
#include <bps/bps.h>
