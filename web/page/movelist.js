// The moves of the game as a table of move pairs (number, White, Black), each move a button that
// shows its position, with the marks of the game's analysis (Qh5??, the better move in its title).
const NAG_WORDS = { '?!': 'an inaccuracy', '?': 'a mistake', '??': 'a blunder' };

export function renderMoves(table, game, onSelect) {
    const body = table.tBodies[0];
    const rows = [];
    let row = null;
    game.moves.forEach((move, i) => {
        if (move.color === 'w' || !row) {
            row = document.createElement('tr');
            const number = document.createElement('th');
            number.scope = 'row';
            number.textContent = `${move.moveNumber}.`;
            row.append(number, document.createElement('td'), document.createElement('td'));
            rows.push(row);
            if (move.color === 'b') row.cells[1].textContent = '…';
        }
        row.cells[move.color === 'w' ? 1 : 2].append(moveButton(move, i + 1, game.annotations[i], game.ply, onSelect));
        if (move.color === 'b') row = null;
    });
    body.replaceChildren(...rows);
    const current = body.querySelector('[aria-current="true"]');
    const box = table.parentElement;
    if (current) {
        // Scrolls the list only, never the page.
        const top = current.offsetTop - box.clientHeight / 2;
        box.scrollTop = Math.max(0, top);
    } else if (game.ply === 0) {
        box.scrollTop = 0;
    }
}

function moveButton(move, ply, note, shownPly, onSelect) {
    const button = document.createElement('button');
    button.type = 'button';
    button.className = 'move';
    button.dataset.ply = String(ply);
    const nag = note?.nag && NAG_WORDS[note.nag] ? note.nag : '';
    button.textContent = move.san + nag;
    if (nag) {
        button.dataset.nag = nag;
        button.title = `${NAG_WORDS[nag]}${better(note)}`;
    }
    const number = `${move.moveNumber}${move.color === 'w' ? '.' : '...'}`;
    const label = nag ? `${number} ${move.san}, ${NAG_WORDS[nag]}${better(note)}` : `${number} ${move.san}`;
    button.setAttribute('aria-label', label);
    if (ply === shownPly) button.setAttribute('aria-current', 'true');
    button.addEventListener('click', () => onSelect(ply));
    return button;
}

function better(note) {
    return note.best ? `; better was ${note.best}` : '';
}

// A move in words for a screen reader: "Knight takes f3, check".
export function spokenMove(san) {
    if (san.startsWith('O-O-O')) return 'castles long' + suffix(san);
    if (san.startsWith('O-O')) return 'castles short' + suffix(san);
    const names = { K: 'King', Q: 'Queen', R: 'Rook', B: 'Bishop', N: 'Knight' };
    const body = san.replace(/[+#]/g, '');
    const [, piece = '', rest] = /^([KQRBN]?)(.*)$/.exec(body);
    const words = rest
        .replace(/=([QRBN])/, (_, p) => ` promotes to ${names[p]}`)
        .replace('x', ' takes ')
        .trim();
    return `${piece ? names[piece] + ' ' : ''}${words}${suffix(san)}`.replace(/\s+/g, ' ');
}

function suffix(san) {
    if (san.endsWith('#')) return ', checkmate';
    if (san.endsWith('+')) return ', check';
    return '';
}
