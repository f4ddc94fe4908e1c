// Standard input through the engine's own buffer, so it always knows whether a line is waiting.
#pragma once

constexpr int INPUT_SIZE = 8192;
extern char input[INPUT_SIZE];

// Fills `input` with the next command line, blanks folded; returns false at end of input
// when nothing was read.
bool readCommand();

// True when unread bytes wait in the engine's buffer or on descriptor 0.
bool inputWaiting();

// True when standard input has ended: nothing is buffered and a read returns end of file.
// Never waits; any bytes it finds stay buffered for readCommand.
bool inputEnded();
