// The engine inside its worker, the same in a browser's Web Worker and in a Node worker thread: each
// string received is one input line, each line the engine prints goes out as one string. Objects
// are the package's own requests: { type: 'end' } ends the input (as a closed standard input does),
// { type: 'explain', id, fen } asks for the evaluation's breakdown, answered with { type: 'explain',
// id, result }. The worker says { type: 'loaded' } first, failures go out as { type: 'error',
// message }, the end of the engine as { type: 'exit', status }.
//
// Those objects go only to a client that has said { type: 'hello' } (the package's API): a page that
// speaks UCI to the worker gets nothing but lines, and a failure as the worker's error event.
//
// Lines are queued from the first moment, so none posted while the engine loads is lost. The engine
// reads them in its command loop (suspended while it waits, see platform/stdin_web.cpp); a breakdown
// is made only while that loop waits for input, never in the middle of a command or a search.
export function hostEngine({ createVireo, instantiate, post, close, pause }) {
    const input = { lines: [], wake: null, ended: false, idle: null, pause };
    const explanations = [];
    let engine = null;
    let client = false;

    const wake = () => {
        if (input.wake) input.wake();
    };
    const waiting = () => engine && input.wake && input.lines.length === 0 && !input.ended;
    input.idle = () => {
        while (explanations.length && waiting()) {
            const { id, fen } = explanations.shift();
            post({ type: 'explain', id, result: explain(engine, String(fen)) });
        }
    };

    const receive = (message) => {
        if (typeof message === 'string') {
            input.lines.push(message);
            wake();
        } else if (message?.type === 'end') {
            input.ended = true;
            wake();
        } else if (message?.type === 'hello') {
            client = true;
            post({ type: 'loaded' });
        } else if (message?.type === 'explain') {
            explanations.push(message);
            if (waiting()) input.idle();
        }
    };

    const fail = (error) => {
        if (!client) {
            // Thrown outside the promise, so that it reaches the page as the worker's error event.
            setTimeout(() => {
                throw error;
            });
            return;
        }
        post({ type: 'error', message: error?.message ?? String(error) });
        close(1);
    };

    createVireo({
        vireoInput: input,
        noInitialRun: true,
        print: (line) => post(line),
        printErr: (line) => console.warn(line),
        // The WebAssembly comes through the host's own loader, which names what went wrong.
        instantiateWasm(imports, receiveInstance) {
            instantiate(imports).then(({ instance, module }) => receiveInstance(instance, module), fail);
            return {};
        },
    }).then((created) => {
        engine = created;
        const exit = (status) => {
            if (client) post({ type: 'exit', status });
            close(status);
        };
        // main runs the command loop, suspended whenever it waits for a line. It settles only when it
        // really ends: at "quit" or the end of input, through exit() (a rejection with the
        // ExitStatus). Any other end is a fault.
        return engine.ccall('main', 'number', ['number', 'number'], [0, 0], { async: true }).then(
            (status) => exit(status),
            (error) => (error?.name === 'ExitStatus' ? exit(error.status) : fail(error)),
        );
    }, fail);

    return receive;
}

// The host in a browser's module worker: the page's messages in, the engine's lines and reports out.
export function hostInWebWorker(createVireo, instantiate) {
    const receive = hostEngine({
        createVireo,
        instantiate,
        post: (message) => self.postMessage(message),
        close: () => self.close(),
    });
    self.onmessage = (event) => receive(event.data);
}

// The breakdown of the static evaluation, by the engine's own code. Called straight, not through
// ccall: ccall would take the suspended command loop for a suspension of this call.
function explain(engine, fen) {
    const bytes = new TextEncoder().encode(fen);
    const text = engine._malloc(bytes.length + 1);
    engine.HEAPU8.set(bytes, text);
    engine.HEAPU8[text + bytes.length] = 0;
    try {
        const answer = engine._vireoExplain(text);
        let end = answer;
        while (engine.HEAPU8[end]) end++;
        return JSON.parse(new TextDecoder().decode(engine.HEAPU8.subarray(answer, end)));
    } catch (error) {
        return { error: `the breakdown failed: ${error.message}` };
    } finally {
        engine._free(text);
    }
}
