/// Makes an element, as in make('label', {className: 'field'}, 'Volume', input).
export function make(tag, properties = {}, ...children) {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children);
  return element;
}

export function fromTemplate(id) {
  return document.getElementById(id).content.cloneNode(true);
}

/// Runs something at most once for each picture that the screen shows, however often it is asked.
export function oncePerFrame(run) {
  let isDue = false;
  return () => {
    if (isDue) return;
    isDue = true;
    requestAnimationFrame(() => {
      isDue = false;
      run();
    });
  };
}

export function flash(element) {
  element.classList.remove('flash');
  void element.offsetWidth;  // Lets the animation begin again.
  element.classList.add('flash');
}
