// The module as a file: what it shows to a loader and what it asks of one.

#include "tests/support/ownprocess.h"
#include "tests/support/rows.h"

#include <QFileInfo>
#include <QLibrary>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>
#include <log4cplus/logger.h>

#include <cstdio>

namespace {

const QString& moduleFile()
{
    static const QString file = QStringLiteral(PELK_MODULE_FILE);
    return file;
}

/// The output of a tool about the module; empty if it failed.
QStringList linesOf(const QString& tool, QStringList arguments)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LC_ALL"_s, "C"_s);
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
        QCOMPARE(QFileInfo(moduleFile()).fileName(), "libqobuz.so"_s);
    }

    void theEntryIsTheOnlyExportedSymbol()
    {
        const QStringList symbols = linesOf(QStringLiteral(PELK_NM), {"-D"_s, "--defined-only"_s});
        QCOMPARE(symbols.size(), 1);
        QVERIFY2(QRegularExpression("^[0-9a-f]+ T worker_create$"_s).match(symbols.at(0)).hasMatch(),
                 qPrintable(symbols.at(0)));
    }

    void itDependsOnlyOnTheSdk()
    {
        // By name without the version; the C library's parts vary with the machine.
        static const QSet<QString> allowed{"libpelk_api"_s,
                                           "libpelk_api_play"_s,
                                           "libpelk_http_client"_s,
                                           "libpelk_thrift_api"_s,
                                           "libQt5Core"_s,
                                           "liblog4cplus-2.0"_s,
                                           "libstdc++"_s,
                                           "libgcc_s"_s,
                                           "libc"_s,
                                           "libm"_s,
                                           "libpthread"_s,
                                           "ld-linux-x86-64"_s,
                                           "ld-linux-aarch64"_s};
        static const QSet<QString> required{"libpelk_api"_s,         "libpelk_api_play"_s,
                                            "libpelk_http_client"_s, "libpelk_thrift_api"_s,
                                            "libQt5Core"_s,          "liblog4cplus-2.0"_s};
        QSet<QString> needed;
        const QRegularExpression entry("\\(NEEDED\\).*\\[(.*?)\\.so[.0-9]*\\]"_s);
        const QStringList lines = linesOf(QStringLiteral(PELK_READELF), {"-d"_s});
        for (const QString& line : lines) {
            const QRegularExpressionMatch match = entry.match(line);
            if (match.hasMatch())
                needed.insert(match.captured(1));
        }
        QCOMPARE(needed - allowed, QSet<QString>());
        QCOMPARE(required - needed, QSet<QString>());
    }

    void theLoggerIsMadeWhenTheModuleIsLoaded()
    {
        const OwnProcess process = OwnProcess::play("load"_s);
        QVERIFY(!process.crashed);
        QCOMPARE(process.errors, QByteArray("before 0, after 1\n"));
    }

    void everyUsedSymbolIsDefined()
    {
        QLibrary library(moduleFile());
        library.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
        QVERIFY2(library.load(), qPrintable(library.errorString()));
        QVERIFY(library.resolve("worker_create"));
    }
};

namespace {

int play(const QString& /*name*/)
{
    const auto known = [] { return int(log4cplus::Logger::exists("Qobuz")); };
    const int before = known();
    QLibrary library(moduleFile());
    library.setLoadHints(QLibrary::PreventUnloadHint);
    if (!library.load())
        return 1;
    std::fprintf(stderr, "before %d, after %d\n", before, known());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    return OwnProcess::main<ModuleFileTest>(argc, argv, play);
}

#include "module_file_test.moc"
