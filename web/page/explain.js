// The explanation of the shown position: the engine's static evaluation taken apart into its terms,
// each with its centipawns and a bar, and their total, all from White's side (the engine gives them
// from the side to move's). When endgame knowledge settles the position, the engine's note says so.
import { whenEngineIdle } from './analysis.js';
import { element } from './dom.js';

// "+31", "-120", "0": centipawns with their sign.
export function signed(cp) {
    return cp > 0 ? `+${cp}` : String(cp);
}

export function mountExplain({ panel, game, engine }) {
    let active = false;
    let token = 0; // one for every request; an answer for an older one is dropped
    const heading = element('h2', { className: 'explain-heading' }, 'Why this evaluation');
    const view = element('div', { className: 'explain-view' });
    panel.replaceChildren(heading, view);
    panel.classList.add('explain');

    function say(text) {
        view.replaceChildren(element('p', { className: 'explain-message' }, text));
    }

    function show(answer, turn) {
        const sign = turn === 'w' ? 1 : -1;
        const terms = answer.terms.map(({ name, cp }) => ({ name, cp: cp * sign }));
        const total = answer.total * sign;
        const largest = Math.max(1, ...terms.map((t) => Math.abs(t.cp)), Math.abs(total));
        const row = (name, cp, kind) => {
            const bar = element('span', { className: 'explain-bar-fill' });
            const share = (Math.abs(cp) / largest) * 50;
            bar.style.width = `${share}%`;
            bar.style.left = cp >= 0 ? '50%' : `${50 - share}%`;
            bar.dataset.side = cp >= 0 ? 'w' : 'b';
            return element(
                'tr',
                { className: kind, dataset: { cp } },
                element('th', { scope: 'row' }, name),
                element('td', { className: 'explain-bar' }, bar),
                element('td', { className: 'explain-cp' }, signed(cp)),
            );
        };
        const table = element(
            'table',
            { className: 'explain-table' },
            element('caption', {}, "Centipawns from White's side (+ favours White, − Black)"),
            element(
                'thead',
                {},
                element(
                    'tr',
                    {},
                    element('th', { scope: 'col' }, 'Term'),
                    element('th', { scope: 'col' }),
                    element('th', { scope: 'col' }, 'cp'),
                ),
            ),
            element('tbody', {}, ...terms.map((t) => row(t.name, t.cp, 'explain-term'))),
            element('tfoot', {}, row('Total', total, 'explain-total')),
        );
        const parts = [table];
        if (answer.note) parts.push(element('p', { className: 'explain-note' }, answer.note));
        view.replaceChildren(...parts);
        panel.dataset.fen = answer.fen ?? '';
    }

    async function update() {
        const mine = ++token;
        if (!active) {
            say('The explanation is shown on the analysis board.');
            return;
        }
        const fen = game.fen;
        const turn = fen.split(' ')[1];
        try {
            const answer = await whenEngineIdle(engine, () => engine.explain(fen));
            if (mine !== token) return;
            show(answer, turn);
        } catch (error) {
            if (mine !== token) return;
            say(`No explanation for this position: ${error.message}`);
        }
    }

    game.addEventListener('change', (event) => {
        if (event.detail?.type !== 'annotations') update();
    });
    update();

    return {
        setActive(on) {
            active = Boolean(on);
            update();
        },
    };
}
