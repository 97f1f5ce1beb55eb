// Compiled by a test as a file of the observation-data layer: it reaches
// up into the command layer, and the build must refuse it.
#include "command/engine.h"
