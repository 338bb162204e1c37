import { useEffect, useState } from "preact/hooks";
import { qualities, service, type Quality } from "../service";
import { attempt, client, loginState, needsLogin, quality, sentence, t } from "../state";
import { PasswordField } from "../parts/PasswordField";
import { Devices } from "./Devices";

const qualityTexts: Record<Quality, { word: string; detail: string }> = {
  mp3: { word: t.qualityMp3, detail: t.qualityMp3Detail },
  cd: { word: t.qualityCd, detail: t.qualityCdDetail },
  hires96: { word: t.qualityHires96, detail: t.qualityHires96Detail },
  hires192: { word: t.qualityHires192, detail: t.qualityHires192Detail },
};

export function Account() {
  return (
    <div class="narrow">
      <h1 tabIndex={-1}>{t.account}</h1>
      <section class="card" aria-label={service.name}>
        {needsLogin.value ? <LoginForm /> : <LoggedIn />}
      </section>
      <SoundQuality />
      <Devices />
    </div>
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

function SoundQuality() {
  const [wanted, setWanted] = useState<Quality | undefined>(undefined);
  const chosen = wanted ?? quality.value;
  // The listener's choice is shown until the player reports it or a newer one.
  useEffect(() => setWanted(undefined), [quality.value]);
  const choose = async (choice: Quality): Promise<void> => {
    setWanted(choice);
    if (!(await attempt(client.setValue(service.qualityPath, service.qualityValue(choice)))))
      setWanted(undefined);
  };
  return (
    <fieldset class="card qualities">
      <legend>{t.soundQuality}</legend>
      <p class="hint">{t.soundQualityHint}</p>
      {qualities.map((each) => (
        <label key={each} class="quality">
          <input
            type="radio"
            name="quality"
            value={each}
            checked={each === chosen}
            onChange={() => void choose(each)}
          />
          <span>
            <strong>{qualityTexts[each].word}</strong>
            <span>{qualityTexts[each].detail}</span>
          </span>
        </label>
      ))}
    </fieldset>
  );
}
