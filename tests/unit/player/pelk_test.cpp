#include "tests/support/builtprogram.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

/// The program, as a shell sees it.
class PelkTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;

    struct Result
    {
        int code = -1;
        QString out;
        QString error;
    };

    Result run(const QStringList& arguments)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home.path());
        environment.insert(QStringLiteral("XDG_STATE_HOME"), m_home.path());
        environment.remove(QStringLiteral("COLUMNS"));
        process.setProcessEnvironment(environment);
        process.setStandardInputFile(QProcess::nullDevice());
        startBuiltProgram(process, QStringLiteral(PELK_PROGRAM), arguments);
        if (!process.waitForFinished(60000))
            return {};
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2,
                QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    static QStringList withModules(const QStringList& arguments)
    {
        return QStringList{QStringLiteral("--modules"), QStringLiteral(TEST_MODULES "/good")} + arguments;
    }

    void writeSettings()
    {
        QVERIFY(QDir(m_home.path()).mkpath(QStringLiteral("pelk")));
        QFile file(m_home.filePath(QStringLiteral("pelk/pelk.ini")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[qobuz]\napiUrl=http://127.0.0.1:9/\nappId=1\nappSecret=2\n");
    }

private Q_SLOTS:
    void init()
    {
        QDir(m_home.filePath(QStringLiteral("pelk"))).removeRecursively();
        writeSettings();
    }

    void wrongUsageIsOneSentenceAndExitCode2_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QString>("sentence");
        const auto row = [](const char* arguments, const char* sentence) {
            QTest::newRow(arguments) << QString::fromLatin1(arguments) << QString::fromLatin1(sentence);
        };
        row("frob", "There is no command \"frob\".");
        row("--frob", "There is no option \"--frob\".");
        row("--log-level off", "A command is missing.");
        row("rows --from 10 --to 5", "The range is empty: --to 5 comes before --from 10.");
        row("rows --from -5", "\"-5\" is not a whole number from 0");
        row("rows --to x", "\"x\" is not a whole number from 0");
        row("rows --from 99999999999", "is not a whole number from 0 to 2147483647");
        row("rows test: more",
            "\"test:\" is not a kind of title. The kinds are: album, artist, playlist, track.");
        row("rows test:%zz", "is not a path");
        row("play", "PATH is required.");
        row("play test:%zz", "is not a path");
        row("play test: --seconds 0", "\"0\" is not a whole number from 1");
        row("play test:first --to /nowhere/a.wav", "/nowhere/a.wav cannot be written");
        row("search", "TEXT is required.");
        row("login", "USER is required.");
        row("login somebody", "Use --password-stdin");
        row("login somebody --password-stdin", "There is no password on standard input");
        row("quality best", "\"best\" is not one of: mp3, cd, hires96, hires192.");
        row("rows --log-level loud", "\"loud\" is not one of: off, error, warn, info, debug, trace.");
    }
    void wrongUsageIsOneSentenceAndExitCode2()
    {
        QFETCH(QString, arguments);
        QFETCH(QString, sentence);
        const Result result = run(withModules(arguments.split(QLatin1Char(' '))));
        QCOMPARE(result.code, 2);
        QCOMPARE(result.out, QString());
        QVERIFY2(result.error.contains(sentence), qPrintable(result.error));
    }

    void missingSetupIsExitCode3()
    {
        Result result =
            run({QStringLiteral("--modules"), QStringLiteral("/nowhere"), QStringLiteral("rows")});
        QCOMPARE(result.code, 3);
        QCOMPARE(result.error, QStringLiteral("pelk: The module folder /nowhere does not exist.\n"));
        result = run(
            withModules({QStringLiteral("rows"), QStringLiteral("--config"), QStringLiteral("/nowhere")}));
        QCOMPARE(result.code, 3);
        QVERIFY(result.error.startsWith(QStringLiteral("pelk: There is no settings file /nowhere.")));
    }

    void failuresWithoutALoginAreExitCode4()
    {
        for (const char* command : {"rows", "play"}) {
            const Result result =
                run(withModules({QString::fromLatin1(command), QStringLiteral("qobuz:playlists")}));
            QCOMPARE(result.code, 4);
            QVERIFY2(result.error.endsWith(QStringLiteral(" Log in with: pelk login USER\n")),
                     qPrintable(result.error));
        }
        QCOMPARE(run(withModules({QStringLiteral("status")})).code, 4);
    }

    void aPathThatFailsRegardlessOfLoginIsExitCode1()
    {
        for (const char* command : {"rows", "play"}) {
            const Result result = run(withModules({QString::fromLatin1(command), QStringLiteral("none:x")}));
            QCOMPARE(result.code, 1);
            QVERIFY2(result.error.endsWith(QStringLiteral("pelk: No service answers at \"none:x\".\n")),
                     qPrintable(result.error));
        }
    }

    void anEndOfInputAtThePasswordPromptIsNotAPassword()
    {
        QProcess terminal;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home.path());
        environment.insert(QStringLiteral("XDG_STATE_HOME"), m_home.path());
        terminal.setProcessEnvironment(environment);
        terminal.start(QStringLiteral("script"),
                       {QStringLiteral("-qec"),
                        QStringLiteral("%1 '%2' --modules '%3' login somebody")
                            .arg(qEnvironmentVariable("PELK_TEST_EMULATOR"), QStringLiteral(PELK_PROGRAM),
                                 QStringLiteral(TEST_MODULES "/good")),
                        QStringLiteral("/dev/null")});
        QByteArray said;
        while (!said.contains("Password for somebody: ") && terminal.waitForReadyRead(60000))
            said += terminal.readAllStandardOutput();
        terminal.write("\x04"); // what Ctrl-D sends
        QVERIFY(terminal.waitForFinished(60000));
        said += terminal.readAllStandardOutput();
        QVERIFY2(said.contains("pelk: The password is empty or not UTF-8"), said.constData());
        QCOMPARE(terminal.exitCode(), 2);
    }

    void rowsAreATableAndALineAboutTheRange()
    {
        QCOMPARE(run(withModules({QStringLiteral("rows"), QStringLiteral("test:")})).out,
                 QStringLiteral("first   folder  test:first\n"
                                "second  folder  test:second\n"
                                "rows 0 to 1 of 2\n"));
        QCOMPARE(run(withModules({QStringLiteral("rows")})).out,
                 QStringLiteral("Test  folder  test:\nrows 0 to 0 of 1\n"));
        QCOMPARE(run(withModules({QStringLiteral("rows"), QStringLiteral("test:"), QStringLiteral("--from"),
                                  QStringLiteral("5")}))
                     .out,
                 QStringLiteral("no rows from 5 on; there are 2\n"));
        QCOMPARE(run(withModules({QStringLiteral("rows"), QStringLiteral("test:first")})).out,
                 QStringLiteral("no rows\n"));
    }

    void rowsAsJsonAreForPrograms()
    {
        const Result result =
            run(withModules({QStringLiteral("rows"), QStringLiteral("test:"), QStringLiteral("--json")}));
        QCOMPARE(result.code, 0);
        QCOMPARE(QJsonDocument::fromJson(result.out.toUtf8()).object().value(QStringLiteral("count")).toInt(),
                 2);
    }

    void theQualityIsKept()
    {
        QCOMPARE(run(withModules({QStringLiteral("quality")})).out, QStringLiteral("cd\n"));
        QCOMPARE(run(withModules({QStringLiteral("quality"), QStringLiteral("hires96")})).code, 0);
        QCOMPARE(run(withModules({QStringLiteral("quality")})).out, QStringLiteral("hires96\n"));
    }

    void aBadModuleIsReportedAndTheOthersRun()
    {
        QTemporaryDir folder;
        for (const QString& name : {QStringLiteral("good"), QStringLiteral("throws")})
            QVERIFY(QFile::link(QStringLiteral(TEST_MODULES "/%1/lib%1.so").arg(name),
                                folder.filePath(QStringLiteral("lib%1.so").arg(name))));
        const Result result = run({QStringLiteral("--modules"), folder.path(), QStringLiteral("modules")});
        QCOMPARE(result.code, 1);
        QVERIFY(result.out.startsWith(QStringLiteral("test:  ")));
        QVERIFY(result.error.contains(QStringLiteral("the cable is missing")));
        QCOMPARE(run({QStringLiteral("--modules"), folder.path(), QStringLiteral("rows")}).code, 0);
    }

    void anInvalidLoginFileIsSetAside()
    {
        QFile file(m_home.filePath(QStringLiteral("pelk/session.json")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{");
        file.close();
        const Result result = run(withModules({QStringLiteral("rows")}));
        QCOMPARE(result.code, 0);
        QVERIFY(result.error.contains(QStringLiteral("session.json.bad")));
    }

    void aContainerWithoutTracksIsNotPlayed()
    {
        const Result result =
            run(withModules({QStringLiteral("play"), QStringLiteral("test:"), QStringLiteral("--to"),
                             m_home.filePath(QStringLiteral("a.wav"))}));
        QCOMPARE(result.code, 1);
        QVERIFY(result.error.contains(QStringLiteral("\"test:\" contains no tracks")));
        QVERIFY(!QFile::exists(m_home.filePath(QStringLiteral("a.wav"))));
    }

    void helpIsShownForEachCommand_data()
    {
        QTest::addColumn<QString>("command");
        for (const char* command :
             {"",           "play",        "pause",         "resume",       "toggle",
              "stop",       "next",        "previous",      "seek",         "volume",
              "now",        "queue",       "queue add",     "queue next",   "queue remove",
              "queue move", "queue clear", "queue shuffle", "queue repeat", "rows",
              "search",     "login",       "logout",        "status",       "quality",
              "modules",    "serve",       "completions"})
            QTest::newRow(*command ? command : "the program") << QString::fromLatin1(command);
    }
    void helpIsShownForEachCommand()
    {
        QFETCH(QString, command);
        const Result result =
            run(command.split(QLatin1Char(' '), Qt::SkipEmptyParts) << QStringLiteral("--help"));
        QCOMPARE(result.code, 0);
        QVERIFY(result.out.contains(QStringLiteral("Usage: pelk ") + command));
        for (const QString& line : result.out.split(QLatin1Char('\n')))
            if (!line.contains(QStringLiteral("DIR=")) && !line.contains(QStringLiteral("FILE=")))
                QVERIFY2(line.size() <= 80, qPrintable(line));
    }
};

QTEST_GUILESS_MAIN(PelkTest)
#include "pelk_test.moc"
