import { useState } from "preact/hooks";
import { access, checkAccess } from "../access";
import { PasswordField } from "../parts/PasswordField";
import { client, sentence, t } from "../state";

/** In place of everything, until this device has logged in to the player. */
export function PlayerLogin() {
  const [password, setPassword] = useState("");
  const [busy, setBusy] = useState(false);
  const [fault, setFault] = useState("");
  const submit = async (event: Event): Promise<void> => {
    event.preventDefault();
    setFault("");
    setBusy(true);
    try {
      await client.unlock(password);
      await checkAccess();
    } catch (error) {
      setFault(sentence(error));
    }
    setBusy(false);
  };
  return (
    <main class="welcome">
      <img class="welcome-mark" src="/icon.svg" alt="" width="72" height="72" />
      <h1>{t.playerPassword}</h1>
      <p>{t.playerPasswordHint}</p>
      <section class="card">
        <form class="login" onSubmit={(event) => void submit(event)} aria-label={t.playerPassword}>
          {fault && (
            <p class="fault" role="alert">
              {fault}
            </p>
          )}
          <PasswordField
            label={t.password}
            autocomplete="current-password"
            value={password}
            onInput={setPassword}
          />
          <button class="button primary" disabled={busy}>
            {busy ? t.loggingIn : t.logIn}
          </button>
        </form>
      </section>
      {access.value?.readable && <p class="hint">{t.notEncrypted}</p>}
    </main>
  );
}
