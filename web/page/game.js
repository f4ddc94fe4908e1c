// The game on the page, and the one place that holds it: the start position, the moves, the position
// shown, the tags, the result and the annotations. chess.js knows the rules; everything read from
// outside (a PGN, a FEN, a typed move) passes through here and is refused with a plain message.
import { Chess, DEFAULT_POSITION } from 'chess.js';

export const START_FEN = DEFAULT_POSITION;
// A game pasted or put in an address is refused above this size: no real game comes near it.
const MAX_TEXT = 1_000_000;
const NAG_CODES = { '!!': '$3', '!': '$1', '!?': '$5', '?!': '$6', '?': '$2', '??': '$4' };
const ROSTER = ['Event', 'Site', 'Date', 'Round', 'White', 'Black', 'Result'];

export class Game extends EventTarget {
    #chess; // the position after the last move, with the counts chess.js keeps for repetitions

    constructor(fen) {
        super();
        this.#reset(fen ? checkedFen(fen) : START_FEN, {});
    }

    get fen() {
        return this.fenAt(this.ply);
    }

    get turn() {
        return this.fen.split(' ')[1];
    }

    get over() {
        return this.result.result !== '*';
    }

    fenAt(ply) {
        const at = clamp(ply, 0, this.moves.length);
        return at === 0 ? this.startFen : this.moves[at - 1].fen;
    }

    // The comment the game's text gave after the move that led to the position at `ply` (0: before
    // the first move), if any.
    commentAt(ply) {
        return ply === 0 ? this.startComment : this.moves[ply - 1]?.comment;
    }

    // A game (PGN) or a position (FEN). Nothing changes when the text is refused.
    load(text) {
        const source = String(text ?? '').trim();
        if (!source) throw new Error('There is nothing to open: paste a game (PGN) or a position (FEN).');
        if (source.length > MAX_TEXT) throw new Error('This text is too long to be a game.');
        if (looksLikeFen(source)) {
            const fen = checkedFen(source);
            this.#reset(fen, {});
        } else {
            const parsed = parsePgn(source);
            this.#reset(parsed.startFen, parsed.headers, parsed);
        }
        this.#emit('load');
    }

    newGame(fen) {
        const start = fen === undefined ? this.startFen : checkedFen(fen);
        this.#reset(start, {});
        this.#emit('new');
    }

    setHeaders(tags) {
        for (const [key, value] of Object.entries(tags)) this.headers[cleanTagName(key)] = cleanTagValue(value);
    }

    // Plays a move (SAN "Nf3", coordinates "g1f3" or { from, to, promotion }) at the shown position;
    // the moves after it, if any, are dropped. Throws when the move is not legal there.
    play(input) {
        if (this.ply < this.moves.length) this.#cutAt(this.ply);
        const move = this.#chess.move(toMoveInput(input, this.#chess));
        if (move.san === '--') {
            this.#chess.undo();
            throw new Error('A null move is not a move.');
        }
        const record = recordOf(move, this.#chess);
        this.moves.push(record);
        this.annotations.length = this.moves.length - 1;
        this.ply = this.moves.length;
        this.result = outcome(this.#chess);
        this.headers.Result = this.result.result;
        this.#emit('move');
        if (this.over) this.#emit('result');
        return record;
    }

    // Drops the moves after `ply` (a take-back) and shows the position there.
    truncate(ply) {
        this.#cutAt(clamp(ply, 0, this.moves.length));
        this.ply = this.moves.length;
        this.result = outcome(this.#chess);
        this.headers.Result = this.result.result;
        this.#emit('move');
    }

    // Ends the game without a move: the side `color` resigns or its flag falls.
    resign(color) {
        this.#finish(color === 'w' ? '0-1' : '1-0', 'resignation');
    }

    timeout(color) {
        // The flag of a side against a lone king is a draw: a lone king cannot mate.
        const loneKing =
            this.#chess
                .board()
                .flat()
                .filter((piece) => piece && piece.color !== color).length === 1;
        this.#finish(loneKing ? '1/2-1/2' : color === 'w' ? '0-1' : '1-0', 'time');
    }

    goTo(ply) {
        const at = clamp(Math.trunc(Number(ply) || 0), 0, this.moves.length);
        if (at === this.ply) return;
        this.ply = at;
        this.#emit('goto');
    }

    back() {
        this.goTo(this.ply - 1);
    }

    forward() {
        this.goTo(this.ply + 1);
    }

    annotate(list) {
        this.annotations = Array.from({ length: this.moves.length }, (_, i) => list?.[i] ?? undefined);
        this.#emit('annotations');
    }

    clearAnnotations() {
        this.annotate([]);
    }

    // The game as PGN: the tags (Result always, SetUp and FEN for a game from a position), the moves
    // with the comments read with the game, and with { annotations: true } the evaluation's marks.
    pgn({ annotations = false } = {}) {
        const tags = { ...this.headers, Result: this.result.result };
        for (const key of ROSTER) tags[key] ??= key === 'Result' ? '*' : '?';
        if (this.startFen !== START_FEN) {
            tags.SetUp = '1';
            tags.FEN = this.startFen;
        } else {
            delete tags.SetUp;
            delete tags.FEN;
        }
        const order = [...ROSTER, ...Object.keys(tags).filter((key) => !ROSTER.includes(key))];
        const lines = order.map((key) => `[${cleanTagName(key)} "${escapeTag(tags[key])}"]`);
        const words = [];
        if (this.startComment) words.push(`{ ${cleanComment(this.startComment)} }`);
        this.moves.forEach((move, i) => {
            if (move.color === 'w') words.push(`${move.moveNumber}.`);
            else if (i === 0 || words.at(-1).startsWith('{')) words.push(`${move.moveNumber}...`);
            words.push(move.san);
            const note = annotations ? this.annotations[i] : undefined;
            if (note?.nag && NAG_CODES[note.nag]) words.push(NAG_CODES[note.nag]);
            const comment = [annotations ? annotationText(note) : '', move.comment ?? ''].filter(Boolean).join(' ');
            if (comment) words.push(`{ ${cleanComment(comment)} }`);
        });
        words.push(this.result.result);
        return `${lines.join('\n')}\n\n${wrap(words, 79)}\n`;
    }

    #reset(startFen, headers, parsed) {
        this.startFen = startFen;
        this.#chess = new Chess(startFen);
        this.moves = [];
        this.startComment = parsed?.startComment;
        for (const move of parsed?.moves ?? []) {
            const played = this.#chess.move(move.san);
            this.moves.push({ ...recordOf(played, this.#chess), ...(move.comment ? { comment: move.comment } : {}) });
        }
        this.ply = this.moves.length;
        this.annotations = [];
        this.headers = { ...defaultHeaders(), ...headers };
        this.result = outcome(this.#chess);
        // A finished game keeps the result its text gave; the position tells the reason when it can.
        const stated = headers.Result;
        if (this.result.result === '*' && ['1-0', '0-1', '1/2-1/2'].includes(stated)) {
            this.result = { result: stated, reason: '' };
        }
        this.headers.Result = this.result.result;
    }

    #cutAt(ply) {
        while (this.moves.length > ply) {
            this.#chess.undo();
            this.moves.pop();
        }
        this.annotations.length = Math.min(this.annotations.length, ply);
    }

    #finish(result, reason) {
        if (this.over) return;
        this.result = { result, reason };
        this.headers.Result = result;
        this.#emit('result');
    }

    #emit(type) {
        this.dispatchEvent(new CustomEvent('change', { detail: { type } }));
    }
}

// The result of the position after the last move, by the rules alone.
function outcome(chess) {
    if (chess.isCheckmate()) return { result: chess.turn() === 'w' ? '0-1' : '1-0', reason: 'checkmate' };
    if (chess.isStalemate()) return { result: '1/2-1/2', reason: 'stalemate' };
    if (chess.isInsufficientMaterial()) return { result: '1/2-1/2', reason: 'insufficient material' };
    if (chess.isThreefoldRepetition()) return { result: '1/2-1/2', reason: 'threefold repetition' };
    if (chess.isDrawByFiftyMoves()) return { result: '1/2-1/2', reason: 'fifty-move rule' };
    return { result: '*', reason: '' };
}

function recordOf(move, after) {
    const record = {
        san: move.san,
        uci: move.from + move.to + (move.promotion ?? ''),
        from: move.from,
        to: move.to,
        color: move.color,
        fen: after.fen(),
        moveNumber: Number(move.before.split(' ')[5]),
    };
    if (move.promotion) record.promotion = move.promotion;
    return record;
}

const UCI_MOVE = /^([a-h][1-8])([a-h][1-8])([qrbn])?$/;

// SAN, coordinates or a move object, as chess.js takes it; a coordinate move to the last rank
// without a piece is refused rather than guessed.
function toMoveInput(input, chess) {
    if (input && typeof input === 'object') {
        return { from: String(input.from), to: String(input.to), promotion: input.promotion || undefined };
    }
    const text = String(input ?? '').trim();
    if (!text) throw new Error('Type a move, such as e4, Nf3 or e2e4.');
    const coordinates = UCI_MOVE.exec(text.toLowerCase());
    if (coordinates) {
        const [, from, to, promotion] = coordinates;
        const legal = chess.moves({ square: from, verbose: true }).filter((move) => move.to === to);
        if (legal.length && legal[0].promotion && !promotion) {
            throw new Error(`${text} promotes a pawn: add the piece, as in ${from}${to}q.`);
        }
        if (legal.length) return { from, to, promotion };
    }
    if (text === '--' || /^(z0|0000|null)$/i.test(text)) throw new Error('A null move is not a move.');
    if (!chess.moves().some((san) => sameSan(san, text))) throw new Error(`${text} is not a legal move here.`);
    return chess.moves().find((san) => sameSan(san, text));
}

function sameSan(san, text) {
    const plain = (s) =>
        s
            .replace(/[+#?!]+$/, '')
            .replace('=', '')
            .replace(/0/g, 'O');
    return plain(san) === plain(text);
}

export function looksLikeFen(text) {
    return /^[1-8pnbrqkPNBRQK]+(\/[1-8pnbrqkPNBRQK]+){7}(\s|$)/.test(text.trim());
}

// A position the engine can play from, in chess.js's full six-field form.
function checkedFen(text) {
    const fen = String(text).trim().replace(/\s+/g, ' ');
    let chess;
    try {
        chess = new Chess(fen);
    } catch (error) {
        throw new Error(`This position (FEN) is not valid: ${plainReason(error)}.`, { cause: error });
    }
    const waiting = other(chess.turn());
    const [king] = chess.findPiece({ type: 'k', color: waiting });
    if (king && chess.isAttacked(king, chess.turn())) {
        throw new Error(`This position (FEN) is not valid: the side not to move (${colorName(waiting)}) is in check.`);
    }
    return chess.fen();
}

function plainReason(error) {
    return String(error.message ?? error)
        .replace(/^Invalid FEN:\s*/, '')
        .replace(/\.$/, '');
}

// The first game of a PGN text: its tags, its start position, its main line with its comments.
function parsePgn(text) {
    const chess = new Chess();
    try {
        chess.loadPgn(mainLine(plainTags(text)));
    } catch (error) {
        const reason = String(error.message ?? error);
        const move = /Invalid move in PGN: (\S+)/.exec(reason);
        if (move) {
            throw new Error(`This game (PGN) has a move that is not legal where it stands: ${move[1]}.`, {
                cause: error,
            });
        }
        if (/FEN/.test(reason)) {
            throw new Error(`This game's start position (FEN tag) is not valid: ${plainReason(error)}.`, {
                cause: error,
            });
        }
        const where = error.location?.start;
        const place = where ? ` (line ${where.line}, column ${where.column})` : '';
        throw new Error(`This text is not a game (PGN) or a position (FEN): it cannot be read${place}.`, {
            cause: error,
        });
    }
    const headers = {};
    for (const [key, value] of Object.entries(chess.getHeaders())) headers[cleanTagName(key)] = cleanTagValue(value);
    const comments = new Map(chess.getComments().map(({ fen, comment }) => [fen, comment]));
    const history = chess.history({ verbose: true });
    if (history.some((move) => move.san === '--')) {
        throw new Error('This game (PGN) has a null move (--), which cannot be played.');
    }
    const startFen = history.length ? history[0].before : chess.fen();
    checkedFen(startFen);
    if (!history.length && !Object.keys(headers).length && !/[[{]/.test(text)) {
        throw new Error('This text is not a game (PGN) or a position (FEN).');
    }
    delete headers.SetUp;
    delete headers.FEN;
    return {
        startFen,
        headers,
        startComment: comments.get(startFen),
        moves: history.map((move) => ({ san: move.san, comment: comments.get(move.after) })),
    };
}

// Tag values with quotes inside, escaped (\") or not, which the PGN reader does not take: the value runs
// to the last quote of its line, and its quotes become apostrophes.
function plainTags(text) {
    return text.replace(
        /^(\s*\[\w+\s+")(.*)("\s*\][ \t]*)$/gm,
        (_, open, value, close) => open + value.replace(/\\(.)/g, '$1').replace(/"/g, "'") + close,
    );
}

// A NAG ($1, $14 ...) where the move text is read.
const NAG = /\$\d+/y;

// The main line of a PGN's move text in the one form chess.js reads: after a move, its NAGs, then one
// brace comment. PGN also allows several comments in a row, comments to the end of a line ("; ..."),
// comments after NAGs and after variations, as other programs and our match tool write them (a move's
// score, then why the game ended). Variations are dropped, since the page shows the main line; each run
// of comments becomes one, after the NAGs around it. Lines keep their numbers, so that the parser's
// complaints point at the right line. A comment or variation left open stays as it is, for the parser
// to refuse.
function mainLine(text) {
    let out = '';
    let nags = [];
    let comments = [];
    const flush = () => {
        if (nags.length || comments.length) out += `${nagsAndComments(nags, comments)} `;
        nags = [];
        comments = [];
    };
    let i = 0;
    while (i < text.length) {
        const c = text[i];
        if (c === '{' || c === ';') {
            const stop = commentEnd(text, i);
            if (stop < 0) return out + nagsAndComments(nags, comments) + text.slice(i);
            const body = text
                .slice(i + 1, c === '{' ? stop - 1 : stop)
                .replace(/[{}]/g, '')
                .trim();
            if (body) comments.push(body);
            i = stop;
        } else if (c === '(') {
            const stop = variationEnd(text, i);
            if (stop < 0) return out + nagsAndComments(nags, comments) + text.slice(i);
            out += '\n'.repeat(text.slice(i, stop).split('\n').length - 1);
            i = stop;
        } else if (c === '$' && /\d/.test(text[i + 1] ?? '')) {
            NAG.lastIndex = i;
            const [nag] = NAG.exec(text);
            nags.push(nag);
            i += nag.length;
        } else if (/\s/.test(c)) {
            out += c;
            i++;
        } else {
            flush();
            if (c === '"') {
                // a tag's value, as it stands
                const end = text.indexOf('"', i + 1);
                const stop = end < 0 ? text.length : end + 1;
                out += text.slice(i, stop);
                i = stop;
            } else {
                out += c;
                i++;
            }
        }
    }
    return out + nagsAndComments(nags, comments);
}

function nagsAndComments(nags, comments) {
    return [...nags, ...(comments.length ? [`{${comments.join(' ')}}`] : [])].map((part) => ` ${part}`).join('');
}

// Where the comment opening at `start` ends: after its closing brace, or at the end of its line (or of
// the text) for a "; ..." comment; -1 for a brace never closed.
function commentEnd(text, start) {
    if (text[start] === ';') {
        const end = text.indexOf('\n', start + 1);
        return end < 0 ? text.length : end;
    }
    const end = text.indexOf('}', start + 1);
    return end < 0 ? -1 : end + 1;
}

// Where the variation opening at `start` ends (after its closing parenthesis), or -1 if it never does.
function variationEnd(text, start) {
    let depth = 0;
    for (let i = start; i < text.length; i++) {
        const c = text[i];
        if (c === '{' || c === ';') {
            const stop = commentEnd(text, i);
            if (stop < 0) return -1;
            i = stop - 1;
        } else if (c === '(') depth++;
        else if (c === ')' && --depth === 0) return i + 1;
    }
    return -1;
}

function defaultHeaders() {
    const today = new Date();
    const date = [today.getFullYear(), today.getMonth() + 1, today.getDate()].map((n) => String(n).padStart(2, '0'));
    return {
        Event: 'Casual game',
        Site: 'Vireo',
        Date: date.join('.'),
        Round: '-',
        White: '?',
        Black: '?',
        Result: '*',
    };
}

function annotationText(note) {
    if (!note) return '';
    const words = [];
    if (note.mate !== undefined && note.mate !== null) words.push(`[%eval #${note.mate}]`);
    else if (Number.isFinite(note.cp)) words.push(`[%eval ${(note.cp / 100).toFixed(2)}]`);
    if (note.best) words.push(`better was ${note.best}`);
    if (note.comment) words.push(note.comment);
    return words.join(' ');
}

// Tag names are symbols; values and comments may hold anything a pasted text held, so they lose what
// would end them early or break a line.
function cleanTagName(key) {
    return String(key).replace(/[^A-Za-z0-9_]/g, '') || 'Tag';
}

function cleanTagValue(value) {
    return (
        String(value ?? '')
            // eslint-disable-next-line no-control-regex -- control characters of untrusted text become spaces
            .replace(/[\u0000-\u001f\u007f]+/g, ' ')
            .slice(0, 500)
    );
}

// Quotes become apostrophes rather than escapes: many readers of PGN, chess.js among them, stop at
// an escaped quote.
function escapeTag(value) {
    return cleanTagValue(value).replace(/\\/g, '/').replace(/"/g, "'");
}

function cleanComment(text) {
    return (
        String(text)
            // eslint-disable-next-line no-control-regex -- control characters of untrusted text become spaces
            .replace(/[\u0000-\u001f\u007f]+/g, ' ')
            .replace(/}/g, ')')
            .replace(/\s+/g, ' ')
            .trim()
    );
}

function wrap(words, width) {
    const lines = [];
    let line = '';
    for (const word of words) {
        if (line && line.length + 1 + word.length > width) {
            lines.push(line);
            line = word;
        } else {
            line = line ? `${line} ${word}` : word;
        }
    }
    if (line) lines.push(line);
    return lines.join('\n');
}

function clamp(value, low, high) {
    return Math.max(low, Math.min(high, value));
}

function other(color) {
    return color === 'w' ? 'b' : 'w';
}

function colorName(color) {
    return color === 'w' ? 'White' : 'Black';
}
