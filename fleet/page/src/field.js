import { make } from './dom.js';
import { fieldsOf, isSlider, isSwitch, labelOf, resolve, textOf } from './schema.js';

/// The input of one field, made from its JSON Schema: {element, get(), set(value)}. Names of fields
/// are what commands and notifications use, titles what people read.
export function makeField(name, schema, root) {
  const whole = resolve(schema, root);
  if (isSwitch(whole)) return makeSwitch(name, whole);
  if (isSlider(whole)) return makeSlider(name, whole);
  if (whole.type === 'integer') return makeNumber(name, whole);
  if (whole.type === 'array') return makeArray(name, whole, root);
  if (whole.type === 'object') return makeRecord(name, whole, root);
  return makeText(name, whole);
}

/// All fields of a record, one after the other: {elements, get(), set(values)}.
export function makeFields(schema, root) {
  const parts = fieldsOf(schema).map(([name, part]) => [name, makeField(name, part, root)]);
  return {
    elements: parts.map(([, field]) => field.element),
    get: () => Object.fromEntries(parts.map(([name, field]) => [name, field.get()])),
    set(values) {
      for (const [name, field] of parts) {
        if (values[name] !== undefined) field.set(values[name]);
      }
    },
  };
}

function makeSwitch(name, schema) {
  const input = make('input', { type: 'checkbox', name });
  return {
    element: make('label', { className: 'field switch' }, input, labelOf(name, schema)),
    get: () => (schema.type === 'boolean' ? input.checked : Number(input.checked)),
    set(value) {
      input.checked = Boolean(value);
    },
  };
}

function makeSlider(name, schema) {
  const { minimum, maximum } = schema;
  const input = make('input', { type: 'range', name, min: minimum, max: maximum, step: 1 });
  const output = make('output');
  const show = () => {
    const text = textOf(input.value, schema);
    output.value = text;
    input.setAttribute('aria-valuetext', text);
  };
  input.value = Math.max(minimum, 0);
  input.addEventListener('input', show);
  show();
  return {
    element: make('label', { className: 'field slider' },
      make('span', {}, labelOf(name, schema)), input, output),
    get: () => input.valueAsNumber,
    set(value) {
      input.value = value;
      show();
    },
  };
}

function makeInput(name, schema, properties, fromText) {
  const input = make('input', { name, autocomplete: 'off', ...properties });
  const unit = schema.unit === undefined ? [] : [make('span', {}, schema.unit)];
  return {
    element: make('label', { className: 'field' },
      make('span', {}, labelOf(name, schema)), input, ...unit),
    get: () => fromText(input.value),
    set(value) {
      input.value = value;
    },
  };
}

function makeNumber(name, schema) {
  const { minimum, maximum } = schema;
  return makeInput(name, schema,
    { type: 'number', min: minimum, max: maximum, step: 1, value: 0, required: true }, Number);
}

function makeText(name, schema) {
  return makeInput(name, schema, { type: 'text' }, String);
}

function makeArray(name, schema, root) {
  const items = Array.from({ length: schema.maxItems },
    (_, index) => makeField(`${name}[${index}]`, schema.items, root));
  return {
    element: makeGroup(name, schema, items.map(({ element }) => element)),
    get: () => items.map((item) => item.get()),
    set(values) {
      values.forEach((value, index) => items[index]?.set(value));
    },
  };
}

function makeRecord(name, schema, root) {
  const fields = makeFields(schema, root);
  return { ...fields, element: makeGroup(name, schema, fields.elements) };
}

function makeGroup(name, schema, elements) {
  const summary = make('summary', {}, labelOf(name, schema));
  return make('details', { className: 'group' }, summary,
    make('div', { className: 'fields' }, ...elements));
}
