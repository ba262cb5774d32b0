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
