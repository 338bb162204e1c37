import { useEffect, useState } from "preact/hooks";
import { access } from "../access";
import { isOfThisMachine } from "../model/address";
import { playerSettings, service } from "../service";
import { client, loginState, quality, t } from "../state";
import { QrCode } from "../parts/QrCode";
import { Devices } from "./Devices";
import { qualityTexts } from "./SoundQuality";

/** The player, its service, its address for other devices, and who uses it. */
export function About() {
  const name = useName();
  const facts: [string, string][] = [
    ...(name ? [[t.playerName, name] as [string, string]] : []),
    [t.version, __VERSION__],
    [t.service, `${service.name}${loginState.value === "loggedIn" ? "" : ` · ${t.loggedOut}`}`],
    ...(quality.value ? [[t.soundQuality, qualityTexts[quality.value].word] as [string, string]] : []),
  ];
  return (
    <div class="narrow settings">
      <h1 tabIndex={-1}>{t.about}</h1>
      <section class="card">
        <dl class="facts">
          {facts.map(([what, value]) => (
            <div key={what}>
              <dt>{what}</dt>
              <dd dir="auto">{value}</dd>
            </div>
          ))}
        </dl>
      </section>
      <Address />
      <Devices />
    </div>
  );
}

/** Where this page is, for other devices: as text and as a code for a phone's camera. */
function Address() {
  const local = isOfThisMachine(location.hostname);
  return (
    <section class="card address" aria-labelledby="address">
      <div>
        <h2 id="address">{t.address}</h2>
        <p class="address-text">{location.origin}</p>
        <p class="hint">{local ? t.addressLocal : t.addressHint}</p>
        {access.value?.fingerprint && (
          <p class="hint">
            {t.fingerprint} <code>{access.value.fingerprint}</code>
          </p>
        )}
      </div>
      {!local && <QrCode text={location.origin} label={t.qrCode(location.origin)} />}
    </section>
  );
}

/** The player's name in the network. */
function useName(): string {
  const [name, setName] = useState("");
  useEffect(() => {
    client.data(playerSettings.namePath, ["value"]).then(
      (data) => setName(playerSettings.text(data["value"])),
      () => undefined, // the page is complete without it
    );
  }, []);
  return name;
}
