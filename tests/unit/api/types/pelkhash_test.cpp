#include "api/types/pelkhash.h"

#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

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

    void writtenValuesCanBeRead_data()
    {
        QTest::addColumn<int>("size");
        for (const int size : {1, 8, 15, 16, 17, 18, 32, 33, 100})
            QTest::addRow("%d keys", size) << size;
    }
    void writtenValuesCanBeRead()
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

    void aKeyIsTheSameInAnotherString()
    {
        const QChar letters[] = {QLatin1Char('k'), QLatin1Char('e'), QLatin1Char('y'), QLatin1Char('1')};
        PelkHash hash;
        hash.insert(key(1), 1);
        hash.insert(QString(letters, 4), 2);
        hash.insert(QString::fromRawData(letters, 3), 3); // another text at the same place
        const QString other = QStringLiteral("kay1");     // as long, with the same first and last letter
        QVERIFY(!hash.contains(other));
        hash.insert(other, 4);
        QCOMPARE(hash.hash(), (QVariantHash{{key(1), 2}, {QStringLiteral("key"), 3}, {other, 4}}));
        QCOMPARE(hash.value(QString::fromRawData(letters, 4)), QVariant(2));
        QVERIFY(!hash.contains(QString::fromRawData(letters, 2)));
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

    void aStoredRecordIsPassedOnAsItself_data()
    {
        QTest::addColumn<int>("before");
        QTest::newRow("first") << 0;
        QTest::newRow("among others") << 5;
        QTest::newRow("after many") << 40;
    }
    void aStoredRecordIsPassedOnAsItself()
    {
        QFETCH(int, before);
        PelkHash inner;
        inner.insert(b, 1);
        PelkHash middle;
        middle.insert(a, asVariant(inner));
        PelkHash hash;
        for (int n = 0; n < before; ++n)
            hash.insert(key(n), n);
        hash.insert(a, asVariant(middle));
        hash.insert(b, asVariant(PelkHash()));

        QVariant entry;
        QVERIFY(hash.entry(a, &entry));
        QCOMPARE(PelkHash::fromVariant(entry), middle);
        QCOMPARE(hash.record(a), middle);
        QCOMPARE(hash.record(a).record(a), inner);
        QCOMPARE(hash.text(a), QString());
        // Hashes can be read at every depth.
        const QVariant plain = QVariantHash{{a, QVariantHash{{b, 1}}}};
        for (const QVariant& read : {hash.value(a), hash.hash().value(a), QVariant(entry.toHash())}) {
            QCOMPARE(read.userType(), int(QMetaType::QVariantHash));
            QCOMPARE(read.toHash().value(a).userType(), int(QMetaType::QVariantHash));
            QCOMPARE(read, plain);
        }
        // Empty is not null.
        QVERIFY(hash.entry(b, &entry));
        QVERIFY(entry.isValid() && !entry.isNull() && entry.toHash().isEmpty());

        inner.insert(b, 2);
        middle.insert(b, 3);
        QCOMPARE(hash.value(a), plain);
        hash.insert(a, 4);
        QCOMPARE(hash.value(a), QVariant(4));
        QCOMPARE(hash.hash().size(), before + 2);
    }

    void aRecordIsReadByThreadsWhileItsCopiesChange()
    {
        PelkHash inner;
        inner.insert(b, 1);
        PelkHash record;
        record.insert(a, asVariant(inner));
        for (int n = 0; n < 20; ++n)
            record.insert(key(n), key(n));
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&record, &wrong, thread] {
                for (int round = 0; round < 200; ++round) {
                    PelkHash own = record;
                    own.insert(b, thread);
                    PelkHash ownInner = own.record(a);
                    ownInner.insert(b, thread);
                    own.insert(a, asVariant(ownInner));
                    if (record.contains(b) || record.record(a).value(b) != QVariant(1) ||
                        own.value(a) != QVariant(QVariantHash{{b, thread}}) || own.text(key(19)) != key(19) ||
                        record.hash().size() != 21)
                        ++wrong;
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(wrong.load(), 0);
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
        QCOMPARE(asVariant(record).toMap(), (QVariantMap{{a, 1}}));
        QVERIFY((QVariantList{asVariant(record)}) == (QVariantList{hash}));
        QVERIFY((QVariantHash{{b, asVariant(record)}}) == (QVariantHash{{b, hash}}));
        QCOMPARE(pelkToString(asVariant(record)), record.toString());
        QString shown;
        QDebug(&shown) << asVariant(record);
        QString shownHash;
        QDebug(&shownHash) << hash;
        QVERIFY2(shown.contains(shownHash.trimmed()), qPrintable(shown));
    }
};

QTEST_APPLESS_MAIN(PelkHashTest)
#include "pelkhash_test.moc"
