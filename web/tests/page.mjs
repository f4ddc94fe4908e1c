// The play page as a person uses it, on a phone-sized screen: moves by clicks on the squares, the
// engine's replies on the board, "Move now", flip, take-back and a new game. After every step the
// pieces on the board must be those of the game in the page's PGN. (page-play.mjs has the rest: results,
// keys, clocks, the offline copy, hostile addresses.)
import assert from 'node:assert/strict';
import { Chess } from 'chess.js';

// Moves the person prefers, in order, when legal; otherwise the first legal move.
const PREFERRED = ['e2e4', 'd2d4', 'g1f3', 'b1c3', 'f1c4', 'f1e2', 'e1g1', 'c2c3', 'h2h3', 'a2a3'];

async function gameOnPage(page) {
    const game = new Chess();
    game.loadPgn(await page.inputValue('#pgn'));
    return game;
}

// The pieces the board shows, as chess.js names them ("wP" on "e4"), against the game's, once the
// board's animations have ended (within three seconds).
async function assertBoardShows(page, game) {
    const expected = game
        .board()
        .flat()
        .filter(Boolean)
        .map((p) => `${p.square}:${p.color}${p.type}`)
        .sort();
    const shownPieces = () =>
        page.$$eval('.pieces g[data-piece]', (groups) =>
            groups
                .filter((g) => g.getAttribute('visibility') !== 'hidden')
                .map((g) => `${g.dataset.square}:${g.dataset.piece}`)
                .sort(),
        );
    let shown = await shownPieces();
    for (let wait = 0; wait < 30 && JSON.stringify(shown) !== JSON.stringify(expected); wait++) {
        await page.waitForTimeout(100);
        shown = await shownPieces();
    }
    assert.deepEqual(shown, expected, `board after ${game.history().join(' ')}`);
}

// Waits until the move list holds `plies` moves and it is the person's turn.
export async function waitForTurn(page, plies, timeout = 15000) {
    await page.waitForFunction(
        (plies) =>
            document.body.dataset.state === 'person' && document.querySelectorAll('#moves .move').length === plies,
        plies,
        { timeout },
    );
}

async function clickMove(page, game) {
    const legal = game
        .moves({ verbose: true })
        .filter((m) => !m.promotion)
        .map((m) => m.from + m.to);
    const move = PREFERRED.find((m) => legal.includes(m)) ?? legal[0];
    await page.click(`rect[data-square="${move.slice(0, 2)}"]`);
    await page.click(`rect[data-square="${move.slice(2, 4)}"]`);
    return move;
}

export async function playGame(session, screenshotPath) {
    const page = await session.browser.newPage({ viewport: { width: 412, height: 860 }, hasTouch: true });
    const errors = [];
    page.on('pageerror', (error) => errors.push(error.message));
    // A game on a 15+10 clock at level 3: quick answers, and the top level, which thinks on its clock,
    // for "Move now".
    await page.addInitScript(() => {
        localStorage.setItem('vireo.level', '3');
        localStorage.setItem('vireo.clock', '15+10');
    });
    await page.goto(session.server.url + 'index.html');
    await page.waitForSelector('body[data-state=person]', { timeout: 30000 });

    // Four moves each; the engine answers every one on the board.
    for (let move = 1; move <= 4; move++) {
        const before = await gameOnPage(page);
        await clickMove(page, before);
        await waitForTurn(page, 2 * move);
        const game = await gameOnPage(page);
        assert.equal(game.history().length, 2 * move);
        await assertBoardShows(page, game);
    }

    // "Move now" during a search of half a minute (the top level on a 15+10 clock): the engine moves at once.
    await page.selectOption('#level', String(await page.$$eval('#level option', (options) => options.length)));
    await clickMove(page, await gameOnPage(page));
    await page.waitForSelector('body[data-state=thinking]');
    await page.waitForTimeout(1000); // the person's move has finished its animation, the search is under way
    await page.screenshot({ path: screenshotPath, fullPage: true });
    const stopped = Date.now();
    await page.click('#stop');
    await waitForTurn(page, 10, 3000);
    assert.ok(Date.now() - stopped < 2500, 'the engine moved soon after "Move now"');
    await page.selectOption('#level', '3');
    await assertBoardShows(page, await gameOnPage(page));

    // Flip turns the board; flipping back restores it.
    const rankOfA1 = () => page.$eval('rect[data-square="a1"]', (r) => Number(r.getAttribute('y')));
    const whiteBelow = await rankOfA1();
    await page.click('#flip');
    await page.waitForTimeout(400);
    assert.ok((await rankOfA1()) < whiteBelow, 'a1 at the top after flip');
    await page.click('#flip');
    await page.waitForTimeout(400);

    // Take-back: the person's last move and the engine's answer are gone, and it is the person's turn.
    await page.click('#takeback');
    await waitForTurn(page, 8);
    await assertBoardShows(page, await gameOnPage(page));

    // New game as Black: the board turns, the engine opens, and it is the person's turn.
    await page.selectOption('#side', 'b');
    await page.click('#newgame');
    await waitForTurn(page, 1);
    await page
        .waitForFunction(
            (y) => Number(document.querySelector('rect[data-square="a1"]').getAttribute('y')) < y,
            whiteBelow,
            { timeout: 3000 },
        )
        .catch(() => {});
    assert.ok((await rankOfA1()) < whiteBelow, 'Black plays from the bottom');
    const opened = await gameOnPage(page);
    assert.equal(opened.turn(), 'b');
    await assertBoardShows(page, opened);

    // New game as White: an empty move list, the start position, the person to move.
    await page.selectOption('#side', 'w');
    await page.click('#newgame');
    await waitForTurn(page, 0);
    await assertBoardShows(page, new Chess());
    assert.deepEqual(errors, [], 'no errors on the page');
    console.log(`screenshot: ${screenshotPath}`);
}

// A promotion chosen in the board's dialog: the person makes a knight, from a position given in the
// address (?fen=), and the game goes on from there.
export async function promote(session) {
    const fen = '8/1P6/8/8/8/k6p/8/4K3 w - - 0 1';
    const page = await session.browser.newPage({ viewport: { width: 412, height: 860 }, hasTouch: true });
    const errors = [];
    page.on('pageerror', (error) => errors.push(error.message));
    await page.goto(session.server.url + 'index.html?fen=' + encodeURIComponent(fen));
    await page.waitForSelector('body[data-state=person]', { timeout: 30000 });
    await assertBoardShows(page, new Chess(fen));
    // Taps, as on a phone.
    await page.tap('rect[data-square="b7"]');
    await page.tap('rect[data-square="b8"]');
    await page.tap('.promotion-dialog-button[data-piece="wn"]');
    await waitForTurn(page, 2);
    const game = await gameOnPage(page);
    assert.equal(game.history()[0], 'b8=N');
    await assertBoardShows(page, game);
    assert.deepEqual(errors, [], 'no errors on the page');
}
