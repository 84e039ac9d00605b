// What the platform's filter mapper is told about the filter: name, merit, its one pin.
#pragma once

#include "baseclasses/AMovieSetup.h"

namespace filter {

extern const AMOVIESETUP_FILTER kFilterSetup;

}  // namespace filter
