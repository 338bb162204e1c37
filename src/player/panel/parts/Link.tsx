import type { ComponentChildren } from "preact";
import { setSteps, type Step } from "../router";

/** A link within the panel that may say which breadcrumbs the page behind it has. */
export function Link(props: {
  href: string;
  steps?: Step[] | undefined;
  class?: string;
  label?: string;
  current?: boolean;
  children: ComponentChildren;
}) {
  return (
    <a
      href={props.href}
      class={props.class}
      aria-label={props.label}
      aria-current={props.current ? "page" : undefined}
      ref={(link) => setSteps(link, props.steps)}
    >
      {props.children}
    </a>
  );
}
