// The panel beside the table: the details of one server, or how discovery fares.

import { Details } from './details.js';
import { byId, foreign } from './dom.js';
import { showStatus } from './status.js';

const STATUS = 'status';
const ROW = 'row:';

export class Panel {
  #store;
  #world;
  #details;
  #what = ''; // '', STATUS or ROW and the key of a row
  #row; // as it was shown last

  /**
   * `actions` are those of Details. `world`: isNarrow() says whether the panel covers the table, known() gives {canEdit,
   * peers, status}, opened(key) is told which row is open, undefined for none, closed(why, hadFocus, wasRow) that it was closed.
   */
  constructor(store, actions, world) {
    this.#store = store;
    this.#world = world;
    this.#details = new Details(byId('panel-body'), actions);
  }

  get isOpen() {
    return this.#what !== '';
  }

  get showsStatus() {
    return this.#what === STATUS;
  }

  /** The key of the row whose details are open. */
  get key() {
    return this.#what.startsWith(ROW) ? this.#what.slice(ROW.length) : undefined;
  }

  openStatus() {
    this.#open(STATUS, true);
  }

  openRow(key, takesFocus) {
    this.#open(ROW + key, takesFocus);
  }

  /** Shows what is known by now. */
  show() {
    const { canEdit, peers, status } = this.#world.known();
    const row = this.key === undefined ? undefined : this.#store.row(this.key);
    if (this.key !== undefined && !row && !this.#store.isLoading) return this.#followOrClose();
    byId('status-button').setAttribute('aria-expanded', this.showsStatus);
    byId('panel').hidden = !this.isOpen;
    // What it covers must not be reached.
    byId('listing').inert = this.isOpen && this.#world.isNarrow();
    this.#world.opened(this.key);
    if (this.showsStatus) showStatus(byId('panel-body'), status);
    this.#row = row;
    if (row) this.#details.show(row, canEdit, peers);
    this.#showTitle(row);
  }

  /** The times in it grow old. */
  refresh() {
    if (this.showsStatus) this.show();
    this.#details.refresh();
  }

  close(why = '') {
    const hadFocus = byId('panel').contains(document.activeElement);
    const wasRow = this.key !== undefined;
    this.#what = '';
    this.#details.clear();
    this.show();
    this.#world.closed(why, hadFocus, wasRow);
  }

  #open(what, takesFocus) {
    if (this.#what !== what) this.#details.clear();
    this.#what = what;
    this.show();
    if (takesFocus) byId('panel-title').focus();
  }

  #followOrClose() {
    const successor = this.#row && this.#store.successor(this.#row);
    if (!successor) return this.close('This server is no longer there');
    this.#what = ROW + successor.key;
    this.show();
  }

  #showTitle(row) {
    const text = this.showsStatus ? 'Discovery' : (row?.name ?? '');
    if (byId('panel-title').textContent !== text) byId('panel-title').replaceChildren(foreign(text));
  }
}
