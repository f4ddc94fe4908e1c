// The engine in a module worker: each message posted to the worker is one input line, and each line
// the engine prints comes back as one message. The handler is installed before anything is awaited,
// so lines posted while the engine loads are queued for it, never lost.
const input = { lines: [], wake: null };
self.onmessage = (event) => {
    input.lines.push(String(event.data));
    if (input.wake) input.wake();
};

const { default: createVireo } = await import('./vireo-wasm.js');
const engine = await createVireo({
    vireoInput: input,
    noInitialRun: true,
    print: (line) => self.postMessage(line),
    printErr: (line) => console.warn(line),
});
// main runs the command loop, suspended whenever it waits for a line. Called asynchronously, it
// settles only when it really ends: at "quit", through exit() (a rejection with the ExitStatus),
// and then the worker ends too. Any other end is a fault, reported as the worker's error.
try {
    await engine.ccall('main', 'number', ['number', 'number'], [0, 0], { async: true });
} catch (error) {
    if (error?.name !== 'ExitStatus') throw error;
} finally {
    self.close();
}
