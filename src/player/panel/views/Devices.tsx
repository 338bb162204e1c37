import { useEffect, useState } from "preact/hooks";
import { access, checkAccess } from "../access";
import type { Session } from "../api/types";
import { PasswordField } from "../parts/PasswordField";
import { attempt, client, formats, notices, t } from "../state";

/** The devices that are logged in to the player. On the player's own machine, its password too. */
export function Devices() {
  const level = access.value?.level;
  const [sessions, setSessions] = useState<Session[]>([]);
  const load = (): void => void client.sessions().then(setSessions, () => setSessions([]));
  useEffect(() => {
    if (level === "control" || level === "local") load();
  }, [level]);
  if (level !== "control" && level !== "local") return null;
  return (
    <section class="card devices" aria-labelledby="devices">
      <h2 id="devices">{t.devices}</h2>
      {access.value?.readable && <p class="hint">{t.notEncrypted}</p>}
      {sessions.length === 0 && <p class="hint">{t.noDevices}</p>}
      <ul>
        {sessions.map((session) => (
          <Device key={session.session} session={session} onEnd={load} />
        ))}
      </ul>
      {level === "local" && <NewPassword onSet={load} />}
    </section>
  );
}

function Device({ session, onEnd }: { session: Session; onEnd: () => void }) {
  const name = session.device || t.unknownDevice;
  const end = async (): Promise<void> => {
    if (!(await attempt(session.current ? client.lock() : client.revoke(session.session)))) return;
    if (session.current) await checkAccess();
    else onEnd();
  };
  return (
    <li class="logged-in">
      <p>
        <strong>
          <bdi>{name}</bdi>
        </strong>
        <span>{session.current ? t.thisDevice : t.lastUsed(formats.moment(session.lastUseMs))}</span>
      </p>
      <button class="button" aria-label={t.logOutDevice(name)} onClick={() => void end()}>
        {t.logOut}
      </button>
    </li>
  );
}

function NewPassword({ onSet }: { onSet: () => void }) {
  const [password, setPassword] = useState("");
  const submit = async (event: Event): Promise<void> => {
    event.preventDefault();
    if (!(await attempt(client.setPassword(password)))) return;
    notices.add(t.passwordSaved);
    setPassword("");
    await checkAccess();
    onSet();
  };
  return (
    <form class="login" onSubmit={(event) => void submit(event)} aria-label={t.setPassword}>
      <p class="hint">{access.value?.passwordSet ? t.changePasswordHint : t.setPasswordHint}</p>
      <PasswordField
        label={t.newPassword}
        autocomplete="new-password"
        minLength={6}
        value={password}
        onInput={setPassword}
      />
      <button class="button">{t.setPassword}</button>
    </form>
  );
}
