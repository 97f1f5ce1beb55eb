// Compiled by a test as a file of the observation-data layer: it reaches
// down into the astronomy layer, which the data layer may use.
#include "astro/astro.h"
