// The play page in headless Chromium, as a person uses it (one case per run, or all in turn):
//   node page-play.mjs CASE|all [--native vireo] [--out folder]
//   mate      1.Ra8# played by clicks from ?fen=: "Checkmate - you win", a PGN with its result, SetUp and FEN;
//             then the engine mating the person: "Checkmate - Vireo wins"
//   keyboard  a move made on the board with the keys (Tab, arrows, Enter), one typed in the move field,
//             each answered by the engine and announced; a refused move named in the message
//   offline   once the service worker is active, a reload with the network off loads the page and the
//             engine answers a move
//   hostile   a ?pgn= whose tags and comments hold markup and script is shown as text and nothing of
//             it runs; a malformed ?fen= gives its message and the start position
//   open      the Open dialog: a refused text, a game opened for analysis, a move there, and its link
//   clock     a 3+2 game: both clocks shown, the person's running; a flag fall ends the game on time
//   level1    a game at level 1, screenshots on a desktop (1366x768) and a phone (390x844) screen
//   speed     the time from opening the page to the engine's first move (the person plays Black)
// Exit status 77 (skipped) when Chromium, the npm packages or web/dist are missing.
import assert from 'node:assert/strict';
import { existsSync, mkdirSync } from 'node:fs';
import { parseArgs } from 'node:util';
import { DIST, OUT_DIR, missingTools, runCases } from './browser.mjs';
import { waitForTurn } from './page.mjs';

const { positionals, values } = parseArgs({
    allowPositionals: true,
    options: { native: { type: 'string' }, out: { type: 'string', default: OUT_DIR } },
});

const MATE_FEN = '6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - 0 1';
// White to move, and whatever White plays, Black mates with Re1.
const MATED_FEN = '4r1k1/5ppp/8/8/8/8/P4PPP/7K w - - 0 1';
const DESKTOP = { width: 1366, height: 768 };
const PHONE = { width: 390, height: 844 };

// A page that fails the test on any error it throws; `page.errors` collects them.
async function openPage(session, query = '', { viewport = PHONE, context, init } = {}) {
    const page = await (context ?? session.browser).newPage({ viewport });
    page.errors = [];
    page.on('pageerror', (error) => page.errors.push(error.message));
    if (init) await page.addInitScript(init);
    await page.goto(session.server.url + 'index.html' + query);
    return page;
}

// On a timeout, the error tells the state, status and message the page was left with.
async function waitForState(page, state, timeout = 30000) {
    try {
        await page.waitForSelector(`body[data-state=${state}]`, { timeout });
    } catch (error) {
        const seen = await page.evaluate(() => [
            document.body.dataset.state,
            document.getElementById('status').textContent,
            document.getElementById('message').textContent,
        ]);
        throw new Error(`no state ${state}: ${JSON.stringify(seen)}, errors ${JSON.stringify(page.errors)}`, {
            cause: error,
        });
    }
}

async function moveTexts(page) {
    return page.$$eval('#moves .move', (buttons) => buttons.map((b) => b.textContent));
}

async function clickMove(page, from, to) {
    await page.click(`rect[data-square="${from}"]`);
    await page.click(`rect[data-square="${to}"]`);
}

const tests = {
    async mate(session) {
        const page = await openPage(session, '?fen=' + encodeURIComponent(MATE_FEN), { viewport: DESKTOP });
        await waitForState(page, 'person');
        await clickMove(page, 'a1', 'a8');
        await waitForState(page, 'over');
        assert.equal(await page.textContent('#status'), 'Checkmate - you win');
        assert.deepEqual(await moveTexts(page), ['Ra8#']);
        const pgn = await page.inputValue('#pgn');
        assert.match(pgn, /\[Result "1-0"\]/);
        assert.match(pgn, /\[SetUp "1"\]/);
        assert.ok(pgn.includes(`[FEN "${MATE_FEN}"]`), pgn);
        assert.ok(pgn.trimEnd().endsWith('1. Ra8# 1-0'), pgn);
        assert.equal(await page.isVisible('#analyse-this'), true, '"Analyse this game" offered');
        // A mate may be taken back: the game goes on from before it.
        await page.click('#takeback');
        await waitForTurn(page, 0);
        assert.equal(await page.inputValue('#pgn').then((text) => /\[Result "\*"\]/.test(text)), true);
        assert.deepEqual(page.errors, []);

        // The engine mates: the result is told from the person's side.
        const mated = await openPage(session, '?fen=' + encodeURIComponent(MATED_FEN), { viewport: DESKTOP });
        await waitForState(mated, 'person');
        await mated.fill('#move-input', 'a3');
        await mated.press('#move-input', 'Enter');
        await waitForState(mated, 'over');
        assert.equal(await mated.textContent('#status'), 'Checkmate - Vireo wins');
        assert.deepEqual(await moveTexts(mated), ['a3', 'Re1#']);
        const lost = await mated.inputValue('#pgn');
        assert.match(lost, /\[Result "0-1"\]/);
        assert.ok(lost.trimEnd().endsWith('1. a3 Re1# 0-1'), lost);
        assert.deepEqual(mated.errors, []);
    },

    async keyboard(session) {
        const init = () => localStorage.setItem('vireo.level', '4');
        const page = await openPage(session, '', { viewport: DESKTOP, init });
        await waitForState(page, 'person');
        // Tab reaches the board; the keys walk from a1 to d2, pick the pawn up, and put it on d4.
        let onBoard = false;
        for (let i = 0; i < 20 && !onBoard; i++) {
            await page.keyboard.press('Tab');
            onBoard = await page.evaluate(() => document.activeElement?.closest('#board') !== null);
        }
        assert.ok(onBoard, 'the board is reached by Tab');
        const keys = ['ArrowRight', 'ArrowRight', 'ArrowRight', 'ArrowUp', 'Enter', 'ArrowUp', 'ArrowUp', 'Enter'];
        for (const key of keys) await page.keyboard.press(key);
        await waitForTurn(page, 2);
        assert.equal((await moveTexts(page))[0], 'd4');
        await page.waitForFunction(() => document.getElementById('announce').textContent.startsWith('Vireo plays'));

        // The move field, reached by Tab too: a move it refuses is named, a legal one is played.
        let onField = false;
        for (let i = 0; i < 30 && !onField; i++) {
            await page.keyboard.press('Tab');
            onField = await page.evaluate(() => document.activeElement?.id === 'move-input');
        }
        assert.ok(onField, 'the move field is reached by Tab');
        await page.keyboard.type('Ke5');
        await page.keyboard.press('Enter');
        assert.equal(await page.textContent('#message'), 'Ke5 is not a legal move here.');
        assert.equal(await page.isVisible('#message'), true);
        await page.fill('#move-input', 'g1f3');
        await page.keyboard.press('Enter');
        await waitForTurn(page, 4);
        const moves = await moveTexts(page);
        assert.equal(moves[2], 'Nf3');
        assert.equal(await page.isVisible('#message'), false, 'the message goes with the next move');
        assert.equal(await page.inputValue('#move-input'), '');
        // The arrows step through the game when the focus is not in a field or on the board.
        await page.click('#status');
        const shownPly = () =>
            page.evaluate(() => document.querySelector('#moves .move[aria-current="true"]')?.dataset.ply ?? '0');
        await page.keyboard.press('Home');
        assert.equal(await shownPly(), '0');
        await page.keyboard.press('ArrowRight');
        assert.equal(await shownPly(), '1');
        await page.keyboard.press('End');
        assert.equal(await shownPly(), '4');
        assert.deepEqual(page.errors, []);
    },

    async offline(session) {
        const context = await session.browser.newContext({ viewport: PHONE });
        const page = await openPage(session, '', { context });
        await waitForState(page, 'person');
        await page.evaluate(async () => {
            await navigator.serviceWorker.ready;
            if (!navigator.serviceWorker.controller) {
                await new Promise((resolve) =>
                    navigator.serviceWorker.addEventListener('controllerchange', resolve, { once: true }),
                );
            }
        });
        await context.setOffline(true);
        await page.reload();
        await waitForState(page, 'person');
        assert.equal(await page.evaluate(() => navigator.onLine), false);
        await page.fill('#move-input', 'e4');
        await page.press('#move-input', 'Enter');
        await waitForTurn(page, 2);
        assert.deepEqual(page.errors, []);
        await context.close();
    },

    async hostile(session) {
        const markup = '<img src=x onerror="console.log(\'PWNED\');alert(1)">';
        const script = '<script>console.log("PWNED");alert(2)</script>';
        const tags = `[Event "${script}"]\n[White "${markup.replace(/"/g, "'")}"]\n[Black "b"]`;
        const pgn = `${tags}\n\n1. e4 {${markup}} e5 {${script}} 2. Nf3 *`;
        const page = await openPage(session, '?pgn=' + encodeURIComponent(pgn), { viewport: DESKTOP });
        const fired = [];
        page.on('dialog', (dialog) => {
            fired.push(`dialog ${dialog.message()}`);
            dialog.dismiss();
        });
        page.on('console', (message) => message.text().includes('PWNED') && fired.push('console'));
        await waitForState(page, 'analyse');
        assert.deepEqual(await moveTexts(page), ['e4', 'e5', 'Nf3']);
        const info = await page.textContent('#game-info');
        // Quotes inside a tag's value are read as apostrophes.
        assert.ok(info.includes(markup.replace(/"/g, "'")) && info.includes(script.replace(/"/g, "'")), info);
        await page.click('#moves .move[data-ply="1"]');
        assert.equal(await page.textContent('#comment'), markup);
        await page.click('#moves .move[data-ply="2"]');
        assert.equal(await page.textContent('#comment'), script);
        await page.waitForTimeout(500);
        assert.equal(await page.locator('img[src="x"], #app script').count(), 0, 'no element made from the game');
        assert.deepEqual(fired, []);
        assert.match(await page.inputValue('#pgn'), /\{ <img src=x onerror="console.log\('PWNED'\);alert\(1\)"> \}/);
        assert.deepEqual(page.errors, []);

        const badFen = 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR x KQkq - 0 1';
        const bad = await openPage(session, '?fen=' + encodeURIComponent(badFen));
        await waitForState(bad, 'person');
        assert.equal(await bad.isVisible('#message'), true);
        assert.equal(
            await bad.textContent('#message'),
            'The position in the address cannot be opened. This position (FEN) is not valid: side-to-move is invalid.',
        );
        assert.equal(await bad.getAttribute('#message', 'role'), 'alert');
        assert.equal(await bad.locator('.pieces g[data-piece]').count(), 32, 'the start position');
        const broken = await openPage(session, '?pgn=' + encodeURIComponent('1. e4 e5 2. Ke3'));
        await waitForState(broken, 'person');
        assert.match(await broken.textContent('#message'), /not legal where it stands: Ke3/);
        assert.deepEqual([...bad.errors, ...broken.errors], []);
    },

    async open(session) {
        const context = await session.browser.newContext({ viewport: DESKTOP });
        await context.grantPermissions(['clipboard-read', 'clipboard-write']);
        const page = await openPage(session, '', { context });
        await waitForState(page, 'person');
        await page.click('#pgn-box summary');
        // A refused text keeps the game and says why, in the dialog.
        await page.click('#open');
        await page.fill('#open-text', '1. e4 e5 2. Qh4');
        await page.click('#open-analyse');
        assert.equal(await page.isVisible('#open-message'), true);
        assert.match(await page.textContent('#open-message'), /Qh4/);
        // Comments as engines and other programs write them: several in a row, to the end of a line, after
        // a NAG or a variation; the variations are left out.
        const annotated = [
            '1. e4 {+0.25/8 0.09s} $1 {best by test} (1. d4 {also good}) e5 ; the classical reply',
            '2. Nf3 {+0.30/8 0.10s} {threefold repetition} 1/2-1/2',
        ];
        await page.fill('#open-text', annotated.join('\n'));
        await page.click('#open-analyse');
        await waitForState(page, 'over');
        assert.deepEqual(await moveTexts(page), ['e4', 'e5', 'Nf3']);
        await page.click('#moves .move[data-ply="1"]');
        assert.equal(await page.textContent('#comment'), '+0.25/8 0.09s best by test');
        await page.click('#moves .move[data-ply="3"]');
        assert.equal(await page.textContent('#comment'), '+0.30/8 0.10s threefold repetition');
        await page.click('#open');
        await page.fill('#open-text', '[White "Ann"]\n[Black "Bo"]\n\n1. e4 e5 2. Nf3 Nc6 3. Bb5 1/2-1/2');
        await page.click('#open-analyse');
        await waitForState(page, 'over');
        assert.equal(await page.getAttribute('body', 'data-mode'), 'analyse');
        assert.deepEqual(await moveTexts(page), ['e4', 'e5', 'Nf3', 'Nc6', 'Bb5']);
        assert.equal(await page.textContent('#status'), 'Game over - draw');
        await page.click('#moves .move[data-ply="2"]');
        await waitForState(page, 'analyse');
        // In the analysis mode the person plays both sides: a move here drops the rest of the game.
        await page.fill('#move-input', 'Nc3');
        await page.press('#move-input', 'Enter');
        assert.deepEqual(await moveTexts(page), ['e4', 'e5', 'Nc3']);
        // The link holds the game; opened, it shows the same moves.
        await page.click('#copy-link');
        const link = await page.evaluate(() => navigator.clipboard.readText());
        assert.ok(link.startsWith(session.server.url + 'index.html?pgn='), link);
        const query = link.slice(session.server.url.length + 'index.html'.length);
        const shared = await openPage(session, query, { context });
        await waitForState(shared, 'analyse');
        assert.deepEqual(await moveTexts(shared), ['e4', 'e5', 'Nc3']);
        assert.equal(await shared.textContent('#game-info'), 'Ann vs Bo');
        assert.deepEqual([...page.errors, ...shared.errors], []);
        await context.close();
    },

    async clock(session) {
        const page = await openPage(session, '', {
            viewport: PHONE,
            init: () => {
                localStorage.setItem('vireo.clock', '3+2');
                localStorage.setItem('vireo.side', 'w');
            },
        });
        await waitForState(page, 'person');
        assert.equal(await page.isVisible('#clock-bottom'), true);
        assert.equal(await page.isVisible('#clock-top'), true);
        assert.match(await page.textContent('#clock-top'), /^3:00$/);
        await page.waitForFunction(() => document.getElementById('clock-bottom').classList.contains('running'));
        await page.fill('#move-input', 'e4');
        await page.press('#move-input', 'Enter');
        await waitForTurn(page, 2);
        // White has the increment: more than the three minutes it started with, less the moment it took.
        const white = await page.textContent('#clock-bottom');
        assert.match(white, /^3:0[0-2]$/, white);
        // A fake clock runs the person's three minutes out at once.
        await page.clock.install();
        await page.clock.runFor(250_000);
        await waitForState(page, 'over');
        assert.equal(await page.textContent('#status'), 'Time - Vireo wins');
        assert.match(await page.inputValue('#pgn'), /\[Result "0-1"\]/);
        assert.deepEqual(page.errors, []);
    },

    async level1(session) {
        const init = () => localStorage.setItem('vireo.level', '1');
        const page = await openPage(session, '', { viewport: DESKTOP, init });
        await waitForState(page, 'person');
        assert.equal(await page.inputValue('#level'), '1');
        for (const [i, move] of ['e4', 'd4', 'Nc3', 'Nf3'].entries()) {
            await page.fill('#move-input', move);
            await page.press('#move-input', 'Enter');
            try {
                await waitForTurn(page, 2 * (i + 1));
            } catch (error) {
                if (await page.isVisible('#message')) continue; // the move was not legal after the engine's
                throw error;
            }
        }
        const pgn = await page.inputValue('#pgn');
        assert.match(pgn, /\[Black "Vireo \(level 1\)"\]/);
        await page.waitForTimeout(400);
        mkdirSync(values.out, { recursive: true });
        await page.screenshot({ path: `${values.out}/page-level1-desktop.png` });
        await page.setViewportSize(PHONE);
        await page.waitForTimeout(400);
        await page.screenshot({ path: `${values.out}/page-level1-phone.png` });
        // On the phone, the board is at the top, across the screen; on the desktop, left of the panel.
        const boardBox = await page.locator('#board').boundingBox();
        assert.ok(boardBox.y < 80 && boardBox.width > 320, JSON.stringify(boardBox));
        const width = await page.evaluate(() => document.documentElement.scrollWidth);
        assert.ok(width <= PHONE.width, `no sideways scrolling on a phone (${width} px)`);
        console.log(`screenshots: ${values.out}/page-level1-desktop.png ${values.out}/page-level1-phone.png`);
        assert.deepEqual(page.errors, []);
    },

    async speed(session) {
        const init = () => {
            localStorage.setItem('vireo.side', 'b');
            localStorage.setItem('vireo.level', '5');
        };
        const times = [];
        for (let run = 0; run < 3; run++) {
            const context = await session.browser.newContext({ viewport: PHONE });
            const page = await openPage(session, '', { context, init });
            await waitForTurn(page, 1);
            times.push(
                await page.evaluate(() => ({
                    ready: performance.getEntriesByName('vireo-engine-ready')[0].startTime,
                    move: performance.getEntriesByName('vireo-first-engine-move')[0].startTime,
                })),
            );
            await context.close();
        }
        const text = times
            .map((t) => `${Math.round(t.move)} ms (engine ready at ${Math.round(t.ready)} ms)`)
            .join(', ');
        console.log(`first engine move after opening the page: ${text}`);
    },
};

const missing = missingTools();
if (missing.length) {
    console.log(`SKIPPED: the page tests need ${missing.join(' and ')}`);
    process.exit(77);
}
if (!existsSync(DIST + 'vireo-wasm.wasm') || !existsSync(DIST + 'app.js')) {
    console.log('SKIPPED: web/dist/ holds no page: run make web first');
    process.exit(77);
}
await runCases(tests, positionals[0]);
