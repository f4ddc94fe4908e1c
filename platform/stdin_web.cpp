// Standard input in the browser, where the engine runs in a Web Worker and every message posted to
// the worker is one input line. The worker keeps the lines it receives in Module.vireoInput
// ({lines: [], wake: null}, set before the engine starts, so that no line posted early is lost).
// One thread serves both the engine and the worker's message queue: reading a line suspends the
// engine (Asyncify) until a message has come, and the waiting-input test of the search yields to the
// worker's message queue before it looks, so that a line posted during a search is seen there.
#if defined(__EMSCRIPTEN__)
#include <emscripten.h>
#include "stdin.h"

namespace {
// The bodies below are JavaScript, which clang-format would take for C++.
// clang-format off

// Copies up to `size` bytes of the lines received so far into `buffer`, each line ending in "\n".
// The bytes of a line that did not fit stay for the next call.
EM_JS(size_t, takeReceivedBytes, (char* buffer, size_t size), {
    const input = Module['vireoInput'];
    if (!input.bytes || input.bytes.length == 0) {
        if (input.lines.length == 0) return 0;
        input.bytes = new TextEncoder().encode(input.lines.join('\n') + '\n');
        input.lines.length = 0;
    }
    const n = Math.min(size, input.bytes.length);
    HEAPU8.set(input.bytes.subarray(0, n), buffer);
    input.bytes = input.bytes.subarray(n);
    return n;
});

EM_JS(int, bytesReceived, (), {
    const input = Module['vireoInput'];
    return input.lines.length > 0 || (input.bytes && input.bytes.length > 0);
});

// Suspends the engine until the worker has received a line.
EM_ASYNC_JS(void, waitForLine, (), {
    const input = Module['vireoInput'];
    if (input.lines.length > 0) return;
    await new Promise(resolve => { input.wake = resolve; });
    input.wake = null;
});

// Lets the worker's message queue run once. A message sent to ourselves through a MessageChannel
// comes back after the messages already queued, in some microseconds; a zero-delay timer
// (emscripten_sleep(0)) would be clamped to about 4 ms and cost a search a third of its time.
EM_ASYNC_JS(void, yieldToMessages, (), {
    let channel = Module['vireoYield'];
    if (!channel) {
        channel = Module['vireoYield'] = new MessageChannel();
        channel.resolve = null;
        channel.port1.onmessage = () => channel.resolve();
    }
    await new Promise(resolve => {
        channel.resolve = resolve;
        channel.port2.postMessage(0);
    });
});
// clang-format on
} // namespace

// Output goes line by line to the worker's print hook, which posts each line at once.
void setUpConsole() {}

size_t readStandardInput(char* buffer, size_t size) {
    if (!bytesReceived()) waitForLine();
    return takeReceivedBytes(buffer, size);
}

// Yielding is not waiting for input: the queue runs what has arrived and hands control back.
bool standardInputWaiting() {
    yieldToMessages();
    return bytesReceived();
}

// A worker's input never ends: the page ends it by terminating the worker.
bool standardInputReadable() { return bytesReceived(); }

void detachStandardInput() {}
#endif
