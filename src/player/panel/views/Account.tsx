import { Icon } from "../parts/Icon";
import { t } from "../state";
import { Devices } from "./Devices";
import { ServiceAccount } from "./ServiceAccount";
import { SoundQuality } from "./SoundQuality";
import { VolumeLimit } from "./VolumeLimit";

export function Account() {
  return (
    <div class="narrow settings">
      <h1 tabIndex={-1}>{t.account}</h1>
      <ServiceAccount />
      <SoundQuality />
      <VolumeLimit />
      <Devices />
      <a class="card about-link" href="/about">
        {t.about}
        <Icon name="right" size={20} />
      </a>
    </div>
  );
}
