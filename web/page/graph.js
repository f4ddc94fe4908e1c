// The evaluation graph of an analysed game: White's win chance (0 to 100) after every ply, drawn as
// inline SVG with a midline at 50, a mark on each move classified as an inaccuracy, mistake or
// blunder, and the shown ply as a vertical line. A click, or the arrow keys when it has the focus,
// chooses a ply.

const SVG = 'http://www.w3.org/2000/svg';
const HEIGHT = 120;
const PAD = 6; // room for the marks at the top and the bottom
const KIND = { '?!': 'inaccuracy', '?': 'mistake', '??': 'blunder' };

function svg(tag, attributes = {}) {
    const node = document.createElementNS(SVG, tag);
    for (const [name, value] of Object.entries(attributes)) node.setAttribute(name, String(value));
    return node;
}

// container: the element the graph goes in; onSelect(ply) is called for a click or a key.
export function mountGraph(container, { onSelect, label = 'Evaluation graph' } = {}) {
    const root = svg('svg', {
        class: 'eval-graph',
        role: 'slider',
        tabindex: 0,
        'aria-label': `${label}: White's win chance after each move`,
        'aria-valuemin': 0,
        preserveAspectRatio: 'none',
    });
    root.hidden = true;
    container.append(root);
    let state = { wins: [], marks: [], ply: 0, names: [] };

    const width = () => Math.max(200, Math.round(root.getBoundingClientRect().width) || 600);
    const last = () => state.wins.length - 1;
    const xOf = (ply, w) => (last() > 0 ? (ply / last()) * w : 0);
    const yOf = (win) => PAD + ((100 - win) / 100) * (HEIGHT - 2 * PAD);

    function draw() {
        root.replaceChildren();
        const plies = last();
        root.hidden = plies < 1;
        if (plies < 1) return;
        const w = width();
        root.setAttribute('viewBox', `0 0 ${w} ${HEIGHT}`);
        root.setAttribute('aria-valuemax', plies);
        root.append(svg('rect', { class: 'graph-black', x: 0, y: 0, width: w, height: HEIGHT }));
        // Positions not evaluated (an analysis cancelled half way) leave the line where it stopped.
        const known = state.wins.map((win, ply) => [ply, win]).filter(([, win]) => Number.isFinite(win));
        const points = known.map(([ply, win]) => `${xOf(ply, w).toFixed(1)},${yOf(win).toFixed(1)}`);
        if (known.length) {
            const first = xOf(known[0][0], w).toFixed(1);
            const end = xOf(known.at(-1)[0], w).toFixed(1);
            root.append(
                svg('polygon', {
                    class: 'graph-white',
                    points: `${first},${HEIGHT} ${points.join(' ')} ${end},${HEIGHT}`,
                }),
            );
        }
        root.append(svg('line', { class: 'graph-mid', x1: 0, x2: w, y1: HEIGHT / 2, y2: HEIGHT / 2 }));
        root.append(svg('polyline', { class: 'graph-line', points: points.join(' ') }));
        const cursor = svg('line', { class: 'graph-ply', y1: 0, y2: HEIGHT });
        root.append(cursor);
        for (const { ply, nag } of state.marks) {
            if (!Number.isFinite(state.wins[ply])) continue;
            const mark = svg('circle', {
                class: `graph-mark graph-${KIND[nag]}`,
                cx: xOf(ply, w).toFixed(1),
                cy: yOf(state.wins[ply]).toFixed(1),
                r: 4.5,
                'data-ply': ply,
            });
            const title = svg('title');
            title.textContent = `${state.names[ply] ?? `ply ${ply}`}${nag} (${KIND[nag]})`;
            mark.append(title);
            root.append(mark);
        }
        place();
    }

    // Only the cursor moves when the shown ply changes.
    function place() {
        const cursor = root.querySelector('.graph-ply');
        if (!cursor) return;
        const ply = Math.min(Math.max(state.ply, 0), last());
        const x = xOf(ply, width()).toFixed(1);
        cursor.setAttribute('x1', x);
        cursor.setAttribute('x2', x);
        root.setAttribute('aria-valuenow', ply);
        root.setAttribute('aria-valuetext', ply ? `after ${state.names[ply] ?? `ply ${ply}`}` : 'start position');
    }

    function select(ply) {
        const target = Math.min(Math.max(ply, 0), last());
        if (onSelect) onSelect(target);
    }

    root.addEventListener('click', (event) => {
        const box = root.getBoundingClientRect();
        if (!box.width || last() < 1) return;
        select(Math.round(((event.clientX - box.left) / box.width) * last()));
    });
    root.addEventListener('keydown', (event) => {
        const step = { ArrowLeft: -1, ArrowDown: -1, ArrowRight: 1, ArrowUp: 1, PageUp: -10, PageDown: 10 }[event.key];
        if (step) select(state.ply + step);
        else if (event.key === 'Home') select(0);
        else if (event.key === 'End') select(last());
        else return;
        // The page's own keys step through the game as well: the graph's step is the only one.
        event.preventDefault();
        event.stopPropagation();
    });
    // The drawing is in the element's own pixels, so that the marks stay round: redrawn when it resizes.
    let drawnWidth = 0;
    new ResizeObserver(() => {
        const w = width();
        if (w !== drawnWidth && !root.hidden) {
            drawnWidth = w;
            draw();
        }
    }).observe(root);

    return {
        element: root,
        // wins[ply]: White's win chance after ply (wins[0]: the start), NaN where unknown; marks:
        // [{ ply, nag }]; names[ply]: the move that led to ply ("3... Qg5"); ply: the shown one.
        update({ wins, marks = [], names = [], ply = state.ply }) {
            state = { wins, marks, names, ply };
            draw();
        },
        setPly(ply) {
            state.ply = ply;
            place();
        },
        clear() {
            state = { wins: [], marks: [], ply: 0, names: [] };
            draw();
        },
    };
}
