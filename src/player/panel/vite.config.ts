import { createHash } from "node:crypto";
import { readFileSync, readdirSync } from "node:fs";
import { fileURLToPath } from "node:url";
import { defineConfig, type Plugin } from "vite";

const player = process.env.PELK_PANEL ?? "http://127.0.0.1:8080";
const folder = (name: string): URL => new URL(name, import.meta.url);
const project = readFileSync(folder("../../../CMakeLists.txt"), "utf8");

/** Writes the service worker with the names of all files of the page, and a version that changes with any of them. */
function worker(): Plugin {
  return {
    name: "worker",
    apply: "build",
    enforce: "post",
    generateBundle(_options, bundle) {
      const icons = readdirSync(folder("public/"));
      const built = Object.keys(bundle).filter((name) => name !== "index.html");
      const hash = createHash("sha256")
        .update(built.join())
        .update(readFileSync(folder("index.html")));
      for (const icon of icons) hash.update(readFileSync(folder(`public/${icon}`)));
      const files = [...built, ...icons].map((name) => JSON.stringify(`/${name}`));
      const source = readFileSync(folder("worker/sw.js"), "utf8")
        .replace("@version@", `panel-${hash.digest("hex").slice(0, 12)}`)
        .replace('"@files@"', files.join(", "));
      this.emitFile({ type: "asset", fileName: "sw.js", source });
    },
  };
}

type InfoOf = (id: string) => { importers: readonly string[]; isEntry: boolean } | null;

/** Whether a script is imported by the page's first script, directly or through others. */
function isNeededFirst(id: string, infoOf: InfoOf, seen = new Set<string>()): boolean {
  if (seen.has(id)) return false;
  seen.add(id);
  const info = infoOf(id);
  return !!info && (info.isEntry || info.importers.some((importer) => isNeededFirst(importer, infoOf, seen)));
}

export default defineConfig({
  root: fileURLToPath(folder(".")),
  plugins: [worker()],
  define: { __VERSION__: JSON.stringify(/project\(pelk VERSION ([\d.]+)/.exec(project)?.[1] ?? "") },
  esbuild: { jsx: "automatic", jsxImportSource: "preact" },
  build: {
    target: "es2022",
    emptyOutDir: true,
    // The page's policy allows no data: addresses for code and style, and a small file costs one request.
    assetsInlineLimit: 0,
    modulePreload: { polyfill: false },
    rollupOptions: {
      output: {
        // Whatever the first page needs is one script, however many later scripts share it.
        manualChunks: (id, { getModuleInfo }) => (isNeededFirst(id, getModuleInfo) ? "page" : undefined),
      },
    },
  },
  // For work on the page alone: the player's own server answers the interface, which it gives to its own page only.
  server: { proxy: { "/api": { target: player, changeOrigin: true, headers: { origin: player } } } },
});
