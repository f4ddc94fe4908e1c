// Standard input is read through our own buffer: the search can then tell whether a line is
// waiting by looking at the buffer and asking the system, without reading it.
#include <cstdio>
#include "input.h"
#include "../../platform/stdin.h"

char input[INPUT_SIZE];

namespace {
char buffer[1 << 16];
size_t buffer_pos = 0, buffer_len = 0;
bool end_of_input = false;

int nextByte() {
    if (buffer_pos < buffer_len) return (unsigned char)buffer[buffer_pos++];
    if (end_of_input) return EOF;
    size_t n = readStandardInput(buffer, sizeof buffer);
    if (n == 0) {
        end_of_input = true;
        return EOF;
    }
    buffer_len = n;
    buffer_pos = 0;
    return (unsigned char)buffer[buffer_pos++];
}

// A CR LF line end reads as one newline.
int nextChar() {
    int c = nextByte();
    if (c == '\r') {
        int after = nextByte();
        if (after == '\n') return '\n';
        if (after != EOF) buffer_pos--;
    }
    return c;
}
} // namespace

bool readCommand() {
    int length = 0, c;
    bool after_blank = true; // blanks at the start of a line are skipped like a repeated blank
    for (;;) {
        c = nextChar();
        if (c == '\n' || c == EOF) break;
        if (c == ' ' || c == '\t') {
            if (after_blank) continue;
            after_blank = true;
            c = ' ';
        } else {
            after_blank = false;
        }
        input[length++] = char(c);
        if (length == INPUT_SIZE - 1) {
            printf("info buffer Warning: input is too long and will be truncated (max = %i bytes)\n", INPUT_SIZE);
            do c = nextChar();
            while (c != '\n' && c != EOF);
            c = '\n';
            break;
        }
    }
    if (length && input[length - 1] == ' ') length--;
    input[length] = 0;
    return !(c == EOF && length == 0);
}

bool inputWaiting() {
    if (buffer_pos < buffer_len) return true;
    if (end_of_input) return false;
    return standardInputWaiting();
}

bool inputEnded() {
    if (buffer_pos < buffer_len) return false;
    if (end_of_input) return true;
    if (!standardInputReadable()) return false; // nothing to read yet: the interface may still write
    // Readable, so this read does not wait: it returns either bytes, kept for readCommand, or the end.
    size_t n = readStandardInput(buffer, sizeof buffer);
    if (n > 0) {
        buffer_len = n;
        buffer_pos = 0;
        return false;
    }
    end_of_input = true;
    return true;
}
