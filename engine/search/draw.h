// The draw by rule that ends a line of the search before anything is generated.
#pragma once

// Two bare kings, the fifty-move rule, or the third occurrence of the position at curr_ply.
bool drawByRule();
