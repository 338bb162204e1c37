#include "api/types/pelkhash.h"

#include <QtTest>

namespace {

const QString a = QStringLiteral("a");
const QString b = QStringLiteral("b");

QString key(int n)
{
    return QStringLiteral("key%1").arg(n);
}

QVariant asVariant(const PelkHash& hash)
{
    return QVariant::fromValue(hash);
}

} // namespace

class PelkHashTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anEmptyOneHasNothing()
    {
        PelkHash hash;
        QVERIFY(hash.isEmpty());
        QVERIFY(!hash.contains(a));
        QVERIFY(!hash.value(a).isValid());
        QVERIFY(hash.hash().isEmpty());
        QCOMPARE(hash.variant(), QVariant(QVariantHash()));
        hash.remove(a);
        QVERIFY(PelkHash(QVariantHash()).isEmpty());
        QCOMPARE(hash, PelkHash(QVariantHash()));
    }

    void whatIsWrittenIsRead_data()
    {
        QTest::addColumn<int>("size");
        for (const int size : {1, 8, 9, 31, 32, 33, 64, 65, 100})
            QTest::addRow("%d keys", size) << size;
    }
    void whatIsWrittenIsRead()
    {
        QFETCH(int, size);
        PelkHash hash;
        QVariantHash expected;
        for (int n = 0; n < size; ++n) {
            hash.insert(key(n), n);
            expected.insert(key(n), n);
        }
        QCOMPARE(hash.hash(), expected);
        hash.insert(key(size / 2), QStringLiteral("new"));
        expected.insert(key(size / 2), QStringLiteral("new"));
        QCOMPARE(hash.hash(), expected);
        QVERIFY(hash.contains(key(0)) && !hash.contains(key(size)));
        hash.remove(key(0));
        expected.remove(key(0));
        QCOMPARE(hash.hash(), expected);
        hash.insert(key(0), 7);
        QCOMPARE(hash.value(key(0)), QVariant(7));
        QCOMPARE(hash.hash().size(), size);
        QCOMPARE(hash.text(key(0)), QStringLiteral("7"));
        QCOMPARE(hash.text(QStringLiteral("none")), QString());
    }

    void writingOverAHashLeavesTheHashAlone()
    {
        const QVariantHash base{{a, 1}, {b, 2}};
        PelkHash hash(base);
        hash.insert(b, 3);
        QCOMPARE(hash.value(a), QVariant(1));
        QCOMPARE(hash.hash(), (QVariantHash{{a, 1}, {b, 3}}));
        hash.remove(a);
        QCOMPARE(hash.hash(), (QVariantHash{{b, 3}}));
        hash.remove(b);
        QVERIFY(hash.isEmpty());
        QCOMPARE(base, (QVariantHash{{a, 1}, {b, 2}}));
    }

    void aCopyIsAValueOfItsOwn()
    {
        PelkHash first;
        first.insert(a, 1);
        PelkHash second = first;
        second.insert(a, 2);
        first.insert(b, 3);
        QCOMPARE(first.hash(), (QVariantHash{{a, 1}, {b, 3}}));
        QCOMPARE(second.hash(), (QVariantHash{{a, 2}}));
    }

    void anEmptyKeyAndANullValueAreEntries()
    {
        PelkHash hash;
        hash.insert(QString(), 1);
        hash.insert(a, QVariant());
        QCOMPARE(hash.value(QLatin1String("")), QVariant(1));
        QVERIFY(hash.contains(a) && !hash.value(a).isValid());
        QCOMPARE(hash.hash().size(), 2);
    }

    void aRecordInsideReadsAsAHash()
    {
        PelkHash inner;
        inner.insert(b, 1);
        PelkHash hash;
        hash.insert(a, inner.variant());
        hash.insert(b, QVariantList{inner.variant(), 5, asVariant(inner)});
        const QVariant plain = QVariantHash{{b, 1}};
        for (const PelkHash& one : {hash, PelkHash(hash.hash())}) {
            QCOMPARE(one.value(a).userType(), int(QMetaType::QVariantHash));
            QCOMPARE(one.value(a), plain);
            QCOMPARE(one.record(a), inner);
            QCOMPARE(one.records(b), (QList<PelkHash>{inner, PelkHash(), inner}));
            QCOMPARE(one.variant().toHash().value(a).userType(), int(QMetaType::QVariantHash));
            QVERIFY(one.record(b).isEmpty());
            QVERIFY(one.records(a).isEmpty());
            QVERIFY(one.record(QStringLiteral("c")).isEmpty());
            QVERIFY(one.records(QStringLiteral("c")).isEmpty());
        }
        PelkHash over(hash.hash());
        over.insert(QStringLiteral("c"), 1);
        QCOMPARE(over.record(a), inner);
        QCOMPARE(over.records(b).size(), 3);
        over.insert(a, PelkHash().variant());
        QVERIFY(over.contains(a) && over.record(a).isEmpty());
        QCOMPARE(over.value(a), QVariant(QVariantHash()));
        over.insert(a, asVariant(inner)); // as itself
        QCOMPARE(over.value(a).userType(), int(QMetaType::QVariantHash));
        QCOMPARE(over.record(a), inner);
        over.insert(a, 7);
        QCOMPARE(over.value(a), QVariant(7));
        QVERIFY(over.record(a).isEmpty());
    }

    void variantsOfHashesAndRecordsAreTheSame()
    {
        PelkHash record;
        record.insert(a, 1);
        const QVariantHash hash{{a, 1}};
        QCOMPARE(PelkHash::fromVariant(asVariant(record)), record);
        QCOMPARE(PelkHash::fromVariant(hash), record);
        QVERIFY(PelkHash::fromVariant(5).isEmpty());
        QVERIFY(PelkHash::fromVariant(QVariant()).isEmpty());
        QCOMPARE(asVariant(record).toHash(), hash);
        QVERIFY(asVariant(record).canConvert<QVariantHash>());
        QVERIFY(asVariant(record) == QVariant(hash));
        QVERIFY(QVariant(hash) == asVariant(record));
        QVERIFY(asVariant(record) == asVariant(PelkHash(hash)));
        QVERIFY(asVariant(record) != QVariant(QVariantHash{{a, 2}}));
        QVERIFY(asVariant(record) != asVariant(PelkHash()));
    }
};

QTEST_APPLESS_MAIN(PelkHashTest)
#include "pelkhash_test.moc"
