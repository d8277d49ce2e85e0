// Where the files of the package and the fixtures are.
import { readFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

const web = join(dirname(fileURLToPath(import.meta.url)), '..');

export const webFile = (...path) => join(web, ...path);
export const fixture = (name) => readFileSync(webFile('test', 'fixtures', name));
