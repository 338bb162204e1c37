/**
 * Caches the page itself (document, scripts, styles, icons), so that it opens at once and while the player is away. Nothing of the
 * JSON interface is cached: the page gets the player's state from the player alone. The build writes this file with the names of the
 * page's files, so a new version of the panel is a new worker with a cache of its own.
 */
const version = "@version@";
const files = ["@files@"];
const page = "/";
/** After this long without a response, the cached document is shown. */
const patienceMs = 1000;

self.addEventListener("install", (event) => {
  const fill = async () => {
    const cache = await caches.open(version);
    await cache.addAll([page, ...files].map((file) => new Request(file, { cache: "no-cache" })));
    await self.skipWaiting();
  };
  event.waitUntil(fill());
});

self.addEventListener("activate", (event) => {
  const takeOver = async () => {
    for (const name of await caches.keys()) if (name !== version) await caches.delete(name);
    await self.clients.claim();
  };
  event.waitUntil(takeOver());
});

/** The player's document if it responds in time, otherwise the cached one. */
async function documentFor(request) {
  const cached = await caches.match(page);
  if (!cached) return fetch(request);
  const late = new Promise((resolve) => setTimeout(() => resolve(cached), patienceMs));
  return Promise.race([fetch(request).catch(() => cached), late]);
}

self.addEventListener("fetch", (event) => {
  const { request } = event;
  const { origin, pathname } = new URL(request.url);
  if (request.method !== "GET" || origin !== self.location.origin || pathname.startsWith("/api/")) return;
  if (request.mode === "navigate") event.respondWith(documentFor(request));
  else event.respondWith(caches.match(request).then((cached) => cached ?? fetch(request)));
});
