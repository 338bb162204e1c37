/** The panel's addresses. Each can be shared and is an entry in the browser's history. */
export type Route =
  | { view: "home" }
  | { view: "browse"; path: string; title: string }
  | { view: "search"; text: string }
  | { view: "playing" }
  | { view: "queue" }
  | { view: "account" }
  | { view: "about" }
  | { view: "recent" }
  | { view: "missing" };

export function parseRoute(url: { pathname: string; search: string }): Route {
  const items = new URLSearchParams(url.search);
  switch (url.pathname) {
    case "/":
      return { view: "home" };
    case "/browse":
      return { view: "browse", path: items.get("path") ?? "", title: items.get("title") ?? "" };
    case "/search":
      return { view: "search", text: items.get("q") ?? "" };
    case "/playing":
    case "/queue":
    case "/account":
    case "/about":
    case "/recent":
      return { view: url.pathname.slice(1) as "playing" | "queue" | "account" | "about" | "recent" };
    default:
      return { view: "missing" };
  }
}

/** The title is for listeners who open the address elsewhere; fixed pages have their own titles. */
export function browseUrl(path: string, title = ""): string {
  const query = `path=${encodeURIComponent(path)}`;
  return `/browse?${query}${title ? `&title=${encodeURIComponent(title)}` : ""}`;
}

export function searchUrl(text: string): string {
  return text ? `/search?q=${encodeURIComponent(text)}` : "/search";
}
