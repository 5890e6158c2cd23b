const by_id = (id) => document.getElementById(id);

// What comes from a status goes into the document as text, never as markup.
function make(tag, properties = {}, ...children) {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children);
  return element;
}

// A poll that brings nothing new touches nothing.
function set_text(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

function set_title(element, text) {
  if (element.title !== text) element.title = text;
}

function set_class(element, names) {
  if (element.className !== names) element.className = names;
}

function set_dot(dot, on, warn) {
  set_class(dot, `dot ${on ? 'on' : warn ? 'warn' : 'off'}`);
}

// Feedback below a dialog; the kind is "good", "warntext", "danger" or nothing.
function show_message(place, text, kind = '') {
  set_class(place, `message ${kind}`.trim());
  set_text(place, text);
}

function make_option(value, text, selected) {
  return make('option', { value, textContent: text, selected });
}

// The tooltip of a control holds for its words as well.
function share_tooltips(area) {
  for (const control of area.querySelectorAll('[title]')) {
    for (const label of control.labels ?? []) label.title = control.title;
  }
}

const pause = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
