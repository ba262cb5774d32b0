// The table: a grid of which only the visible rows are in the document, whatever their number.

import { foreign, make } from './dom.js';
import { ago } from './text.js';

const OVERSCAN = 6;
const AGO_MS = 30_000;

export const COLUMNS = [
  { id: 'name', title: 'Name' },
  { id: 'address', title: 'Addresses' },
  { id: 'build', title: 'Build' },
  { id: 'health', title: 'Health' },
  { id: 'sources', title: 'Found by' },
  { id: 'lastSeen', title: 'Last seen' },
];

function nameCell(row) {
  return [foreign(row.name, 'cell-name'), row.isOwn && make('span', { class: 'badge' }, 'this server')];
}

function addressCell(row) {
  const [first = '', second, ...more] = row.addresses;
  const others = second && make('span', { class: 'more' }, ', ', foreign(second), more.length > 0 && ` +${more.length}`);
  return [foreign(first), others];
}

function healthCell(row) {
  return make('span', { class: 'health', 'data-level': row.health.level }, foreign(row.health.text));
}

function sourcesCell(row) {
  return row.sources.map((source) => make('span', { class: 'chip' }, source));
}

function lastSeenCell(row) {
  return row.isOwn ? 'now' : ago(row.lastSeen, Date.now());
}

const FILLS = { name: nameCell, address: addressCell, build: (row) => foreign(row.build), health: healthCell,
  sources: sourcesCell, lastSeen: lastSeenCell };

export class Table {
  #root;
  #head;
  #scroller;
  #space;
  #probe;
  #buttons = new Map();
  #elements = new Map(); // rows in the document, by key
  #rows = [];
  #places = new Map(); // key -> index
  #active; // key of the row that has the focus, or would get it
  #opened;
  #rowHeight = 40;
  #isScheduled = false;
  #onOpen;

  /** `onOpen(key, byKeyboard)`, `onSort(column)`. */
  constructor(root, { onOpen, onSort }) {
    this.#root = root;
    this.#onOpen = onOpen;
    root.setAttribute('role', 'grid');
    root.setAttribute('aria-label', 'Servers');
    root.setAttribute('aria-colcount', COLUMNS.length);
    root.append(...this.#parts(onSort));
    this.#scroller.addEventListener('scroll', () => this.#schedule(), { passive: true });
    root.addEventListener('keydown', (event) => this.#keyDown(event));
    this.#space.addEventListener('click', (event) => this.#clicked(event));
    this.#space.addEventListener('focusin', (event) => this.#focused(event));
    const observer = new ResizeObserver(() => this.#measure());
    // The space gets narrower when a scrollbar comes.
    for (const element of [this.#scroller, this.#space, this.#probe]) observer.observe(element);
    setInterval(() => this.#refreshTimes(), AGO_MS);
    this.#measure();
  }

  /**
   * `isNewOrder` says that the person asked for another order or filter, and so wants to see its beginning. With
   * `keepsPlace` what is read stays where it is on the screen when rows come and go above it.
   */
  setRows(rows, { isNewOrder = false, keepsPlace = true } = {}) {
    const top = isNewOrder || !keepsPlace ? undefined : this.#topRow();
    const lostIndex = this.#places.get(this.#active);
    const hadFocus = this.#hasFocus();
    this.#rows = rows;
    this.#places = new Map(rows.map((row, index) => [row.key, index]));
    if (!this.#places.has(this.#active)) this.#active = rows[Math.min(lostIndex ?? 0, rows.length - 1)]?.key;
    this.#root.setAttribute('aria-rowcount', rows.length + 1);
    this.#layOut();
    if (isNewOrder) this.#scroller.scrollTop = 0;
    else this.#keepInPlace(top);
    this.#render();
    if (hadFocus && !this.#hasFocus()) this.focusActive();
  }

  setOrder(column, isDescending) {
    for (const [id, button] of this.#buttons) {
      const isThis = id === column;
      button.parentElement.setAttribute('aria-sort', isThis ? (isDescending ? 'descending' : 'ascending') : 'none');
    }
  }

  /** Marks the row whose details are open; undefined for none. */
  setOpened(key) {
    this.#opened = key;
    if (this.#places.has(key)) this.#active = key;
    this.#render();
  }

  focusActive() {
    const index = this.#places.get(this.#active);
    if (index === undefined) return false;
    this.#scrollTo(index);
    this.#render();
    this.#elements.get(this.#active)?.focus({ preventScroll: true });
    return true;
  }

  #parts(onSort) {
    this.#head = make('div', { role: 'row', class: 'grid-row grid-head', 'aria-rowindex': 1 }, COLUMNS.map((column, index) => {
      const button = make('button', { type: 'button', onclick: () => onSort(column.id) }, column.title);
      this.#buttons.set(column.id, button);
      return make('div', { role: 'columnheader', 'aria-colindex': index + 1, class: `cell col-${column.id}` }, button);
    }));
    this.#space = make('div', { role: 'none', class: 'grid-space' });
    this.#scroller = make('div', { role: 'rowgroup', class: 'grid-scroller', tabindex: -1 }, this.#space);
    this.#probe = make('div', { class: 'grid-probe', 'aria-hidden': 'true' });
    return [make('div', { role: 'rowgroup', class: 'grid-top' }, this.#head), this.#scroller, this.#probe];
  }

  // ---- where rows are

  /** The stylesheet decides how high a row is; it depends on the width and on the reader's size of text. */
  #measure() {
    const height = this.#probe.offsetHeight;
    if (height > 0 && height !== this.#rowHeight) {
      const top = this.#topRow();
      this.#rowHeight = height;
      this.#layOut();
      this.#keepInPlace(top);
    }
    // The columns' titles stand above them also where a scrollbar takes room.
    this.#head.parentElement.style.paddingRight = `${this.#scroller.offsetWidth - this.#scroller.clientWidth}px`;
    this.#schedule();
  }

  #layOut() {
    this.#space.style.height = `${this.#rows.length * this.#rowHeight}px`;
  }

  #topRow() {
    const top = this.#scroller.scrollTop;
    if (top < this.#rowHeight) return undefined;
    const index = Math.floor(top / this.#rowHeight);
    return { key: this.#rows[index]?.key, rest: top - index * this.#rowHeight };
  }

  #keepInPlace(top) {
    const index = this.#places.get(top?.key);
    if (index === undefined) return;
    this.#scroller.scrollTop = index * this.#rowHeight + top.rest;
  }

  #scrollTo(index) {
    const top = index * this.#rowHeight;
    const height = this.#scroller.clientHeight;
    if (top < this.#scroller.scrollTop) this.#scroller.scrollTop = top;
    else if (top + this.#rowHeight > this.#scroller.scrollTop + height) {
      this.#scroller.scrollTop = top + this.#rowHeight - height;
    }
  }

  // ---- rows in the document

  #schedule() {
    if (this.#isScheduled) return;
    this.#isScheduled = true;
    requestAnimationFrame(() => {
      this.#isScheduled = false;
      this.#render();
    });
  }

  #wanted() {
    const first = Math.max(0, Math.floor(this.#scroller.scrollTop / this.#rowHeight) - OVERSCAN);
    const visible = Math.ceil(this.#scroller.clientHeight / this.#rowHeight) + 2 * OVERSCAN;
    const wanted = new Set(this.#rows.slice(first, first + visible).map((row) => row.key));
    // It keeps the focus, wherever one scrolls, and is where Tab leads.
    if (this.#places.has(this.#active)) wanted.add(this.#active);
    return wanted;
  }

  #render() {
    const wanted = this.#wanted();
    const free = [];
    for (const [key, element] of this.#elements) {
      if (wanted.has(key)) continue;
      this.#elements.delete(key);
      free.push(element);
    }
    for (const key of wanted) {
      let element = this.#elements.get(key);
      if (!element) {
        element = free.pop() ?? this.#newElement();
        this.#elements.set(key, element);
      }
      this.#show(element, this.#places.get(key));
    }
    for (const element of free) element.remove();
    this.#keepDocumentOrder();
  }

  #newElement() {
    const cells = COLUMNS.map((column, index) =>
      make('div', { role: 'gridcell', 'aria-colindex': index + 1, class: `cell col-${column.id}` }));
    const element = make('div', { role: 'row', class: 'grid-row' }, cells);
    this.#space.append(element);
    return element;
  }

  #show(element, index) {
    const row = this.#rows[index];
    if (element.shown !== row) {
      element.shown = row;
      element.classList.toggle('is-own', row.isOwn);
      COLUMNS.forEach((column, place) => {
        element.children[place].replaceChildren(...[FILLS[column.id](row)].flat().filter(Boolean));
      });
    }
    element.style.transform = `translateY(${index * this.#rowHeight}px)`;
    element.place = index;
    element.tabIndex = row.key === this.#active ? 0 : -1;
    element.setAttribute('aria-rowindex', index + 2);
    element.setAttribute('aria-selected', row.key === this.#opened);
  }

  /** A screen reader goes by the order of the document. Moving an element would take its focus. */
  #keepDocumentOrder() {
    const elements = [...this.#elements.values()].sort((a, b) => a.place - b.place);
    const focused = elements.indexOf(document.activeElement);
    let before = elements[focused] ?? null;
    for (let at = focused - 1; at >= 0; at -= 1) {
      if (elements[at].nextSibling !== before) this.#space.insertBefore(elements[at], before);
      before = elements[at];
    }
    let after = elements[focused] ?? null;
    for (const element of elements.slice(focused + 1)) {
      const next = after ? after.nextSibling : this.#space.firstChild;
      if (next !== element) this.#space.insertBefore(element, next);
      after = element;
    }
  }

  #refreshTimes() {
    const place = COLUMNS.findIndex((column) => column.id === 'lastSeen');
    for (const element of this.#elements.values()) {
      const text = lastSeenCell(element.shown);
      if (element.children[place].textContent !== text) element.children[place].textContent = text;
    }
  }

  // ---- keyboard and mouse

  #hasFocus() {
    return this.#space.contains(document.activeElement);
  }

  #keyDown(event) {
    if (!this.#hasFocus() || event.altKey || event.metaKey) return;
    const index = this.#places.get(this.#active) ?? 0;
    const page = Math.max(1, Math.floor(this.#scroller.clientHeight / this.#rowHeight) - 1);
    const last = this.#rows.length - 1;
    const aims = { ArrowDown: index + 1, ArrowUp: index - 1, PageDown: index + page, PageUp: index - page, Home: 0, End: last };
    if (Object.hasOwn(aims, event.key)) {
      event.preventDefault();
      this.#active = this.#rows[Math.max(0, Math.min(last, aims[event.key]))]?.key;
      this.focusActive();
    } else if (event.key === 'Enter' || event.key === ' ') {
      event.preventDefault();
      this.#onOpen(this.#active, true);
    }
  }

  #clicked(event) {
    const element = event.target.closest('.grid-row');
    if (!element || String(getSelection()) !== '') return;
    this.#active = element.shown.key;
    this.focusActive();
    this.#onOpen(this.#active, false);
  }

  #focused(event) {
    const element = event.target.closest('.grid-row');
    if (!element || element.shown.key === this.#active) return;
    this.#active = element.shown.key;
    this.#render();
  }
}
