// Standard input in the browser, where the engine runs in a Web Worker and every message posted to
// the worker is one input line. The worker keeps the lines it receives in Module.vireoInput
// ({lines: [], wake: null, ended: false, idle: null, pause}, set before the engine starts, so that no line
// posted early is lost). `ended` is set when the input has ended (Node's command-line entry at the
// end of its standard input); a browser's input never ends. `idle` is called once the engine has
// settled down to wait for a line, when the worker may call into it between commands.
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

EM_JS(int, inputEnded, (), { return Module['vireoInput'].ended ? 1 : 0; });

// Suspends the engine until the worker has received a line or the input has ended. The idle call
// comes after the suspension has unwound the engine's stack.
EM_ASYNC_JS(void, waitForLine, (), {
    const input = Module['vireoInput'];
    if (input.lines.length > 0 || input.ended) return;
    if (input.idle) Promise.resolve().then(input.idle);
    await new Promise(resolve => { input.wake = resolve; });
    input.wake = null;
});

// Lets the worker's message queue run once. A message sent to ourselves through a MessageChannel
// comes back after the messages already queued, in some microseconds; a zero-delay timer
// (emscripten_sleep(0)) would be clamped to about 4 ms and cost a search a third of its time.
// A Node worker thread gives its own way (vireoInput.pause, setImmediate there): Node delivers up to
// a thousand messages of one port before it looks at another, so the channel would keep "stop"
// waiting for seconds.
EM_ASYNC_JS(void, yieldToMessages, (), {
    const input = Module['vireoInput'];
    if (input.pause) {
        await input.pause();
        return;
    }
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

// A page's worker input never ends (the page terminates the worker); Node's command-line entry ends
// it with its own standard input.
bool standardInputReadable() { return bytesReceived() || inputEnded(); }

void detachStandardInput() {}
#endif
