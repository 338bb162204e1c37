import { defineConfig } from "vitest/config";

export default defineConfig({
  // No name has to be known to the machine.
  server: { host: "127.0.0.1" },
  test: {
    include: ["tests/unit/player/panel/*.test.ts", "tests/e2e/panel/*.test.ts"],
    // The browser tests of one file share a player and go on from each other's state.
    sequence: { concurrent: false },
    watch: false,
    reporters: ["default"],
  },
});
