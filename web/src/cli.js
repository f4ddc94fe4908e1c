#!/usr/bin/env node
// npx vireo-chess: the WebAssembly engine as a UCI program on standard input and output, for any
// interface or script with Node where no native build of Vireo runs. Lines go to the engine as they
// come, so "stop", "isready" and "quit" end a search at once; the end of input is passed on as the
// end of the engine's input, so that `echo "go depth 12" | npx vireo-chess` finishes its search.
import { createInterface } from 'node:readline';
import { Worker } from 'node:worker_threads';
import { workerArguments } from './vireo.node.js';

const worker = new Worker(new URL('./vireo.node-worker.js', import.meta.url), { execArgv: workerArguments() });
worker.on('message', (message) => {
    if (typeof message === 'string') process.stdout.write(message + '\n');
    else if (message?.type === 'error') process.stderr.write(message.message + '\n');
});
worker.on('error', (error) => {
    process.stderr.write(`vireo-chess: ${error.message}\n`);
    process.exit(1);
});
worker.on('exit', (code) => {
    process.exitCode = code;
    process.stdin.destroy();
});

const input = createInterface({ input: process.stdin, crlfDelay: Infinity });
input.on('line', (line) => worker.postMessage(line));
input.on('close', () => worker.postMessage({ type: 'end' }));
