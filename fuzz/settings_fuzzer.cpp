// A settings file. Whatever it contains, it loads, or a sentence without secrets says what is wrong; loaded
// settings can be changed, saved and loaded again.

#include "api/types/playerpaths.h"
#include "api/types/qobuzpaths.h"
#include "fuzz/scratchfile.h"
#include "player/host/ServiceSettings.h"

namespace {

const char secret[] = "s3cret-marker";

void isOneSentence(const QString& error, const QString& fileName)
{
    require(error.contains(fileName), "A refusal names the file.", error);
    require(error.endsWith(QLatin1Char('.')), "A refusal is a sentence.", error);
    require(!error.contains(QLatin1String(secret)), "A refusal holds no secret.", error);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const Input input(data, size);
    if (input.rest().contains(secret))
        return 0; // elsewhere it would be no secret
    // The value of this key is secret, wherever it occurs in the input.
    QByteArray text = '\n' + input.rest();
    text.replace("\nappSecret=@SECRET@", QByteArray("\nappSecret=") + secret);
    const ScratchFile file("settings.ini", text);
    QString error;
    ServiceSettings settings(file.name());
    if (!settings.load(&error)) {
        isOneSentence(error, file.name());
        return 0;
    }
    const PelkQobuzSettings values = settings.read(PelkQobuzSettingsPath()).qobuzSettings();
    require(!values.apiUrl().isEmpty() && !values.appId().isEmpty() && !values.appSecret().isEmpty(),
            "Settings that load are complete.");
    const QString member = settings.read(PelkSystemMemberIdPath()).string_();
    require(!member.isEmpty(), "The device has an identifier.");
    require(file.isPrivate() || file.text() == text, "What the player writes is its owner's alone.");

    PelkQobuzSettings changed = values;
    changed.setAppSecret(QStringLiteral("another secret"));
    PelkValue value;
    value.setQobuzSettings(changed);
    require(settings.write(PelkQobuzSettingsPath(), value, &error), "Settings can be saved.", error);
    require(file.isPrivate(), "What the player writes is its owner's alone.");
    ServiceSettings again(file.name());
    require(again.load(&error), "What was saved loads.", error);
    require(again.read(PelkQobuzSettingsPath()).qobuzSettings() == changed,
            "It has the values that were saved.");
    require(again.read(PelkSystemMemberIdPath()).string_() == member, "The identifier stays.");
    require(again.read(PelkQobuzSoundQualityPath()) == settings.read(PelkQobuzSoundQualityPath()),
            "So does what was not changed.");
    return 0;
}
