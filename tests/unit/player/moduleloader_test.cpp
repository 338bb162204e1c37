#include "api/core/model/cmrootworker.h"
#include "api/types/pelkroles.h"
#include "player/host/ModuleLoader.h"

#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <atomic>

namespace {

QString module(const char* name)
{
    return QStringLiteral(TEST_MODULES "/%1/lib%1.so").arg(QLatin1String(name));
}

} // namespace

class ModuleLoaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachFailureNamesFileAndCause_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("cause");
        QTest::newRow("no entry") << module("noentry") << QStringLiteral("does not export worker_create");
        QTest::newRow("throws") << module("throws")
                                << QStringLiteral("its worker could not be created: the cable is missing");
        QTest::newRow("throws a number")
            << module("throwsnumber") << QStringLiteral("threw an unknown exception");
        QTest::newRow("null") << module("null") << QStringLiteral("worker_create returned no worker");
        QTest::newRow("for another SDK")
            << module("othersdk")
            << QStringLiteral(
                   "it was built for version 0.99.0 of the SDK, and this player has version 0.1.0");
        QTest::newRow("uses libraries of another SDK")
            << module("linksothersdk")
            << QStringLiteral("it was built for another version of the SDK (it uses libpelk_test.so.99; "
                              "this player has version 0.1.0)");
        QTest::newRow("lacks libraries of another SDK")
            << module("lacksothersdk")
            << QStringLiteral("it was built for another version of the SDK (it needs libpelk_test.so.99; "
                              "this player has version 0.1.0)");
        QTest::newRow("missing") << QStringLiteral("/nowhere/libnone.so")
                                 << QStringLiteral("the library cannot be loaded");
    }
    void eachFailureNamesFileAndCause()
    {
        QFETCH(QString, file);
        QFETCH(QString, cause);
        CMRootWorker root;
        ModuleLoader loader(&root);
        const QString problem = loader.load(file);
        QVERIFY2(problem.contains(file), qPrintable(problem));
        QVERIFY2(problem.contains(cause), qPrintable(problem));
        QVERIFY(problem.endsWith(QLatin1Char('.')));
        QVERIFY(loader.modules().isEmpty());
    }

    void aTextFileIsRefusedAsALibrary()
    {
        QTemporaryDir dir;
        const QString name = dir.filePath(QStringLiteral("libtext.so"));
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("hello");
        file.close();
        CMRootWorker root;
        ModuleLoader loader(&root);
        const QStringList problems = loader.loadFolder(dir.path());
        QCOMPARE(problems.size(), 1);
        QVERIFY(problems.first().contains(QStringLiteral("the library cannot be loaded")));
    }

    void aMissingOrEmptyFolderIsReported()
    {
        CMRootWorker root;
        ModuleLoader loader(&root);
        QCOMPARE(loader.loadFolder(QStringLiteral("/nowhere")),
                 QStringList{QStringLiteral("The module folder /nowhere does not exist.")});
        const QTemporaryDir dir;
        QVERIFY(loader.loadFolder(dir.path()).first().contains(QStringLiteral("contains no module")));
    }

    void aModuleForALaterPatchOfTheSdkIsLoaded()
    {
        CMRootWorker root;
        ModuleLoader loader(&root);
        QVERIFY(!loader.load(module("linksothersdk")).isEmpty()); // leaves nothing behind
        QCOMPARE(loader.load(module("samesdk")), QString());
    }

    void oneBadModuleDoesNotStopTheOthers()
    {
        QTemporaryDir dir;
        for (const char* name : {"noentry", "good", "throws", "null"})
            QVERIFY(
                QFile::link(module(name), dir.filePath(QStringLiteral("lib%1.so").arg(QLatin1String(name)))));
        CMRootWorker root;
        ModuleLoader loader(&root);
        QCOMPARE(loader.loadFolder(dir.path()).size(), 3);
        QCOMPARE(loader.modules().size(), 1);
        QCOMPARE(loader.modules().first().name, QStringLiteral("test"));
    }

    void aWorkerLivesOnAThreadOfItsOwnAndAnswers()
    {
        CMRootWorker root;
        ModuleLoader loader(&root);
        QCOMPARE(loader.load(module("good")), QString());
        const CMGetRowsRequest request(CMPath(QStringLiteral("test:")), 0, 9, {PelkRoles::Title()});
        std::atomic<QThread*> answering{nullptr}; // told to watchers after those who wait
        request.reply().addWatcher([&](const CMVoidReply&) { answering = QThread::currentThread(); },
                                   Qt::DirectConnection);
        root.getRowsRequest(request);
        QVERIFY(request.reply().waitForFinished(5000));
        QCOMPARE(request.reply().value().rowsCount(), 2);
        QTRY_VERIFY(answering.load());
        QVERIFY(answering != QThread::currentThread());
    }

    void afterStoppingNothingAnswers()
    {
        CMRootWorker root;
        ModuleLoader loader(&root);
        QCOMPARE(loader.load(module("good")), QString());
        QVERIFY(loader.stop(5000));
        const CMGetRowsRequest request(CMPath(QStringLiteral("test:")), 0, 9, {PelkRoles::Title()});
        root.getRowsRequest(request);
        QVERIFY(request.reply().isFinished());
        QVERIFY(request.reply().error().isSet());
    }
};

QTEST_GUILESS_MAIN(ModuleLoaderTest)
#include "moduleloader_test.moc"
