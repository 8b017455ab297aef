#include "KEOPointOfInterest.h"

// Zeros rather than indeterminate values: the reader assigns all four before storing.
KEOPointOfInterest::KEOPointOfInterest() : latitude(0.0), longitude(0.0), radius(0.0) {}

KEOPointOfInterest::~KEOPointOfInterest() {}
