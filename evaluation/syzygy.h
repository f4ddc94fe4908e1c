// The lifecycle of the Syzygy tables: loaded from the "SyzygyPath" option, released at the end.
#pragma once

// (Re)loads the Syzygy tables of a directory and reports the result; "<empty>" switches them off.
void initSyzygy(const char* path);
// Releases the tables when the engine quits; no initSyzygy may follow.
void freeSyzygy();
