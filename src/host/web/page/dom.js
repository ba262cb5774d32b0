// Elements made by script. Nothing here, nor anywhere in the page, reads text as HTML: text becomes text nodes only.

/** An element with properties ("class", "aria-…", "data-…" and "role" are attributes, "on…" a listener) and children. */
export function make(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (name in element && !name.includes('-')) element[name] = value;
    else element.setAttribute(name === 'class' ? 'class' : name, value === true ? '' : String(value));
  }
  element.append(...children.flat(Infinity).filter((child) => child !== undefined && child !== null && child !== false));
  return element;
}

/** The element of the document that has this id. */
export function byId(id) {
  return document.getElementById(id);
}

/** Text of a peer: set apart, so that its direction of writing does not reach what stands beside it. */
export function foreign(text, className) {
  return make('bdi', { class: className }, text);
}

/** A button that cannot be pressed again before the work that it begins has ended. */
export function workButton(text, properties, work) {
  const button = make('button', { type: 'button', ...properties }, text);
  button.addEventListener('click', async () => {
    if (button.getAttribute('aria-disabled') === 'true') return;
    button.setAttribute('aria-disabled', 'true');
    try {
      await work();
    } finally {
      button.removeAttribute('aria-disabled');
    }
  });
  return button;
}

/**
 * Makes the children of an element those that are given, and leaves alone what says the same already: the focus, a
 * selection, what is folded and how far it is scrolled stay. Whatever can have the focus needs a `data-focus` of its own
 * that holds all that it depends on: of two that have the same one, the old one stays as it is.
 */
export function refresh(element, ...children) {
  const focused = element.contains(document.activeElement) ? document.activeElement : undefined;
  refreshChildren(element, make('div', {}, children));
  if (!focused || focused.isConnected) return;
  const moved = focused.dataset.focus && element.querySelector(`[data-focus="${CSS.escape(focused.dataset.focus)}"]`);
  (moved || element.closest('[tabindex]'))?.focus({ preventScroll: true });
}

function refreshChildren(element, next) {
  const before = [...element.childNodes];
  const after = [...next.childNodes];
  after.forEach((node, at) => (at < before.length ? refreshNode(before[at], node) : element.append(node)));
  for (const node of before.slice(after.length)) node.remove();
}

function refreshNode(node, next) {
  if (node.nodeName !== next.nodeName || node.dataset?.focus !== next.dataset?.focus) return node.replaceWith(next);
  if (node.nodeType === Node.TEXT_NODE) {
    if (node.data !== next.data) node.data = next.data;
  } else if (!node.dataset.focus) {
    refreshAttributes(node, next);
    refreshChildren(node, next);
  }
}

/** Whether something is folded is for the reader to say. */
function refreshAttributes(element, next) {
  const isOurs = ({ name }) => name !== 'open';
  for (const { name, value } of [...next.attributes].filter(isOurs)) {
    if (element.getAttribute(name) !== value) element.setAttribute(name, value);
  }
  for (const { name } of [...element.attributes].filter(isOurs)) if (!next.hasAttribute(name)) element.removeAttribute(name);
}
