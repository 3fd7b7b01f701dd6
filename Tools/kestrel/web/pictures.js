'use strict';
// Pictures of what a process holds: its blocks, its address space, its names, its types of files.

(() => {
const {make, show, ask, count, bytes, colour, fit, toNumber} = Kestrel;

function makeChoice(label, options, change) {
  const name = 'choice-' + label.replace(/\W/g, '');
  return make('fieldset', {class: 'choice'}, make('legend', {}, label), ...options.map(([value, text], i) =>
    make('label', {}, make('input', {type: 'radio', name, value, checked: i === 0, onchange: () => change(value)}), text)));
}

function makeLegend(entries) {
  return make('div', {class: 'legend'}, ...entries.map(([name, text, kind]) => make('span', {},
    make('i', {class: 'swatch ' + (kind ?? ''), style: {background: kind === 'hatched' ? '' : `var(--${name})`}}), text)));
}

function makeEmpty(text) {
  return make('p', {class: 'empty', hidden: true}, text);
}

// All rows of a level, piece by piece.
async function readLevel(path) {
  const rows = [];
  let answer = {snapshot: 0, total: Infinity};
  while (rows.length < answer.total) {
    answer = await ask('level', {path, from: rows.length, count: 5000, snapshot: answer.snapshot});
    rows.push(...answer.rows);
    if (!answer.rows.length) break;
  }
  return rows;
}

// Memory.

const groups = ['small blocks', 'medium blocks', 'large blocks'];

async function readClasses() {
  const answer = await ask('walk', {path: ['MuRoot', 'Memory', 'AllocationTree (complete)'], most: 5000, levels: 3});
  const all = answer.nodes.map(([parent, name, isFolder, size, number]) =>
    ({parent, name: name.replace(/ \{[^{}]*\}$/, ''), isFolder, size: toNumber(size) || 0, count: toNumber(number) || 0}));
  return all.filter((one) => !one.isFolder && one.parent >= 0)
    .map((one) => ({...one, group: Math.max(0, groups.indexOf(all[one.parent].name))}));
}

// As areas, those of a group side by side.
function layOutClasses(width, height) {
  const members = groups.map((name, group) => ({children: classes.filter((one) => one.group === group)}));
  const tree = d3.hierarchy({children: members}).sum((one) => one[measure]).sort((a, b) => b.value - a.value);
  return d3.treemap().size([width, height]).paddingInner(2).round(true)(tree).leaves().filter((leaf) => leaf.value > 0);
}

const history = []; // {time, size, count}, while the page is open
let classes = [];
let measure = 'size';
let memory;

function drawHistory(svg) {
  const [width, height, left, top, bottom] = [Math.max(svg.clientWidth, 200), Math.max(svg.clientHeight, 120), 8, 22, 20];
  svg.setAttribute('viewBox', `0 0 ${width} ${height}`);
  svg.replaceChildren();
  if (!history.length) return;
  const [start, end] = [history[0].time, Math.max(history.at(-1).time, history[0].time + 1000)];
  const x = (time) => left + (width - 2 * left) * (time - start) / (end - start);
  const line = (key, kind, write, anchor, edge) => {
    const most = Math.max(...history.map((one) => one[key])) || 1;
    const least = Math.min(...history.map((one) => one[key]));
    const low = least - (most - least || most) * 0.15;
    const y = (value) => top + (height - top - bottom) * (1 - (value - low) / (most - low || 1));
    const [atTime, atValue] = [(one) => x(one.time), (one) => y(one[key])];
    if (kind === 'size') svg.append(make('svg:path', {class: 'area', d: d3.area(atTime, height - bottom, atValue)(history)}));
    svg.append(make('svg:path', {class: 'curve ' + kind, d: d3.line(atTime, atValue)(history)}),
      make('svg:text', {class: 'curve-name ' + kind, x: edge, y: 13, textAnchor: anchor}, write(history.at(-1)[key])));
  };
  line('size', 'size', bytes, 'start', left);
  line('count', 'count', (number) => count(number) + ' blocks', 'end', width - left);
  svg.append(make('svg:text', {class: 'axis', x: left, y: height - 5}, new Date(start).toLocaleTimeString()),
    make('svg:text', {class: 'axis', x: width - left, y: height - 5, textAnchor: 'end'}, new Date(history.at(-1).time).toLocaleTimeString()));
}

Kestrel.views.push({
  id: 'memory',
  title: 'Memory',
  async sample() {
    const isInSight = !this.panel.hidden;
    // Others wait for what is in sight; the line has a point at each of its readings.
    classes = await readClasses();
    const total = (key) => classes.reduce((all, one) => all + one[key], 0);
    history.push({time: Kestrel.isSaved ? Kestrel.time : Date.now(), size: total('size'), count: total('count')});
    if (history.length > 5000) history.splice(0, 1000);
    if (isInSight && memory) this.show();
  },
  async start(element) {
    element.classList.add('picture');
    const canvas = Kestrel.makeCanvas({
      label: 'Blocks by size class: the area of each is what it holds',
      describe: (one) => `${one.name}\n${bytes(one.size)} in ${count(one.count)} blocks`,
      draw: (pen, width, height) => layOutClasses(width, height).map(({data: item, x0: x, y0: y, x1, y1}) => {
        const [w, h] = [x1 - x, y1 - y];
        pen.fillStyle = colour('c' + (1 + item.group));
        pen.fillRect(x, y, w, h);
        pen.fillStyle = colour('on-colour');
        // Whole or not at all: a part of a number is another number.
        const write = (below, ...texts) => {
          const text = texts.find((one) => pen.measureText(one).width <= w - 10);
          if (text && h > below + 9) pen.fillText(text, x + 5, y + below);
        };
        const name = show(item.name);
        write(14, name, name.replace('up to', '≤'));
        if (measure === 'size') write(31, bytes(item.size));
        else write(31, count(item.count) + ' blocks', count(item.count));
        return {x, y, w, h, item};
      }),
    });
    memory = {
      canvas, sum: make('p', {class: 'sum', role: 'status'}),
      facts: Kestrel.makeFacts('Size classes', ['class', 'bytes', 'blocks']),
      line: make('svg:svg', {class: 'history', role: 'img', ariaLabel: 'Bytes and blocks since the page was opened'}),
      empty: makeEmpty('This process does not count its blocks: AllocationTree::Start, early in it, makes it do so.'),
    };
    new ResizeObserver(() => drawHistory(memory.line)).observe(memory.line);
    element.append(make('div', {class: 'bar'}, memory.sum,
      makeChoice('Area', [['size', 'bytes'], ['count', 'blocks']], (value) => { measure = value; this.show(); }),
      makeLegend([['c1', 'small blocks'], ['c2', 'medium blocks'], ['c3', 'large blocks']])),
    memory.empty, make('div', {class: 'beside'}, make('div', {class: 'stack'}, canvas, memory.line), memory.facts));
    if (!classes.length) await this.sample();
    else this.show();
  },
  show() {
    const {size, count: number} = history.at(-1) ?? {size: 0, count: 0};
    memory.sum.textContent = `${bytes(size)} in ${count(number)} blocks`;
    memory.empty.hidden = number > 0;
    memory.facts.setRows([...classes].filter((one) => one.count).sort((a, b) => b[measure] - a[measure])
      .map((one) => ({cells: [one.name, bytes(one.size), count(one.count)]})));
    memory.canvas.redraw();
    drawHistory(memory.line);
  },
});

// The address space.

const states = {C: 'committed', R: 'reserved', F: 'free'};
const StripRows = 7;

Kestrel.views.push({
  id: 'space',
  title: 'Address space',
  async start(element) {
    element.classList.add('picture');
    this.from = 0;
    this.to = 1;
    this.canvas = Kestrel.makeCanvas({
      label: 'Regions of the address space, in their order',
      describe: (one) => `${one.begin} · ${bytes(one.size)} · ${states[one.state]}` +
        (one.state === 'C' ? `\n${bytes(one.used)} used by counted blocks, ${one.percent.toFixed(1)} %` : ''),
      draw: (pen, width, height) => this.draw(pen, width, height),
      wheel: (delta, item) => this.zoom(Math.exp(delta / 400), item ? (item.from + item.to) / 2 / this.whole : undefined),
      drag: (by, width) => this.move(-by / width / StripRows * (this.to - this.from)),
      pick: (item) => this.zoom(0.4, (item.from + item.to) / 2 / this.whole),
    });
    this.sum = make('p', {class: 'sum', role: 'status'});
    this.facts = Kestrel.makeFacts('Regions with the most counted blocks', ['begin', 'size', 'used', '%']);
    const button = (text, label, act) => make('button', {type: 'button', ariaLabel: label, title: label, onclick: act}, text);
    element.append(make('div', {class: 'bar'}, this.sum,
      make('span', {class: 'buttons'}, button('+', 'Closer', () => this.zoom(0.5)), button('−', 'Farther', () => this.zoom(2)),
        button('◂', 'Lower addresses', () => this.move(-0.25 * (this.to - this.from))), button('▸', 'Higher addresses', () => this.move(0.25 * (this.to - this.from))),
        button('All', 'The whole range', () => this.zoom(Infinity))),
      makeLegend([['c1', 'used by counted blocks'], ['accent-soft', 'committed'], ['hatch', 'reserved', 'hatched'], ['ground', 'free', 'outlined']])),
    make('p', {class: 'note'}, 'In the order of their addresses, low to high, line by line. Wider is larger, by powers of two; free regions are narrow. Addresses and sizes are the low 32 bits, as the process shows them.'),
    make('div', {class: 'beside'}, this.canvas, this.facts));
    await this.refresh();
  },
  async refresh() {
    const rows = await readLevel(['MuRoot', 'Memory', 'AddressSpace']);
    const [before, whole, middle] = [this.regions ?? [], this.whole, (this.from + this.to) / 2 * this.whole];
    const index = before.findIndex((one) => middle < one.to);
    this.whole = 0;
    this.regions = rows.map(([, , begin, size, state, used, percent]) => {
      const one = {begin, size: toNumber(size) >>> 0, state, used: toNumber(used) || 0, percent: toNumber(percent) || 0};
      const weight = state === 'F' ? 0.6 : 1 + Math.log2(1 + one.size / 4096);
      one.from = this.whole;
      one.to = this.whole += weight;
      return one;
    });
    if (index >= 0) this.follow(before[index], index, middle - before[index].from, whole);
    const total = (state) => this.regions.filter((one) => one.state === state).reduce((all, one) => all + one.size, 0);
    const used = this.regions.reduce((all, one) => all + one.used, 0);
    this.sum.textContent = `${count(rows.length)} regions, ${bytes(total('C'))} committed, ${bytes(total('R'))} reserved, ${bytes(used)} used by counted blocks`;
    this.facts.setRows([...this.regions].sort((a, b) => b.used - a.used).slice(0, 15).filter((one) => one.used)
      .map((one) => ({cells: [one.begin, bytes(one.size), bytes(one.used), one.percent.toFixed(1)],
        pick: () => { this.zoom(Infinity); this.zoom(0.02, (one.from + one.to) / 2 / this.whole); }})));
    this.canvas.redraw();
  },
  // The region in the middle stays there, whatever came and went before it.
  follow({begin, state}, index, offset, whole) {
    if (this.to - this.from >= 1) return;
    const same = this.regions.map((one, i) => [Math.abs(i - index), one])
      .filter(([, one]) => one.begin === begin && one.state === state);
    const [, now] = same.sort(([a], [b]) => a - b)[0] ?? [0, null];
    const span = Math.min(1, (this.to - this.from) * whole / this.whole);
    const centre = now ? (now.from + offset) / this.whole : (this.from + this.to) / 2;
    this.from = Math.max(0, Math.min(1 - span, centre - span / 2));
    this.to = this.from + span;
  },
  zoom(factor, centre = (this.from + this.to) / 2) {
    const span = Math.min(1, Math.max((this.to - this.from) * factor, 0.0005));
    const share = (centre - this.from) / (this.to - this.from);
    this.from = Math.max(0, Math.min(1 - span, factor < 0.1 ? centre - span / 2 : centre - share * span));
    this.to = this.from + span;
    this.canvas.redraw();
  },
  move(by) {
    by = Math.max(-this.from, Math.min(1 - this.to, by));
    this.from += by;
    this.to += by;
    this.canvas.redraw();
  },
  draw(pen, width, height) {
    const shapes = [];
    const strip = 14; // the whole range, and what part of it is below
    const lineHeight = (height - strip - 8) / StripRows;
    const span = (this.to - this.from) * this.whole / StripRows;
    pen.fillStyle = colour('line');
    pen.fillRect(0, 0, width, strip);
    pen.fillStyle = colour('accent');
    pen.fillRect(this.from * width, 0, Math.max((this.to - this.from) * width, 2), strip);
    for (const one of this.regions ?? []) {
      const first = Math.floor((one.from - this.from * this.whole) / span);
      const last = Math.floor((one.to - this.from * this.whole) / span - 1e-9);
      for (let line = Math.max(first, 0); line <= Math.min(last, StripRows - 1); ++line) {
        const start = this.from * this.whole + line * span;
        const x = Math.max(0, (one.from - start) / span * width);
        const w = Math.min(width, (one.to - start) / span * width) - x;
        const y = strip + 8 + line * lineHeight;
        const h = lineHeight - 8;
        const gap = w > 3 ? 1 : 0;
        if (one.state === 'F') {
          pen.fillStyle = colour('line');
          pen.fillRect(x, y + h / 2 - 1, w, 2);
        } else {
          pen.fillStyle = colour(one.state === 'C' ? 'accent-soft' : 'hatch');
          pen.fillRect(x, y, w - gap, h);
        }
        if (one.state === 'R') this.hatch(pen, x, y, w - gap, h);
        if (one.used) {
          pen.fillStyle = colour('c1');
          const high = Math.max(2, h * Math.min(one.percent, 100) / 100);
          pen.fillRect(x, y + h - high, w - gap, high);
        }
        if (w > 70 && one.state !== 'F') {
          pen.fillStyle = colour(one.used && one.percent > 80 ? 'on-colour' : 'ink');
          pen.fillText(fit(pen, bytes(one.size), w - 10), x + 5, y + 12);
        }
        shapes.push({x, y, w, h, item: one});
      }
    }
    return shapes;
  },
  hatch(pen, x, y, w, h) {
    pen.save();
    pen.beginPath();
    pen.rect(x, y, w, h);
    pen.clip();
    pen.strokeStyle = colour('paper');
    pen.beginPath();
    for (let at = x - (x + y) % 7 - h; at < x + w; at += 7) {
      pen.moveTo(at, y + h);
      pen.lineTo(at + h, y);
    }
    pen.stroke();
    pen.restore();
  },
});

// Trees of names.

function addTreePicture({id, title, path, flat, rootName, text, searched, describe, measures, heads, cells, note}) {
  Kestrel.views.push({
    id,
    title,
    async start(element) {
      element.classList.add('picture');
      this.measure = measures[0][2];
      this.sum = make('p', {class: 'sum', role: 'status'});
      this.crumbs = make('div', {class: 'crumbs', ariaLabel: 'Place'});
      this.facts = Kestrel.makeFacts('Here', heads);
      this.canvas = Kestrel.makeIcicle({label: title, describe, text, onFocus: (node) => this.showFocus(node)});
      this.search = make('input', {type: 'search', placeholder: 'Search', ariaLabel: 'Search', oninput: () => this.find()});
      element.append(make('div', {class: 'bar'}, this.sum, this.search,
        measures.length > 1 ? makeChoice('Width', measures, (value) => {
          this.measure = measures.find(([name]) => name === value)[2];
          this.take(this.answer);
        }) : null), make('div', {class: 'bar'}, this.crumbs), make('p', {class: 'note'}, note),
      make('div', {class: 'beside'}, this.canvas, this.facts));
      this.take(await ask('walk', {path, most: 1500, levels: 60, flat}));
      // The first picture does not wait for all of it.
      if (!this.answer.whole) setTimeout(() => this.refresh().catch(() => {}), 50);
    },
    async refresh() {
      this.take(await ask('walk', {path, most: 200000, levels: 60, flat}));
    },
    take(answer) {
      this.answer = answer;
      this.tree = Kestrel.buildTree(answer, rootName, this.measure);
      this.canvas.setTree(this.tree);
      this.find();
    },
    find() {
      const wanted = this.search.value.toLowerCase();
      this.found = wanted ? this.tree.descendants().slice(1).filter((node) => searched(node.data).toLowerCase().includes(wanted)) : null;
      this.canvas.setFound(this.found);
      this.showFocus(this.focus);
    },
    showFocus(node) {
      if (!node) return;
      this.focus = node;
      Kestrel.replace(this.crumbs, node.ancestors().reverse().map((at) => make('button', {type: 'button', onclick: () => this.canvas.focusOn(at)}, show(text(at.data)))));
      const all = this.answer.nodes.length;
      this.sum.textContent = count(all) + (this.answer.whole ? '' : ' or more') + ' nodes' + (this.found ? `, ${count(this.found.length)} found` : '');
      this.facts.caption.textContent = this.found ? 'Found' : 'In ' + show(text(node.data));
      const listed = this.found ?? node.children ?? [];
      this.facts.setRows([...listed].sort((a, b) => b.value - a.value).slice(0, 100)
        .map((one) => ({cells: cells(one), pick: () => this.canvas.focusOn(one)})));
    },
  });
}

const references = ({values}) => toNumber(values[4]) || 0;
const countBelow = (node) => count(node.children?.length ?? 0);
addTreePicture({
  id: 'addresses', title: 'Addresses', path: ['Kestrel', 'AddressTree'], flat: 1, rootName: 'all addresses',
  text: ({values, name}) => values.length ? values[0] || 'root' : name,
  searched: ({values, name}) => values[0] || name,
  describe: ({data, value}) => data.values.length
    ? `${show(data.values[0]) || 'root'}\n${count(references(data))} references here\n${count(value)} with what is below` : data.name,
  measures: [['references', 'references', (one) => 1 + references(one)], ['names', 'names', () => 1]],
  heads: ['name', 'references', 'below'],
  cells: (node) => [node.data.values[0] || 'root', count(references(node.data)), countBelow(node)],
  note: 'The names of all locations that exist in the process, each below the one that it is in. Wider is more, and one for itself. Looking leaves names, too: the places that this page asks for stand among them.',
});
addTreePicture({
  id: 'types', title: 'File types', path: ['Kestrel', 'FileTypeManager'], flat: 0, rootName: 'all types',
  text: ({values, name}) => values[0] || name,
  searched: ({values, name}) => `${values[0] || name} ${values[1] ?? ''}`,
  describe: (node) => `${show(node.data.values[0] || node.data.name)}\n` +
    (node.data.isFolder ? `${countBelow(node)} in this group` : show(node.data.values[1] ?? '')),
  measures: [['types', 'types', (one) => one.isFolder ? 0.2 : 1]],
  heads: ['name', 'extensions or members'],
  cells: (node) => [node.data.values[0] || node.data.name, node.data.isFolder ? countBelow(node) : node.data.values[1] ?? ''],
  note: 'The catalogue by its groups: a box is a group or, at the lowest row, a type.',
});
})();
