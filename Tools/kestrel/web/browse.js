'use strict';
// The tree on the left, the table of the chosen level on the right, and the text of the chosen thing
// below it. Both lists draw only the lines that are in view.

(() => {
const {make, show, ask, count, compare, samePath} = Kestrel;
const LineHeight = 26;
const Piece = 5000; // rows of a request
const FirstPiece = 500;
const MostRows = 200000; // without being asked for more

// A list of lines of one height, of which those in view are elements.
class LongList {
  constructor(element, drawLine) {
    this.drawLine = drawLine;
    this.length = 0;
    this.space = make('div', {class: 'space', role: 'presentation'});
    this.element = element;
    element.append(this.space);
    element.addEventListener('scroll', () => this.draw());
    new ResizeObserver(() => this.draw()).observe(element);
  }
  setLength(length) {
    this.length = length;
    // Browsers end at some 33 million pixels; a million lines fit.
    this.space.style.height = length * LineHeight + 'px';
    this.draw();
  }
  draw() {
    const from = Math.max(0, Math.floor(this.element.scrollTop / LineHeight) - 4);
    const to = Math.min(this.length, from + Math.ceil(this.element.clientHeight / LineHeight) + 8);
    const lines = [];
    for (let i = from; i < to; ++i) {
      const line = this.drawLine(i);
      line.style.top = i * LineHeight + 'px';
      lines.push(line);
    }
    this.space.replaceChildren(...lines);
  }
  reveal(index) {
    const top = index * LineHeight;
    if (top < this.element.scrollTop) this.element.scrollTop = top;
    const most = this.element.scrollTop + this.element.clientHeight - LineHeight;
    if (top > most) this.element.scrollTop = top - this.element.clientHeight + LineHeight;
    this.draw();
  }
}

// The tree.

class Tree {
  constructor(element, choose) {
    this.element = element;
    this.choose = choose;
    this.root = {path: [], name: '/', isFolder: true, isOpen: false, children: [], depth: 0};
    this.lines = [this.root];
    this.chosen = this.root;
    this.list = new LongList(element, (i) => this.drawLine(this.lines[i], i));
    element.addEventListener('keydown', (event) => this.press(event));
  }
  async start() {
    await this.open(this.root);
  }
  async open(node) {
    node.isOpen = true;
    if (!node.children.length) await this.load(node, FirstPiece);
    else this.rebuild();
  }
  load(node, size = Piece) {
    node.loading ??= this.loadPiece(node, size).then(() => {
      node.loading = null;
      this.rebuild();
    });
    return node.loading;
  }
  async loadPiece(node, size) {
    try {
      const answer = await ask('level', {
        path: node.path, from: node.children.length, count: size, snapshot: node.snapshot ?? 0, values: 0});
      // The list that the pieces are of is no longer kept: it begins again.
      if (node.snapshot !== answer.snapshot && node.children.length) {
        node.children = [];
        node.snapshot = 0;
        return await this.loadPiece(node, size);
      }
      node.snapshot = answer.snapshot;
      node.total = answer.total;
      for (const [name, isFolder] of answer.rows) {
        node.children.push({path: [...node.path, name], name, isFolder, isOpen: false, children: [],
          depth: node.depth + 1, parent: node});
      }
      node.failure = null;
    } catch (failure) {
      node.failure = failure.message;
    }
  }
  // Lists again what is open, and keeps what was chosen.
  async refresh(node = this.root) {
    if (!node.isOpen || node.total > Piece) return;
    const answer = await ask('level', {path: node.path, count: Piece, values: 0});
    const before = new Map(node.children.map((child) => [child.name + child.isFolder, child]));
    node.snapshot = answer.snapshot;
    node.total = answer.total;
    node.children = answer.rows.map(([name, isFolder]) => before.get(name + isFolder) ??
      {path: [...node.path, name], name, isFolder, isOpen: false, children: [], depth: node.depth + 1, parent: node});
    for (const child of node.children) if (child.isOpen) await this.refresh(child);
    if (node === this.root) this.rebuild();
  }
  rebuild() {
    const lines = [];
    const add = (node) => {
      lines.push(node);
      if (!node.isOpen) return;
      node.children.forEach(add);
      if (node.failure || node.total > node.children.length) lines.push({more: node, depth: node.depth + 1});
    };
    add(this.root);
    this.lines = lines;
    this.list.setLength(lines.length);
  }
  drawLine(node, index) {
    const indent = {paddingLeft: 6 + Math.min(node.depth, 24) * 16 + 'px'};
    if (node.more) {
      if (!node.more.failure) this.load(node.more); // it has come into view
      return make('div', {class: 'line more', role: 'treeitem', ariaLevel: node.depth + 1, style: indent},
        node.more.failure ?? count(node.more.total - node.more.children.length) + ' more …');
    }
    const isChosen = node === this.chosen;
    const line = make('div', {
      class: 'line' + (isChosen ? ' chosen' : ''), role: 'treeitem', id: isChosen ? 'chosen-node' : null,
      ariaLevel: node.depth + 1, ariaSelected: String(isChosen), ariaExpanded: node.isFolder ? String(node.isOpen) : null,
      style: indent, onclick: (event) => {
        if (node.isFolder && event.target.classList.contains('arrow')) this.toggle(node);
        else this.pick(node, true);
      },
    },
    make('span', {class: 'arrow', ariaHidden: 'true'}, node.isFolder ? (node.isOpen ? '▾' : '▸') : ''),
    make('span', {class: node.isFolder ? 'folder' : 'thing'}, show(node.name) || '""'));
    if (isChosen) this.element.setAttribute('aria-activedescendant', 'chosen-node');
    return line;
  }
  toggle(node) {
    if (!node.isOpen) return this.open(node);
    node.isOpen = false;
    this.rebuild();
  }
  pick(node, opens) {
    this.chosen = node;
    if (opens && node.isFolder && !node.isOpen) this.open(node);
    this.list.draw();
    this.choose(node);
  }
  // Opens what leads there.
  async goTo(path) {
    let node = this.root;
    for (const name of path) {
      if (!node.isOpen) await this.open(node);
      const find = () => node.children.find((child) => child.name === name);
      // Behind what has been listed so far, perhaps.
      for (let known = -1; !find() && node.children.length < node.total && node.children.length > known;) {
        known = node.children.length;
        await this.load(node);
      }
      const next = find();
      if (!next) break;
      node = next;
    }
    this.pick(node, true);
    this.list.reveal(this.lines.indexOf(node));
  }
  press(event) {
    const index = this.lines.indexOf(this.chosen);
    const node = this.chosen;
    const page = Math.max(1, Math.floor(this.element.clientHeight / LineHeight) - 1);
    const moves = {ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -Infinity, End: Infinity};
    if (event.key in moves) {
      let next = Math.max(0, Math.min(this.lines.length - 1, index + moves[event.key]));
      if (this.lines[next].more) next = Math.max(0, next - 1);
      this.pick(this.lines[next], false);
      this.list.reveal(next);
    } else if (event.key === 'ArrowRight' && node.isFolder) {
      if (!node.isOpen) this.open(node);
      else if (node.children.length) this.pick(node.children[0], false);
    } else if (event.key === 'ArrowLeft') {
      if (node.isOpen) this.toggle(node);
      else if (node.parent) this.pick(node.parent, false);
    } else if (event.key === 'Enter') {
      this.pick(node, true);
    } else {
      return;
    }
    event.preventDefault();
  }
}

// The table.

class Table {
  constructor(choose, report) {
    this.choose = choose;
    this.report = report;
    this.path = null;
    this.columns = [];
    this.rows = [];
    this.shown = [];
    this.order = {column: -1, isDown: false}; // -1: as the process lists them
    this.filter = '';
    this.changed = new Set();
    this.head = make('div', {class: 'row head', role: 'row'});
    this.body = make('div', {class: 'rows', role: 'rowgroup', tabindex: 0, ariaLabel: 'Rows'});
    this.element = make('div', {class: 'table', role: 'grid', ariaLabel: 'Level'}, this.head, this.body);
    this.list = new LongList(this.body, (i) => this.drawRow(this.shown[i], i));
    this.body.addEventListener('scroll', () => { this.head.scrollLeft = this.body.scrollLeft; });
    this.body.addEventListener('keydown', (event) => this.press(event));
  }
  // A level that is still being read for the first time is not begun again.
  async renew() {
    if (!this.isComing) await this.read(this.path, this.chosenName);
  }
  async read(path, chosenName) {
    const isOther = this.path === null || !samePath(path, this.path);
    this.isComing = isOther;
    const reading = this.reading = {};
    try {
      await this.readPieces(path, chosenName, isOther, reading);
    } finally {
      if (this.reading === reading) this.isComing = false;
    }
  }
  async readPieces(path, chosenName, isOther, reading) {
    const before = isOther ? null : new Map(this.rows.map((row) => [row[0], row]));
    if (isOther) {
      this.path = path;
      this.rows = [];
      this.order = {column: -1, isDown: false};
      this.body.scrollTop = 0;
    }
    this.chosenName = chosenName;
    const rows = [];
    let snapshot = 0;
    let total = Infinity;
    this.limit = isOther ? MostRows : Math.max(this.limit, MostRows);
    // The first rows show before the last ones are asked for.
    while (rows.length < Math.min(total, this.limit)) {
      const answer = await ask('level', {
        path, from: rows.length, snapshot, count: rows.length || before ? Piece : FirstPiece});
      // Something else is wanted meanwhile, or what was to be renewed is out of sight.
      if (this.reading !== reading || (before && !this.element.offsetParent)) return;
      if (snapshot && answer.snapshot !== snapshot) rows.length = 0; // another list meanwhile
      snapshot = answer.snapshot;
      total = answer.total;
      this.columns = answer.columns;
      rows.push(...answer.rows);
      if (!answer.rows.length) break;
      if (isOther) this.take(rows, total, null);
    }
    this.take(rows, total, before);
  }
  take(rows, total, before) {
    this.rows = rows;
    this.total = total;
    this.changed.clear();
    if (before) {
      for (const row of rows) {
        const earlier = before.get(row[0]);
        row.slice(2).forEach((value, i) => {
          if (!earlier || earlier[i + 2] !== value) this.changed.add(row[0] + '\n' + i);
        });
      }
    }
    this.arrange();
  }
  arrange() {
    const wanted = this.filter.toLowerCase();
    this.shown = wanted === '' ? [...this.rows]
      : this.rows.filter((row) => row.some((cell, i) => i !== 1 && show(cell).toLowerCase().includes(wanted)));
    if (this.order.column >= 0) {
      const at = this.order.column === 0 ? 0 : this.order.column + 1;
      const sign = this.order.isDown ? -1 : 1;
      this.shown.sort((a, b) => sign * compare(a[at], b[at]));
    }
    this.measure();
    this.drawHead();
    this.element.setAttribute('aria-rowcount', this.shown.length + 1);
    this.list.setLength(this.shown.length);
    this.report(this.shown.length, this.rows.length, this.total);
  }
  measure() {
    this.isNumber = [];
    const widths = [{name: 'name'}, ...this.columns].map((column, i) => {
      let width = column.name.length + 3;
      let numbers = 0;
      const sample = Math.min(this.shown.length, 200);
      for (let k = 0; k < sample; ++k) {
        const cell = this.shown[k][i === 0 ? 0 : i + 1];
        width = Math.max(width, show(cell).length + (i === 0 ? 3 : 1));
        if (!Number.isNaN(Kestrel.toNumber(cell))) ++numbers;
      }
      this.isNumber.push(i > 0 && sample > 0 && numbers === sample);
      return Math.min(Math.max(width, 6), 44);
    });
    // In pixels, as the heads are of another weight; what is left goes to the last text, or stays empty.
    const columns = widths.map((width) => Math.round(width * 7.8) + 'px');
    if (this.isNumber.at(-1)) columns.push('minmax(0, 1fr)');
    else columns.push(`minmax(${columns.pop()}, 1fr)`);
    this.grid = columns.join(' ');
  }
  drawHead() {
    const cells = ['name', ...this.columns.map((column) => column.name)].map((name, i) => {
      const isSorted = this.order.column === i;
      return make('div', {role: 'columnheader', class: this.isNumber[i] ? 'number' : null,
        ariaSort: isSorted ? (this.order.isDown ? 'descending' : 'ascending') : 'none'},
      make('button', {type: 'button', title: 'Sort', onclick: () => this.sort(i)},
        show(name), make('span', {class: 'mark', ariaHidden: 'true'}, isSorted ? (this.order.isDown ? ' ▼' : ' ▲') : '')));
    });
    this.head.style.gridTemplateColumns = this.grid;
    Kestrel.replace(this.head, cells);
  }
  sort(column) {
    if (this.order.column !== column) this.order = {column, isDown: false};
    else if (!this.order.isDown) this.order.isDown = true;
    else this.order = {column: -1, isDown: false};
    this.arrange();
  }
  drawRow(row, index) {
    const isChosen = row[0] === this.chosenName;
    const cells = [row[0], ...row.slice(2)].slice(0, this.columns.length + 1).map((value, i) => make('div', {
      role: 'gridcell',
      class: (i === 0 ? (row[1] ? 'folder' : 'thing') : this.isNumber[i] ? 'number' : '') +
        (i > 0 && this.changed.has(row[0] + '\n' + (i - 1)) ? ' changed' : ''),
      title: show(value).length > 40 ? show(value) : null,
    }, show(value)));
    return make('div', {class: 'row' + (isChosen ? ' chosen' : ''), role: 'row', ariaRowindex: index + 2,
      ariaSelected: String(isChosen), style: {gridTemplateColumns: this.grid},
      onclick: () => this.pick(row), ondblclick: () => row[1] && this.choose(row, true)}, ...cells);
  }
  pick(row) {
    this.chosenName = row[0];
    this.list.draw();
    this.choose(row, false);
  }
  press(event) {
    const index = this.shown.findIndex((row) => row[0] === this.chosenName);
    const moves = {ArrowDown: 1, ArrowUp: -1, Home: -Infinity, End: Infinity};
    if (event.key in moves && this.shown.length) {
      const next = Math.max(0, Math.min(this.shown.length - 1, index + moves[event.key]));
      this.pick(this.shown[next]);
      this.list.reveal(next);
    } else if (event.key === 'Enter' && index >= 0 && this.shown[index][1]) {
      this.choose(this.shown[index], true);
    } else {
      return;
    }
    event.preventDefault();
  }
}

// The view.

let tree;
let table;
const crumbs = make('div', {class: 'crumbs', ariaLabel: 'Place'});
const counter = make('span', {class: 'counter', role: 'status'});
const more = make('button', {type: 'button', hidden: true, onclick: () => {
  table.limit = Infinity;
  table.read(table.path, table.chosenName);
}}, 'Load all');
const content = make('pre', {class: 'content', tabindex: 0, ariaLabel: 'Text'});
const failure = make('div', {class: 'failure', role: 'alert', hidden: true});

function fail(error) {
  failure.hidden = !error;
  failure.textContent = error ? error.message : '';
}

let contentPath = null;
async function showContent(path) {
  contentPath = path;
  content.textContent = '';
  content.hidden = path === null;
  if (path === null) return;
  let text;
  try {
    const answer = await ask('content', {path});
    text = answer.text.split(/\r?\n/).map((line) => line.split('\t').map(show).join('\t')).join('\n') +
      (answer.whole ? '' : '\n… it goes on');
  } catch (error) {
    text = error.message;
  }
  if (contentPath === path) content.textContent = text; // else another was chosen meanwhile
}

function drawCrumbs(path) {
  const links = [make('button', {type: 'button', onclick: () => tree.goTo([])}, '/')];
  path.forEach((name, i) => links.push(
    make('button', {type: 'button', onclick: () => tree.goTo(path.slice(0, i + 1))}, show(name))));
  crumbs.replaceChildren(...links);
}

async function showLevel(path, chosenName) {
  drawCrumbs(path);
  try {
    await table.read(path, chosenName);
    fail(null);
  } catch (error) {
    fail(error);
  }
}

function chooseNode(node) {
  const isThing = !node.isFolder;
  const path = isThing ? node.path.slice(0, -1) : node.path;
  if (!isThing || !table.path || !samePath(path, table.path)) showLevel(path, isThing ? node.name : undefined);
  else {
    table.chosenName = node.name;
    const index = table.shown.findIndex((row) => row[0] === node.name);
    if (index >= 0) table.list.reveal(index);
    else table.list.draw();
  }
  showContent(isThing ? node.path : null);
}

Kestrel.goTo = async (path) => {
  const chosen = Kestrel.choose('browse');
  if (!tree) await chosen; // the page was opened with another view
  return tree?.goTo(path);
};

Kestrel.views.push({
  id: 'browse',
  title: 'Tree',
  async start(element) {
    const treeElement = make('div', {class: 'tree', role: 'tree', tabindex: 0, ariaLabel: 'Tree'});
    table = new Table((row, opens) => {
      if (opens) tree.goTo([...table.path, row[0]]);
      else showContent(row[1] ? null : [...table.path, row[0]]);
    }, (shown, loaded, total) => {
      const part = shown === loaded ? '' : count(shown) + ' of ';
      counter.textContent = part + count(loaded) + (loaded === 1 ? ' row' : ' rows') +
        (loaded < total ? ' of ' + count(total) : '');
      more.hidden = loaded >= total || loaded < MostRows;
    });
    const filter = make('input', {type: 'search', placeholder: 'Filter', ariaLabel: 'Filter the rows',
      oninput: () => {
        table.filter = filter.value;
        table.arrange();
      }});
    element.classList.add('browse');
    content.hidden = true;
    element.append(treeElement, make('section', {class: 'level', ariaLabel: 'Level'},
      make('div', {class: 'bar'}, crumbs, filter, counter, more), failure, table.element, content));
    tree = new Tree(treeElement, chooseNode);
    await Promise.all([tree.start(), showLevel([])]);
  },
  async refresh() {
    await Promise.all([tree.refresh(), table.renew()]);
    fail(null);
  },
});
})();
