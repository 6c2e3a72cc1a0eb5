// Bundles the page into a folder of static files.
// usage: node build.mjs FOLDER
import { build } from 'esbuild';
import { appendFile, cp, mkdir, readFile } from 'node:fs/promises';
import { fileURLToPath } from 'node:url';

const page = fileURLToPath(new URL('page', import.meta.url));
const folder = process.argv[2];
if (folder === undefined) {
  console.error('usage: node build.mjs FOLDER');
  process.exit(2);
}
await mkdir(folder, { recursive: true });
await build({
  entryPoints: [`${page}/src/main.js`],
  outfile: `${folder}/page.js`,
  bundle: true,
  format: 'iife',  // mosquitto gives files no type, without which browsers run no module.
  target: 'es2022',
  minify: true,
  legalComments: 'linked',
  logLevel: 'warning',
});
// It is no comment in the code that names the terms of the only package there.
await appendFile(`${folder}/page.js.LEGAL.txt`, await readFile(new URL('node_modules/mqtt/LICENSE.md', import.meta.url)));
for (const file of ['index.html', 'style.css']) await cp(`${page}/${file}`, `${folder}/${file}`);
