// The analysis board in headless Chromium, as a person uses it:
//   node page-analysis.mjs CASE|all [--native vireo] [--out folder]
//   analyse  a game with a queen hung for nothing, opened from the address (?pgn=...&analyse=1):
//            the blunder marked ?? in the move list with the better move, the graph drawn with its
//            mark, each side's summary; screenshots on a desktop and a phone
//   mate     a game that ends in mate: the move that allows it marked, the mate on the board shown
//   cancel   Cancel during an analysis gives the engine back to the live line; a new one completes
//   graph    a click on the graph and its keys go to that move of the game
//   pgn      the annotated PGN, saved as a file and copied: the blunder's $4 and the evaluations
//   live     the live line: White's score while Black is to move (+ and #-1), a variation in
//            standard notation that is legal where it stands, Stop and Start, a new search after
//            a move is chosen in the list
//   explain  the explanation: its terms add up to the total shown, and the total is the native
//            engine's "debug" score, for positions on the page and many more through the API;
//            screenshots on a desktop and a phone
// Exit status 77 (skipped) when Chromium, the npm packages or the browser build are missing.
import assert from 'node:assert/strict';
import { existsSync, mkdirSync, readFileSync } from 'node:fs';
import { parseArgs } from 'node:util';
import { fileURLToPath } from 'node:url';
import { DIST, OUT_DIR, missingTools, NativeEngine, runCases } from './browser.mjs';

const { positionals, values } = parseArgs({
    allowPositionals: true,
    options: { native: { type: 'string' }, out: { type: 'string', default: OUT_DIR } },
});
const name = positionals[0];

const missing = missingTools();
if (!existsSync(DIST + 'vireo-wasm.wasm') || !existsSync(DIST + 'index.html')) missing.push('web/dist (make web)');
if (missing.length) {
    console.log(`SKIPPED: the analysis page tests need ${missing.join(' and ')}`);
    process.exit(77);
}
const { Chess } = await import('chess.js');

// Black's queen goes to g5, where White's knight takes it for nothing.
const BLUNDER_GAME = '[White "Anna"]\n[Black "Ben"]\n\n1. e4 e5 2. Nf3 Nc6 3. Bc4 Qg5 4. Nxg5 *';
const BLUNDER_PLY = 6;
// The tests analyse at the smallest depth the page offers.
const DEPTH = '10';
// An analysis of 8 positions at depth 10 takes seconds; a machine busy with other tests, minutes.
const ANALYSIS_MS = 180000;
const DESKTOP = { width: 1366, height: 768 };
const PHONE = { width: 390, height: 844 };

async function openPage(session, query, viewport = PHONE) {
    const context = await session.browser.newContext({ viewport, hasTouch: viewport === PHONE, acceptDownloads: true });
    await context.addInitScript((depth) => localStorage.setItem('vireo.analysisDepth', depth), DEPTH);
    const page = await context.newPage();
    page.errors = [];
    page.on('pageerror', (error) => page.errors.push(error.message));
    await page.goto(session.server.url + 'index.html' + query);
    return page;
}

async function closePage(page) {
    assert.deepEqual(page.errors, [], 'no errors on the page');
    await page.context().close();
}

// The analysed blunder game, ready: the summary is shown once the analysis has ended.
async function analysedGame(session, viewport) {
    const page = await openPage(session, `?pgn=${encodeURIComponent(BLUNDER_GAME)}&analyse=1`, viewport);
    const started = Date.now();
    try {
        await page.waitForSelector('#analysis-summary:not([hidden])', { timeout: ANALYSIS_MS });
    } catch (error) {
        const status = await page.textContent('#analysis-status').catch(() => null);
        throw new Error(`no analysis: the page says "${status}" (${page.errors.join('; ')})`, { cause: error });
    }
    console.log(`analysed in ${((Date.now() - started) / 1000).toFixed(1)} s with the page's start`);
    return page;
}

const tests = {
    async analyse(session) {
        mkdirSync(values.out, { recursive: true });
        for (const [size, viewport] of [
            ['desktop', DESKTOP],
            ['phone', PHONE],
        ]) {
            const page = await analysedGame(session, viewport);
            // The move list: Qg5?? with the better move, and no other move of this game marked.
            const marked = await page.$$eval('#moves button[data-nag]', (buttons) =>
                buttons.map((b) => ({
                    ply: Number(b.dataset.ply),
                    text: b.textContent,
                    title: b.title,
                    label: b.getAttribute('aria-label'),
                })),
            );
            assert.equal(marked.length, 1, JSON.stringify(marked));
            const [blunder] = marked;
            assert.equal(blunder.ply, BLUNDER_PLY);
            assert.equal(blunder.text, 'Qg5??');
            const better = /better was (\S+)/.exec(blunder.title)?.[1];
            assert.ok(better, `the better move beside the blunder: ${blunder.title}`);
            const before = new Chess();
            for (const san of ['e4', 'e5', 'Nf3', 'Nc6', 'Bc4']) before.move(san);
            assert.ok(before.moves().includes(better) && better !== 'Qg5', `${better} is another legal move`);
            assert.match(blunder.label, /3\.\.\. Qg5, a blunder; better was/);
            // The analysis panel's own list of marked moves says the same.
            assert.equal(await page.textContent('.analysis-moments li'), `3... Qg5?? better was ${better}`);

            // The graph: a point for each of the 8 positions, one blunder mark at ply 6.
            const graph = await page.$eval('svg.eval-graph', (svg) => ({
                hidden: svg.hidden,
                points: svg.querySelector('.graph-line').getAttribute('points').trim().split(/\s+/),
                marks: [...svg.querySelectorAll('.graph-mark')].map((m) => [m.dataset.ply, m.getAttribute('class')]),
                max: svg.getAttribute('aria-valuemax'),
            }));
            assert.equal(graph.hidden, false);
            assert.equal(graph.points.length, 8);
            assert.ok(
                graph.points.every((p) => /^\d+(\.\d)?,\d+(\.\d)?$/.test(p)),
                graph.points.join(' '),
            );
            assert.deepEqual(graph.marks, [[String(BLUNDER_PLY), 'graph-mark graph-blunder']]);
            assert.equal(graph.max, '7');
            // White's win chance falls nowhere, and jumps at the blunder: the line rises (y falls).
            const ys = graph.points.map((p) => Number(p.split(',')[1]));
            assert.ok(ys[6] < ys[5] - 20, `the graph rises after the blunder: ${ys.join(' ')}`);

            // The summary: one blunder for Black (Ben), nothing for White (Anna).
            const summary = await page.$$eval('#analysis-summary td[data-side]', (cells) =>
                Object.fromEntries(cells.map((c) => [`${c.dataset.side}.${c.dataset.kind}`, c.textContent])),
            );
            assert.deepEqual(
                [summary['w.inaccuracy'], summary['w.mistake'], summary['w.blunder'], summary['b.blunder']],
                ['0', '0', '0', '1'],
                JSON.stringify(summary),
            );
            assert.ok(Number(summary['b.acpl']) > Number(summary['w.acpl']), JSON.stringify(summary));
            assert.ok(Number(summary['w.accuracy']) > Number(summary['b.accuracy']), JSON.stringify(summary));
            assert.deepEqual(await page.$$eval('#analysis-summary thead th', (th) => th.map((t) => t.textContent)), [
                'Anna',
                'Ben',
            ]);
            assert.match(await page.textContent('#analysis-status'), /Analysed at depth 10/);

            // The blunder's position, chosen in the move list, for the screenshot.
            await clickMove(page, BLUNDER_PLY);
            await page.waitForFunction(
                () => document.querySelector('svg.eval-graph').getAttribute('aria-valuenow') === '6',
            );
            await page.waitForTimeout(400);
            await page.$eval('#analysis-panel', (panel) => panel.scrollIntoView({ block: 'start' }));
            const path = `${values.out}/web-analysis-${size}.png`;
            await page.screenshot({ path, fullPage: true });
            console.log(`screenshot: ${path}`);
            await closePage(page);
        }
    },

    // A game that ends in mate: the move that allows it is a blunder, the mate itself is not, and the
    // graph ends at the top.
    async mate(session) {
        const pgn = '1. e4 e5 2. Qh5 Nc6 3. Bc4 Nf6 4. Qxf7# 1-0';
        const page = await openPage(session, `?pgn=${encodeURIComponent(pgn)}&analyse=1`);
        await page.waitForSelector('#analysis-summary:not([hidden])', { timeout: ANALYSIS_MS });
        const marked = await page.$$eval('#moves button[data-nag]', (buttons) =>
            buttons.map((b) => [b.dataset.ply, b.textContent]),
        );
        assert.deepEqual(marked, [['6', 'Nf6??']]);
        const points = await page.$eval('.graph-line', (line) => line.getAttribute('points').trim().split(/\s+/));
        assert.equal(points.length, 8);
        assert.equal(points.at(-1).split(',')[1], '6.0', 'White wins: the top of the graph');
        // The mate on the board: no search, the result instead of a score.
        assert.equal(await page.textContent('#analysis-score'), '1-0');
        assert.equal(await page.textContent('#analysis-depth'), 'checkmate');
        assert.equal(await page.$eval('#evalbar', (bar) => bar.getAttribute('aria-valuenow')), '100');
        await closePage(page);
    },

    // Cancel during a deep analysis: the engine goes back to the live line; a new analysis runs to
    // its end.
    async cancel(session) {
        const page = await analysedGame(session, PHONE);
        await page.selectOption('#analysis-depth-choice', '14');
        await page.click('#analysis-start');
        await page.waitForSelector('#analysis-progress:not([hidden])');
        assert.equal(await page.isDisabled('#analysis-start'), true);
        await page.click('#analysis-cancel');
        await page.waitForFunction(
            () => document.getElementById('analysis-status').textContent === 'Analysis cancelled.',
        );
        assert.equal(await page.isHidden('#analysis-progress'), true);
        assert.equal(await page.isHidden('#analysis-cancel'), true);
        // The live search runs again: its depth passes the analysis's.
        await page.waitForFunction(() => !document.getElementById('analysis-toggle').disabled);
        await page.waitForFunction(
            () => /depth (1[5-9]|[2-9]\d)/.test(document.getElementById('analysis-depth').textContent),
            null,
            {
                timeout: 30000,
            },
        );
        // The choice is kept for the next visit.
        assert.equal(await page.evaluate(() => localStorage.getItem('vireo.analysisDepth')), '14');
        await page.selectOption('#analysis-depth-choice', '10');
        await page.click('#analysis-start');
        await page.waitForFunction(
            () => document.getElementById('analysis-status').textContent === 'Analysed at depth 10.',
            null,
            {
                timeout: ANALYSIS_MS,
            },
        );
        assert.deepEqual(await page.$$eval('#moves button[data-nag]', (b) => b.map((x) => x.textContent)), ['Qg5??']);
        await closePage(page);
    },

    async graph(session) {
        const page = await analysedGame(session, DESKTOP);
        const shown = () =>
            page.$eval('#moves button[aria-current="true"]', (b) => Number(b.dataset.ply)).catch(() => 0);
        const cursor = () => page.$eval('svg.eval-graph', (svg) => Number(svg.getAttribute('aria-valuenow')));
        // A click at each ply's place goes to that ply: the move list and the graph's cursor follow.
        for (const ply of [2, 6, 0, 7]) {
            await page.locator('svg.eval-graph').scrollIntoViewIfNeeded();
            const box = await page.locator('svg.eval-graph').boundingBox();
            const x = Math.min(Math.max((ply / 7) * box.width, 1), box.width - 1);
            await page.mouse.click(box.x + x, box.y + box.height / 2);
            await page.waitForFunction(
                (ply) => document.querySelector('svg.eval-graph').getAttribute('aria-valuenow') === String(ply),
                ply,
            );
            assert.equal(await shown(), ply, `a click at ply ${ply}`);
            const cursorX = await page.$eval('.graph-ply', (line) => Number(line.getAttribute('x1')));
            const width = await page.$eval('svg.eval-graph', (svg) => svg.viewBox.baseVal.width);
            assert.ok(Math.abs(cursorX - (ply / 7) * width) < 1, `the cursor at ply ${ply}: ${cursorX} of ${width}`);
        }
        // The keys, once the graph has the focus.
        await page.focus('svg.eval-graph');
        for (const [key, ply] of [
            ['Home', 0],
            ['ArrowRight', 1],
            ['ArrowRight', 2],
            ['End', 7],
            ['ArrowLeft', 6],
        ]) {
            await page.keyboard.press(key);
            await page.waitForFunction(
                (ply) => document.querySelector('svg.eval-graph').getAttribute('aria-valuenow') === String(ply),
                ply,
            );
            assert.equal(await shown(), ply, `${key} to ply ${ply}`);
        }
        assert.equal(await cursor(), 6);
        // The panel's list of marked moves goes there too.
        await page.keyboard.press('Home');
        await page.click('.analysis-moments button');
        await page.waitForFunction(
            () => document.querySelector('svg.eval-graph').getAttribute('aria-valuenow') === '6',
        );
        await closePage(page);
    },

    async pgn(session) {
        const page = await analysedGame(session, DESKTOP);
        await page.context().grantPermissions(['clipboard-read', 'clipboard-write']);
        const [download] = await Promise.all([page.waitForEvent('download'), page.click('#analysis-save')]);
        assert.equal(download.suggestedFilename(), 'Anna-Ben.pgn');
        const saved = readFileSync(await download.path(), 'utf8');
        await page.click('#analysis-copy');
        await page.waitForFunction(() => document.querySelector('.analysis-saved').textContent === 'Copied.');
        const copied = await page.evaluate(() => navigator.clipboard.readText());
        assert.equal(copied, saved);
        // The blunder: $4, its evaluation from White's side and the better move.
        assert.match(saved, /\bQg5 \$4\s+\{ \[%eval \d+\.\d\d\] better was [A-Za-z0-9+#=-]+ \}/, saved);
        // Every move has its evaluation; only the blunder has a mark.
        assert.equal(saved.match(/\[%eval -?\d+\.\d\d\]/g).length, 7, saved);
        assert.deepEqual(saved.match(/\$\d+/g), ['$4'], saved);
        assert.match(saved, /\[White "Anna"\]/);
        // The text is a game chess.js reads back, with the same moves.
        const game = new Chess();
        game.loadPgn(saved);
        assert.deepEqual(game.history(), ['e4', 'e5', 'Nf3', 'Nc6', 'Bc4', 'Qg5', 'Nxg5']);
        console.log(saved.trim());
        await closePage(page);
    },

    async live(session) {
        // White is a queen up with Black to move: the score is White's, so positive.
        const ahead = '4k3/8/8/8/8/8/4P3/3QK3 b - - 0 1';
        let page = await openPage(session, `?fen=${encodeURIComponent(ahead)}&analyse=1`);
        const depthOf = () => page.textContent('#analysis-depth').then((t) => Number(/depth (\d+)/.exec(t)?.[1] ?? 0));
        await page.waitForFunction(
            () => /depth (1[2-9]|[2-9]\d)/.test(document.getElementById('analysis-depth')?.textContent),
            null,
            { timeout: 30000 },
        );
        assert.match(await page.textContent('#analysis-score'), /^(\+\d+\.\d\d|#\d+)$/);
        await assertVariation(page, ahead);
        const bar = await page.$eval('#evalbar', (bar) => Number(bar.getAttribute('aria-valuenow')));
        assert.ok(bar > 90, `White's share of the bar: ${bar}`);
        // Stop: the search ends and nothing changes any more; Start: it goes on.
        await page.click('#analysis-toggle');
        assert.equal(await page.textContent('#analysis-toggle'), 'Start');
        await page.waitForTimeout(300);
        const stopped = await page.textContent('.analysis-live');
        await page.waitForTimeout(1000);
        assert.equal(await page.textContent('.analysis-live'), stopped, 'no new lines after Stop');
        await page.click('#analysis-toggle');
        assert.equal(await page.textContent('#analysis-toggle'), 'Stop');
        await page.waitForFunction((old) => document.querySelector('.analysis-live').textContent !== old, stopped);
        // Playing on from here: the analysis lets go of the engine, which answers the person's move.
        await page.click('#play-here');
        await page.waitForFunction(() => document.getElementById('analysis-toggle').disabled);
        assert.equal(await page.textContent('#analysis-score'), '–');
        assert.match(await page.textContent('#explain-panel'), /shown on the analysis board/);
        await page.fill('#move-input', 'Kf7');
        await page.press('#move-input', 'Enter');
        await page.waitForFunction(
            () =>
                document.body.dataset.state === 'person' &&
                document.querySelectorAll('#moves button.move').length === 2,
            null,
            { timeout: 30000 },
        );
        await closePage(page);

        // Black mates in one, Black to move: White's view says #-1.
        const mating = 'r5k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1';
        page = await openPage(session, `?fen=${encodeURIComponent(mating)}&analyse=1`);
        await page.waitForFunction(() => document.getElementById('analysis-score')?.textContent === '#-1', null, {
            timeout: 30000,
        });
        assert.equal((await page.textContent('#analysis-pv')).trim(), '1... Ra1#');
        assert.equal(await page.$eval('#evalbar', (bar) => bar.getAttribute('aria-valuenow')), '0');
        await closePage(page);

        // A game: each move chosen in the list gets its own search, from that position.
        page = await openPage(session, `?pgn=${encodeURIComponent(BLUNDER_GAME)}&analyse=1`);
        await page.waitForSelector('#analysis-summary:not([hidden])', { timeout: ANALYSIS_MS });
        for (const ply of [3, 5, 0]) {
            if (ply) await clickMove(page, ply);
            else await page.click('#first');
            const fen = fenAt(ply);
            await page.waitForFunction(
                (prefix) =>
                    document.getElementById('analysis-pv').textContent.startsWith(prefix) &&
                    /depth (1[2-9]|[2-9]\d)/.test(document.getElementById('analysis-depth').textContent),
                ply % 2 ? `${(ply + 1) / 2}...` : `${ply / 2 + 1}.`,
                { timeout: 30000 },
            );
            await assertVariation(page, fen);
            assert.ok((await depthOf()) >= 12);
        }
        await closePage(page);
    },

    async explain(session) {
        assert.ok(values.native, 'the explain test compares with the native engine: give --native PATH');
        const native = new NativeEngine(values.native);
        const nativeScore = async (fen) => {
            native.send(`position fen ${fen}`);
            native.send('debug');
            const lines = await native.until(/^score cp -?\d+/);
            return Number(/^score cp (-?\d+)/.exec(lines.at(-1))[1]);
        };
        mkdirSync(values.out, { recursive: true });
        const positions = explainPositions();
        try {
            // Many positions through the API: terms that add up to the total, the total "debug"'s.
            const page = await session.browser.newPage();
            await page.goto(session.server.url + 'blank.html');
            const answers = await page.evaluate(async (fens) => {
                const { Vireo } = await import('./vireo.js');
                const engine = await Vireo.start({ hash: 16 });
                const answers = [];
                for (const fen of fens) answers.push(await engine.explain(fen));
                engine.terminate();
                return answers;
            }, positions);
            await page.close();
            for (const [i, fen] of positions.entries()) {
                const answer = answers[i];
                assert.equal(answer.fen, fen);
                assert.equal(
                    answer.terms.reduce((sum, t) => sum + t.cp, 0),
                    answer.terms.length ? answer.total : 0,
                    fen,
                );
                assert.equal(answer.total, await nativeScore(fen), fen);
            }
            console.log(`${positions.length} positions explained as the native engine scores them`);

            // On the page: White's side, the rows adding up to the total shown; a note for a settled one.
            const shown = [
                ['white', 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1'],
                ['white', 'r1bqkb1r/pppp1ppp/2n2n2/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq - 4 4'],
                ['black', 'rnbqkbnr/pp1ppppp/8/2p5/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 2'],
                ['settled', '8/8/4k3/8/8/8/4P3/4K3 w - - 0 1'],
            ];
            for (const [kind, fen] of shown) {
                for (const viewport of kind === 'black' ? [DESKTOP, PHONE] : [PHONE]) {
                    const page = await openPage(session, `?fen=${encodeURIComponent(fen)}&analyse=1`, viewport);
                    await page.waitForSelector('#explain-panel .explain-total', { timeout: 30000 });
                    const view = await page.$eval('#explain-panel', (panel) => ({
                        fen: panel.dataset.fen,
                        terms: [...panel.querySelectorAll('.explain-term')].map((row) => Number(row.dataset.cp)),
                        texts: [...panel.querySelectorAll('.explain-term .explain-cp')].map((cell) => cell.textContent),
                        total: Number(panel.querySelector('.explain-total').dataset.cp),
                        totalText: panel.querySelector('.explain-total .explain-cp').textContent,
                        note: panel.querySelector('.explain-note')?.textContent ?? '',
                        caption: panel.querySelector('caption').textContent,
                    }));
                    const white = fen.split(' ')[1] === 'w' ? 1 : -1;
                    assert.equal(view.total, white * (await nativeScore(fen)), `${fen}: ${JSON.stringify(view)}`);
                    assert.equal(
                        view.terms.reduce((a, b) => a + b, 0),
                        kind === 'settled' ? 0 : view.total,
                    );
                    assert.deepEqual(
                        view.texts,
                        view.terms.map((cp) => (cp > 0 ? `+${cp}` : String(cp))),
                    );
                    assert.equal(view.totalText, view.total > 0 ? `+${view.total}` : String(view.total));
                    assert.match(view.caption, /White's side/);
                    if (kind === 'settled') {
                        assert.equal(view.terms.length, 0);
                        assert.match(view.note, /bitbase/);
                    } else {
                        assert.ok(view.terms.length >= 5, JSON.stringify(view));
                    }
                    if (kind === 'black') {
                        const size = viewport === PHONE ? 'phone' : 'desktop';
                        const path = `${values.out}/web-explain-${size}.png`;
                        await page.$eval('#explain-panel', (panel) => panel.scrollIntoView());
                        await page.screenshot({ path, fullPage: true });
                        console.log(`screenshot: ${path}`);
                    }
                    await closePage(page);
                }
            }
        } finally {
            await native.quit();
        }
    },
};

// A click on a move of the list, brought into its box's view first as a person scrolls to it.
async function clickMove(page, ply) {
    const button = page.locator(`#moves button[data-ply="${ply}"]`);
    await button.evaluate((b) => b.scrollIntoView({ block: 'nearest' }));
    await button.click();
}

// The position after `ply` plies of the blunder game.
function fenAt(ply) {
    const game = new Chess();
    for (const san of ['e4', 'e5', 'Nf3', 'Nc6', 'Bc4', 'Qg5', 'Nxg5'].slice(0, ply)) game.move(san);
    return game.fen();
}

// The variation shown is legal from the position, move by move, with the move numbers it needs.
async function assertVariation(page, fen) {
    const text = (await page.textContent('#analysis-pv')).trim();
    const line = new Chess(fen);
    const words = text.split(' ');
    assert.ok(words.length >= 2, `a variation: "${text}"`);
    for (const word of words) {
        if (/^\d+\.(\.\.)?$/.test(word)) {
            const number = Number.parseInt(word, 10);
            assert.equal(number, line.moveNumber(), `${word} in "${text}"`);
            assert.equal(word.endsWith('...'), line.turn() === 'b', `${word} in "${text}"`);
        } else {
            assert.doesNotThrow(() => line.move(word), `${word} is legal in "${text}" from ${fen}`);
        }
    }
}

// The positions the explanation is checked on: the repository's list when there is one, else these.
function explainPositions() {
    const root = fileURLToPath(new URL('../../', import.meta.url));
    for (const file of ['tests/data/explain_positions.txt', 'web/tests/explain-positions.txt']) {
        if (existsSync(root + file)) {
            const fens = readFileSync(root + file, 'utf8')
                .split('\n')
                .map((l) => l.trim())
                .filter((l) => l && !l.startsWith('#'));
            if (fens.length) return fens;
        }
    }
    return [
        'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1',
        'rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1',
        'r1bqkbnr/pppp1ppp/2n5/4p3/3PP3/5N2/PPP2PPP/RNBQKB1R b KQkq - 0 3',
        'r1bqk2r/pppp1ppp/2n2n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQK2R b KQkq - 0 5',
        'r2q1rk1/ppp2ppp/2np1n2/2b1p1B1/2B1P1b1/2NP1N2/PPP2PPP/R2Q1RK1 w - - 4 8',
        'r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 8',
        'rnbqkb1r/pp2pppp/3p1n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq - 2 5',
        '2rq1rk1/pb1nbppp/1p2pn2/2pp4/2PP4/1PN1PN2/PB2BPPP/2RQ1RK1 w - - 4 11',
        'r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10',
        '4rrk1/pp3ppp/2p5/3p4/3P1q2/2P2N2/PP3PPP/R3R1K1 b - - 1 18',
        '6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1',
        '8/5pk1/6p1/7p/7P/6P1/5PK1/8 w - - 0 40',
        '8/8/8/4k3/8/8/4P3/4K3 w - - 0 1',
        '8/8/8/4k3/8/8/8/4K3 w - - 0 1',
        '8/8/8/8/3k4/8/3B4/3K4 b - - 0 1',
        '8/8/1k6/8/8/8/R7/4K3 w - - 0 1',
        '3k4/8/3K4/3P4/8/8/8/8 b - - 0 1',
        'r1b1k2r/ppppnppp/2n2q2/2b5/3NP3/2P1B3/PP3PPP/RN1QKB1R w KQkq - 1 7',
        'rnb1kbnr/pppp1ppp/8/4p3/5PPq/8/PPPPP2P/RNBQKBNR w KQkq - 1 3',
        '8/2P5/8/8/8/8/5kp1/7K w - - 0 1',
        'q3k3/8/8/8/8/8/8/3QK3 b - - 0 1',
        '7k/8/8/8/8/8/8/KNB5 w - - 0 1',
    ];
}

if ((name === 'all' || name === 'explain') && !values.native) {
    console.log('the explain test compares with the native engine: give --native PATH');
    process.exit(2);
}
await runCases(tests, name);
