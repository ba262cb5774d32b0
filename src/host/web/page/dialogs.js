// What is asked in between: to confirm, and for an address to search.

import { foreign, make, workButton } from './dom.js';
import { addressesOf } from './rows.js';
import { plain } from './text.js';

/** Shows a dialog until it is closed; the element that had the focus before gets it back from the browser. */
function open(dialog) {
  document.body.append(dialog);
  dialog.addEventListener('close', () => dialog.remove());
  dialog.showModal();
}

/** Resolves to whether the person agreed. `text` holds nodes or texts. */
export function confirm({ title, text, action }) {
  return new Promise((resolve) => {
    const dialog = make('dialog', { 'aria-labelledby': 'confirm-title', class: 'dialog' },
      make('h2', { id: 'confirm-title' }, title),
      make('p', {}, text),
      make('div', { class: 'buttons' },
        make('button', { type: 'button', class: 'danger', onclick: () => dialog.close('yes') }, action),
        make('button', { type: 'button', autofocus: true, onclick: () => dialog.close('') }, 'Cancel')));
    dialog.addEventListener('close', () => resolve(dialog.returnValue === 'yes'));
    open(dialog);
  });
}

function found(record, isListed, add) {
  const properties = record?.properties ?? {};
  const name = plain(properties.displayId) || '(no name)';
  return make('div', { class: 'found' },
    make('p', {}, make('strong', {}, foreign(name)), plain(properties.build) && [' · build ', foreign(plain(properties.build, 30))]),
    make('p', { class: 'hint' }, addressesOf(record).slice(0, 6).flatMap((address, at) => [at ? ', ' : '', foreign(plain(address, 60))])),
    isListed ? make('p', {}, properties.isPivot === true ? 'This is the server that shows this page.' : 'It is on the list already.') : workButton('Add to the list', { class: 'primary' }, () => add(properties.displayId, name)));
}

function notFound(address, reason) {
  return make('div', { class: 'problem' }, make('p', {}, 'No server was found at ', foreign(plain(address, 80)), '.'),
    make('p', {}, reason ? foreign(plain(reason, 600)) : 'Is the address right, does the server run, and may it be called from here?'));
}

/**
 * Asks for an address, searches there and offers to add what was found. `isListed(record)` says for whom that is in vain,
 * `tell(text)` is for who does not see it.
 */
export function searchDialog({ api, isListed, tell }) {
  let isOpen = true;
  const result = make('div', { class: 'result', role: 'status' });
  const input = make('input', { id: 'search-address', name: 'address', required: true, maxLength: 255, autocomplete: 'off',
    spellcheck: false, autocapitalize: 'none', autofocus: true, 'aria-describedby': 'search-hint' });
  const submit = make('button', { type: 'submit', class: 'primary' }, 'Search');

  const show = (...content) => isOpen && result.replaceChildren(...content);
  const fail = (failure) => show(make('p', { class: 'problem' }, foreign(plain(failure.message, 400))));

  const add = async (id, name) => {
    try {
      await api.add(id);
      tell(`${name} was added`);
      if (isOpen) dialog.close();
    } catch (failure) {
      fail(failure);
    }
  };

  const search = async () => {
    const address = input.value.trim();
    if (!address || form.getAttribute('aria-busy') === 'true') return;
    form.setAttribute('aria-busy', 'true');
    show(make('p', { class: 'working' }, 'Searching; this takes five seconds at most …'));
    try {
      const { record, reason } = await api.search(address);
      show(record ? found(record, isListed(record), add) : notFound(address, reason));
    } catch (failure) {
      fail(failure);
    } finally {
      form.removeAttribute('aria-busy');
    }
  };

  const form = make('form', { onsubmit: (event) => { event.preventDefault(); search(); } },
    make('div', { class: 'field' }, make('label', { htmlFor: 'search-address' }, 'IP address or host name'),
      make('div', { class: 'input-line' }, input, submit)),
    make('p', { id: 'search-hint', class: 'hint' }, 'It is called at the port where this server listens itself.'));
  const dialog = make('dialog', { 'aria-labelledby': 'search-title', class: 'dialog' },
    make('h2', { id: 'search-title' }, 'Search by address'), form, result,
    make('div', { class: 'buttons' }, make('button', { type: 'button', onclick: () => dialog.close() }, 'Close')));
  dialog.addEventListener('close', () => { isOpen = false; });
  open(dialog);
}
