'use strict';
// The page of a program's sizes: a map of boxes that one can enter, and a table of the symbols in the box entered.
// Everything shown is text: nothing of the file becomes markup.
(() => {
  const data = JSON.parse(document.getElementById('data').textContent);
  const KINDS = ['function', 'variable', 'data'];
  const GAPS = {
    padding: 'padding', literals: 'literals in code', strings: 'strings', unwinding: 'unwinding tables',
    unnamed: 'bytes without a name',
  };
  const NO_UNIT = '(in no unit)';
  const MOST_BOXES = 400; // an even number
  const ROWS = 100;       // of a page of the table
  const WHOLE_NAMES = 10; // of so many rows long names aren't cut

  const $ = (id) => document.getElementById(id);
  const make = (tag, text, className) => {
    const element = document.createElement(tag);
    if (text !== undefined) element.textContent = text;
    if (className) element.className = className;
    return element;
  };
  const count = (n) => n.toLocaleString('en');
  const bytes = (n) => `${count(n)} ${n === 1 ? 'byte' : 'bytes'}`;
  const short = (n) => {
    for (const [unit, one] of [['GiB', 2 ** 30], ['MiB', 2 ** 20], ['KiB', 2 ** 10]]) {
      if (n >= one) return `${(n / one).toFixed(n / one < 10 ? 2 : 1)} ${unit}`;
    }
    return `${n} B`;
  };
  const share = (n, all) => {
    const percent = all === 0 ? 0 : 100 * n / all;
    return percent !== 0 && percent < 0.1 ? 'under 0.1 %' : `${percent.toFixed(1)} %`;
  };
  const fileName = (path) => path.slice(Math.max(path.lastIndexOf('/'), path.lastIndexOf('\\')) + 1);
  const folderName = (path) => path.slice(0, Math.max(path.lastIndexOf('/'), path.lastIndexOf('\\'), 0));
  const unitOf = (symbol) => symbol.u === undefined ? NO_UNIT : data.units[symbol.u].path;
  const sectionOf = (symbol) => data.sections[symbol.s];
  const nameOf = (symbol) => symbol.g ? `(${GAPS[symbol.g]})` : symbol.n;
  const labelOf = (node) => node.symbol || node.name.endsWith('/') ? node.name : fileName(node.name);
  const kindOf = (symbol) => symbol.g ? 'gap' : KINDS[symbol.k];
  const hex = (n) => `0x${n.toString(16).padStart(8, '0')}`;

  const MEMORIES = {
    all: { label: 'All bytes', takes: () => true },
    flash: { label: 'Flash', takes: (memory) => memory !== 'ram' },
    ram: { label: 'RAM', takes: (memory) => memory !== 'flash' },
  };
  const GROUPINGS = { section: 'Sections', folder: 'Folders', unit: 'Units' };

  // ---- The tree of boxes. A node has a name, a size and children or a symbol.

  const newNode = (name) => ({ name, size: 0, children: [], byName: new Map() });
  const childOf = (node, name) => {
    let child = node.byName.get(name);
    if (!child) {
      child = newNode(name);
      child.parent = node;
      node.byName.set(name, child);
      node.children.push(child);
    }
    return child;
  };
  const stepsOf = (symbol, grouping) => {
    const unit = unitOf(symbol);
    if (grouping === 'section') return [sectionOf(symbol).name, unit];
    if (grouping === 'unit' || symbol.u === undefined) return [unit];
    const folders = [];
    for (const part of folderName(unit).split(/[/\\]+/)) {
      if (part === '..' && folders.length !== 0 && folders[folders.length - 1] !== '..') folders.pop();
      else if (part !== '' && part !== '.') folders.push(part);
    }
    if (/^[/\\]/.test(unit) && folders.length !== 0) folders[0] = unit[0] + folders[0];
    return [...folders.map((part) => `${part}/`), fileName(unit) || unit];
  };
  const buildTree = (memory, grouping) => {
    const root = newNode(fileName(data.file.path) || 'program');
    for (const symbol of data.symbols) {
      if (!MEMORIES[memory].takes(sectionOf(symbol).memory)) continue;
      let node = root;
      for (const step of stepsOf(symbol, grouping)) node = childOf(node, step);
      if (symbol.g) node = childOf(node, `(${GAPS[symbol.g]})`); // many small ones are one box
      const leaf = { name: nameOf(symbol), size: symbol.b, symbol, parent: node };
      node.children.push(leaf);
      for (let at = node; at; at = at.parent) at.size += symbol.b;
    }
    settle(root);
    return root;
  };
  // Sorts the children, and takes out folders that hold one folder and nothing else.
  const settle = (root) => {
    const waiting = [root];
    while (waiting.length !== 0) {
      const node = waiting.pop();
      node.byName = undefined;
      while (node.children.length === 1 && node.children[0].children && node.name.endsWith('/') &&
             node.children[0].name.endsWith('/')) {
        node.name += node.children[0].name;
        node.children = node.children[0].children;
        for (const child of node.children) child.parent = node;
      }
      node.children.sort((a, b) => b.size - a.size || (a.name < b.name ? -1 : a.name > b.name ? 1 : 0));
      for (const child of node.children) if (child.children) waiting.push(child);
    }
  };
  // The boxes of a node, MOST_BOXES at most: where there are more children, the smaller ones share boxes.
  const boxesOf = (node) => {
    if (node.children.length <= MOST_BOXES) return node.children;
    if (!node.boxes) {
      const alone = MOST_BOXES / 2;
      const rest = node.children.slice(alone);
      const share = Math.ceil(rest.length / Math.min(MOST_BOXES - alone, Math.ceil(rest.length / alone)));
      node.boxes = node.children.slice(0, alone);
      for (let i = 0; i < rest.length; i += share) node.boxes.push(newGroup(node, rest.slice(i, i + share)));
    }
    return node.boxes;
  };
  const newGroup = (parent, children) => {
    const most = children[0].size, least = children[children.length - 1].size;
    const range = most === least ? bytes(most) : `${count(least)} to ${bytes(most)}`;
    const size = children.reduce((sum, child) => sum + child.size, 0);
    return { name: `${count(children.length)} of ${range}`, size, children, parent };
  };
  const symbolsIn = (root) => {
    const found = [];
    const waiting = [root];
    while (waiting.length !== 0) {
      const node = waiting.pop();
      if (node.symbol) found.push(node.symbol);
      else for (const child of node.children) waiting.push(child);
    }
    return found;
  };

  // ---- State: in the address of the page, so that going back works.

  const state = { memory: 'all', grouping: 'section', path: [] };
  const trees = new Map();
  let here = null;
  const tree = () => {
    const key = `${state.memory}/${state.grouping}`;
    if (!trees.has(key)) trees.set(key, buildTree(state.memory, state.grouping));
    return trees.get(key);
  };
  const readAddress = () => {
    const [memory, grouping, ...path] = location.hash.slice(1).split('.');
    state.memory = Object.hasOwn(MEMORIES, memory) ? memory : 'all';
    state.grouping = Object.hasOwn(GROUPINGS, grouping) ? grouping : 'section';
    here = tree();
    state.path = [];
    for (const step of path) {
      const child = boxesOf(here)[Number(step)];
      if (!child || !child.children) break;
      here = child;
      state.path.push(Number(step));
    }
  };
  const go = (change) => {
    Object.assign(state, change);
    const address = `#${[state.memory, state.grouping, ...state.path].join('.')}`;
    if (address === location.hash) return;
    location.hash = address; // draws by its event
  };
  const enter = (index) => {
    if (boxesOf(here)[index].children) go({ path: [...state.path, index] });
  };
  let returnTo = 0; // the box that has the focus after going up
  const up = () => {
    if (state.path.length === 0) return;
    returnTo = state.path[state.path.length - 1];
    go({ path: state.path.slice(0, -1) });
  };

  // ---- Layout: squarified, the largest first.

  const layOut = (nodes, x, y, width, height, place) => {
    let total = 0;
    for (const node of nodes) total += node.size;
    if (total === 0 || width <= 0 || height <= 0) return;
    const scale = width * height / total;
    let begin = 0;
    while (begin < nodes.length && width > 0 && height > 0) {
      const side = Math.min(width, height);
      let sum = 0, end = begin, worst = Infinity;
      for (; end < nodes.length; ++end) {
        const area = nodes[end].size * scale;
        const next = sum + area;
        const largest = nodes[begin].size * scale;
        const thick = next / side;
        const bad = Math.max(largest / thick / thick, thick * thick / Math.max(area, 1e-9));
        if (bad > worst) break;
        worst = bad;
        sum = next;
      }
      const last = end === nodes.length;
      const thick = last ? (width >= height ? width : height) : sum / side;
      let along = 0;
      for (let i = begin; i < end; ++i) {
        const part = sum === 0 ? 0 : side * nodes[i].size * scale / sum;
        if (width >= height) place(nodes[i], x, y + along, thick, part, i);
        else place(nodes[i], x + along, y, part, thick, i);
        along += part;
      }
      if (width >= height) { x += thick; width -= thick; } else { y += thick; height -= thick; }
      begin = end;
    }
  };

  // ---- The map: a canvas for what is inside the boxes, and a button for each box.

  let cells = []; // what the canvas shows, the inner ones behind: for the pointer
  const colours = () => {
    const style = getComputedStyle(document.documentElement);
    const read = (name) => style.getPropertyValue(`--${name}`).trim();
    return { function: read('function'), variable: read('variable'), data: read('data'), gap: read('gap'),
             frame: read('frame'), edge: read('edge'), ink: read('ink') };
  };
  const HEAD = 19;
  const drawNode = (context, colour, node, x, y, width, height, depth) => {
    if (width < 1 || height < 1) return;
    cells.push({ node, x, y, width, height });
    const gap = depth === 0 ? 1 : 0.5;
    const [left, top, w, h] = [x + gap, y + gap, width - 2 * gap, height - 2 * gap];
    if (w <= 0 || h <= 0) return;
    const whole = node.symbol || node.most || depth >= 4 || w < 4 || h < 4;
    context.fillStyle = whole ? colour[node.symbol ? kindOf(node.symbol) : node.most || kindsOf(node)[0].kind]
                              : colour.frame;
    context.fillRect(left, top, w, h);
    const large = w > 44 && h > HEAD - 2;
    if (depth !== 0 && large && (whole || h > 3 * HEAD)) drawLabel(context, colour, labelOf(node), left, top, w);
    if (whole) return;
    const head = h > (depth === 0 ? 2 : 3) * HEAD && w > 44 ? HEAD : 0;
    const border = depth === 0 && w > 12 && h > 12 ? 2 : 0;
    layOut(visible(node, w * h), left + border, top + head, w - 2 * border, h - head - border,
           (child, cx, cy, cw, ch) => drawNode(context, colour, child, cx, cy, cw, ch, depth + 1));
  };
  const drawLabel = (context, colour, text, x, y, width) => {
    const most = Math.floor((width - 8) / 6.3); // letters that are sure to fit, nearly
    context.fillStyle = colour.ink;
    context.fillText(text.length > most ? `${text.slice(0, Math.max(1, most - 1))}\u2026` : text, x + 4, y + 13, width - 8);
  };
  // The children that are large enough to be seen; the rest is drawn as one.
  const visible = (node, area) => {
    let shown = 0;
    const least = 6 * node.size / area;
    while (shown < node.children.length && node.children[shown].size >= least) ++shown;
    if (shown === node.children.length) return node.children;
    const rest = { name: `${count(node.children.length - shown)} smaller ones`, size: 0, children: [],
                   most: kindsOf(node)[0].kind };
    for (let i = shown; i < node.children.length; ++i) rest.size += node.children[i].size;
    return [...node.children.slice(0, shown), rest];
  };
  // Bytes by kind, the most first.
  const kindsOf = (node) => {
    if (!node.kinds) {
      const sums = { function: 0, variable: 0, data: 0, gap: 0 };
      for (const symbol of symbolsIn(node)) sums[kindOf(symbol)] += symbol.b;
      node.kinds = Object.entries(sums).map(([kind, size]) => ({ kind, size })).sort((a, b) => b.size - a.size);
    }
    return node.kinds;
  };
  const describe = (node) => {
    const what = `${node.name}, ${bytes(node.size)}, ${share(node.size, here.size)}`;
    if (node.symbol) return `${what}, ${node.symbol.g ? 'gap' : kindOf(node.symbol)}`;
    return `${what}, ${count(node.children.length)} inside`;
  };
  const readOut = (node) => {
    const line = $('readout');
    line.replaceChildren(make('b', node.name), ` ${bytes(node.size)}, ${share(node.size, here.size)}`);
    if (node.symbol) {
      const unit = unitOf(node.symbol);
      line.append(` \u00B7 ${kindOf(node.symbol)} at ${hex(node.symbol.a)} in ${sectionOf(node.symbol).name} \u00B7 ${unit}`);
    } else if (node === here) {
      line.append(' \u00B7 point at a box to see what it is, choose one to go in');
    }
  };

  let focused = 0;
  const drawMap = () => {
    const map = $('map');
    const width = map.clientWidth, height = map.clientHeight;
    const canvas = $('canvas');
    const ratio = window.devicePixelRatio || 1;
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
    const context = canvas.getContext('2d');
    context.scale(ratio, ratio);
    context.font = '11.5px system-ui, "DejaVu Sans", sans-serif';
    const colour = colours();
    context.fillStyle = colour.edge;
    context.fillRect(0, 0, width, height);
    cells = [];
    const buttons = [];
    const nodes = boxesOf(here);
    layOut(nodes, 0, 0, width, height, (node, x, y, w, h, index) => {
      drawNode(context, colour, node, x, y, w, h, 0);
      buttons[index] = makeBox(node, index, x, y, w, h);
    });
    const all = nodes.map((node, index) => buttons[index] || makeBox(node, index, 0, 0, 1, 1));
    if (all.length === 0) all.push(make('p', 'Nothing takes this memory.', 'none'));
    focused = Math.min(focused, all.length - 1);
    all[focused].tabIndex = 0;
    $('boxes').replaceChildren(...all);
  };
  const makeBox = (node, index, x, y, width, height) => {
    const box = make('button', undefined, 'box');
    box.type = 'button';
    box.dataset.index = index;
    box.tabIndex = -1;
    box.setAttribute('aria-label', describe(node));
    if (!node.children) box.setAttribute('aria-disabled', 'true');
    Object.assign(box.style, { left: `${x}px`, top: `${y}px`, width: `${Math.max(width, 1)}px`, height: `${Math.max(height, 1)}px` });
    if (width > 34 && height > 17) {
      box.append(make('span', labelOf(node)));
      if (node.children) {
        box.classList.add('head');
        if (width < 120) box.classList.add('narrow');
        box.append(make('span', `  ${short(node.size)}`, 'size'));
      } else if (height > 36) {
        box.append(make('span', bytes(node.size), 'size'));
      }
    } else {
      box.style.padding = 0;
    }
    return box;
  };
  const focusBox = (index) => {
    const boxes = $('boxes').children;
    if (index < 0 || index >= boxes.length) return;
    boxes[focused].tabIndex = -1;
    focused = index;
    boxes[index].tabIndex = 0;
    boxes[index].focus();
  };
  const cellAt = (event) => {
    const bounds = $('map').getBoundingClientRect();
    const x = event.clientX - bounds.left, y = event.clientY - bounds.top;
    for (let i = cells.length - 1; i >= 0; --i) {
      const cell = cells[i];
      if (x >= cell.x && x < cell.x + cell.width && y >= cell.y && y < cell.y + cell.height) return cell.node;
    }
    return here;
  };

  // ---- The table.

  const COLUMNS = [
    { key: 'name', label: 'Name', value: (symbol) => symbol.lowName },
    { key: 'kind', label: 'Kind', value: (symbol) => kindOf(symbol) },
    { key: 'unit', label: 'Unit', value: (symbol) => symbol.lowUnit },
    { key: 'section', label: 'Section', value: (symbol) => sectionOf(symbol).name },
    { key: 'address', label: 'Address', value: (symbol) => symbol.a, number: true },
    { key: 'size', label: 'Bytes', value: (symbol) => symbol.b, number: true, descends: true },
  ];
  for (const symbol of data.symbols) {
    symbol.lowName = nameOf(symbol).toLowerCase();
    symbol.lowUnit = unitOf(symbol).toLowerCase();
  }
  let sort = { column: COLUMNS[5], descending: true };
  let inside = [], rows = [], page = 0;

  const filter = () => {
    const words = $('search').value.toLowerCase().split(/\s+/).filter((word) => word !== '');
    rows = inside.filter((symbol) =>
      words.every((word) => symbol.lowName.includes(word) || symbol.lowUnit.includes(word)));
    const { column, descending } = sort;
    const sign = descending ? -1 : 1;
    rows.sort((a, b) => {
      const [first, second] = [column.value(a), column.value(b)];
      return first < second ? -sign : first > second ? sign : a.s - b.s || a.a - b.a;
    });
    page = 0;
    let sum = 0;
    for (const symbol of rows) sum += symbol.b;
    const all = rows.length === inside.length ? '' : ` of ${count(inside.length)}`;
    $('count').textContent = `${count(rows.length)}${all} in ${here.name}: ${bytes(sum)}`;
    drawRows();
  };
  const drawHeads = () => {
    $('heads').replaceChildren(...COLUMNS.map((column) => {
      const head = make('th', undefined, `col-${column.key}${column.number ? ' number' : ''}`);
      head.scope = 'col';
      if (sort.column === column) head.setAttribute('aria-sort', sort.descending ? 'descending' : 'ascending');
      const button = make('button', column.label);
      button.type = 'button';
      button.addEventListener('click', () => {
        sort = { column, descending: sort.column === column ? !sort.descending : Boolean(column.descends) };
        drawHeads();
        $('heads').children[COLUMNS.indexOf(column)].firstChild.focus();
        filter();
      });
      head.append(button);
      return head;
    }));
  };
  const drawRows = () => {
    const shown = rows.slice(page * ROWS, (page + 1) * ROWS);
    $('rows').replaceChildren(...shown.map((symbol) => {
      const row = make('tr');
      const name = make('td', undefined, symbol.g ? 'name gap' : 'name');
      const text = make('div', nameOf(symbol), shown.length > WHOLE_NAMES ? 'cut' : '');
      text.addEventListener('click', () => text.classList.toggle('cut'));
      name.append(text, make('small', unitOf(symbol)));
      const kind = make('td', undefined, 'kind col-kind');
      const chip = make('i');
      chip.style.background = `var(--${kindOf(symbol)})`;
      kind.append(chip, kindOf(symbol));
      row.append(name, kind, make('td', unitOf(symbol), 'unit col-unit'), make('td', sectionOf(symbol).name),
                 make('td', hex(symbol.a), 'address number col-address'), make('td', count(symbol.b), 'number'));
      return row;
    }));
    const pages = Math.max(1, Math.ceil(rows.length / ROWS));
    $('page').textContent = `${count(page + 1)} of ${count(pages)}`;
    $('previous').disabled = page === 0;
    $('next').disabled = page + 1 >= pages;
    document.querySelector('.pages').hidden = pages === 1;
  };
  const turn = (by) => {
    page += by;
    drawRows();
    $('table').scrollIntoView({ block: 'nearest' });
  };

  // ---- All of it.

  const sums = Object.fromEntries(Object.entries(MEMORIES).map(([key, { takes }]) =>
    [key, data.sections.reduce((sum, section) => sum + (takes(section.memory) ? section.size : 0), 0)]));
  const drawSwitches = () => {
    $('memory').replaceChildren(...Object.entries(MEMORIES).map(([key, { label }]) => {
      const button = make('button');
      button.append(make('span', label), make('b', short(sums[key])), make('span', bytes(sums[key])));
      return asSwitch(button, state.memory === key, () => go({ memory: key, path: [] }));
    }));
    $('grouping').replaceChildren(...Object.entries(GROUPINGS).map(([key, label]) =>
      asSwitch(make('button', label), state.grouping === key, () => go({ grouping: key, path: [] }))));
  };
  const asSwitch = (button, pressed, act) => {
    button.type = 'button';
    button.setAttribute('aria-pressed', String(pressed));
    button.addEventListener('click', act);
    return button;
  };
  const drawCrumbs = () => {
    const nodes = [];
    for (let node = here; node; node = node.parent) nodes.unshift(node);
    $('crumbs').replaceChildren(...nodes.map((node, depth) => {
      const item = make('li');
      const text = `${node.name} ${short(node.size)}`;
      if (node === here) {
        const current = make('span', text);
        current.setAttribute('aria-current', 'location');
        item.append(current);
      } else {
        const button = make('button', text);
        button.type = 'button';
        button.addEventListener('click', () => go({ path: state.path.slice(0, depth) }));
        item.append(button);
      }
      return item;
    }));
  };
  const drawLegend = () => {
    const plural = { function: 'functions', variable: 'variables', data: 'data of labels', gap: 'gaps' };
    $('legend').replaceChildren(...kindsOf(here).filter(({ size }) => size !== 0).map(({ kind, size }) => {
      const item = make('li');
      const chip = make('i');
      chip.style.background = `var(--${kind})`;
      item.append(chip, `${plural[kind]} `, make('b', count(size)), ` (${share(size, here.size)})`);
      return item;
    }));
  };
  const draw = () => {
    const press = document.activeElement && document.activeElement.closest('.switch');
    const pressed = press && [...press.children].indexOf(document.activeElement);
    const inMap = $('map').contains(document.activeElement);
    readAddress();
    drawSwitches();
    if (press && pressed >= 0) press.children[pressed].focus();
    drawCrumbs();
    focused = returnTo;
    returnTo = 0;
    drawMap();
    if (inMap) focusBox(focused);
    readOut(here);
    drawLegend();
    inside = symbolsIn(here);
    filter();
  };

  const STEPS = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1 };
  $('map').addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    if (event.key in STEPS) focusBox(focused + STEPS[event.key]);
    else if (event.key === 'Home') focusBox(0);
    else if (event.key === 'End') focusBox($('boxes').children.length - 1);
    else if (event.key === 'Escape' || event.key === 'Backspace') up();
    else return;
    event.preventDefault();
  });
  $('boxes').addEventListener('click', (event) => {
    const box = event.target.closest('.box');
    if (box) enter(Number(box.dataset.index));
  });
  $('boxes').addEventListener('focusin', (event) => {
    const box = event.target.closest('.box');
    if (box) readOut(boxesOf(here)[Number(box.dataset.index)]);
  });
  $('map').addEventListener('pointermove', (event) => readOut(cellAt(event)));
  $('map').addEventListener('pointerleave', () => readOut(here));
  let timer = 0;
  $('search').addEventListener('input', () => {
    clearTimeout(timer);
    timer = setTimeout(filter, 120);
  });
  $('previous').addEventListener('click', () => turn(-1));
  $('next').addEventListener('click', () => turn(1));
  addEventListener('hashchange', draw);
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', drawMap);

  $('title').textContent = `Where the bytes of ${fileName(data.file.path)} go`;
  document.title = `${fileName(data.file.path)}: sizes`;
  $('path').textContent = data.file.path;
  $('main').hidden = false;
  drawHeads();
  draw();
  new ResizeObserver(() => requestAnimationFrame(drawMap)).observe($('map'));
})();
