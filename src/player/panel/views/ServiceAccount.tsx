import { useEffect, useState } from "preact/hooks";
import { service } from "../service";
import { attempt, client, loginState, needsLogin, sentence, t } from "../state";
import { PasswordField } from "../parts/PasswordField";

/** The listener's account with the service: who is logged in, or the form to log in. */
export function ServiceAccount() {
  return (
    <section class="card" aria-label={service.name}>
      {needsLogin.value ? <LoginForm /> : <LoggedIn />}
    </section>
  );
}

function LoggedIn() {
  const [busy, setBusy] = useState(false);
  const [name, setName] = useState<string | undefined>(undefined);
  useEffect(() => {
    client.data(service.accountPath, ["value"]).then(
      (data) => setName(service.userName(data["value"])),
      () => setName(""), // the state says that somebody is logged in; who it is is not needed
    );
  }, [loginState.value]);
  return (
    <div class="logged-in" aria-busy={loginState.value === "unknown" || name === undefined}>
      <p role="status">
        <strong>{service.name}</strong>
        <span>
          {loginState.value === "unknown" ? t.loginUnknown : name ? t.loggedInAs(name) : t.loggedIn}
        </span>
      </p>
      <button
        class="button"
        disabled={busy || loginState.value === "unknown"}
        onClick={() => {
          setBusy(true);
          void attempt(client.setValue(service.accountPath, service.logoutValue())).then(() =>
            setBusy(false),
          );
        }}
      >
        {t.logOut}
      </button>
    </div>
  );
}

/** The account's form. Messages of the service are shown unchanged. */
export function LoginForm() {
  const [username, setUsername] = useState("");
  const [password, setPassword] = useState("");
  const [busy, setBusy] = useState(false);
  const [fault, setFault] = useState("");
  const waiting = busy || loginState.value === "inProgress";
  const submit = async (event: Event): Promise<void> => {
    event.preventDefault();
    setFault("");
    setBusy(true);
    try {
      await client.setValue(service.accountPath, service.loginValue(username, password));
    } catch (error) {
      setFault(sentence(error));
    }
    setBusy(false);
  };
  const states = {
    failed: t.loginFailed,
    inProgress: t.loggingIn,
    loggedIn: t.loggedIn,
    loggedOut: t.loggedOut,
    unknown: "",
  };
  return (
    <form class="login" onSubmit={(event) => void submit(event)} aria-label={t.logIn}>
      <p class="login-state" role="status">
        {busy ? t.loggingIn : states[loginState.value]}
      </p>
      {fault && (
        <p class="fault" role="alert">
          {fault}
        </p>
      )}
      <label>
        {t.userName}
        <input
          type="text"
          name="username"
          autocomplete="username"
          autocapitalize="none"
          spellcheck={false}
          required
          value={username}
          onInput={(event) => setUsername(event.currentTarget.value)}
        />
      </label>
      <PasswordField
        label={t.password}
        autocomplete="current-password"
        value={password}
        onInput={setPassword}
      />
      <button class="button primary" disabled={waiting}>
        {waiting ? t.loggingIn : t.logIn}
      </button>
    </form>
  );
}
