'use strict';
// What all views share: where data comes from, elements made of text, numbers as people read them.
// Whatever the process gives is text here: it reaches the page by textContent and in no other way.

const Kestrel = {views: []};

// Elements.

// make('div', {class: 'row', onclick: f, ariaLabel: 'x'}, 'text', child, ...)
Kestrel.make = (kind, properties = {}, ...children) => {
  const element = kind.startsWith('svg:')
    ? document.createElementNS('http://www.w3.org/2000/svg', kind.slice(4))
    : document.createElement(kind);
  for (const [name, value] of Object.entries(properties)) {
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (name === 'style') Object.assign(element.style, value);
    else if (value !== undefined && value !== null && value !== false) {
      element.setAttribute(name.replace(/[A-Z]/g, (c) => '-' + c.toLowerCase()), value === true ? '' : value);
    }
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
};

// New elements instead of the old ones; the focus stays in its place.
Kestrel.replace = (parent, children) => {
  const list = () => [...parent.querySelectorAll('button, [tabindex="0"]')];
  const at = parent.contains(document.activeElement) ? list().indexOf(document.activeElement) : -1;
  parent.replaceChildren(...children);
  if (at >= 0) list()[at]?.focus({preventScroll: true});
};

// As one line that is what it looks like: controls and marks that turn the direction of writing are
// spelt out.
Kestrel.show = (value) => value === null || value === undefined ? ''
  : String(value).replace(/[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069\ufeff]/g,
    (c) => '\\u' + c.charCodeAt(0).toString(16).padStart(4, '0'));

const numbers = new Intl.NumberFormat('en');
Kestrel.count = (number) => numbers.format(Number(number));
Kestrel.bytes = (number) => {
  const units = ['B', 'KiB', 'MiB', 'GiB', 'TiB'];
  let unit = 0;
  for (number = Number(number); number >= 1024 && unit < units.length - 1; ++unit) number /= 1024;
  return (unit === 0 ? number : number.toFixed(number < 10 ? 2 : number < 100 ? 1 : 0)) + ' ' + units[unit];
};
// Numbers by their size, also where they are texts, and before all else; texts as people sort them.
const texts = new Intl.Collator('en', {numeric: true});
Kestrel.compare = (a, b) => {
  const x = toNumber(a);
  const y = toNumber(b);
  if (!Number.isNaN(x) && !Number.isNaN(y)) return x - y;
  if (Number.isNaN(x) !== Number.isNaN(y)) return Number.isNaN(x) ? 1 : -1;
  return texts.compare(String(a ?? ''), String(b ?? ''));
};
function toNumber(value) {
  if (typeof value === 'number') return value;
  if (typeof value === 'boolean') return Number(value);
  return typeof value === 'string' && /^-?(\d+(\.\d+)?|0x[0-9a-f]+)$/i.test(value) ? Number(value) : NaN;
}
Kestrel.toNumber = toNumber;

// What stands at the pointer or the focus.
Kestrel.hint = (event, text) => {
  const hint = document.getElementById('hint');
  hint.hidden = !text;
  if (!text) return;
  hint.textContent = text;
  const at = event instanceof Element ? event.getBoundingClientRect() : {left: event.clientX, bottom: event.clientY};
  hint.style.left = Math.max(4, Math.min(at.left + 12, innerWidth - hint.offsetWidth - 8)) + 'px';
  const below = at.bottom + 16;
  hint.style.top = (below + hint.offsetHeight > innerHeight ? at.bottom - hint.offsetHeight - 12 : below) + 'px';
};

// Data: of the process by the server that this page came from, or saved in the page.

const saved = document.getElementById('saved');
const data = saved ? JSON.parse(saved.textContent) : null;
Kestrel.isSaved = data !== null;
Kestrel.time = data ? data.moment : 0;
Kestrel.moment = new Date(Kestrel.time).toLocaleString();
Kestrel.samePath = (a, b) => JSON.stringify(a) === JSON.stringify(b);

async function fetchAnswer(question, parameters) {
  const query = new URLSearchParams();
  for (const [name, value] of Object.entries(parameters)) {
    query.set(name, typeof value === 'object' ? JSON.stringify(value) : value);
  }
  const reply = await fetch('api/' + question + '?' + query, {cache: 'no-store'}).catch(() => {
    throw new Error('kestrel inspect has ended');
  });
  if (reply.headers.get('content-type') !== 'application/json') throw new Error(await reply.text());
  const answer = await reply.json();
  if (!reply.ok) throw new Error(answer.failure);
  return answer;
}

// The saved levels lie in a list, and each has the indices of those below its rows.
function findSaved(path) {
  let level = data.levels[0];
  for (const name of path) {
    const row = level === null ? -1 : level.rows.findIndex((one) => one[1] && one[0] === name);
    level = row >= 0 && level.below[row] !== undefined ? data.levels[level.below[row]] : null;
  }
  if (!level) throw new Error('this place is not in the file');
  return level;
}

// A tree that was saved as its walk becomes levels as well.
function unfold(index) {
  const {nodes, columns, whole} = data.levels[index];
  const makeLevel = () => ({total: 0, columns, rows: [], below: {}, contents: {}});
  data.levels[index] = makeLevel();
  const indices = nodes.map((node) => node[2] ? data.levels.push(makeLevel()) - 1 : -1);
  nodes.forEach(([parent, ...row], i) => {
    const level = data.levels[parent < 0 ? index : indices[parent]];
    if (row[1]) level.below[level.rows.length] = indices[i];
    level.total = level.rows.push(row);
  });
  if (!whole) data.levels[index].total = Infinity;
}
if (Kestrel.isSaved) data.levels.forEach((level, index) => level?.nodes && unfold(index));

function walkSaved({path, most, levels}) {
  const ahead = [{level: findSaved(path), index: -1, depth: 1}];
  const answer = {whole: true, columns: ahead[0].level.columns, nodes: []};
  for (const {level, index, depth} of ahead) {
    if (!answer.columns.length) answer.columns = level.columns;
    level.rows.forEach((row, i) => {
      if (answer.nodes.length >= most) return;
      const below = row[1] ? data.levels[level.below[i]] : null;
      if (below && depth < levels) ahead.push({level: below, index: answer.nodes.length, depth: depth + 1});
      else if (row[1]) answer.whole = false;
      answer.nodes.push([index, ...row]);
    });
    answer.whole = answer.whole && level.rows.length === level.total && answer.nodes.length < most;
  }
  return answer;
}

function readSaved(question, parameters) {
  if (question === 'level') {
    const level = findSaved(parameters.path);
    return {
      snapshot: 1, total: level.rows.length, columns: level.columns,
      rows: level.rows.slice(parameters.from ?? 0, (parameters.from ?? 0) + (parameters.count ?? 500)),
    };
  }
  if (question === 'content') {
    const level = findSaved(parameters.path.slice(0, -1));
    const row = level.rows.findIndex((one) => !one[1] && one[0] === parameters.path.at(-1));
    if (row < 0) throw new Error('this text is not in the file');
    const lines = level.columns.map((column, i) => `${column.name}: ${level.rows[row][i + 2] ?? ''}`);
    return {text: level.contents[row] ?? lines.join('\n'), whole: true};
  }
  return question === 'walk' ? walkSaved(parameters) : data[question];
}

// Ask('level', {path: [...], from: 0, ...}): the server's questions are those of WebCommand.cpp.
Kestrel.ask = async (question, parameters = {}) =>
  Kestrel.isSaved ? readSaved(question, parameters) : fetchAnswer(question, parameters);
