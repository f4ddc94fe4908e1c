// The analysis board's engine side: the live evaluation of the shown position (the bar beside the
// board, the score, the depth and the principal variation), the analysis of a whole game (every
// position searched to one depth, each move's loss of win chance classified, the engine's better
// move noted, the evaluation graph and each side's summary), and the annotated PGN to copy or save.
//
// Scores come from the engine from the side to move's point of view; everything shown here is from
// White's. A move's quality is the mover's loss of win chance, in percentage points:
//     10 or more: inaccuracy (?!), 20 or more: mistake (?), 30 or more: blunder (??)
// and never a mark when the move played is the engine's own choice.
import { Chess } from 'chess.js';
import { mountGraph } from './graph.js';
import { element } from './dom.js';

export const THRESHOLDS = [
    { nag: '??', loss: 30, name: 'blunder', plural: 'Blunders' },
    { nag: '?', loss: 20, name: 'mistake', plural: 'Mistakes' },
    { nag: '?!', loss: 10, name: 'inaccuracy', plural: 'Inaccuracies' },
];
export const DEPTHS = [
    { depth: 10, name: 'Fast' },
    { depth: 12, name: 'Normal' },
    { depth: 14, name: 'Deep' },
];
const DEFAULT_DEPTH = 12;
const DEPTH_KEY = 'vireo.analysisDepth';
// Centipawn loss counts at most this much per move, and a mate counts as this much.
const CP_CAP = 1000;
const PV_MOVES = 12;

// White's (or the mover's) chance to win, 0 to 100, from a score in centipawns.
export function winChance(cp) {
    return 50 + 50 * (2 / (1 + Math.exp(-0.00368208 * cp)) - 1);
}

// The accuracy of one move from its loss of win chance, 100 for a loss of nothing.
export function moveAccuracy(loss) {
    return Math.min(100, Math.max(0, 103.1668 * Math.exp(-0.04354 * loss) - 3.1669));
}

// A score from the side to move's view ({ cp } or { mate }) as White's: { cp } or { mate }.
export function whiteScore(score, turn) {
    const sign = turn === 'w' ? 1 : -1;
    if (score?.mate !== undefined) return { mate: score.mate * sign };
    if (score?.cp !== undefined) return { cp: score.cp * sign };
    return null;
}

// "+0.31", "-1.20", "0.00", "#3", "#-2" for a score from White's view.
export function scoreLabel(score) {
    if (!score) return '–';
    if (score.mate !== undefined) return `#${score.mate}`;
    const pawns = score.cp / 100;
    return (pawns > 0 ? '+' : '') + pawns.toFixed(2);
}

// White's win chance for a score from White's view; a mate is certain.
export function whiteWin(score) {
    if (!score) return NaN;
    if (score.mate !== undefined) return score.mate > 0 ? 100 : 0;
    return winChance(score.cp);
}

// White's centipawns of an evaluation for the average loss: a mate (found or on the board) counts
// as CP_CAP, and no score counts for more.
// The bar's own short label: "0.3", "8.7", "12", "M3"; the side is where it stands on the bar.
function barText(label) {
    if (/^#-?\d+$/.test(label)) return `M${Math.abs(Number(label.slice(1)))}`;
    if (!/^[+-]?\d+\.\d+$/.test(label)) return label;
    const pawns = Math.abs(Number(label));
    return pawns >= 9.95 ? pawns.toFixed(0) : pawns.toFixed(1);
}

function cappedCp(evaluation) {
    if (!evaluation.score) return ((evaluation.win - 50) / 50) * CP_CAP;
    if (evaluation.score.mate !== undefined) return evaluation.score.mate > 0 ? CP_CAP : -CP_CAP;
    return Math.max(-CP_CAP, Math.min(CP_CAP, evaluation.score.cp));
}

// The principal variation in standard notation with move numbers ("3... Nf6 4. Qxf7#"), as far as
// its moves are legal in the position.
export function variationText(fen, pv, limit = PV_MOVES) {
    let line;
    try {
        line = new Chess(fen);
    } catch {
        return '';
    }
    const words = [];
    for (const uci of pv.slice(0, limit)) {
        const number = line.moveNumber();
        const white = line.turn() === 'w';
        let move;
        try {
            move = line.move({ from: uci.slice(0, 2), to: uci.slice(2, 4), promotion: uci[4] });
        } catch {
            break;
        }
        if (white) words.push(`${number}.`);
        else if (words.length === 0) words.push(`${number}...`);
        words.push(move.san);
    }
    return words.join(' ');
}

// The move that led to each ply as it is named in a game's text: "1. e4", "1... e5".
export function moveNames(moves) {
    return [null, ...moves.map((m) => `${m.moveNumber}${m.color === 'w' ? '.' : '...'} ${m.san}`)];
}

// A position that needs no search: { win (White's), result } for a mate or a draw on the board,
// null otherwise.
function settled(fen) {
    const position = new Chess(fen);
    if (position.isCheckmate())
        return position.turn() === 'w' ? { win: 0, result: '0-1' } : { win: 100, result: '1-0' };
    if (position.isStalemate() || position.isInsufficientMaterial()) return { win: 50, result: '½-½' };
    return null;
}

// Classifies every move of a game from the evaluations of its positions: evals[ply] = { score
// (White's view; none for a mate or a draw on the board), win (White's win chance), best (uci),
// bestSan } or null when that position was not evaluated.
export function classify(moves, evals) {
    const sides = {
        w: { losses: [], cpLosses: [], counts: { '?!': 0, '?': 0, '??': 0 } },
        b: { losses: [], cpLosses: [], counts: { '?!': 0, '?': 0, '??': 0 } },
    };
    const verdicts = moves.map((move, i) => {
        const before = evals[i];
        const after = evals[i + 1];
        if (!before || !after) return null;
        const sign = move.color === 'w' ? 1 : -1;
        const mover = (evaluation) => (move.color === 'w' ? evaluation.win : 100 - evaluation.win);
        const loss = Math.max(0, mover(before) - mover(after));
        const cpLoss = Math.max(0, sign * (cappedCp(before) - cappedCp(after)));
        const side = sides[move.color];
        side.losses.push(loss);
        side.cpLosses.push(cpLoss);
        const verdict = { loss, cpLoss };
        if (before.best && before.best !== move.uci) {
            const threshold = THRESHOLDS.find((t) => loss >= t.loss);
            if (threshold) {
                verdict.nag = threshold.nag;
                verdict.best = before.bestSan;
                side.counts[threshold.nag]++;
            }
        }
        return verdict;
    });
    const summary = {};
    for (const [color, side] of Object.entries(sides)) {
        const mean = (list) => (list.length ? list.reduce((a, b) => a + b, 0) / list.length : NaN);
        summary[color] = {
            ...side.counts,
            moves: side.losses.length,
            acpl: mean(side.cpLosses),
            accuracy: mean(side.losses.map(moveAccuracy)),
        };
    }
    return { verdicts, summary };
}

// The annotations game.js keeps for the moves: the evaluation after each move (White's view), and
// the classification with the better move where there is one.
export function annotationsOf(moves, evals, verdicts) {
    return moves.map((move, i) => {
        const after = evals[i + 1];
        if (!after) return undefined;
        const note = {};
        if (after.score) Object.assign(note, after.score);
        else if (after.result === '½-½') note.cp = 0;
        const verdict = verdicts[i];
        if (verdict?.nag) {
            note.nag = verdict.nag;
            if (verdict.best) note.best = verdict.best;
        }
        return Object.keys(note).length ? note : undefined;
    });
}

// Runs tasks that need the engine's command loop to be waiting (its evaluation breakdown) between
// the live searches of a mounted analysis; straight away where none is mounted.
const idleGates = new WeakMap();
export function whenEngineIdle(engine, task) {
    const gate = idleGates.get(engine);
    return gate ? gate(task) : task();
}

const delay = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

function storedDepth() {
    try {
        const depth = Number(localStorage.getItem(DEPTH_KEY));
        return DEPTHS.some((d) => d.depth === depth) ? depth : DEFAULT_DEPTH;
    } catch {
        return DEFAULT_DEPTH;
    }
}

function linkStyle() {
    const href = new URL('./analysis.css', import.meta.url).href;
    if ([...document.querySelectorAll('link[rel=stylesheet]')].some((link) => link.href === href)) return;
    document.head.append(element('link', { rel: 'stylesheet', href }));
}

export function mountAnalysis({ panel, evalBar, game, engine, isActive }) {
    linkStyle();
    let active = isActive ? Boolean(isActive()) : true;
    let paused = false; // the person stopped the live search
    const allowed = () => active && (!isActive || isActive());

    // The live line.
    const toggle = element('button', { type: 'button', id: 'analysis-toggle', className: 'analysis-toggle' }, 'Stop');
    const score = element(
        'span',
        { id: 'analysis-score', className: 'analysis-score', title: "score from White's side" },
        '–',
    );
    const depth = element('span', { id: 'analysis-depth', className: 'analysis-depth' });
    const pv = element('div', { id: 'analysis-pv', className: 'analysis-pv' });
    const live = element('div', { className: 'analysis-live', 'aria-live': 'off' }, toggle, score, depth, pv);

    // The game's analysis.
    const depthChoice = element(
        'select',
        { id: 'analysis-depth-choice' },
        ...DEPTHS.map(({ depth: d, name }) => element('option', { value: d }, `${name} (depth ${d})`)),
    );
    depthChoice.value = String(storedDepth());
    const start = element('button', { type: 'button', id: 'analysis-start' }, 'Analyse game');
    const cancel = element('button', { type: 'button', id: 'analysis-cancel', hidden: true }, 'Cancel');
    const progress = element('progress', { id: 'analysis-progress', max: 1, value: 0, hidden: true });
    const status = element('span', { id: 'analysis-status', role: 'status' });
    const controls = element(
        'div',
        { className: 'analysis-controls' },
        element('label', {}, 'Depth ', depthChoice),
        start,
        cancel,
        progress,
        status,
    );
    const graphBox = element('div', { className: 'analysis-graph' });
    const summary = element('div', { id: 'analysis-summary', className: 'analysis-summary', hidden: true });
    const copy = element('button', { type: 'button', id: 'analysis-copy' }, 'Copy annotated PGN');
    const save = element('button', { type: 'button', id: 'analysis-save' }, 'Save PGN');
    const saved = element('span', { className: 'analysis-saved', role: 'status' });
    const files = element('div', { className: 'analysis-files' }, copy, save, saved);
    panel.replaceChildren(live, controls, graphBox, summary, files);

    // The bar: White's share from the bottom (or the left, when the bar lies flat).
    const barWhite = element('div', { className: 'evalbar-white' });
    const barLabel = element('span', { className: 'evalbar-label' });
    evalBar.replaceChildren(barWhite, barLabel);
    evalBar.classList.add('evalbar');
    evalBar.setAttribute('role', 'meter');
    evalBar.setAttribute('aria-label', "White's win chance");
    evalBar.setAttribute('aria-valuemin', '0');
    evalBar.setAttribute('aria-valuemax', '100');

    const graph = mountGraph(graphBox, { onSelect: (ply) => game.goTo(ply) });

    function showBar(win, label) {
        const share = Number.isFinite(win) ? win : 50;
        const lying = evalBar.clientWidth > evalBar.clientHeight;
        evalBar.dataset.lying = String(lying);
        // A bar thinner than its label leaves the number to the panel.
        barLabel.hidden = (lying ? evalBar.clientHeight : evalBar.clientWidth) < 16;
        evalBar.style.setProperty('--white-share', `${share.toFixed(1)}%`);
        evalBar.setAttribute('aria-valuenow', share.toFixed(0));
        evalBar.setAttribute('aria-valuetext', label || 'no evaluation');
        barLabel.textContent = barText(label);
        barLabel.dataset.side = share >= 50 ? 'w' : 'b';
    }

    function showScore(white, depthText = '', pvText = '') {
        const label = white ? scoreLabel(white) : '–';
        score.textContent = label;
        depth.textContent = depthText;
        pv.textContent = pvText;
        showBar(white ? whiteWin(white) : NaN, white ? label : '');
    }

    function showSettled(result) {
        score.textContent = result.result;
        depth.textContent = result.result === '½-½' ? 'draw' : 'checkmate';
        pv.textContent = '';
        showBar(result.win, result.result);
    }

    // ---- live search ----
    let liveToken = 0; // a new one for every position, start and stop; older results are stale
    let liveSearch = null; // the live search's promise while it is under way
    const idleTasks = [];
    let job = null; // the game's analysis under way: { cancelled }

    // Ends the live search; a refresh overtaken by a newer one leaves the stopping to that one.
    async function stopLive(token) {
        while (liveSearch && (token === undefined || token === liveToken)) {
            const search = liveSearch;
            Promise.resolve(engine.stop()).catch(() => {});
            // A search queued behind another one has not started yet: stop again until it has ended.
            await Promise.race([
                search.then(
                    () => {},
                    () => {},
                ),
                delay(250),
            ]);
        }
    }

    function startLive(token, fen) {
        const turn = fen.split(' ')[1];
        const search = engine.search(
            { fen },
            { infinite: true },
            {
                onInfo: (info) => {
                    if (token !== liveToken || !info.score) return;
                    showScore(
                        whiteScore(info.score, turn),
                        `depth ${info.depth ?? '?'}`,
                        variationText(fen, info.pv ?? []),
                    );
                },
            },
        );
        liveSearch = search;
        const finished = () => {
            if (liveSearch === search) liveSearch = null;
        };
        search.then(finished, finished);
    }

    // Brings the live view up to the shown position: the search under way ends first, the tasks
    // waiting for an idle engine run, then a new search starts if one should.
    let shownFen = null; // the position the live line describes
    function refresh() {
        const token = ++liveToken;
        // The button answers at once; the search under way may take a moment to stop.
        toggle.textContent = paused ? 'Start' : 'Stop';
        return (async () => {
            await stopLive(token);
            while (idleTasks.length) await idleTasks.shift()();
            if (token !== liveToken) return;
            const fen = game.fen;
            const known = stored(game.ply);
            toggle.disabled = !allowed() || Boolean(job);
            panel.dataset.active = String(allowed());
            start.disabled = !allowed() || Boolean(job);
            const over = settled(fen);
            if (over) {
                shownFen = fen;
                return showSettled(over);
            }
            if (!allowed()) {
                shownFen = null;
                return showScore(null);
            }
            // A stopped search leaves its last line; a new position starts from what the game's
            // analysis knows of it.
            if (fen !== shownFen) {
                shownFen = fen;
                if (known?.score) showScore(known.score, `depth ${known.depth}`, variationText(fen, known.pv ?? []));
                else showScore(null);
            }
            if (paused || job) return;
            startLive(token, fen);
        })();
    }

    idleGates.set(
        engine,
        (task) =>
            new Promise((resolve, reject) => {
                idleTasks.push(() => task().then(resolve, reject));
                if (!liveSearch) {
                    // Nothing of ours holds the engine: the task runs now (or after a search of the game's
                    // analysis, which the engine ends on its own).
                    const next = idleTasks.shift();
                    if (next) next();
                    return;
                }
                refresh();
            }),
    );

    toggle.addEventListener('click', () => {
        paused = !paused;
        refresh();
    });

    // ---- the game's analysis ----
    let analysis = null; // { startFen, moves (uci), evals, verdicts, summary, depth }

    // The analysed evaluation of a ply of the game shown, if the game still has the same moves there.
    function stored(ply) {
        if (!analysis || analysis.startFen !== game.startFen) return null;
        for (let i = 0; i < ply; i++) if (analysis.moves[i] !== game.moves[i]?.uci) return null;
        return analysis.evals[ply] ?? null;
    }

    async function evaluate(moves, ply, searchDepth) {
        const fen = game.fenAt(ply);
        const over = settled(fen);
        if (over) return { ...over, depth: 0 };
        const turn = fen.split(' ')[1];
        // The moves from the start go with the position, so that the engine knows its repetitions.
        const result = await engine.search({ fen: game.startFen, moves: moves.slice(0, ply) }, { depth: searchDepth });
        const white = result.info?.score ? whiteScore(result.info.score, turn) : null;
        if (!white) return null;
        const best = result.bestmove && result.bestmove !== '0000' ? result.bestmove : null;
        return {
            score: white,
            win: whiteWin(white),
            best,
            bestSan: best ? variationText(fen, [best]).replace(/^\d+\.+ /, '') : null,
            pv: result.info.pv ?? [],
            depth: result.info.depth,
        };
    }

    async function analyseGame(options = {}) {
        if (!allowed()) return null;
        if (job) await cancelJob();
        const searchDepth = Number(options.depth ?? depthChoice.value) || DEFAULT_DEPTH;
        const run = { cancelled: false };
        job = run;
        liveToken++;
        start.disabled = true;
        toggle.disabled = true;
        cancel.hidden = false;
        progress.hidden = false;
        await stopLive();
        const moves = game.moves.map((m) => m.uci);
        const record = { startFen: game.startFen, moves, evals: [], verdicts: [], summary: null, depth: searchDepth };
        analysis = record;
        game.clearAnnotations();
        const total = moves.length + 1;
        progress.max = total;
        let failure = null;
        try {
            for (let ply = 0; ply < total && !run.cancelled; ply++) {
                progress.value = ply;
                status.textContent = `Analysing position ${ply + 1} of ${total} (depth ${searchDepth})…`;
                const evaluation = await evaluate(moves, ply, searchDepth);
                if (run.cancelled) break;
                record.evals[ply] = evaluation;
                if (ply === game.ply) refreshShownFromRecord();
                publish(record, false);
            }
        } catch (error) {
            // The engine has ended: what was evaluated stays shown.
            failure = error;
            run.cancelled = true;
        }
        const complete = !run.cancelled;
        if (job === run) job = null;
        cancel.hidden = true;
        progress.hidden = true;
        if (analysis === record) {
            publish(record, true);
            status.textContent = complete
                ? `Analysed at depth ${searchDepth}.`
                : failure
                  ? `The analysis stopped: ${failure.message}`
                  : 'Analysis cancelled.';
        }
        refresh();
        return complete && analysis === record ? result(record) : null;
    }

    function refreshShownFromRecord() {
        const known = stored(game.ply);
        if (known?.score) showScore(known.score, `depth ${known.depth}`, variationText(game.fen, known.pv ?? []));
    }

    function result(record) {
        return {
            evals: record.evals,
            verdicts: record.verdicts,
            summary: record.summary,
            annotations: game.annotations,
        };
    }

    // Classifies what has been evaluated and shows it: the graph always, the marks in the move list
    // and the summary once the analysis has ended.
    function publish(record, final) {
        const names = moveNames(game.moves);
        const { verdicts, summary: sides } = classify(game.moves.slice(0, record.moves.length), record.evals);
        record.verdicts = verdicts;
        record.summary = sides;
        const wins = record.evals.map((evaluation) => evaluation?.win ?? NaN);
        while (wins.length < record.moves.length + 1) wins.push(NaN);
        const marks = verdicts.flatMap((v, i) => (v?.nag ? [{ ply: i + 1, nag: v.nag }] : []));
        graph.update({ wins, marks, names, ply: game.ply });
        if (!final) return;
        game.annotate(annotationsOf(game.moves.slice(0, record.moves.length), record.evals, verdicts));
        showSummary(sides, verdicts, names);
    }

    function showSummary(sides, verdicts, names) {
        const who = (color) => {
            const name = game.headers?.[color === 'w' ? 'White' : 'Black'];
            return name && name !== '?' ? name : color === 'w' ? 'White' : 'Black';
        };
        const cell = (color, kind, text) => element('td', { dataset: { side: color, kind } }, text);
        const rows = THRESHOLDS.slice()
            .reverse()
            .map(({ nag, plural, name }) =>
                element(
                    'tr',
                    {},
                    element('th', { scope: 'row' }, `${plural} (${nag})`),
                    cell('w', name, String(sides.w[nag])),
                    cell('b', name, String(sides.b[nag])),
                ),
            );
        const number = (value, digits) => (Number.isFinite(value) ? value.toFixed(digits) : '–');
        rows.push(
            element(
                'tr',
                {},
                element('th', { scope: 'row', title: 'average centipawn loss' }, 'Average loss (cp)'),
                cell('w', 'acpl', number(sides.w.acpl, 0)),
                cell('b', 'acpl', number(sides.b.acpl, 0)),
            ),
        );
        rows.push(
            element(
                'tr',
                {},
                element('th', { scope: 'row' }, 'Accuracy (%)'),
                cell('w', 'accuracy', number(sides.w.accuracy, 1)),
                cell('b', 'accuracy', number(sides.b.accuracy, 1)),
            ),
        );
        const table = element(
            'table',
            {},
            element(
                'thead',
                {},
                element(
                    'tr',
                    {},
                    element('td'),
                    element('th', { scope: 'col', title: who('w') }, who('w')),
                    element('th', { scope: 'col', title: who('b') }, who('b')),
                ),
            ),
            element('tbody', {}, ...rows),
        );
        // The marked moves, each a way to its position.
        const moments = element('ul', { className: 'analysis-moments' });
        verdicts.forEach((verdict, i) => {
            if (!verdict?.nag) return;
            const button = element(
                'button',
                { type: 'button', dataset: { ply: i + 1, nag: verdict.nag } },
                `${names[i + 1]}${verdict.nag}`,
            );
            button.addEventListener('click', () => game.goTo(i + 1));
            const better = verdict.best
                ? element('span', { className: 'analysis-better' }, ` better was ${verdict.best}`)
                : '';
            moments.append(element('li', {}, button, better));
        });
        const note = element(
            'p',
            { className: 'analysis-note' },
            "Marks by the mover's loss of win chance: ?! 10 points or more, ? 20, ?? 30.",
        );
        summary.replaceChildren(table, moments.children.length ? moments : '', note);
        // A position without moves has nothing to sum up.
        summary.hidden = verdicts.length === 0;
    }

    function clearAnalysis() {
        analysis = null;
        graph.clear();
        summary.hidden = true;
        summary.replaceChildren();
        status.textContent = '';
    }

    async function cancelJob() {
        const run = job;
        if (!run) return;
        run.cancelled = true;
        job = null;
        // An engine that has ended stops nothing; the analysis's own search reports that.
        await Promise.resolve(engine.stop()).catch(() => {});
    }

    start.addEventListener('click', () => analyseGame());
    cancel.addEventListener('click', () => cancelJob());
    depthChoice.addEventListener('change', () => {
        try {
            localStorage.setItem(DEPTH_KEY, depthChoice.value);
        } catch {
            // A private window may keep nothing: the choice lasts for this page.
        }
    });

    // ---- the annotated PGN ----
    function pgnText() {
        return game.pgn({ annotations: true });
    }
    function fileName() {
        const names = [game.headers?.White, game.headers?.Black].filter((n) => n && n !== '?');
        const base = names
            .join('-')
            .replace(/[^\p{L}\p{N}._-]+/gu, '_')
            .slice(0, 60);
        return `${base || 'game'}.pgn`;
    }
    function flash(text) {
        saved.textContent = text;
        setTimeout(() => {
            if (saved.textContent === text) saved.textContent = '';
        }, 3000);
    }
    // The clipboard API exists only on secure pages (https, localhost); elsewhere, such as a phone
    // reaching a computer on the local network, a selected text area is copied the old way.
    copy.addEventListener('click', async () => {
        const text = pgnText();
        try {
            await navigator.clipboard.writeText(text);
        } catch {
            const area = element('textarea', { readOnly: true, className: 'analysis-clip' });
            area.value = text;
            document.body.append(area);
            area.select();
            document.execCommand('copy');
            area.remove();
        }
        flash('Copied.');
    });
    save.addEventListener('click', () => {
        const url = URL.createObjectURL(new Blob([pgnText()], { type: 'application/vnd.chess-pgn' }));
        const link = element('a', { href: url, download: fileName() });
        document.body.append(link);
        link.click();
        link.remove();
        setTimeout(() => URL.revokeObjectURL(url), 10000);
        flash('Saved.');
    });

    // ---- the game ----
    game.addEventListener('change', (event) => {
        const type = event.detail?.type;
        if (type === 'annotations') return;
        if (type === 'load' || type === 'new') {
            if (job) cancelJob();
            clearAnalysis();
        } else if (type === 'move' && analysis) {
            // A move played in the middle drops the later ones: what was analysed of them goes too.
            if (job) cancelJob();
            let same = 0;
            while (same < analysis.moves.length && analysis.moves[same] === game.moves[same]?.uci) same++;
            if (same < analysis.moves.length) {
                analysis.moves.length = same;
                analysis.evals.length = Math.min(analysis.evals.length, same + 1);
            }
            if (analysis.moves.length) publish(analysis, true);
            else clearAnalysis();
        }
        graph.setPly(game.ply);
        refresh();
    });

    refresh();

    return {
        async setActive(on) {
            active = Boolean(on);
            if (!active && job) await cancelJob();
            await refresh();
            if (!active) await stopLive();
        },
        analyseGame,
    };
}
