// Turning a "go" line into the limits of the search record.
#pragma once

// Fills limit, depth, reserve and movetime of `search` from the line, for the position at curr_ply.
void setLimits(const char* line);
