import { service } from "../service";
import { t } from "../state";
import { LoginForm } from "./ServiceAccount";

/** Shown instead of the music while nobody is logged in. */
export function Welcome() {
  return (
    <div class="welcome">
      <img class="welcome-mark" src="/icon.svg" alt="" width="72" height="72" />
      <h1 tabIndex={-1}>{t.welcome}</h1>
      <p>{t.welcomeHint(service.name)}</p>
      <section class="card" aria-label={service.name}>
        <LoginForm />
      </section>
    </div>
  );
}
