// Puts a compressed copy beside each file of a built panel, as gzip and as brotli, where that makes it smaller.
// Usage: node scripts/panel_compress.mjs FOLDER
import { readdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { brotliCompressSync, constants, gzipSync } from "node:zlib";

const folder = process.argv[2];
for (const entry of readdirSync(folder, { withFileTypes: true })) compress(folder, entry);

function compress(parent, entry) {
  const name = join(parent, entry.name);
  if (entry.isDirectory()) {
    for (const inner of readdirSync(name, { withFileTypes: true })) compress(name, inner);
    return;
  }
  if (!/\.(html|js|css|svg|json|webmanifest|txt)$/.test(entry.name)) return;
  const content = readFileSync(name);
  const packed = {
    ".br": brotliCompressSync(content, { params: { [constants.BROTLI_PARAM_SIZE_HINT]: content.length } }),
    ".gz": gzipSync(content, { level: 9 }),
  };
  for (const [suffix, bytes] of Object.entries(packed)) {
    if (bytes.length < content.length) writeFileSync(name + suffix, bytes);
    else rmSync(name + suffix, { force: true });
  }
}
