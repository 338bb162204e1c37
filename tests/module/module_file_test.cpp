// The module as a file: what it shows to a loader and what it asks of one.

#include <QFileInfo>
#include <QLibrary>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

namespace {

const QString& moduleFile()
{
    static const QString file = QStringLiteral(PELK_MODULE_FILE);
    return file;
}

/// What a tool prints about the module; empty where it failed.
QStringList linesOf(const QString& tool, QStringList arguments)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    process.setProcessEnvironment(environment);
    process.start(tool, arguments << moduleFile());
    if (!process.waitForFinished(20000) || process.exitCode() != 0)
        return {};
    return QString::fromLocal8Bit(process.readAllStandardOutput())
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

class ModuleFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itsNameIsTheOneThatThePlayerLooksFor()
    {
        QCOMPARE(QFileInfo(moduleFile()).fileName(), QStringLiteral("libqobuz.so"));
    }

    void theEntryIsAllThatItShows()
    {
        const QStringList symbols =
            linesOf(QStringLiteral(PELK_NM), {QStringLiteral("-D"), QStringLiteral("--defined-only")});
        QCOMPARE(symbols.size(), 1);
        QVERIFY2(
            QRegularExpression(QStringLiteral("^[0-9a-f]+ T worker_create$")).match(symbols.at(0)).hasMatch(),
            qPrintable(symbols.at(0)));
    }

    void itAsksForTheSdkAndNothingElse()
    {
        // By name without the version; the C library's parts vary with the machine.
        static const QSet<QString> allowed{QStringLiteral("libpelk_api"),
                                           QStringLiteral("libpelk_api_play"),
                                           QStringLiteral("libpelk_http_client"),
                                           QStringLiteral("libpelk_thrift_api"),
                                           QStringLiteral("libQt5Core"),
                                           QStringLiteral("liblog4cplus-2.0"),
                                           QStringLiteral("libstdc++"),
                                           QStringLiteral("libgcc_s"),
                                           QStringLiteral("libc"),
                                           QStringLiteral("libm"),
                                           QStringLiteral("libpthread"),
                                           QStringLiteral("ld-linux-x86-64"),
                                           QStringLiteral("ld-linux-aarch64")};
        static const QSet<QString> required{
            QStringLiteral("libpelk_api"),         QStringLiteral("libpelk_api_play"),
            QStringLiteral("libpelk_http_client"), QStringLiteral("libpelk_thrift_api"),
            QStringLiteral("libQt5Core"),          QStringLiteral("liblog4cplus-2.0")};
        QSet<QString> needed;
        const QRegularExpression entry(QStringLiteral("\\(NEEDED\\).*\\[(.*?)\\.so[.0-9]*\\]"));
        const QStringList lines = linesOf(QStringLiteral(PELK_READELF), {QStringLiteral("-d")});
        for (const QString& line : lines) {
            const QRegularExpressionMatch match = entry.match(line);
            if (match.hasMatch())
                needed.insert(match.captured(1));
        }
        QCOMPARE(needed - allowed, QSet<QString>());
        QCOMPARE(required - needed, QSet<QString>());
    }

    void everySymbolThatItUsesIsThere()
    {
        QLibrary library(moduleFile());
        library.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
        QVERIFY2(library.load(), qPrintable(library.errorString()));
        QVERIFY(library.resolve("worker_create"));
    }
};

QTEST_GUILESS_MAIN(ModuleFileTest)
#include "module_file_test.moc"
