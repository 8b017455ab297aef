// The collector's live view. Hits arrive over one event stream, already decoded, and are shown in
// arrival order. Every key and value is the application's own text: it reaches the page through
// textContent only, never as markup. A module: strict, and its names stay its own.
const KINDS = [ 'state', 'action', 'lifecycle', 'location', 'media', 'other' ];
// Work per animation frame is capped, so that the page answers a click or a key while
// thousands of hits arrive or a filter runs over them.
const ROWS_PER_FRAME = 200;
const FILTER_ROWS_PER_FRAME = 2000;
const FRAME_BUDGET_MS = 8;
// Rows go into pages of this many, each skipped by layout while out of sight, so that a frame
// costs about the same with 100 hits on the page as with 10,000.
const PAGE_ROWS = 50;
// What a hit is about first; the rest in wire order, which says nothing.
const FIRST_VARS = [ 'pageName', 'pe', 'pev2', 'pev3' ];

const list = document.getElementById('hits');
const empty = document.getElementById('empty');
const status = document.getElementById('status');
const shown = document.getElementById('shown');
const filterBox = document.getElementById('filter');
const kindBar = document.getElementById('kinds');
const pauseButton = document.getElementById('pause');

let entries = [];            // on the page, in arrival order: {hit, text, duplicateOf, row}
let page = null;             // the page new rows go to
let waiting = [];            // arrived, not on the page yet (all of them while paused)
const firstSeen = new Map(); // path and query -> number of the first hit that had them
const counts = {};
const kindFilter = new Set(); // empty: every kind
let textFilter = '';
let refiltered = 0; // entries before this index match the current filters
let paused = false;
let frameAsked = false;
let connected = false;
let givenUp = false;

function el(tag, className, text) {
    const node = document.createElement(tag);
    if (className)
        node.className = className;
    if (text !== undefined)
        node.textContent = String(text);
    return node;
}

function shownName(name) { return name === '' ? '""' : name; }

function clock(iso) {
    const at = new Date(iso);
    if (isNaN(at.getTime()))
        return String(iso);
    const two = (n) => String(n).padStart(2, '0');
    return two(at.getHours()) + ':' + two(at.getMinutes()) + ':' + two(at.getSeconds()) + '.' +
           String(at.getMilliseconds()).padStart(3, '0');
}

function childNames(node) { return node && node.children ? Object.keys(node.children) : []; }

// Dotted paths and values of the whole tree, for the text filter.
function collectTree(node, prefix, parts) {
    for (const name of childNames(node)) {
        const child = node.children[name];
        const path = prefix === null ? name : prefix + '.' + name;
        parts.push(path);
        if ('value' in child)
            parts.push(child.value);
        collectTree(child, path, parts);
    }
}

function countValues(node) {
    let n = 0;
    for (const name of childNames(node)) {
        const child = node.children[name];
        if ('value' in child)
            ++n;
        n += countValues(child);
    }
    return n;
}

function accept(hit, seq) {
    hit.seq = seq;
    if (!KINDS.includes(hit.kind))
        hit.kind = 'other';
    const identity = hit.path + '?' + hit.query;
    const duplicateOf = firstSeen.get(identity);
    if (duplicateOf === undefined)
        firstSeen.set(identity, seq);
    const parts = [ hit.title, hit.kind ];
    for (const [key, value] of hit.vars)
        parts.push(key, value);
    if (hit.context)
        collectTree(hit.context, null, parts);
    if (!hit.wellFormed)
        parts.push('malformed', hit.error);
    counts[hit.kind] = (counts[hit.kind] || 0) + 1;
    return {hit, text : parts.join('\n').toLowerCase(), duplicateOf, row : null};
}

function matches(entry) {
    return (kindFilter.size === 0 || kindFilter.has(entry.hit.kind)) &&
           (textFilter === '' || entry.text.includes(textFilter));
}

// A fold whose content is made on first opening: a page of thousands of hits holds only
// the trees someone looked at.
function foldable(className, label, note, fill) {
    const box = el('details', className);
    const summary = el('summary');
    summary.append(el('span', 'label', label), el('span', 'note', note));
    box.append(summary);
    box.addEventListener('toggle', () => {
        if (box.open && !box.dataset.filled) {
            box.dataset.filled = 'yes';
            fill(box);
        }
    });
    return box;
}

function pairLine(key, value) {
    const line = el('div', 'pair');
    line.append(el('span', 'k', shownName(key)), el('span', 'eq', ' = '), el('span', 'v', value));
    return line;
}

// Values first, then branches, as the console shows them; branches open inside an opened
// tree and fold by a click of their own.
function fillTree(parent, node) {
    const level = el('div', 'level');
    const names = childNames(node);
    for (const name of names)
        if ('value' in node.children[name])
            level.append(pairLine(name, node.children[name].value));
    for (const name of names) {
        const child = node.children[name];
        if ('value' in child && childNames(child).length === 0)
            continue;
        const branch = el('details', 'branch');
        branch.open = true;
        branch.append(el('summary', 'label', shownName(name) + '.'));
        fillTree(branch, child);
        level.append(branch);
    }
    parent.append(level);
}

function fillRequest(parent, hit) {
    const box = el('div', 'level');
    box.append(el('div', 'line', hit.method + ' ' + hit.path + (hit.query ? '?' + hit.query : '')));
    box.append(pairLine('User-Agent', hit.userAgent));
    box.append(pairLine('Accept-Language', hit.acceptLanguage));
    box.append(pairLine('report suites', hit.reportSuites));
    box.append(pairLine('version', hit.libraryVersion));
    box.append(pairLine('answered with fault', hit.fault));
    parent.append(box);
}

function orderedVars(vars) {
    const first = [];
    for (const name of FIRST_VARS)
        for (const pair of vars)
            if (pair[0] === name)
                first.push(pair);
    return first.concat(vars.filter((pair) => !FIRST_VARS.includes(pair[0])));
}

function makeRow(entry) {
    const hit = entry.hit;
    const row = el('article', 'hit kind-' + hit.kind);
    row.dataset.seq = String(hit.seq);
    const head = el('div', 'head');
    head.append(el('span', 'seq', '#' + hit.seq), el('time', 'time', clock(hit.receivedAt)),
                el('span', 'kind', hit.kind), el('span', 'title', hit.title));
    if (!hit.wellFormed)
        head.append(el('span', 'badge bad', 'malformed: ' + hit.error));
    if (entry.duplicateOf !== undefined)
        head.append(el('span', 'badge dup', 'duplicate of #' + entry.duplicateOf));
    row.append(head);
    const pairs = el('div', 'pairs');
    for (const [key, value] of orderedVars(hit.vars)) {
        const pair = el('span', 'pair');
        pair.append(el('span', 'k', shownName(key)), el('span', 'v', value));
        pairs.append(pair);
    }
    row.append(pairs);
    if (hit.context) {
        const n = countValues(hit.context);
        row.append(foldable('tree', 'c.', n + (n === 1 ? ' value' : ' values'),
                            (box) => fillTree(box, hit.context)));
    }
    row.append(
        foldable('request', 'request', 'headers and raw URL', (box) => fillRequest(box, hit)));
    return row;
}

function nearBottom() {
    const page = document.scrollingElement;
    return page.scrollTop + page.clientHeight >= page.scrollHeight - 60;
}

function updateBar() {
    for (const button of kindBar.children) {
        const kind = button.dataset.kind;
        button.querySelector('.count').textContent = String(counts[kind] || 0);
        button.setAttribute('aria-pressed', String(kindFilter.has(kind)));
    }
    let visible = 0;
    for (const entry of entries)
        if (!entry.row.hidden)
            ++visible;
    shown.textContent = entries.length + waiting.length + ' hits, ' + visible + ' shown';
    let text = connected ? 'live' : givenUp ? 'not connected: reload the page' : 'reconnecting';
    if (paused)
        text = 'paused' + (waiting.length ? ', ' + waiting.length + ' waiting' : '');
    status.textContent = text;
    status.className = 'status ' + (paused ? 'paused' : connected ? 'live' : 'down');
    empty.hidden = entries.length + waiting.length > 0;
}

function frame() {
    frameAsked = false;
    const start = performance.now();
    const follow = nearBottom();
    let added = 0;
    if (!paused && waiting.length) {
        while (added < waiting.length && added < ROWS_PER_FRAME &&
               performance.now() - start < FRAME_BUDGET_MS) {
            const entry = waiting[added++];
            entry.row = makeRow(entry);
            entry.row.hidden = !matches(entry);
            if (!page || page.childElementCount === PAGE_ROWS)
                page = list.appendChild(el('div', 'page'));
            page.append(entry.row);
            entries.push(entry);
        }
        waiting = waiting.slice(added);
        refiltered += refiltered === entries.length - added ? added : 0;
    }
    const stop = Math.min(entries.length, refiltered + FILTER_ROWS_PER_FRAME);
    for (; refiltered < stop; ++refiltered)
        entries[refiltered].row.hidden = !matches(entries[refiltered]);
    updateBar();
    if (added && follow)
        document.scrollingElement.scrollTop = document.scrollingElement.scrollHeight;
    if ((!paused && waiting.length) || refiltered < entries.length)
        askFrame();
}

function askFrame() {
    if (frameAsked)
        return;
    frameAsked = true;
    requestAnimationFrame(frame);
}

function refilter() {
    refiltered = 0;
    askFrame();
}

function download() {
    const lines = entries.filter((entry) => !entry.row.hidden)
                      .map((entry) => JSON.stringify(entry.hit) + '\n');
    const url = URL.createObjectURL(new Blob(lines, {type : 'application/x-ndjson'}));
    const link = el('a');
    link.href = url;
    link.download = 'hits.jsonl';
    document.body.append(link);
    link.click();
    link.remove();
    setTimeout(() => URL.revokeObjectURL(url), 60000);
}

for (const kind of KINDS) {
    const button = el('button', 'chip kind-' + kind);
    button.type = 'button';
    button.dataset.kind = kind;
    button.append(el('span', 'name', kind), ' ', el('span', 'count', '0'));
    button.addEventListener('click', () => {
        if (!kindFilter.delete(kind))
            kindFilter.add(kind);
        refilter();
    });
    kindBar.append(button);
}
filterBox.addEventListener('input', () => {
    textFilter = filterBox.value.trim().toLowerCase();
    refilter();
});
pauseButton.addEventListener('click', () => {
    paused = !paused;
    pauseButton.textContent = paused ? 'Resume' : 'Pause';
    pauseButton.setAttribute('aria-pressed', String(paused));
    askFrame();
});
document.getElementById('clear').addEventListener('click', () => {
    entries = [];
    waiting = [];
    refiltered = 0;
    for (const kind of KINDS)
        counts[kind] = 0;
    list.textContent = '';
    page = null;
    updateBar();
});
document.getElementById('download').addEventListener('click', download);

const source = new EventSource('/view/events');
source.addEventListener('open', () => {
    connected = true;
    updateBar();
});
source.addEventListener('error', () => {
    connected = false;
    // A refused stream (the collector serves a few pages at once) is not asked again.
    givenUp = source.readyState === EventSource.CLOSED;
    updateBar();
});
source.addEventListener('message', (event) => {
    let hit;
    try {
        hit = JSON.parse(event.data);
    } catch (error) {
        return; // not a hit this page can read; the stream goes on
    }
    if (!hit || !Array.isArray(hit.vars))
        return;
    waiting.push(accept(hit, Number(event.lastEventId)));
    askFrame();
});
updateBar();
