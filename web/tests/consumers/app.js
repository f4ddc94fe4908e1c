// A web developer's first use of the package, the same for every bundler: the documented import,
// a search, its move shown on the page.
import { Vireo } from 'vireo-chess';

const out = document.getElementById('result');
Vireo.start({ hash: 16 })
    .then((engine) => engine.search({ moves: ['e2e4'] }, { depth: 6 }))
    .then(({ bestmove }) => {
        out.textContent = `bestmove ${bestmove}`;
    })
    .catch((error) => {
        out.textContent = `failed: ${error.message}`;
    });
