#include "tests/support/patience.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

/// scripts/check_behaviours.py over pages made here. The tests that they name are this program's own.
class CheckBehavioursTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_folder.isValid()); }

    void testsThatExistAreCounted()
    {
        run(page({QStringLiteral("| a name with a row | `%1: aFaultIsReportedInASentence:no such row`, `%1: "
                                 "testsThatExistAreCounted` |"),
                  QStringLiteral("| a name with \\| in it | `%1: aFaultIsReportedInASentence:a \\| b` |"),
                  QStringLiteral("| the same test again | `%1: testsThatExistAreCounted` |")}));
        QCOMPARE(m_error, QString());
        QCOMPARE(m_out, QStringLiteral("14 behaviours of 12 subjects are proved by 3 tests.\n"));
        QCOMPARE(m_code, 0);
    }

    void aFaultIsReportedInASentence_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("sentence");
        const auto row = [](const char* tag, const char* line, const char* sentence) {
            QTest::newRow(tag) << QString::fromLatin1(line) << QString::fromLatin1(sentence);
        };
        row("no such program", "| b | `no_such_test: f` |", "line 7 (worker): no_such_test is not built in ");
        row("no such function", "| b | `%1: noSuchFunction` |",
            "line 7 (worker): %1 has no function noSuchFunction.");
        row("no such row", "| b | `%1: aFaultIsReportedInASentence:gone` |",
            "line 7 (worker): %1: aFaultIsReportedInASentence has no row with the tag \"gone\".");
        row("row of a function without rows", "| b | `%1: testsThatExistAreCounted:no such row` |",
            "line 7 (worker): %1: testsThatExistAreCounted has no row with the tag \"no such row\".");
        row("second of two wrong", "| b | `%1: testsThatExistAreCounted`, `%1: noSuchFunction` |",
            "line 7 (worker): %1 has no function noSuchFunction.");
        row("no name", "| b | |", "line 7 (worker): no test is named for \"b\".");
        row("name of another form", "| b | `%1` |", "line 7 (worker): `%1` names no test; write ");
        row("text beside the names", "| b | see `%1: testsThatExistAreCounted` |",
            "line 7 (worker): beside tests in backticks and commas there is more text: see ");
        row("no behaviour", "| | `%1: testsThatExistAreCounted` |",
            "line 7 (worker): a proof without a behaviour.");
        row("three columns", "| b | `%1: testsThatExistAreCounted` | c |",
            "line 7: a row has two columns, behaviour and proved by; this one has 3.");
        row("a | b", "| b | `%1: aFaultIsReportedInASentence:a \\| c` |",
            "line 7 (worker): %1: aFaultIsReportedInASentence has no row with the tag \"a | c\".");
    }

    void aFaultIsReportedInASentence()
    {
        QFETCH(QString, line);
        QFETCH(QString, sentence);
        run(page({line, proof(QStringLiteral("another"))}));
        QVERIFY2(
            m_error.contains(QStringLiteral("page.md: ") + sentence.replace(QLatin1String("%1"), name())),
            qPrintable(m_error));
        QCOMPARE(m_error.count(QLatin1Char('\n')), 1);
        QCOMPARE(m_code, 1);
    }

    void aBehaviourIsListedOnce()
    {
        run(page({proof(), proof()}));
        QCOMPARE(m_error, QStringLiteral("page.md: line 8 (worker): \"b\" stands in line 7 already.\n"));
        QCOMPARE(m_code, 1);
    }

    void aMissingProgramIsReportedOnce()
    {
        run(page(
            {QStringLiteral("| one | `no_such_test: f` |"), QStringLiteral("| two | `no_such_test: g` |")}));
        QCOMPARE(m_error.count(QLatin1Char('\n')), 1);
        QVERIFY2(m_error.startsWith(QLatin1String("page.md: line 7 (worker): no_such_test is not built in ")),
                 qPrintable(m_error));
        QCOMPARE(m_code, 1);
    }

    void everySubjectHasASectionAndTheyStandInOrder()
    {
        const QString text = page({proof()});
        run(QString(text).replace(QLatin1String("### signing"), QLatin1String("### sining")));
        QVERIFY2(m_error.contains(QLatin1String(": \"sining\" is no subject; one is worker, dispatch, ")),
                 qPrintable(m_error));
        QVERIFY2(m_error.contains(QLatin1String("page.md: the subject \"signing\" has no section.\n")),
                 qPrintable(m_error));
        QCOMPARE(m_code, 1);
        run(QString(text)
                .replace(QLatin1String("### rows"), QLatin1String("### x"))
                .replace(QLatin1String("### browse"), QLatin1String("### rows"))
                .replace(QLatin1String("### x"), QLatin1String("### browse")));
        QVERIFY2(m_error.startsWith(QLatin1String("page.md: the subjects stand in this order: worker, ")),
                 qPrintable(m_error));
        QCOMPARE(m_code, 1);
        run(text + QStringLiteral("### rows\n"));
        QVERIFY2(m_error.endsWith(QLatin1String(": the subject \"rows\" has a section already.\n")),
                 qPrintable(m_error));
        QCOMPARE(m_code, 1);
    }

    void everySubjectHasRows()
    {
        run(page({}));
        QCOMPARE(m_error, QStringLiteral("page.md: the subject \"worker\" has no rows.\n"));
        QCOMPARE(m_code, 1);
    }

    void everyTestOfTheFolderIsNamed()
    {
        QFile source(m_folder.filePath(name() + QStringLiteral(".cpp")));
        QVERIFY(source.open(QIODevice::WriteOnly));
        run(page({proof()}));
        source.remove();
        QVERIFY2(m_error.contains(
                     QStringLiteral("page.md: `%1: everyTestOfTheFolderIsNamed` proves no behaviour; ")
                         .arg(name())),
                 qPrintable(m_error));
        QVERIFY(!m_error.contains(QLatin1String("testsThatExistAreCounted")));
        QCOMPARE(m_code, 1);
    }

    void aPageWithoutSectionsIsAFault()
    {
        run(QStringLiteral("# Page\n"));
        QVERIFY2(m_error.startsWith(QLatin1String("page.md: the subject \"worker\" has no section.\n")),
                 qPrintable(m_error));
        QCOMPARE(m_code, 1);
    }

private:
    static QString name() { return QFileInfo(QCoreApplication::applicationFilePath()).fileName(); }

    static QString proof(const QString& behaviour = QStringLiteral("b"))
    {
        return QStringLiteral("| %1 | `%2: testsThatExistAreCounted` |").arg(behaviour, name());
    }

    /// A page with all subjects, these lines under the first of them, from line 7 on, and one under each
    /// other; %1 in a line becomes the name of this program.
    static QString page(const QStringList& lines)
    {
        QString text = QStringLiteral("# Page\n\n\n### worker\n| behaviour | proved by |\n"
                                      "|---|---|\n");
        for (const QString& line : lines)
            text += QString(line).replace(QLatin1String("%1"), name()) + QLatin1Char('\n');
        for (const char* subject : {"dispatch", "play state", "account", "reply", "pipeline", "session",
                                    "catalogue", "signing", "transport", "browse", "rows"})
            text += QStringLiteral("### ") + QLatin1String(subject) + QLatin1Char('\n') + proof() +
                    QLatin1Char('\n');
        return text;
    }

    void run(const QString& text)
    {
        m_code = -1;
        QFile file(m_folder.filePath(QStringLiteral("page.md")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text.toUtf8());
        file.close();
        QProcess process;
        process.start(QStringLiteral(PELK_PYTHON),
                      {QStringLiteral(PELK_CHECK_BEHAVIOURS), QStringLiteral("--tests"),
                       QCoreApplication::applicationDirPath(), QStringLiteral("--page"), file.fileName(),
                       QStringLiteral("--sources"), m_folder.path()});
        QVERIFY(process.waitForFinished(patienceMs));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        m_code = process.exitCode();
        m_out = QString::fromUtf8(process.readAllStandardOutput());
        m_error = QString::fromUtf8(process.readAllStandardError());
    }

    QTemporaryDir m_folder;
    QString m_out, m_error;
    int m_code = -1;
};

QTEST_GUILESS_MAIN(CheckBehavioursTest)
#include "check_behaviours_test.moc"
