/** Whether a host name is one that only the machine itself can use. */
export function isOfThisMachine(host: string): boolean {
  return /^(localhost|.*\.localhost|127(\.\d+){3}|\[::1\])$/i.test(host);
}
