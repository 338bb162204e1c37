#include "api/core/model/cmerror.h"

#include <QtTest>

class CMErrorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anEmptyRecordIsNotAnError()
    {
        const CMError none;
        QVERIFY(!none.isSet());
        QVERIFY(none.isEmpty());
        QCOMPARE(none.name(), QString());
        QCOMPARE(none.message(), TrString());
        QVERIFY(none.data().isEmpty());
    }

    void anErrorMadeFromATextHasTheDefaultNameAndTitle()
    {
        const CMError error(TrString(QStringLiteral("It is gone.")));
        QVERIFY(error.isSet());
        QCOMPARE(error.name(), CMError::DefaultName());
        QVERIFY(!CMError::DefaultName().isEmpty());
        QCOMPARE(error.title(), CMError::DefaultTitle());
        QCOMPARE(error.title().toString(), QStringLiteral("Error"));
        QCOMPARE(error.message().toString(), QStringLiteral("It is gone."));
        QVERIFY(!error.contains(CMError::Data()));
    }

    void anEmptyTextStillMakesAnError() { QVERIFY(CMError(TrString()).isSet()); }

    void anErrorCarriesDataForPrograms()
    {
        const CMError error(TrString(QStringLiteral("x")), {{QStringLiteral("code"), 401}});
        QCOMPARE(error.data().value(QStringLiteral("code")).toInt(), 401);
    }

    void theKeysAreThoseOfTheRecord()
    {
        const CMError error(TrString(TrCharData{"C", "Gone: %1", "x", 1}, {QStringLiteral("A")}),
                            {{QStringLiteral("code"), 1}});
        QCOMPARE(error.value(CMError::Name()), QVariant(CMError::DefaultName()));
        QCOMPARE(error.value(CMError::Title()).toString(), QStringLiteral("Error"));
        QCOMPARE(error.value(CMError::Message()).toString(), QStringLiteral("Gone: A"));
        QCOMPARE(CMError(PelkHash(error.hash())), error);
        QCOMPARE(error.message().source(), QByteArray("Gone: %1"));
    }
};

QTEST_GUILESS_MAIN(CMErrorTest)
#include "cmerror_test.moc"
