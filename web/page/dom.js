// Elements built from text and properties, never from markup: what a game or a link brings in stays text.
// element('td', { className: 'cp', 'aria-label': 'score' }, '+31'): properties the element has are set
// as properties (aria ones as attributes), others as attributes; children are nodes or text.
export function element(tag, properties = {}, ...children) {
    const node = document.createElement(tag);
    for (const [name, value] of Object.entries(properties)) {
        if (name === 'dataset') Object.assign(node.dataset, value);
        else if (name in node && !name.startsWith('aria')) node[name] = value;
        else node.setAttribute(name, value);
    }
    node.append(...children);
    return node;
}
