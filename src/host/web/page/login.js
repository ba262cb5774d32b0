// The door: logging in, and the first account.

import { byId, make } from './dom.js';
import { plain } from './text.js';

const MIN_PASSWORD = 12;

function field(id, label, properties, hint) {
  const input = make('input', { id, name: id, required: true, maxLength: 256, autocapitalize: 'none', spellcheck: false, ...properties });
  if (hint) input.setAttribute('aria-describedby', `${id}-hint`);
  return make('div', { class: 'field' }, make('label', { htmlFor: id }, label), input, hint && make('p', { id: `${id}-hint`, class: 'hint' }, hint));
}

function failureText(failure) {
  const wait = failure.status === 429 && failure.retryAfter > 0 ? ` Try again in ${failure.retryAfter} s.` : '';
  return plain(failure.message, 400).replace(/\.?$/, '.') + wait;
}

/** A form that sends its values; `check` gives a text when they must not go. */
function makeForm({ fields, action, check = () => '', send }) {
  const problem = make('p', { class: 'problem', role: 'alert' });
  const button = make('button', { type: 'submit', class: 'primary wide' }, action);
  const form = make('form', {}, fields, problem, button);
  const say = (text) => problem.replaceChildren(text);
  form.addEventListener('submit', async (event) => {
    event.preventDefault();
    if (form.getAttribute('aria-busy') === 'true') return;
    const values = Object.fromEntries(new FormData(form));
    const objection = check(values);
    if (objection) return say(objection);
    say('');
    form.setAttribute('aria-busy', 'true');
    try {
      await send(values);
    } catch (failure) {
      say(failureText(failure));
      const password = form.querySelector('input[type=password]');
      password.value = '';
      password.focus();
    } finally {
      form.removeAttribute('aria-busy');
    }
  });
  return form;
}

/** Where the accounts have gone meanwhile no password is right, and another form is due. */
async function needsSetup(api) {
  const { setup } = await api.session().catch(() => ({}));
  return setup === 'open' || setup === 'loopback';
}

function loginForm({ api, done, user, retry }) {
  return makeForm({
    fields: [field('user', 'User name', { autocomplete: 'username', value: user }), field('password', 'Password', { type: 'password', autocomplete: 'current-password' })],
    action: 'Log in',
    send: async ({ user: name, password }) => {
      try {
        return done(await api.logIn(name.trim(), password));
      } catch (failure) {
        if (failure.status === 401 && (await needsSetup(api))) return retry();
        throw failure;
      }
    },
  });
}

function setupForm({ api, done }) {
  return makeForm({
    fields: [
      field('user', 'User name', { autocomplete: 'username' }),
      field('password', 'Password', { type: 'password', autocomplete: 'new-password' }, `At least ${MIN_PASSWORD} characters. A few words that only you would put together are good.`),
      field('again', 'The same password again', { type: 'password', autocomplete: 'new-password' }),
    ],
    action: 'Create the account',
    check: ({ password, again }) => {
      if (Array.from(password).length < MIN_PASSWORD) return `The password is too short: it needs at least ${MIN_PASSWORD} characters.`;
      return password === again ? '' : 'The two passwords differ.';
    },
    send: async ({ user, password }) => done(await api.setUp(user.trim(), password)),
  });
}

function elsewhere(retry) {
  return [
    make('p', {}, 'This server has no account yet. The first one is made on the machine where it runs:'),
    make('ul', {}, make('li', {}, 'open this page there, by the address of its loopback (localhost), or'),
      make('li', {}, 'run ', make('code', {}, 'kvtctl user add NAME --role operator'), ' there.')),
    make('button', { type: 'button', class: 'wide', onclick: retry }, 'Look again'),
  ];
}

/**
 * Fills and shows the entry. `session` says what is due; `note` is a sentence before the form, `user` fills in the name.
 * `done(session)` is called once somebody is in, `retry()` to look again, `cancel()`, when there is one, to go back.
 */
export function showEntry({ api, session, note, user = '', done, retry, cancel }) {
  const kinds = {
    open: ['Welcome', 'Make the first account. It is an operator: it can search, add and remove.', () => setupForm({ api, done })],
    loopback: ['Not set up yet', '', () => elsewhere(retry)],
    done: ['Log in', '', () => loginForm({ api, done, user, retry })],
  };
  const [title, intro, body] = kinds[session.setup] ?? kinds.done;
  byId('entry-title').textContent = title;
  byId('entry-body').replaceChildren(...[
    note && make('p', { class: 'note', role: 'status' }, note), intro && make('p', { class: 'intro' }, intro), body(),
    cancel && make('button', { type: 'button', class: 'quiet wide', onclick: cancel }, 'Back'),
  ].flat().filter(Boolean));
  byId('entry').hidden = false;
  const empty = [...byId('entry-body').querySelectorAll('input')].find((input) => input.value === '');
  (empty ?? byId('entry-title')).focus();
}

export function hideEntry() {
  byId('entry').hidden = true;
  byId('entry-body').replaceChildren();
}

/** In place of everything, when not even the session could be asked for. */
export function showUnreachable(failure, retry) {
  byId('entry-title').textContent = 'No answer';
  byId('entry-body').replaceChildren(
    make('p', { class: 'problem', role: 'alert' }, failureText(failure)),
    make('button', { type: 'button', class: 'primary wide', onclick: retry }, 'Try again'));
  byId('entry').hidden = false;
}
