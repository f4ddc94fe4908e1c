// The play page: a game against Vireo, or an analysis board. This module wires the parts together
// and keeps the page's mode; the game is game.js's, the board board.js's, the clocks clock.js's, and
// the single engine (started first of all, so that it is ready by the first move) is shared with the
// analysis views, which may use it only in the analysis mode.
import { enginePromise } from './engine.js';
import { Chess } from 'chess.js';
import { Game } from './game.js';
import { Board } from './board.js';
import { Clock, TIME_CONTROLS, formatTime } from './clock.js';
import { LEVELS, chooseMove } from './levels.js';
import { renderMoves, spokenMove } from './movelist.js';

const $ = (id) => document.getElementById(id);
const params = new URLSearchParams(location.search);
const settings = {
    get(key, fallback) {
        try {
            return localStorage.getItem(`vireo.${key}`) ?? fallback;
        } catch {
            return fallback;
        }
    },
    set(key, value) {
        try {
            localStorage.setItem(`vireo.${key}`, value);
        } catch {
            // Private windows may refuse storage; the choice then lasts as long as the page.
        }
    },
};

const game = new Game();
let mode = 'play'; // 'play': a game against the engine; 'analyse': both sides moved by the person
let person = 'w';
let playFen; // where "New game" starts: the address's position, or the standard one
let clock = null;
let engine = null;
let turn = null; // the engine's move being chosen: { timer, expired }
let analysis = null;
let explain = null;

const board = new Board($('board'), {
    fen: game.fen,
    legalMoves: (square) => new Chess(game.fen).moves({ square, verbose: true }),
    onMove: (move) => personMove(move),
});

// The level picker, remembered between visits; the middle level when none was chosen.
for (const level of LEVELS) {
    const option = document.createElement('option');
    option.value = String(level.level);
    option.textContent = `${level.level} - ${level.name}`;
    $('level').append(option);
}
const middleLevel = String(LEVELS[Math.floor((LEVELS.length - 1) / 2)].level);
$('level').value = settings.get('level', middleLevel);
if (!$('level').value) $('level').value = middleLevel;
$('side').value = settings.get('side', 'w') === 'b' ? 'b' : 'w';
$('clock').value = TIME_CONTROLS[settings.get('clock', 'none')] !== undefined ? settings.get('clock', 'none') : 'none';

function currentLevel() {
    return LEVELS.find((level) => String(level.level) === $('level').value) ?? LEVELS[0];
}

function engineName() {
    return `Vireo (level ${currentLevel().level})`;
}

function showLevelHelp() {
    const level = currentLevel();
    const top = level === LEVELS.at(-1);
    const clockNote = top
        ? ' With a clock, it thinks on its clock as in a tournament.'
        : " With a clock, it searches to this level's depth but stops when its time for the move" +
          ' (its clock / 40 + the increment) is spent: the engine takes a depth or a clock, so the page keeps' +
          ' the clock.';
    $('level-help').textContent = `${level.description.replace(/\.$/, '')}.${clockNote}`;
}

// ---- messages and announcements ----

function showMessage(text) {
    $('message').textContent = text;
    $('message').hidden = false;
}

function clearMessage() {
    $('message').hidden = true;
    $('message').textContent = '';
}

function announce(text) {
    const region = $('announce');
    region.textContent = '';
    setTimeout(() => {
        region.textContent = text;
    }, 30);
}

// ---- what the page shows ----

const REASONS = {
    checkmate: 'Checkmate',
    stalemate: 'Stalemate',
    'threefold repetition': 'Threefold repetition',
    'fifty-move rule': 'Fifty-move rule',
    'insufficient material': 'Insufficient material',
    resignation: 'Resignation',
    time: 'Time',
};

function resultText() {
    const { result, reason } = game.result;
    const winner = result === '1-0' ? 'w' : result === '0-1' ? 'b' : null;
    let outcome;
    if (!winner) outcome = 'draw';
    else if (mode === 'play') outcome = winner === person ? 'you win' : 'Vireo wins';
    else outcome = winner === 'w' ? 'White wins' : 'Black wins';
    if (reason === 'resignation' && mode === 'play') {
        return winner === person ? 'Vireo resigned - you win' : 'You resigned - Vireo wins';
    }
    if (reason === 'time' && !winner) return 'Time - draw (the other side has only its king)';
    return reason ? `${REASONS[reason]} - ${outcome}` : `Game over - ${outcome}`;
}

function statusText() {
    if (!engine && mode === 'play') return ['loading', 'Loading the engine…'];
    if (game.over && (game.ply === game.moves.length || mode === 'play')) return ['over', resultText()];
    if (mode === 'analyse') {
        return ['analyse', `Analysis board - ${game.turn === 'w' ? 'White' : 'Black'} to move`];
    }
    if (turn) return ['thinking', 'Vireo is thinking…'];
    if (game.ply < game.moves.length) {
        return ['viewing', `Move ${game.ply} of ${game.moves.length} shown - press >| to play on`];
    }
    return ['person', new Chess(game.fen).inCheck() ? 'Your move (check)' : 'Your move'];
}

function render(animated = true) {
    const last = game.moves[game.ply - 1];
    board.show(game.fen, last, animated);
    const [state, text] = statusText();
    document.body.dataset.state = state;
    document.body.dataset.mode = mode;
    $('status').textContent = text;
    let input = null;
    if (mode === 'analyse') input = 'both';
    else if (state === 'person') input = person;
    board.setInput(input);
    renderMoves($('moves'), game, (ply) => game.goTo(ply));
    const comment = game.commentAt(game.ply);
    $('comment').textContent = comment ?? '';
    $('comment').hidden = !comment;
    const named = game.headers.Event && !['?', 'Casual game'].includes(game.headers.Event);
    const event = named ? ` - ${game.headers.Event}` : '';
    $('game-info').textContent = `${playerName('w')} vs ${playerName('b')}${event}`;
    $('pgn').value = game.pgn({ annotations: true });
    $('stop').disabled = !turn;
    // A game lost on time stays lost; any other ending may be taken back.
    $('takeback').disabled = mode !== 'play' || !engine || game.result.reason === 'time' || game.moves.length === 0;
    $('resign').disabled = mode !== 'play' || !engine || game.over;
    $('first').disabled = $('prev').disabled = game.ply === 0;
    $('next').disabled = $('last').disabled = game.ply === game.moves.length;
    $('analyse-this').hidden = mode !== 'play' || !game.over;
    $('play-here').hidden = mode !== 'analyse';
    renderPlayers();
}

// The name of a side in the game's tags; its colour when the tags do not say.
function playerName(color) {
    const name = color === 'w' ? game.headers.White : game.headers.Black;
    return name && name !== '?' ? name : color === 'w' ? 'White' : 'Black';
}

function renderPlayers() {
    const bottom = board.orientation;
    const top = bottom === 'w' ? 'b' : 'w';
    $('name-top').textContent = playerName(top);
    $('name-bottom').textContent = playerName(bottom);
    for (const [id, color] of [
        ['clock-top', top],
        ['clock-bottom', bottom],
    ]) {
        const element = $(id);
        element.hidden = !clock;
        if (!clock) continue;
        element.textContent = formatTime(clock.remaining(color));
        element.classList.toggle('running', clock.running === color);
        element.classList.toggle('low', clock.remaining(color) < 20_000);
        element.setAttribute('aria-label', `${color === 'w' ? 'White' : 'Black'}'s clock`);
    }
}

// ---- the game against the engine ----

function colorToMoveAt(ply) {
    return game.fenAt(ply).split(' ')[1];
}

function personMove(move) {
    if (mode === 'play' && (turn || game.over || game.ply < game.moves.length || game.turn !== person)) {
        render(false);
        return false;
    }
    let played;
    try {
        played = game.play(move);
    } catch (error) {
        showMessage(error.message);
        render(false);
        return false;
    }
    clearMessage();
    if (mode === 'play') clock?.press(played.color);
    const end = game.over ? `. ${resultText()}` : '';
    announce(`${mode === 'play' ? 'You played ' : ''}${spokenMove(played.san)}${end}`);
    schedule();
    return true;
}

// The engine's share of its clock for one move, as the engine itself reckons it.
function moveBudget(remaining, increment) {
    const reserve = Math.max(0, remaining - 1000);
    return Math.max(0, Math.floor(reserve / 40) + increment - 25);
}

// Asks the engine for its move when it is its turn in a game.
function schedule() {
    if (mode !== 'play' || !engine || turn || game.over) return;
    if (colorToMoveAt(game.moves.length) === person) return;
    engineTurn();
}

async function engineTurn() {
    const current = { timer: 0, expired: false };
    turn = current;
    const color = colorToMoveAt(game.moves.length);
    const level = currentLevel();
    const onClock = clock !== null && level === LEVELS.at(-1);
    if (clock) {
        const budget = moveBudget(clock.remaining(color), clock.increment);
        current.timer = setTimeout(() => expire(current), budget + (onClock ? 250 : 0));
    }
    // The level's searches go to the engine as they are, except that once the move's time is spent
    // (or "Move now" is pressed, or the turn is abandoned) each search left is the shortest one.
    const player = {
        search(position, limits, options) {
            if (current.expired) return engine.search(position, { depth: 1 }, options);
            return engine.search(position, onClock ? clock.limits() : limits, options);
        },
    };
    render();
    let result;
    try {
        result = await chooseMove(player, { fen: game.startFen, moves: game.moves.map((move) => move.uci) }, level);
    } catch (error) {
        if (turn === current) showMessage(`The engine failed: ${error.message}`);
    }
    clearTimeout(current.timer);
    if (turn !== current) return;
    turn = null;
    if (!result?.bestmove || result.bestmove === '0000') {
        render();
        return;
    }
    if (!performance.getEntriesByName('vireo-first-engine-move').length) performance.mark('vireo-first-engine-move');
    game.goTo(game.moves.length);
    const played = game.play(result.bestmove);
    clock?.press(played.color);
    announce(`Vireo plays ${spokenMove(played.san)}${game.over ? `. ${resultText()}` : ''}`);
}

function expire(current) {
    if (!current || current.expired) return;
    current.expired = true;
    engine.stop();
}

// Drops the engine's move under way, if any: its answer would be for a position that is gone.
function abandonTurn() {
    if (!turn) return;
    clearTimeout(turn.timer);
    expire(turn);
    turn = null;
}

async function newGame(fen = playFen) {
    abandonTurn();
    clearMessage();
    clock?.stop();
    await setMode('play');
    person = $('side').value;
    try {
        game.newGame(fen ?? undefined);
    } catch (error) {
        showMessage(error.message);
        game.newGame();
    }
    startPlaying($('clock').value);
}

// The game on the board becomes a game against the engine, the person playing `person`.
function startPlaying(clockName) {
    engine?.send('ucinewgame');
    game.setHeaders(person === 'w' ? { White: 'You', Black: engineName() } : { White: engineName(), Black: 'You' });
    const control = TIME_CONTROLS[clockName] ?? null;
    clock = control
        ? new Clock(control, {
              onTick: renderPlayers,
              onFlag: (color) => {
                  abandonTurn();
                  game.timeout(color);
              },
          })
        : null;
    board.setOrientation(person);
    if (clock && !game.over) clock.start(colorToMoveAt(game.moves.length));
    render(false);
    schedule();
}

async function setMode(next) {
    if (next === mode) return;
    mode = next;
    if (next === 'analyse') {
        abandonTurn();
        clock?.stop();
        clock = null;
    }
    // The analysis views must let go of the engine before it plays.
    await analysis?.setActive(next === 'analyse');
    await explain?.setActive(next === 'analyse');
    render(false);
}

// ---- opening games and positions ----

// Opens a game or a position (text), for analysis or to play on from its last position. A refused
// text leaves the game as it was and says why.
async function openText(text, { play = false } = {}) {
    abandonTurn();
    try {
        game.load(text);
    } catch (error) {
        showMessage(error.message);
        render(false);
        return false;
    }
    clearMessage();
    if (play) {
        person = colorToMoveAt(game.moves.length);
        await setMode('play');
        startPlaying('none');
    } else {
        await setMode('analyse');
        render(false);
    }
    return true;
}

function openDialog() {
    $('open-message').hidden = true;
    $('open-dialog').showModal();
    $('open-text').focus();
}

async function openFromDialog(play) {
    const text = $('open-text').value;
    const shown = await openText(text, { play });
    if (shown) {
        $('open-dialog').close();
        $('open-text').value = '';
    } else {
        $('open-message').textContent = $('message').textContent;
        $('open-message').hidden = false;
    }
}

$('open-file').addEventListener('change', async () => {
    const file = $('open-file').files[0];
    if (!file) return;
    if (file.size > 1_000_000) {
        $('open-message').textContent = 'This file is too large to be a game.';
        $('open-message').hidden = false;
        return;
    }
    $('open-text').value = await file.text();
});

// A link to the game: its PGN, or the position alone when no move was played.
function shareLink() {
    const url = new URL(location.pathname, location.origin);
    if (game.moves.length === 0) url.searchParams.set('fen', game.startFen);
    else url.searchParams.set('pgn', game.pgn());
    return url.href;
}

// The clipboard API exists only on secure pages (https, localhost); elsewhere, such as a phone
// reaching a computer on the local network, the selected text is copied the old way.
async function copyText(text, done) {
    try {
        await navigator.clipboard.writeText(text);
    } catch {
        const area = document.createElement('textarea');
        area.value = text;
        document.body.append(area);
        area.select();
        document.execCommand('copy');
        area.remove();
    }
    announce(done);
    $('status').textContent = done;
    setTimeout(() => render(false), 1500);
}

// ---- controls ----

$('stop').onclick = () => expire(turn);
$('flip').onclick = async () => {
    await board.flip();
    renderPlayers();
};
$('takeback').onclick = () => {
    if (mode !== 'play' || !engine) return;
    abandonTurn();
    // Back to the person's last turn: one ply while the engine thinks, two otherwise.
    let ply = game.moves.length - 1;
    while (ply > 0 && colorToMoveAt(ply) !== person) ply--;
    game.truncate(Math.max(0, ply));
    if (clock && !game.over) clock.start(colorToMoveAt(game.moves.length));
    render(false);
    schedule();
};
$('resign').onclick = () => {
    if (mode !== 'play' || game.over) return;
    abandonTurn();
    clock?.stop();
    game.resign(person);
};
$('newgame').onclick = () => newGame();
$('analyse-this').onclick = () => setMode('analyse');
$('play-here').onclick = async () => {
    game.truncate(game.ply);
    person = colorToMoveAt(game.moves.length);
    $('side').value = person;
    await setMode('play');
    startPlaying('none');
};
$('level').onchange = () => {
    settings.set('level', $('level').value);
    showLevelHelp();
    if (mode === 'play') {
        game.setHeaders(person === 'w' ? { Black: engineName() } : { White: engineName() });
        render(false);
    }
};
$('side').onchange = () => settings.set('side', $('side').value);
$('clock').onchange = () => settings.set('clock', $('clock').value);
$('first').onclick = () => game.goTo(0);
$('prev').onclick = () => game.back();
$('next').onclick = () => game.forward();
$('last').onclick = () => game.goTo(game.moves.length);
$('copy').onclick = () => copyText(game.pgn({ annotations: true }), 'PGN copied');
$('copy-link').onclick = () => copyText(shareLink(), 'Link copied');
$('open').onclick = openDialog;
$('open-analyse').onclick = () => openFromDialog(false);
$('open-play').onclick = () => openFromDialog(true);
$('open-cancel').onclick = () => $('open-dialog').close();
$('move-form').addEventListener('submit', (event) => {
    event.preventDefault();
    const text = $('move-input').value.trim();
    if (!text) return;
    if (mode === 'play' && document.body.dataset.state !== 'person') {
        if (game.over) showMessage('The game is over.');
        else if (turn) showMessage('Vireo is thinking: wait for its move.');
        else showMessage('Go to the last move (>|) to play.');
        return;
    }
    if (personMove(text)) $('move-input').value = '';
});

// Left and Right step through the game, Home and End go to its start and end; not while typing, nor
// on the board, where the arrows move between squares.
document.addEventListener('keydown', (event) => {
    if (event.altKey || event.ctrlKey || event.metaKey || $('open-dialog').open) return;
    const target = event.target;
    if (target.closest?.('input, textarea, select, [contenteditable], #board')) return;
    const keys = {
        ArrowLeft: () => game.back(),
        ArrowRight: () => game.forward(),
        Home: () => game.goTo(0),
        End: () => game.goTo(game.moves.length),
    };
    if (!keys[event.key]) return;
    event.preventDefault();
    keys[event.key]();
});

game.addEventListener('change', (event) => {
    const type = event.detail.type;
    if (type === 'result') {
        clock?.stop();
        abandonTurn();
    }
    render(type === 'move' || type === 'goto');
});

// ---- start ----

function startFromAddress() {
    const pgn = params.get('pgn');
    const fen = params.get('fen');
    const analyse = params.get('analyse') === '1';
    if (pgn !== null) {
        try {
            game.load(pgn);
            mode = 'analyse';
            return analyse;
        } catch (error) {
            showMessage(`The game in the address cannot be opened. ${error.message}`);
        }
    } else if (fen !== null) {
        try {
            game.load(fen);
            if (analyse) {
                mode = 'analyse';
                return true;
            }
            playFen = game.startFen;
            person = game.turn;
            $('side').value = person;
            return false;
        } catch (error) {
            showMessage(`The position in the address cannot be opened. ${error.message}`);
        }
    }
    person = $('side').value;
    return false;
}

const analyseAtOnce = startFromAddress();
showLevelHelp();
if (mode === 'play') {
    game.setHeaders(person === 'w' ? { White: 'You', Black: engineName() } : { White: engineName(), Black: 'You' });
    board.setOrientation(person);
}
render(false);

try {
    engine = await enginePromise;
    performance.mark('vireo-engine-ready');
} catch (error) {
    showMessage(`The engine could not start: ${error.message}`);
    throw error;
}
if (typeof engine.explain !== 'function') {
    engine.explain = () => Promise.reject(new Error('This engine cannot explain positions yet.'));
}
if (mode === 'play') startPlaying($('clock').value);
else render(false);

// The analysis views come after the game has started: the page plays without them if they fail.
try {
    const { mountAnalysis } = await import('./analysis.js');
    analysis = mountAnalysis({
        panel: $('analysis-panel'),
        evalBar: $('evalbar'),
        game,
        engine,
        isActive: () => mode === 'analyse',
    });
    await analysis.setActive(mode === 'analyse');
    if (analyseAtOnce) analysis.analyseGame();
} catch (error) {
    console.warn('analysis unavailable:', error);
}
try {
    const { mountExplain } = await import('./explain.js');
    explain = mountExplain({ panel: $('explain-panel'), game, engine });
    await explain.setActive(mode === 'analyse');
} catch (error) {
    console.warn('explanations unavailable:', error);
}

if ('serviceWorker' in navigator && location.protocol !== 'file:') {
    navigator.serviceWorker.register('sw.js').catch((error) => console.warn('no offline copy:', error));
}
