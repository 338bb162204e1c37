import { defineConfig } from "vitest/config";

export default defineConfig({
  // An address, so that no host name has to be resolved.
  server: { host: "127.0.0.1" },
  test: {
    include: ["tests/unit/player/panel/*.test.ts", "tests/e2e/panel/*.test.ts"],
    // The browser tests of one file share a player, and each continues from the state of the previous one.
    sequence: { concurrent: false },
    watch: false,
    reporters: ["default"],
  },
});
