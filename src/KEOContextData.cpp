#include "KEOContextData.h"

KEOContextData::KEOContextData() {}

KEOContextData::~KEOContextData() {}
