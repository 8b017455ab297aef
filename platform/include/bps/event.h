#pragma once
#include <bps/bps.h>
