#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "player/server/Translations.h"
#include "tests/unit/player/server_fixture.h"

#include <QDirIterator>
#include <QRegularExpression>
#include <QSet>
#include <QXmlStreamReader>
#include <QtTest>

#include <map>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

const QStringList folders{QStringLiteral(PELK_CATALOGUES), QStringLiteral(MODULE_CATALOGUES)};

QByteArray contents(const QString& name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s cannot be read", qPrintable(name));
    return file.readAll();
}

/// The contents of a .ts file: the source texts of each context.
std::map<QString, QSet<QString>> messages(const QString& catalogue)
{
    std::map<QString, QSet<QString>> found;
    QXmlStreamReader reader(contents(QStringLiteral(SOURCE_DIR "/translations/") + catalogue));
    QString context;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (reader.name() == QLatin1String("name"))
            context = reader.readElementText();
        else if (reader.name() == QLatin1String("source"))
            found[context].insert(reader.readElementText());
    }
    return found;
}

/// The string literals of the source files of a folder that a pattern finds in its first group; adjacent
/// literals are one.
QSet<QString> literals(const QString& folder, const QString& pattern)
{
    static const QRegularExpression piece(QStringLiteral("\"((?:[^\"\\\\]|\\\\.)*)\""));
    const QRegularExpression expression(pattern, QRegularExpression::DotMatchesEverythingOption);
    QSet<QString> found;
    QDirIterator files(QStringLiteral(SOURCE_DIR "/src/") + folder, {QStringLiteral("*.cpp")}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString source = QString::fromUtf8(contents(files.next()));
        for (auto it = expression.globalMatch(source); it.hasNext();) {
            QString whole;
            for (auto part = piece.globalMatch(it.next().captured(1)); part.hasNext();)
                whole += part.next().captured(1);
            found.insert(whole.replace(QLatin1String("\\\""), QLatin1String("\"")));
        }
    }
    return found;
}

const QString literal = QStringLiteral("((?:\"(?:[^\"\\\\]|\\\\.)*\"\\s*)+)");

/// The signatures of the module's functions as its binary has them, spelled as contexts are.
QSet<QString> signatures()
{
    static const QRegularExpression readable(
        QStringLiteral("(?:bool |void |virtual |auto )?Qobuz[\\x20-\\x7e]{8,400}"));
    const QByteArray binary = contents(QStringLiteral(PELK_MODULE_FILE));
    const QString all = QLatin1String(binary.constData(), binary.size());
    QSet<QString> found;
    for (auto it = readable.globalMatch(all); it.hasNext();)
        found.insert(QString::fromUtf8(trExtractContext(it.next().captured(0).toUtf8().constData())));
    return found;
}

QString completionContext(const QString& record)
{
    return QStringLiteral(
               "QobuzApi::get<%1>(const PelkUrl&, HttpClientOptions, std::function<void(%1&)>)::<lambda(int, "
               "int, const QByteArray&, const HttpClientHeaders&)> mutable")
        .arg(record);
}

} // namespace

/// The catalogues, and that each reader has its own language.
class ServerTranslationsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theBrowsersLanguageIsTheOneItPrefers_data()
    {
        QTest::addColumn<QString>("header");
        QTest::addColumn<QString>("code");
        const auto row = [](const char* header, const char* code) {
            QTest::newRow(header) << text(header) << text(code);
        };
        row("", "en");
        row("de", "de");
        row("de-AT", "de");
        row("DE-at", "de");
        row("fr-CH, fr;q=0.9, en;q=0.8, de;q=0.7, *;q=0.5", "fr");
        row("en-GB,en;q=0.9,de;q=0.8", "en");
        row("nl,de;q=0.5,fr;q=0.7", "fr");
        row("nl, es;q=0.4", "en");
        row("de;q=0, fr;q=0.1", "fr");
        row("de;q=0", "en");
        row("de;q=x", "en");
        row("fr;q=0.5, de;q=0.5", "fr");
        row("*", "en");
        row(";;;,,,;q=1", "en");
        row("de ; q=0.3 , fr ; q=0.4", "fr");
    }
    void theBrowsersLanguageIsTheOneItPrefers()
    {
        QFETCH(QString, header);
        QFETCH(QString, code);
        const Translations translations(folders);
        QCOMPARE(translations.codes(), (QStringList{text("de"), text("en"), text("fr")}));
        QCOMPARE(translations.accepted(header).code(), code);
    }

    void withoutCataloguesEverythingIsEnglish()
    {
        const Translations none({text("/nowhere")});
        QCOMPARE(none.codes(), QStringList{text("en")});
        QVERIFY(!none.find(text("de")));
        QCOMPARE(none.accepted(text("de")).text(TrString(TrCharData{"CMError", "Error"}, {})), text("Error"));
    }

    void invalidCataloguesAreIgnored()
    {
        const QTemporaryDir folder;
        for (const char* name : {"broken_de.qm", "empty_fr.qm"}) {
            QFile file(folder.filePath(text(name)));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(name[0] == 'b' ? "no catalogue" : "");
        }
        QCOMPARE(Translations({folder.path()}).codes(), QStringList{text("en")});
    }

    void eachRequestIsAnsweredInItsOwnLanguage_data()
    {
        QTest::addColumn<QByteArray>("query");
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QString>("detail");
        QTest::addColumn<QString>("code");
        const auto row = [](const char* name, const char* query, const char* header, const char* detail,
                            const char* code) {
            QTest::newRow(name) << QByteArray(query) << QByteArray(header) << text(detail) << text(code);
        };
        row("nothing said", "", "", "No service answers at \"none:x\".", "en");
        row("German", "", "de-DE", "Unter „none:x“ antwortet kein Dienst.", "de");
        row("French", "", "fr", "Aucun service ne répond à l’adresse «\u00a0none:x\u00a0».", "fr");
        row("asked for in the address", "&lang=fr", "de",
            "Aucun service ne répond à l’adresse «\u00a0none:x\u00a0».", "fr");
        row("one that there is not", "&lang=nl", "de", "Unter „none:x“ antwortet kein Dienst.", "de");
        row("English before others", "&lang=en", "de", "No service answers at \"none:x\".", "en");
    }
    void eachRequestIsAnsweredInItsOwnLanguage()
    {
        QFETCH(QByteArray, query);
        QFETCH(QByteArray, header);
        QFETCH(QString, detail);
        QFETCH(QString, code);
        ServerFixture f;
        f.options.translationFolders = folders;
        f.start();
        const PanelReply reply =
            f.client().get("/api/rows?path=none:x&from=0&to=1" + query, {{"Accept-Language", header}});
        QCOMPARE(reply.status, 502);
        QCOMPARE(reply.detail(), detail);
        QCOMPARE(reply.headers.value("content-language"), code.toLatin1());
    }

    void theProblemsOfTheServerAreTranslatedWithTheirArguments()
    {
        ServerFixture f;
        f.options.translationFolders = folders;
        f.start();
        const PanelReply reply = f.client().get("/api/rows?path=test:list&from=5&to=2&lang=de");
        QCOMPARE(reply.detail(), text("„to“ muss eine ganze Zahl von 5 bis 104 sein."));
        QCOMPARE(reply.json().value(text("title")).toString(), text("Ungültige Anfrage"));
    }

    void twoBrowsersReadTheSameNoticeInTheirLanguages()
    {
        ServerFixture f;
        f.options.translationFolders = folders;
        f.start();
        EventReader german(f.port, "?lang=de");
        EventReader french(f.port, QByteArray(), {{"Accept-Language", "fr-FR,fr;q=0.9"}});
        QTRY_VERIFY(german.events().size() >= 2 && french.events().size() >= 2);
        PelkNotificationDisplayItem item;
        const char* const context = "void QobuzWorker::handlePlayStateChange(const CMSetDataRequest&)";
        item.setTitle(TrString(TrCharData{context, "Track restriction"}, {}));
        item.setMessage(TrString(
            TrCharData{context, "The rights-holders have not made the streaming of this track possible"},
            {}));
        f.server->notify(item);
        QTRY_COMPARE(german.last(text("notification")).value(text("message")).toString(),
                     text("Die Rechteinhaber haben das Streaming dieses Titels nicht freigegeben"));
        QTRY_COMPARE(french.last(text("notification")).value(text("title")).toString(),
                     text("Titre indisponible"));
    }

    void anUnplayableTrackIsReportedInTheReadersLanguage()
    {
        ServerFixture f;
        f.options.translationFolders = folders;
        f.start();
        EventReader german(f.port, "?lang=de");
        QTRY_VERIFY(german.events().size() >= 2);
        const auto told = [&german](const char* message) {
            for (const EventReader::Event& event : german.events())
                if (event.name == text("notification") &&
                    event.data.value(text("message")).toString().startsWith(text(message)))
                    return true;
            return false;
        };
        // A list and a track without an answering service, a track without an address, and one without sound.
        QCOMPARE(f.client()
                     .post("/api/player/queue/add",
                           QJsonObject{{text("path"), text("none:list")}, {text("where"), text("end")}})
                     .status,
                 202);
        QTRY_VERIFY(told("Unter „none:list“ antwortet kein Dienst."));
        PelkMetaData metaData;
        metaData.setPrePlayPath(CMPath(text("none:x")));
        PelkMediaData mediaData;
        mediaData.setMetaData(metaData);
        PelkRoles row;
        row.setMediaData(mediaData);
        f.worker.script.uris = {{text("empty"), QString()},
                                {text("noise"), f.media.add(text("noise"), QByteArray(5000, 'x'))}};
        f.engine->queue().add(
            {row, ScriptedPlayWorker::row(text("empty")), ScriptedPlayWorker::row(text("noise"))},
            PlayQueue::Where::Replace);
        f.engine->play();
        QTRY_VERIFY(told("Unter „none:x“ antwortet kein Dienst."));
        QTRY_VERIFY(told("Für diesen Titel ist kein Stream verfügbar"));
        QTRY_VERIFY(told("Dieses Audioformat wird nicht unterstützt."));
    }

    void everyTextOfThePlayerIsInBothCatalogues_data() { languages(); }
    void everyTextOfThePlayerIsInBothCatalogues()
    {
        QFETCH(QString, code);
        QSet<QString> written;
        QSet<QString> known;
        for (const char* context :
             {"ContentClient", "PanelServer", "PlayEngine", "QueueLoader", "StreamPlayer", "TrackResolver"}) {
            for (const char* folder : {"player/server", "player/play", "player/cli", "player/content"})
                written += literals(text(folder), text("QT_TRANSLATE_NOOP\\(\\s*\"") + text(context) +
                                                      text("\",\\s*") + literal);
            known += messages(text("pelk_") + code + text(".ts"))[text(context)];
        }
        QVERIFY(written.size() > 40);
        QCOMPARE(QStringList((written - known).values()), QStringList());
        QCOMPARE(QStringList((known - written).values()), QStringList());
        // A text that is wrapped otherwise would escape the catalogues.
        QSet<QString> unmarked;
        for (const char* folder : {"player/server", "player/play"})
            unmarked += literals(
                text(folder), QStringLiteral("(?:serverText|engineText|playerText|wrong)\\(\\s*") + literal);
        QCOMPARE(QStringList(unmarked.values()), QStringList());
    }

    void everyTextOfTheContentModelIsInBothCatalogues_data() { languages(); }
    void everyTextOfTheContentModelIsInBothCatalogues()
    {
        QFETCH(QString, code);
        const auto known = messages(text("pelk_") + code + text(".ts"));
        QSet<QString> all;
        for (const auto& [context, sources] : known)
            if (context.startsWith(QLatin1String("CM")))
                all += sources;
        QSet<QString> written =
            literals(text("api/core/model"), QStringLiteral("TrCharData\\{\"\\w+\",\\s*") + literal) +
            literals(text("api/core/model"), QStringLiteral("errorAt\\(\\s*") + literal);
        written += literals(text("api/core/model"), QStringLiteral("found \\? ") + literal);
        written += literals(text("api/core/model"), QStringLiteral("kind of request\\.\" : ") + literal);
        QVERIFY(written.size() >= 11);
        QCOMPARE(QStringList((written - all).values()), QStringList());
        QCOMPARE(QStringList((all - written).values()), QStringList());
    }

    void everyTextOfTheModuleIsInBothCatalogues_data() { languages(); }
    void everyTextOfTheModuleIsInBothCatalogues()
    {
        QFETCH(QString, code);
        const auto known = messages(text("qobuz_") + code + text(".ts"));
        QSet<QString> all;
        for (const auto& [context, sources] : known)
            all += sources;
        QSet<QString> written;
        for (const char* pattern :
             {"TrCharData\\{[^;{}]*?,\\s*", "createList\\([^;]*?,\\s*", "accountError\\(\\s*"})
            written += literals(text("modules/qobuz"), text(pattern) + literal + text("\\s*[,})]"));
        QVERIFY(written.size() >= 20);
        QCOMPARE(QStringList((written - all).values()), QStringList());
        QCOMPARE(QStringList((all - written).values()), QStringList());
    }

    void theContextsAreThoseOfTheModulesFunctions_data() { languages(); }
    void theContextsAreThoseOfTheModulesFunctions()
    {
        QFETCH(QString, code);
        const auto known = messages(text("qobuz_") + code + text(".ts"));
        QSet<QString> possible = signatures() + QSet<QString>{text("Qobuz"), text("QobuzApi")};
        // Each kind of answer has its own contexts.
        const QRegularExpression failure(text("^bool QobuzApi::handleHttpError\\(.*\\[with T = (\\w+)\\]$"));
        int kinds = 0;
        const QSet<QString> functions = possible;
        for (const QString& function : functions) {
            const QRegularExpressionMatch match = failure.match(function);
            if (!match.hasMatch())
                continue;
            ++kinds;
            QVERIFY2(known.count(function) > 0, qPrintable(function));
            QVERIFY2(known.count(completionContext(match.captured(1))) > 0, qPrintable(function));
            possible.insert(completionContext(match.captured(1)));
        }
        QVERIFY(kinds > 10);
        for (const auto& [context, sources] : known)
            QVERIFY2(possible.contains(context), qPrintable(context));
    }

    void theCataloguesContainTheExpectedTranslations()
    {
        const Translations translations(folders);
        const auto in = [&](const char* code, const TrString& wanted) {
            return translations.find(text(code))->text(wanted);
        };
        const TrString search(TrCharData{"void QobuzWorker::createRootMenu()", "My Playlists"}, {});
        QCOMPARE(in("de", search), text("Meine Playlists"));
        QCOMPARE(in("fr", search), text("Mes playlists"));
        QCOMPARE(in("en", search), text("My Playlists"));
        const TrString form(TrCharData{"Qobuz", "Invalid value type for account operation.",
                                       "Account node - invalid input data format"},
                            {});
        QCOMPARE(in("de", form), text("Ungültiger Wert für die Kontoverwaltung."));
        // Place markers keep their positions.
        for (const char* code : {"de", "fr"})
            for (const char* catalogue : {"pelk_", "qobuz_"})
                for (const auto& [context, sources] : messages(text(catalogue) + text(code) + text(".ts")))
                    for (const QString& source : sources) {
                        const QString translated =
                            in(code, TrString(TrCharData{context.toUtf8(), source.toUtf8()}, {}));
                        for (const QString& marker : {text("%1"), text("%2")})
                            QCOMPARE(translated.count(marker), source.count(marker));
                        QCOMPARE(source.endsWith(QLatin1Char('.')), translated.endsWith(QLatin1Char('.')));
                    }
    }

private:
    static void languages()
    {
        QTest::addColumn<QString>("code");
        QTest::newRow("German") << text("de");
        QTest::newRow("French") << text("fr");
    }
};

QTEST_GUILESS_MAIN(ServerTranslationsTest)
#include "server_translations_test.moc"
