// More steps than a slider can be aimed at.
const kMostSteps = 1000;

/// Puts what a "$ref" points to in its place.
export function resolve(schema, root) {
  if (schema.$ref === undefined) return schema;
  const path = schema.$ref.replace(/^#\//, '').split('/');
  return resolve(path.reduce((part, name) => part[name], root), root);
}

export function fieldsOf(schema) {
  return Object.entries(schema.properties ?? {});
}

export function labelOf(name, schema) {
  return schema.title ?? name;
}

export function isSwitch({ type, minimum, maximum }) {
  return type === 'boolean' || (type === 'integer' && minimum === 0 && maximum === 1);
}

export function isSlider({ type, minimum, maximum }) {
  return type === 'integer' && maximum - minimum <= kMostSteps;
}

/// Whether what a notification reports can be sent back as it is by this command.
export function hasFieldsOf(command, notification) {
  return fieldsOf(notification).every(([name, schema]) =>
    command.properties?.[name]?.type === schema.type &&
    command.properties[name].$ref === schema.$ref);
}

export function textOf(value, schema = {}) {
  const text = typeof value === 'object' ? JSON.stringify(value) : String(value);
  return schema.unit === undefined ? text : `${text} ${schema.unit}`;
}
