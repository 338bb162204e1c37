#include "tests/support/patience.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

struct Outcome
{
    int code = -1;
    QString out;
    QString error;
};

} // namespace

class GeneratorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_folder.reset(new QTemporaryDir); }

    void aRecordBecomesAClass()
    {
        const Outcome outcome = run("records:\n  Thing:\n    doc: A thing.\n    fields:\n"
                                    "      size: {type: int, doc: Its size., unit: mm}\n");
        QCOMPARE(outcome.error, QString());
        QCOMPARE(outcome.code, 0);
        QFile header(m_folder->filePath(QStringLiteral("out/thing.h")));
        QVERIFY(header.open(QIODevice::ReadOnly));
        const QByteArray text = header.readAll();
        QVERIFY(text.contains("class THING_EXPORT Thing : public PelkHash"));
        QVERIFY(text.contains("/// Its size. Unit: mm."));
        QVERIFY(text.contains("int size() const;"));
        QVERIFY(!text.contains("setSize"));
    }

    void aHeaderThatDoesNotChangeKeepsItsDate()
    {
        const QByteArray schema = "enums:\n  E:\n    doc: D.\n    values:\n"
                                  "      a: {value: 0, text: a, doc: A.}\n";
        QCOMPARE(run(schema).code, 0);
        const QString name = m_folder->filePath(QStringLiteral("out/e.h"));
        const QDateTime past = QDateTime::fromSecsSinceEpoch(1000000000);
        QFile header(name);
        QVERIFY(header.open(QIODevice::ReadWrite));
        QVERIFY(header.setFileTime(past, QFileDevice::FileModificationTime));
        header.close();
        QCOMPARE(run(schema).code, 0);
        QCOMPARE(QFileInfo(name).lastModified(), past);
    }

    void aBadSchemaIsRefusedWithASentence_data()
    {
        QTest::addColumn<QByteArray>("schema");
        QTest::addColumn<QString>("sentence");
        const auto row = [](const char* name, const char* schema, const char* sentence) {
            QTest::newRow(name) << QByteArray(schema) << QString::fromLatin1(sentence);
        };
        row("unknown type", "records:\n  R:\n    doc: D.\n    fields:\n      f: {type: strnig, doc: D.}\n",
            "schema.yaml: R.f: \"strnig\" is no type; one is string, int, uint, int64, double, bool, hashes, "
            "list, "
            "variant, path, text, an enumeration, a record, or \"list of\" and a record.");
        row("list of an unknown record",
            "records:\n  R:\n    doc: D.\n    fields:\n      f: {type: list of string, doc: D.}\n",
            "schema.yaml: R.f: \"list of string\" is no type;");
        row("field without doc", "records:\n  R:\n    doc: D.\n    fields:\n      f: {type: int}\n",
            "schema.yaml: R.f: it has no \"doc\", which says what it means.");
        row("record without doc", "records:\n  R:\n    fields:\n      f: {type: int, doc: D.}\n",
            "schema.yaml: R: it has no \"doc\", which says what it means.");
        row("record without fields", "records:\n  R:\n    doc: D.\n",
            "schema.yaml: R: it has no \"fields\".");
        row("unknown key",
            "records:\n  R:\n    doc: D.\n    fields:\n      f: {type: int, doc: D., units: mm}\n",
            "schema.yaml: R.f: \"units\" is no key of a field; it has doc, getter, role_only, set, tag, "
            "type, "
            "unit.");
        row("equal numbers",
            "enums:\n  E:\n    doc: D.\n    values:\n      a: {value: 1, text: a, doc: A.}\n"
            "      b: {value: 1, text: b, doc: B.}\n",
            "schema.yaml: E: a and b have the same value, 1.");
        row("equal texts",
            "enums:\n  E:\n    doc: D.\n    values:\n      a: {value: 1, text: x, doc: A.}\n"
            "      b: {value: 2, text: x, doc: B.}\n",
            "schema.yaml: E: a and b have the same text, x.");
        row("value without number", "enums:\n  E:\n    doc: D.\n    values:\n      a: {text: x, doc: A.}\n",
            "schema.yaml: E.a: its \"value\" is no integer.");
        row("value without doc", "enums:\n  E:\n    doc: D.\n    values:\n      a: {value: 1, text: x}\n",
            "schema.yaml: E.a: it has no \"doc\", which says what it means.");
        row("equal tags",
            "values:\n  V:\n    doc: D.\n    fields:\n      a: {tag: 1, type: int, doc: A.}\n"
            "      b: {tag: 1, type: int, doc: B.}\n",
            "schema.yaml: V: a and b have the same tag, 1.");
        row("missing tag", "values:\n  V:\n    doc: D.\n    fields:\n      a: {type: int, doc: A.}\n",
            "schema.yaml: V.a: its \"tag\" is no integer.");
        row("constant of no kind", "constants:\n  c:\n    F: {doc: D.}\n",
            "schema.yaml: F: it needs either a \"path\" or a \"text\".");
        row("unknown table", "record:\n  R: {}\n",
            "schema.yaml: a schema holds tables named constants, enums, records, values, and nothing else.");
        row("no YAML", "records: [\n", "schema.yaml: it cannot be read: ");
    }

    void aBadSchemaIsRefusedWithASentence()
    {
        QFETCH(QByteArray, schema);
        QFETCH(QString, sentence);
        const Outcome outcome = run(schema);
        QCOMPARE(outcome.code, 1);
        QVERIFY2(outcome.error.contains(sentence), qPrintable(outcome.error));
        QVERIFY(!outcome.error.contains(QLatin1String("Traceback")));
        QVERIFY(!QFileInfo::exists(m_folder->filePath(QStringLiteral("out"))));
    }

private:
    Outcome run(const QByteArray& schema)
    {
        QFile file(m_folder->filePath(QStringLiteral("schema.yaml")));
        Outcome outcome;
        if (!file.open(QIODevice::WriteOnly) || file.write(schema) != schema.size())
            return outcome;
        file.close();
        QProcess process;
        process.start(QStringLiteral(PELK_PYTHON),
                      {QStringLiteral(PELK_GENERATOR), QStringLiteral("--out"),
                       m_folder->filePath(QStringLiteral("out")), QStringLiteral("--folder"),
                       QStringLiteral("api/types"), QStringLiteral("--macro"), QStringLiteral("THING_EXPORT"),
                       file.fileName()});
        if (!process.waitForFinished(patienceMs))
            return outcome;
        outcome.code = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        outcome.error = QString::fromUtf8(process.readAllStandardError());
        return outcome;
    }

    QScopedPointer<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(GeneratorTest)
#include "generator_test.moc"
