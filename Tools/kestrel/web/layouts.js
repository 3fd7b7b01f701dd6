'use strict';
// Where the shapes of a picture go, and the canvas that shows many of them. Written by hand: what is
// used of such libraries is the hundred lines here.

(() => {
const {make} = Kestrel;

// A treemap: rectangles with areas in proportion to the values, as square as they get. Items are
// {value, ...}; each gets x, y, w, h.
Kestrel.squarify = (items, x, y, w, h) => {
  const ahead = items.filter((item) => item.value > 0).sort((a, b) => b.value - a.value);
  const done = [];
  let sum = ahead.reduce((all, item) => all + item.value, 0);
  const worst = (row, total, side, area) => {
    const length = total * area / side;
    return Math.max(...[row[0], row.at(-1)].map((item) => {
      const other = item.value * area / length;
      return Math.max(length / other, other / length);
    }));
  };
  while (ahead.length && w > 0 && h > 0) {
    const area = w * h / sum;
    const side = Math.min(w, h);
    const row = [ahead.shift()];
    let total = row[0].value;
    while (ahead.length) {
      const next = [...row, ahead[0]];
      if (worst(next, total + ahead[0].value, side, area) > worst(row, total, side, area)) break;
      total += ahead[0].value;
      row.push(ahead.shift());
    }
    const depth = total * area / side;
    let at = 0;
    for (const item of row) {
      const length = item.value / total * side;
      Object.assign(item, w >= h ? {x, y: y + at, w: depth, h: length} : {x: x + at, y, w: length, h: depth});
      at += length;
      done.push(item);
    }
    if (w >= h) { x += depth; w -= depth; } else { y += depth; h -= depth; }
    sum -= total;
  }
  return done;
};

// A tree of the nodes of a walk: {name, values, children, depth, size}; `measure` is a node's own share.
Kestrel.buildTree = (answer, rootName, measure) => {
  const root = {name: rootName, values: [], children: [], depth: 0, isFolder: true, own: 0};
  const all = answer.nodes.map(([parent, name, isFolder, ...values]) => ({name, isFolder, values, parent, children: []}));
  all.forEach((node) => {
    node.above = node.parent < 0 ? root : all[node.parent];
    node.depth = node.above.depth + 1;
    node.own = measure(node);
    node.above.children.push(node);
  });
  // The nearest come first, so that from the end on each is whole before it counts above.
  [root, ...all].forEach((node) => { node.size = node.own; });
  for (let i = all.length; i-- > 0;) all[i].above.size += all[i].size;
  root.all = all;
  return root;
};

// Colours of the style sheet by name, as a canvas wants them; read again when they change.
let colours = {};
Kestrel.colour = (name) => colours[name] ??= getComputedStyle(document.documentElement).getPropertyValue('--' + name).trim();
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
  colours = {};
  dispatchEvent(new Event('resize'));
});

// A canvas that knows where its shapes are: `draw(pen, width, height)` returns [{x, y, w, h, item}],
// over which the pointer is found. Keys go from item to item as they stand in that list.
Kestrel.makeCanvas = ({label, draw, describe, pick, wheel, drag}) => {
  const canvas = make('canvas', {tabindex: 0, role: 'img', ariaLabel: label});
  let shapes = [];
  let present = null;
  let from = null;
  const redraw = () => {
    const {clientWidth: width, clientHeight: height} = canvas;
    if (!width || !height) return;
    canvas.width = width * devicePixelRatio;
    canvas.height = height * devicePixelRatio;
    const pen = canvas.getContext('2d');
    pen.scale(devicePixelRatio, devicePixelRatio);
    pen.font = '12px system-ui, "DejaVu Sans", sans-serif';
    pen.textBaseline = 'middle';
    shapes = draw(pen, width, height);
    const marked = present && shapes.find((shape) => shape.item === present);
    if (!marked) return;
    pen.strokeStyle = Kestrel.colour('ink');
    pen.lineWidth = 2;
    pen.strokeRect(marked.x + 1, marked.y + 1, Math.max(marked.w - 2, 1), marked.h - 2);
  };
  const find = (event) => {
    const {left, top} = canvas.getBoundingClientRect();
    const [x, y] = [event.clientX - left, event.clientY - top];
    return shapes.findLast((shape) => x >= shape.x && x < shape.x + shape.w && y >= shape.y && y < shape.y + shape.h);
  };
  const mark = (item, at) => {
    if (present !== item) {
      present = item;
      redraw();
    }
    Kestrel.hint(at, item ? describe(item) : '');
  };
  canvas.addEventListener('pointermove', (event) => {
    if (from !== null && drag && event.buttons) {
      drag(event.clientX - from, canvas.clientWidth);
      from = event.clientX;
    }
    mark(find(event)?.item ?? null, event);
  });
  canvas.addEventListener('pointerdown', (event) => { from = event.clientX; });
  addEventListener('pointerup', () => { from = null; });
  for (const leave of ['pointerleave', 'blur']) canvas.addEventListener(leave, () => mark(null, null));
  canvas.addEventListener('click', (event) => {
    const shape = find(event);
    if (shape && pick) pick(shape.item);
  });
  if (wheel) canvas.addEventListener('wheel', (event) => {
    event.preventDefault();
    wheel(event.deltaY, find(event)?.item);
  }, {passive: false});
  canvas.addEventListener('keydown', (event) => {
    const step = {ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1}[event.key];
    if (step && shapes.length) {
      const index = shapes.findIndex((shape) => shape.item === present);
      mark(shapes[(index + step + shapes.length) % shapes.length].item, canvas);
    } else if (event.key === 'Enter' && present && pick) {
      pick(present);
    } else if (wheel && (event.key === '+' || event.key === '-')) {
      wheel(event.key === '+' ? -200 : 200, present);
    } else {
      return;
    }
    event.preventDefault();
  });
  canvas.find = (wanted) => shapes.find((shape) => wanted(shape.item));
  canvas.redraw = redraw;
  new ResizeObserver(redraw).observe(canvas);
  addEventListener('resize', redraw);
  return canvas;
};

// As much of a text as there is room for.
Kestrel.fit = (pen, text, width) => {
  text = Kestrel.show(text);
  if (pen.measureText(text).width <= width) return text;
  let [some, none] = [0, text.length];
  while (none - some > 1) {
    const middle = (some + none) >> 1;
    if (pen.measureText(text.slice(0, middle) + '…').width <= width) some = middle; else none = middle;
  }
  return some ? text.slice(0, some) + '…' : '';
};

// A tree as rows of boxes, the root on top, each as wide as what it holds; into one by a click.
Kestrel.makeIcicle = ({label, describe, text, onFocus}) => {
  const RowHeight = 28;
  let root = null;
  let focus = null;
  let isFound = null;
  const canvas = Kestrel.makeCanvas({
    label, describe,
    pick: (node) => canvas.focusOn(node === focus && node.above ? node.above : node),
    draw: (pen, width, height) => {
      const shapes = [];
      if (!focus) return shapes;
      const above = [];
      for (let node = focus.above; node; node = node.above) above.unshift(node);
      const levels = Math.floor(height / RowHeight);
      const put = (node, x, w, row) => {
        shapes.push({x, y: row * RowHeight, w, h: RowHeight, item: node});
        const dull = isFound && !isFound.has(node);
        pen.fillStyle = Kestrel.colour(node.hue ?? 'c7');
        pen.globalAlpha = dull ? 0.25 : row < Math.min(above.length, 4) ? 0.55 : 1;
        pen.fillRect(x, row * RowHeight, Math.max(w - 1, 0.5), RowHeight - 1);
        if (w > 24) {
          pen.globalAlpha = dull ? 0.6 : 1;
          pen.fillStyle = dull ? Kestrel.colour('ink') : Kestrel.colour('on-colour');
          pen.fillText(Kestrel.fit(pen, text(node), w - 12), x + 6, row * RowHeight + RowHeight / 2);
        }
        pen.globalAlpha = 1;
      };
      above.slice(-4).forEach((node, row) => put(node, 0, width, row));
      const fill = (node, x, w, row) => {
        put(node, x, w, row);
        if (row + 1 >= levels) return;
        const sum = node.children.reduce((all, child) => all + child.size, 0);
        const inside = w * (sum / (node.size || 1));
        let at = x;
        // What is too narrow for a pixel is drawn as one with its neighbours.
        for (const child of node.children) {
          const part = sum ? child.size / sum * inside : 0;
          if (part >= 1) fill(child, at, part, row + 1);
          at += part;
        }
      };
      fill(focus, 0, width, Math.min(above.length, 4));
      return shapes;
    },
  });
  canvas.setTree = (tree) => {
    // The place that was in sight stays, when it is still there.
    let next = tree;
    const names = [];
    for (let node = focus; node?.above; node = node.above) names.unshift(node.name);
    for (const name of names) next = next?.children.find((child) => child.name === name);
    root = tree;
    for (const node of [root, ...root.all]) {
      node.children.sort((a, b) => b.size - a.size);
      // By the first fork on the way there; what lies above it has the colour of the root.
      node.children.forEach((child, i) => {
        child.hue = node.hue ?? (node.children.length > 1 ? 'c' + (1 + i % 6) : null);
      });
    }
    canvas.focusOn(next ?? tree);
  };
  canvas.focusOn = (node) => {
    focus = node;
    onFocus?.(node);
    canvas.redraw();
  };
  // Those and what they are in stand out; null: all.
  canvas.setFound = (nodes) => {
    isFound = nodes && new Set();
    for (let node of nodes ?? []) for (; node; node = node.above) isFound.add(node);
    canvas.redraw();
  };
  return canvas;
};

// A list of facts beside a picture: the same in words, for those who do not see it.
Kestrel.makeFacts = (caption, heads) => {
  const body = make('tbody');
  const table = make('table', {class: 'facts'}, make('caption', {}, caption),
    make('thead', {}, make('tr', {}, ...heads.map((head) => make('th', {scope: 'col'}, head)))), body);
  table.setRows = (rows) => body.replaceChildren(...rows.map(({cells, pick}) => make('tr', {},
    ...cells.map((cell, i) => make('td', {class: i ? 'number' : null},
      pick && !i ? make('button', {type: 'button', onclick: pick}, Kestrel.show(cell)) : Kestrel.show(cell))))));
  return table;
};
})();
