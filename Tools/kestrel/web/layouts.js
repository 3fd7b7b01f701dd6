'use strict';
// The canvas that shows the many shapes of a picture, and the pictures of trees. D3 lays them out.

(() => {
const {make} = Kestrel;

// The nodes of a walk as a D3 tree, largest first; the data of each are {name, isFolder, values}. A node's
// `value` is its own share by `measure` and those of all below it, and `x0` to `x1` its part of the width.
Kestrel.buildTree = (answer, rootName, measure) => {
  const root = {name: rootName, isFolder: true, values: [], children: []};
  const all = answer.nodes.map(([, name, isFolder, ...values]) => ({name, isFolder, values, children: []}));
  answer.nodes.forEach(([parent], i) => (parent < 0 ? root : all[parent]).children.push(all[i]));
  const tree = d3.hierarchy(root).sum((one) => one === root ? 0 : measure(one)).sort((a, b) => b.value - a.value);
  return d3.partition()(tree);
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
  let hasMoved = false;
  const redraw = () => {
    const {clientWidth: width, clientHeight: height} = canvas;
    if (!width || !height) return;
    canvas.width = width * devicePixelRatio;
    canvas.height = height * devicePixelRatio;
    const pen = canvas.getContext('2d');
    pen.scale(devicePixelRatio, devicePixelRatio);
    pen.font = '12px system-ui, "DejaVu Sans", sans-serif';
    pen.textBaseline = 'middle';
    const before = shapes.find((shape) => shape.item === present);
    shapes = draw(pen, width, height);
    // Items are new after each reading: what is now in that place.
    const marked = before && (shapes.find((shape) => shape.item === present) ?? findAt(before.x + before.w / 2, before.y + before.h / 2));
    present = marked?.item ?? null;
    if (!marked) return;
    pen.strokeStyle = Kestrel.colour('ink');
    pen.lineWidth = 2;
    pen.strokeRect(marked.x + 1, marked.y + 1, Math.max(marked.w - 2, 1), marked.h - 2);
  };
  const findAt = (x, y) => shapes.findLast((shape) => x >= shape.x && x < shape.x + shape.w && y >= shape.y && y < shape.y + shape.h);
  const find = (event) => {
    const {left, top} = canvas.getBoundingClientRect();
    return findAt(event.clientX - left, event.clientY - top);
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
      hasMoved ||= event.clientX !== from;
      drag(event.clientX - from, canvas.clientWidth);
      from = event.clientX;
    }
    mark(find(event)?.item ?? null, event);
  });
  canvas.addEventListener('pointerdown', (event) => {
    from = event.clientX;
    hasMoved = false;
  });
  addEventListener('pointerup', () => { from = null; });
  for (const leave of ['pointerleave', 'blur']) canvas.addEventListener(leave, () => mark(null, null));
  canvas.addEventListener('click', (event) => {
    const shape = find(event);
    if (shape && pick && !hasMoved) pick(shape.item);
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
  let focus = null;
  let isFound = null;
  const canvas = Kestrel.makeCanvas({
    label, describe,
    pick: (node) => canvas.focusOn(node === focus && node.parent ? node.parent : node),
    draw: (pen, width, height) => {
      const shapes = [];
      if (!focus) return shapes;
      const above = focus.ancestors().slice(1, 5).reverse();
      const levels = Math.floor(height / RowHeight);
      const put = (node, x, w, row) => {
        shapes.push({x, y: row * RowHeight, w, h: RowHeight, item: node});
        const dull = isFound && !isFound.has(node);
        pen.fillStyle = Kestrel.colour(node.hue ?? 'c7');
        pen.globalAlpha = dull ? 0.25 : row < above.length ? 0.55 : 1;
        pen.fillRect(x, row * RowHeight, Math.max(w - 1, 0.5), RowHeight - 1);
        if (w > 24) {
          pen.globalAlpha = dull ? 0.6 : 1;
          pen.fillStyle = dull ? Kestrel.colour('ink') : Kestrel.colour('on-colour');
          pen.fillText(Kestrel.fit(pen, text(node.data), w - 12), x + 6, row * RowHeight + RowHeight / 2);
        }
        pen.globalAlpha = 1;
      };
      above.forEach((node, row) => put(node, 0, width, row));
      const scale = width / (focus.x1 - focus.x0);
      const fill = (node, row) => {
        put(node, (node.x0 - focus.x0) * scale, (node.x1 - node.x0) * scale, row);
        if (row + 1 >= levels) return;
        for (const child of node.children ?? []) {
          if ((child.x1 - child.x0) * scale < 1) break; // as are all behind it
          fill(child, row + 1);
        }
      };
      fill(focus, above.length);
      return shapes;
    },
  });
  canvas.setTree = (tree) => {
    // The place that was in sight stays, or the nearest above it that is still there.
    let next = tree;
    for (const {data} of focus?.ancestors().reverse().slice(1) ?? []) {
      const child = next.children?.find((one) => text(one.data) === text(data));
      if (!child) break;
      next = child;
    }
    // By the first fork on the way there; what lies above it has the colour of the root.
    tree.eachBefore((node) => node.children?.forEach((child, i) => {
      child.hue = node.hue ?? (node.children.length > 1 ? 'c' + (1 + i % 6) : null);
    }));
    canvas.focusOn(next);
  };
  canvas.focusOn = (node) => {
    focus = node;
    onFocus?.(node);
    canvas.redraw();
  };
  // Those and what they are in stand out; null: all.
  canvas.setFound = (nodes) => {
    isFound = nodes && new Set();
    for (let node of nodes ?? []) for (; node && !isFound.has(node); node = node.parent) isFound.add(node);
    canvas.redraw();
  };
  return canvas;
};

// A list of facts beside a picture: the same in words, for those who do not see it.
Kestrel.makeFacts = (caption, heads) => {
  const body = make('tbody');
  const table = make('table', {class: 'facts'}, make('caption', {}, caption),
    make('thead', {}, make('tr', {}, ...heads.map((head) => make('th', {scope: 'col'}, head)))), body);
  table.setRows = (rows) => Kestrel.replace(body, rows.map(({cells, pick}) => make('tr', {},
    ...cells.map((cell, i) => make('td', {class: i ? 'number' : null},
      pick && !i ? make('button', {type: 'button', onclick: pick}, Kestrel.show(cell)) : Kestrel.show(cell))))));
  return table;
};
})();
