// A chess clock for two sides: base time and increment, one side's time running at once. It keeps
// time by the performance clock, so a slow page only redraws late, it never counts wrong.

// The clocks offered, by name: minutes + seconds of increment.
export const TIME_CONTROLS = {
    none: null,
    '3+2': { base: 180_000, increment: 2_000 },
    '5+3': { base: 300_000, increment: 3_000 },
    '15+10': { base: 900_000, increment: 10_000 },
};

export class Clock {
    // onTick() after every change and ten times a second while a side's time runs; onFlag(color) once,
    // when the running side's time is over.
    constructor({ base, increment }, { onTick = () => {}, onFlag = () => {} } = {}) {
        this.increment = increment;
        this.left = { w: base, b: base };
        this.running = null; // the side whose time runs
        this.since = 0; // when it started running
        this.onTick = onTick;
        this.onFlag = onFlag;
        this.timer = 0;
    }

    remaining(color) {
        const left = this.left[color] - (this.running === color ? performance.now() - this.since : 0);
        return Math.max(0, left);
    }

    start(color) {
        this.#pause();
        this.running = color;
        this.since = performance.now();
        this.timer = setInterval(() => this.#tick(), 100);
        this.onTick();
    }

    // `color` has moved: its time stops, gains the increment, and the other side's time runs.
    press(color) {
        if (this.running !== color) return;
        this.#pause();
        this.left[color] += this.increment;
        this.start(color === 'w' ? 'b' : 'w');
    }

    stop() {
        this.#pause();
        this.running = null;
        this.onTick();
    }

    // The limits of a search on this clock, as the engine's "go" reads them.
    limits() {
        return {
            wtime: Math.round(this.remaining('w')),
            btime: Math.round(this.remaining('b')),
            winc: this.increment,
            binc: this.increment,
        };
    }

    #pause() {
        clearInterval(this.timer);
        if (this.running) this.left[this.running] = this.remaining(this.running);
        this.since = performance.now();
    }

    #tick() {
        const color = this.running;
        if (color && this.remaining(color) <= 0) {
            this.stop();
            this.left[color] = 0;
            this.onFlag(color);
        }
        this.onTick();
    }
}

// 4:05, and tenths under ten seconds: 0:07.3.
export function formatTime(ms) {
    const tenths = Math.floor(ms / 100);
    const seconds = Math.floor(tenths / 10);
    const text = `${Math.floor(seconds / 60)}:${String(seconds % 60).padStart(2, '0')}`;
    return seconds < 10 ? `${text}.${tenths % 10}` : text;
}
