// The play page: a game against Vireo in the browser. chess.js keeps the rules and the game,
// cm-chessboard shows it and takes the person's moves, the engine runs in its worker (vireo.js).
import { Chessboard, COLOR, INPUT_EVENT_TYPE, FEN } from './lib/cm-chessboard/Chessboard.js';
import { Markers, MARKER_TYPE } from './lib/cm-chessboard/extensions/markers/Markers.js';
import { PromotionDialog, PROMOTION_DIALOG_RESULT_TYPE } from './lib/cm-chessboard/extensions/promotion-dialog/PromotionDialog.js';
import { Chess } from './lib/chess.js';
import { Vireo } from './vireo.js';

// A phone holds 32 MB of table easily; the engine's own default of 128 MB is meant for a desktop GUI.
const HASH_MB = 32;

const $ = (id) => document.getElementById(id);
// A game may start from any position: index.html?fen=... (the person plays the side to move).
const startFen = usableFen(new URLSearchParams(location.search).get('fen'));
const game = new Chess(startFen);
let person = game.turn();
$('side').value = person;
let engine = null;
// Each search belongs to one position of one game: a take-back or a new game during a search makes
// its answer stale, and a stale answer is dropped.
let searchId = 0;
let clockTimer = 0;

const board = new Chessboard($('board'), {
    position: game.fen(),
    orientation: person === 'w' ? COLOR.white : COLOR.black,
    assetsUrl: './lib/cm-chessboard-assets/',
    style: { cssClass: 'default', borderType: 'none', animationDuration: 200 },
    extensions: [{ class: Markers }, { class: PromotionDialog }],
});

function usableFen(fen) {
    try {
        return fen ? new Chess(fen).fen() : FEN.start;
    } catch {
        return FEN.start;
    }
}

function setState(state, text) {
    document.body.dataset.state = state;
    $('status').textContent = text;
}

function gameOverText() {
    if (game.isCheckmate()) return `Checkmate: ${game.turn() === 'w' ? 'Black' : 'White'} wins`;
    if (game.isStalemate()) return 'Draw by stalemate';
    if (game.isThreefoldRepetition()) return 'Draw by repetition';
    if (game.isInsufficientMaterial()) return 'Draw: insufficient material';
    if (game.isDraw()) return 'Draw by the fifty-move rule';
    return '';
}

function showGame() {
    board.removeMarkers(MARKER_TYPE.square);
    const last = game.history({ verbose: true }).at(-1);
    if (last) {
        board.addMarker(MARKER_TYPE.square, last.from);
        board.addMarker(MARKER_TYPE.square, last.to);
    }
    const list = $('moves');
    list.textContent = '';
    const history = game.history();
    for (let i = 0; i < history.length; i += 2) {
        const item = document.createElement('li');
        for (const san of history.slice(i, i + 2)) {
            const span = document.createElement('span');
            span.textContent = san;
            item.append(span);
        }
        list.append(item);
    }
    list.scrollTop = list.scrollHeight;
    game.header('White', person === 'w' ? 'You' : 'Vireo', 'Black', person === 'b' ? 'You' : 'Vireo');
    $('pgn').value = game.pgn();
}

// Whose turn it is decides everything: the person's move input, or a search.
function nextTurn() {
    board.removeLegalMovesMarkers();
    showGame();
    const over = gameOverText();
    if (over) {
        board.disableMoveInput();
        setState('over', over);
    } else if (game.turn() === person) {
        if (board.isMoveInputEnabled()) board.disableMoveInput();
        board.enableMoveInput(onMoveInput, person === 'w' ? COLOR.white : COLOR.black);
        setState('person', game.inCheck() ? 'Your move (check)' : 'Your move');
    } else {
        board.disableMoveInput();
        think();
    }
}

function onMoveInput(event) {
    switch (event.type) {
    case INPUT_EVENT_TYPE.moveInputStarted: {
        const moves = game.moves({ square: event.squareFrom, verbose: true });
        board.addLegalMovesMarkers(moves);
        return moves.length > 0;
    }
    case INPUT_EVENT_TYPE.validateMoveInput: {
        board.removeLegalMovesMarkers();
        const candidates = game.moves({ square: event.squareFrom, verbose: true }).filter((m) => m.to === event.squareTo);
        if (candidates.length === 0) return false;
        if (candidates[0].promotion) {
            board.showPromotionDialog(event.squareTo, person === 'w' ? COLOR.white : COLOR.black, (result) => {
                if (result.type === PROMOTION_DIALOG_RESULT_TYPE.pieceSelected) {
                    play({ from: event.squareFrom, to: event.squareTo, promotion: result.piece.charAt(1) });
                } else {
                    board.setPosition(game.fen(), true);
                }
            });
            return true;
        }
        play({ from: event.squareFrom, to: event.squareTo });
        return true;
    }
    case INPUT_EVENT_TYPE.moveInputCanceled:
        board.removeLegalMovesMarkers();
        return true;
    default:
        return true;
    }
}

function play(move) {
    game.move(move);
    board.setPosition(game.fen(), true);
    nextTurn();
}

function uciMoves() {
    return game.history({ verbose: true }).map((m) => m.from + m.to + (m.promotion ?? ''));
}

function scoreText(score, whiteToMove) {
    if (!score) return '–';
    const sign = whiteToMove ? 1 : -1;
    if (score.mate !== undefined) return `#${score.mate * sign}`;
    const pawns = (score.cp * sign) / 100;
    return (pawns > 0 ? '+' : '') + pawns.toFixed(2);
}

async function think() {
    const id = ++searchId;
    const whiteToMove = game.turn() === 'w';
    const started = performance.now();
    setState('thinking', 'Vireo is thinking…');
    $('stop').disabled = false;
    clearInterval(clockTimer);
    clockTimer = setInterval(() => {
        $('clock').textContent = `${((performance.now() - started) / 1000).toFixed(1)} s`;
    }, 100);
    const result = await engine.search({ fen: startFen, moves: uciMoves() }, `movetime ${$('movetime').value}`, {
        onInfo: (info) => {
            if (id !== searchId) return;
            $('score').textContent = scoreText(info.score, whiteToMove);
            $('depth').textContent = `depth ${info.depth}`;
            $('pv').textContent = pvText(info.pv ?? []);
        },
    });
    if (id !== searchId) return;
    clearInterval(clockTimer);
    $('stop').disabled = true;
    const move = result.bestmove;
    game.move({ from: move.slice(0, 2), to: move.slice(2, 4), promotion: move[4] });
    await board.setPosition(game.fen(), true);
    if (id === searchId) nextTurn();
}

// The variation in standard notation, from the position the engine is thinking about.
function pvText(pv) {
    const line = new Chess(game.fen());
    const words = [];
    for (const uci of pv) {
        try {
            const move = line.move({ from: uci.slice(0, 2), to: uci.slice(2, 4), promotion: uci[4] });
            words.push(move.san);
        } catch {
            break;
        }
    }
    return words.join(' ');
}

// Drops the search under way, if any: its answer would be for a position that is gone.
function abandonSearch() {
    if (document.body.dataset.state !== 'thinking') return;
    searchId++;
    clearInterval(clockTimer);
    $('stop').disabled = true;
    engine.stop();
}

$('stop').onclick = () => engine.stop();
$('flip').onclick = () => board.setOrientation(board.getOrientation() === COLOR.white ? COLOR.black : COLOR.white, true);
$('takeback').onclick = () => {
    if (!engine) return;
    abandonSearch();
    // Back to the person's last turn: one ply while the engine thinks or after its mate, two otherwise.
    game.undo();
    while (game.turn() !== person && game.history().length) game.undo();
    board.setPosition(game.fen(), true);
    nextTurn();
};
$('newgame').onclick = () => {
    if (!engine) return;
    abandonSearch();
    person = $('side').value;
    game.load(startFen);
    engine.send('ucinewgame');
    board.setOrientation(person === 'w' ? COLOR.white : COLOR.black);
    board.setPosition(game.fen(), true);
    for (const id of ['score', 'depth', 'clock', 'pv']) $(id).textContent = '';
    nextTurn();
};
// The clipboard API exists only on secure pages (https, localhost); elsewhere, such as a phone
// reaching a computer on the local network, the selected text is copied the old way.
$('copy').onclick = async () => {
    try {
        await navigator.clipboard.writeText($('pgn').value);
    } catch {
        $('pgn').select();
        document.execCommand('copy');
    }
};

engine = await Vireo.start({ hash: HASH_MB });
nextTurn();
