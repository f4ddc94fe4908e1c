// The search record.
#include "record.h"

SearchRecord search;
