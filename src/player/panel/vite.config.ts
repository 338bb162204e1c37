import { fileURLToPath } from "node:url";
import { defineConfig } from "vite";

const player = process.env.PELK_PANEL ?? "http://127.0.0.1:8080";

export default defineConfig({
  root: fileURLToPath(new URL(".", import.meta.url)),
  esbuild: { jsx: "automatic", jsxImportSource: "preact" },
  build: {
    target: "es2022",
    emptyOutDir: true,
    // The page's policy allows no data: addresses for code and style, and a small file costs one request.
    assetsInlineLimit: 0,
    modulePreload: { polyfill: false },
  },
  // For work on the page alone: the player's own server answers the interface, which it gives to its own page only.
  server: { proxy: { "/api": { target: player, changeOrigin: true, headers: { origin: player } } } },
});
