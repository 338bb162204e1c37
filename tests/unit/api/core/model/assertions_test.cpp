#include "api/core/model/cmconnect.h"
#include "api/core/model/cmrequest.h"
#include "tests/support/ownprocess.h"

#include <QThread>
#include <QtTest>

struct Unregistered
{
};

class Sender : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void plain(int number);
    void unregistered(const Unregistered& value);
    void pointer(Unregistered* value);
};

namespace {

using Crime = void (*)();

template <typename Act>
void onAnotherThread(Act act)
{
    QThread thread;
    QObject receiver;
    receiver.moveToThread(&thread);
    act(&receiver);
}

/// Programming errors by name; each ends the process.
const QHash<QString, Crime>& crimes()
{
    static const QHash<QString, Crime> all = {
        {QStringLiteral("finished"), [] { CMVoidReply().isFinished(); }},
        {QStringLiteral("waiting"), [] { CMVoidReply().waitForFinished(0); }},
        {QStringLiteral("value"), [] { CMVoidReply().setValue(QVariant()); }},
        {QStringLiteral("error"), [] { CMVoidReply().setError(CMError()); }},
        {QStringLiteral("read error"), [] { CMVoidReply().error(); }},
        {QStringLiteral("watcher"), [] { CMVoidReply().addWatcher([](const CMVoidReply&) {}); }},
        {QStringLiteral("typed value"), [] { CMReply<int>().setValue(1); }},
        {QStringLiteral("read typed value"), [] { CMReply<int>().value(); }},
        {QStringLiteral("path"), [] { CMGetRowsRequest().path(); }},
        {QStringLiteral("from"), [] { CMGetRowsRequest().from(); }},
        {QStringLiteral("rows reply"), [] { CMGetRowsRequest().reply(); }},
        {QStringLiteral("roles"), [] { CMGetDataRequest().roles(); }},
        {QStringLiteral("set value"), [] { CMSetDataRequest().value(); }},
        {QStringLiteral("connection"),
         [] {
             Sender sender;
             for (int i = 0; i < 2; ++i)
                 cmConnect(&sender, &Sender::plain, &sender, &QObject::deleteLater, Qt::UniqueConnection);
         }},
        {QStringLiteral("parameters"),
         [] {
             onAnotherThread([](QObject* receiver) {
                 Sender sender;
                 cmConnect(&sender, &Sender::unregistered, receiver, [](const Unregistered&) {});
             });
         }},
        {QStringLiteral("queued parameters"),
         [] {
             onAnotherThread([](QObject* receiver) {
                 Sender sender;
                 cmConnect(
                     &sender, &Sender::unregistered, receiver, [](const Unregistered&) {},
                     Qt::QueuedConnection);
             });
         }},
        {QStringLiteral("direct parameters"),
         [] {
             onAnotherThread([](QObject* receiver) {
                 Sender sender;
                 cmConnect(
                     &sender, &Sender::unregistered, receiver, [](const Unregistered&) {},
                     Qt::DirectConnection);
             });
         }},
        {QStringLiteral("get-data reply"), [] { CMGetDataRequest().reply(); }},
        {QStringLiteral("set-data reply"), [] { CMSetDataRequest().reply(); }},
        {QStringLiteral("any reply"), [] { static_cast<const CMRequest&>(CMSetDataRequest()).reply(); }},
        {QStringLiteral("kind"), [] { CMSetDataRequest().kind(); }},
        {QStringLiteral("to"), [] { CMGetRowsRequest().to(); }},
        {QStringLiteral("row roles"), [] { CMGetRowsRequest().roles(); }},
        {QStringLiteral("rows version"), [] { CMGetRowsRequest().rowsVersion(); }},
        {QStringLiteral("role"), [] { CMSetDataRequest().role(); }},
    };
    return all;
}

} // namespace

class AssertionsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aProgrammingErrorEndsTheProcessWithItsAssertion_data()
    {
        QTest::addColumn<QString>("assertion");
        const QString parameters =
            QStringLiteral("verifyConnectionSignalParameters(sender, signal, receiver, type)");
        const auto names = crimes().keys();
        for (const QString& name : names) {
            QString assertion = QStringLiteral("d()");
            if (name.endsWith(QLatin1String("parameters")))
                assertion = parameters;
            else if (name == QLatin1String("connection"))
                assertion = name;
            QTest::newRow(qPrintable(name)) << assertion;
        }
    }

    void aProgrammingErrorEndsTheProcessWithItsAssertion()
    {
        QFETCH(QString, assertion);
        const OwnProcess outcome = OwnProcess::play(QString::fromLatin1(QTest::currentDataTag()));
        QVERIFY2(outcome.crashed, outcome.errors.constData());
        QVERIFY2(outcome.errors.contains("ASSERT: \"" + assertion.toUtf8() + "\" in file"),
                 outcome.errors.constData());
    }

    void aConnectionThatSucceedsIsMade()
    {
        Sender sender;
        int received = 0;
        cmConnect(&sender, &Sender::plain, this, [&](int number) { received = number; });
        Q_EMIT sender.plain(4);
        QCOMPARE(received, 4);
    }

    void pointersAndOneThreadNeedNoRegisteredType()
    {
        Sender sender;
        int calls = 0;
        cmConnect(&sender, &Sender::unregistered, this, [&](const Unregistered&) { ++calls; });
        Q_EMIT sender.unregistered(Unregistered());
        QCOMPARE(calls, 1);
        for (const auto type : {Qt::AutoConnection, Qt::DirectConnection, Qt::QueuedConnection})
            QVERIFY(verifyConnectionSignalParameters(&sender, QMetaMethod::fromSignal(&Sender::unregistered),
                                                     this, type));
        onAnotherThread([&](QObject* receiver) {
            QVERIFY(verifyConnectionSignalParameters(&sender, QMetaMethod::fromSignal(&Sender::pointer),
                                                     receiver, Qt::AutoConnection));
            for (const auto type : {Qt::AutoConnection, Qt::DirectConnection, Qt::QueuedConnection})
                QVERIFY(!verifyConnectionSignalParameters(
                    &sender, QMetaMethod::fromSignal(&Sender::unregistered), receiver, type));
        });
    }
};

int main(int argc, char** argv)
{
    return OwnProcess::main<AssertionsTest>(argc, argv, [](const QString& name) {
        crimes().value(name)();
        return 0;
    });
}

#include "assertions_test.moc"
