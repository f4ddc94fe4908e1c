// The package's types as a TypeScript user meets them, compiled with tsc --strict.
import { Vireo, parseInfo, type Info, type SearchResult } from 'vireo-chess';

async function main(): Promise<string> {
    const engine: Vireo = await Vireo.start({ hash: 16, timeout: 5000 });
    const infos: Info[] = [];
    const result: SearchResult = await engine.search(
        { fen: 'rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1', moves: ['e7e5'] },
        { depth: 8 },
        { onInfo: (info) => infos.push(info) },
    );
    const running = engine.search({}, { infinite: true });
    const stopped: SearchResult | null = await engine.stop();
    await running;
    const cp: number | undefined = result.info?.score?.cp;
    const line: string = await engine.waitFor(/^readyok$/, { timeout: 1000 });
    const explanation = await engine.explain('8/8/8/4k3/8/8/4P3/4K3 w - - 0 1');
    const terms: string[] = explanation.terms.map(({ name, cp }) => `${name} ${cp}`);
    const remove: () => void = engine.onLine((text: string) => text.length);
    remove();
    engine.send('isready');
    const failure: Error | null = engine.ended;
    engine.terminate();
    return `${result.bestmove} ${cp ?? 0} ${stopped?.bestmove} ${line} ${terms.join()} ${parseInfo('info depth 1').depth} ${failure}`;
}

main().then((text) => console.log(text));
