#include "KEOMediaState.h"

// The engine fills the plain fields event by event; fixed starting values keep the ones it
// leaves unset readable.
KEOMediaState::KEOMediaState()
    : ad(false), clicked(false), length(0.0), eventFirstTime(false), offset(0.0), percent(0.0),
      timePlayed(0.0), milestone(0.0), offsetMilestone(0.0), segmentNum(0), segmentLength(0.0),
      complete(false) {}

KEOMediaState::~KEOMediaState() {}
