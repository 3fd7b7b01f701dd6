'use strict';
// Pictures of what a process has to do with others: who is connected, what is mounted where, what is
// logged.

(() => {
const {make, show, ask, count, bytes, fit} = Kestrel;

// Connections: a card for each process, and a line from each client to the server it talks with.

const isHere = (host) => host === 'localhost' || host.startsWith('127.') || host === '::1';

function makeQueue(name, size, messages) {
  const width = size > 0 ? Math.min(100, 8 + 9 * Math.log2(1 + size)) : 0;
  return make('span', {class: 'queue', title: `${name}: ${bytes(size)}, ${count(messages)} messages`},
    make('span', {class: 'gauge', ariaHidden: 'true'}, make('i', {style: {width: width + '%'}})),
    `${name} ${bytes(size)}, ${count(messages)} msg`);
}

function makeCommunicator(one) {
  const text = {client: `→ ${one.host}:${one.port}`, connection: `← from ${one.host || 'elsewhere'}`}[one.kind];
  if (!text) return null;
  const line = make('li', {class: one.kind}, make('span', {class: 'peer'}, `${show(text)} · socket ${one.socket}`));
  if (one.queues) {
    for (const name of ['in', 'out']) line.append(makeQueue(name, one.queues[name].bytes, one.queues[name].messages));
  }
  if (one.kind === 'client' && isHere(one.host)) line.dataset.to = one.port;
  return line;
}

function makeServer(server) {
  return make('section', {class: 'server', dataPort: server.port},
    make('h3', {}, 'port ' + server.port),
    make('div', {class: 'services'}, ...server.services.map((name) => make('span', {class: 'chip'}, show(name)))),
    server.failure ? make('p', {class: 'failure'}, show(server.failure)) : null,
    server.communicators ? make('ul', {}, ...server.communicators.map(makeCommunicator)) : null);
}

Kestrel.views.push({
  id: 'connections',
  title: 'Connections',
  async start(element) {
    element.classList.add('picture');
    this.sum = make('p', {class: 'sum', role: 'status'});
    this.lines = make('svg:svg', {class: 'lines', ariaHidden: 'true'});
    this.cards = make('div', {class: 'cards'});
    this.empty = make('p', {class: 'empty', hidden: true}, 'No process of this machine serves.');
    this.board = make('div', {class: 'board'}, this.lines, this.cards);
    element.append(make('div', {class: 'bar'}, this.sum), make('p', {class: 'note'},
      'Processes of this machine that serve. Of those with a service “Processes” also who is connected, and what waits in the queues of each; the connection that this was asked over is one of them.'),
    this.empty, this.board);
    new ResizeObserver(() => this.connect()).observe(this.board);
    await this.refresh();
  },
  async refresh() {
    const list = await ask('connections');
    this.cards.replaceChildren(...list.map((process) => make('article', {class: 'card', ariaLabel: show(process.name)},
      make('h2', {title: show(process.path)}, show(process.name), make('small', {}, ' process ' + process.process)),
      ...process.servers.map(makeServer))));
    const servers = list.flatMap((process) => process.servers);
    const ends = servers.flatMap((server) => server.communicators ?? []).filter((one) => one.kind === 'client' || one.kind === 'connection');
    const some = (number, one, many) => `${count(number)} ${number === 1 ? one : many}`;
    this.sum.textContent = [some(list.length, 'process', 'processes'), some(servers.length, 'server', 'servers'),
      some(servers.flatMap((server) => server.services).length, 'service', 'services'),
      some(ends.length, 'end of a connection', 'ends of connections')].join(', ');
    this.empty.hidden = list.length > 0;
    this.connect();
  },
  connect() {
    const frame = this.board.getBoundingClientRect();
    this.lines.replaceChildren();
    this.lines.setAttribute('viewBox', `0 0 ${frame.width} ${frame.height}`);
    for (const client of this.cards.querySelectorAll('[data-to]')) {
      const server = this.cards.querySelector(`.server[data-port="${Number(client.dataset.to)}"] h3`);
      if (!server) continue;
      const [a, b] = [client.getBoundingClientRect(), server.getBoundingClientRect()];
      const isSame = client.closest('.card') === server.closest('.card');
      const toRight = b.left > a.right;
      const [x1, y1] = [(toRight || isSame ? a.right : a.left) - frame.left, a.top + a.height / 2 - frame.top];
      const [x2, y2] = [(toRight ? b.left - 12 : isSame ? a.right : b.right + 12) - frame.left, b.top + b.height / 2 - frame.top];
      const bend = isSame ? 44 : Math.max(40, Math.abs(x2 - x1) / 2);
      const [c1, c2] = isSame ? [x1 + bend, x2 + bend] : toRight ? [x1 + bend, x2 - bend] : [x1 - bend, x2 + bend];
      const wire = d3.path();
      wire.moveTo(x1, y1);
      wire.bezierCurveTo(c1, y1, c2, y2, x2, y2);
      this.lines.append(make('svg:path', {class: 'wire', d: wire}), make('svg:circle', {class: 'plug', cx: x2, cy: y2, r: 4}));
    }
  },
});

// Mounts: the folders that lead to each, with what is beside them on the disk.

const MountPath = ['Kestrel', 'Virtual file systems'];
const MostBeside = 5;
const MostInside = 12;

async function listNames(place) {
  // Of any folder, a mount or not; what cannot be read has nothing.
  const answer = await ask('level', {path: [...MountPath, place], count: 200, values: 0}).catch(() => ({rows: [], total: 0}));
  return answer;
}

async function readMounts() {
  const root = {name: 'this machine', place: '', children: new Map(), kind: 'real'};
  const {rows} = await ask('level', {path: MountPath, count: 500, values: 0});
  for (const [mount] of rows) {
    let node = root;
    let place = '';
    const parts = mount.split('\\').filter((part) => part !== '');
    parts.forEach((part, i) => {
      place = place === '' ? part + (part.endsWith(':') ? '\\' : '') : place.replace(/\\$/, '') + '\\' + part;
      if (!node.children.has(part)) node.children.set(part, {name: part, place, children: new Map(), kind: 'real'});
      node = node.children.get(part);
      if (i === parts.length - 1) Object.assign(node, {kind: 'mount', place: mount});
    });
  }
  const fill = async (node) => {
    if (node.place) {
      const {rows: names, total} = await listNames(node.place);
      const most = node.kind === 'mount' ? MostInside : MostBeside;
      let added = 0;
      for (const [name, isFolder] of names) {
        if (node.children.has(name)) continue;
        if (added++ === most) break;
        node.children.set(name, {name, place: node.place.replace(/\\$/, '') + '\\' + name, children: new Map(),
          kind: node.kind === 'real' ? 'near' : 'inside', isFolder});
      }
      const rest = total - node.children.size;
      if (rest > 0) node.children.set('', {name: `and ${count(rest)} more`, children: new Map(), kind: 'rest'});
    }
    await Promise.all([...node.children.values()].filter((child) => child.kind === 'real' || child.kind === 'mount').map(fill));
  };
  await fill(root);
  return {root, total: rows.length};
}

Kestrel.views.push({
  id: 'mounts',
  title: 'Mounts',
  async start(element) {
    element.classList.add('picture');
    this.sum = make('p', {class: 'sum', role: 'status'});
    this.svg = make('svg:svg', {class: 'mounts', role: 'tree', ariaLabel: 'Mounts'});
    this.empty = make('p', {class: 'empty', hidden: true}, 'Nothing is mounted in this process.');
    element.append(make('div', {class: 'bar'}, this.sum, make('div', {class: 'legend'},
      ...[['mount', 'mounted'], ['inside', 'inside of it'], ['real', 'real, on the way'], ['near', 'real, beside it']]
        .map(([kind, text]) => make('span', {}, make('i', {class: 'dot ' + kind}), text)))),
    this.empty, make('div', {class: 'board'}, this.svg));
    await this.refresh();
  },
  async refresh() {
    const {root, total} = await readMounts();
    this.sum.textContent = `${count(total)} mounted`;
    this.empty.hidden = total > 0;
    const [RowHeight, Step] = [26, 190];
    // A row for each leaf; the column is the depth. Each begins in the row of the first below it, so that
    // the root is in sight, however many there are.
    const tree = d3.cluster().nodeSize([RowHeight, Step]).separation(() => 1)(d3.hierarchy(root, (node) => node.children.values()));
    tree.eachAfter((node) => { node.x = node.children?.[0].x ?? node.x; });
    const nodes = tree.descendants();
    const top = Math.min(...nodes.map((node) => node.x));
    const place = ({x, depth}) => [16 + depth * Step, 20 + x - top];
    const link = d3.linkHorizontal();
    const pen = make('canvas').getContext('2d');
    const labelOf = ({name, kind}) => {
      pen.font = `${kind === 'mount' ? 700 : 400} 13px ${getComputedStyle(this.svg).fontFamily}`;
      const text = fit(pen, name, Step - 40);
      return {text, width: pen.measureText(text).width};
    };
    for (const node of nodes) node.label = labelOf(node.data);
    const branches = tree.links().map(({source, target}) => {
      const [[x, y], [end, row]] = [place(source), place(target)];
      const behind = Math.min(x + 18 + source.label.width, x + Step - 14);
      return make('svg:path', {class: 'branch', d: link({source: [behind, y], target: [end - 6, row]})});
    });
    const labels = nodes.map((at) => {
      const node = at.data;
      const [x, y] = place(at);
      const label = at.label.text;
      return make('svg:g', {class: 'mount-node ' + node.kind, role: 'treeitem', ariaLabel: label, tabindex: node.place ? 0 : null,
        onclick: () => this.visit(node), onkeydown: (event) => event.key === 'Enter' && this.visit(node)},
      make('svg:title', {}, show(node.place ?? '')), make('svg:circle', {cx: x, cy: y, r: node.kind === 'mount' ? 7 : 5}),
      make('svg:text', {x: x + 12, y: y + 4}, label));
    });
    const [width, height] = [(tree.height + 1) * Step + 40, Math.max(...nodes.map((node) => node.x)) - top + RowHeight + 30];
    this.svg.setAttribute('viewBox', `0 0 ${width} ${height}`);
    this.svg.style.width = width + 'px';
    this.svg.style.height = height + 'px';
    Kestrel.replace(this.svg, [...branches, ...labels]);
  },
  visit(node) {
    if (node.kind === 'mount') Kestrel.goTo([...MountPath, node.place]);
  },
});

// The log.

const MostLines = 20000;
const MostShown = 1500;

Kestrel.views.push({
  id: 'log',
  title: 'Log',
  async start(element) {
    element.classList.add('picture', 'log');
    this.lines = [];
    this.cursor = 0;
    this.sum = make('p', {class: 'sum', role: 'status'});
    this.filter = make('input', {type: 'search', placeholder: 'Filter', ariaLabel: 'Filter the lines', oninput: () => this.show()});
    this.least = make('select', {ariaLabel: 'Severity', onchange: () => this.show()},
      ...['all', 'INFO', 'WARNING', 'ERROR'].map((name) => make('option', {value: name}, name === 'all' ? 'all severities' : name + (name === 'ERROR' ? '' : ' and above'))));
    this.list = make('div', {class: 'log-lines', role: 'log', tabindex: 0, ariaLabel: 'Lines'});
    this.empty = make('p', {class: 'empty', hidden: true}, 'This process does not log into files of this machine. Start the page with --logs FOLDER, and the lines of the log files in it stand here.');
    element.append(make('div', {class: 'bar'}, this.sum, this.filter, this.least), this.empty, this.list);
    await this.refresh();
  },
  async refresh() {
    const answer = await ask('log', {cursor: this.cursor});
    this.empty.hidden = answer !== null;
    if (!answer) return;
    this.cursor = answer.cursor;
    if (!answer.lines.length && this.sum.textContent) return;
    for (const [file, text] of answer.lines) {
      const match = /^(\S+) (ERROR|WARNING|INFO|TRACE)\b *(.*)$/.exec(text.replace(/\r$/, ''));
      this.lines.push(match ? {file, time: match[1], severity: match[2], text: match[3]} : {file, time: '', severity: '', text});
    }
    this.lines.splice(0, Math.max(0, this.lines.length - MostLines));
    this.folder = answer.folder;
    this.show();
  },
  show() {
    const ranks = {TRACE: 0, INFO: 1, WARNING: 2, ERROR: 3};
    const least = ranks[this.least.value] ?? -1;
    const wanted = this.filter.value.toLowerCase();
    const shown = this.lines.filter((line) => (ranks[line.severity] ?? 0) >= least &&
      (wanted === '' || (line.file + line.text).toLowerCase().includes(wanted)));
    const isAtEnd = this.list.scrollTop + this.list.clientHeight >= this.list.scrollHeight - 40;
    this.sum.textContent = `${count(shown.length)} of ${count(this.lines.length)} lines from ${show(this.folder)}`;
    this.list.replaceChildren(...shown.slice(-MostShown).map((line) => make('div', {class: 'log-line ' + line.severity.toLowerCase(), title: show(line.file)},
      make('time', {}, line.time.replace(/^.*T|[+-]\d\d:\d\d$/g, '')), make('b', {}, line.severity), make('span', {}, show(line.text)))));
    if (isAtEnd) this.list.scrollTop = this.list.scrollHeight;
  },
});
})();
