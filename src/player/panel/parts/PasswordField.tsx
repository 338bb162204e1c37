import { useState } from "preact/hooks";
import { t } from "../state";
import { Icon } from "./Icon";

/** A password, hidden until its button shows it. */
export function PasswordField(props: {
  label: string;
  autocomplete: "current-password" | "new-password";
  value: string;
  onInput: (value: string) => void;
  minLength?: number;
}) {
  const [shown, setShown] = useState(false);
  return (
    <label>
      {props.label}
      <span class="with-button">
        <input
          type={shown ? "text" : "password"}
          name="password"
          autocomplete={props.autocomplete}
          required
          minLength={props.minLength}
          value={props.value}
          onInput={(event) => props.onInput(event.currentTarget.value)}
        />
        <button
          type="button"
          class="plain"
          aria-label={t.showPassword}
          aria-pressed={shown}
          onClick={() => setShown(!shown)}
        >
          <Icon name="eye" size={20} />
        </button>
      </span>
    </label>
  );
}
