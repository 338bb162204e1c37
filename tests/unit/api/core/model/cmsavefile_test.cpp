#include "api/core/model/cmsavefile.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <unistd.h>

namespace {

/// What was synced to disk, in order: "file" or "folder".
QStringList& synced()
{
    static QStringList list;
    return list;
}

constexpr auto ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

} // namespace

// The libraries use these functions of the program, because symbols are looked up in the program first.
Q_DECL_EXPORT int fsync(int descriptor)
{
    struct stat status = {};
    ::fstat(descriptor, &status);
    synced() << (S_ISDIR(status.st_mode) ? QStringLiteral("folder") : QStringLiteral("file"));
    return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

Q_DECL_EXPORT int fdatasync(int descriptor)
{
    return fsync(descriptor);
}

class CMSaveFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFileAndThenItsNameAreOnDiskWhenItReturns()
    {
        const QTemporaryDir folder;
        const QString name = folder.filePath(QStringLiteral("new/file"));
        QString error;
        synced().clear();
        QVERIFY(cmSaveFile(name, "content", ownerOnly, &error));
        QCOMPARE(synced(), (QStringList{QStringLiteral("file"), QStringLiteral("folder")}));
        QCOMPARE(error, QString());
        QFile file(name);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("content"));
        QCOMPARE(file.permissions() & ~(QFileDevice::ReadUser | QFileDevice::WriteUser), ownerOnly);
    }

    void aReplacedFileGetsTheRequestedPermissions()
    {
        const QTemporaryDir folder;
        const QString name = folder.filePath(QStringLiteral("file"));
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        QVERIFY(file.setPermissions(ownerOnly | QFileDevice::ReadOther));
        QString error;
        QVERIFY(cmSaveFile(name, "content", ownerOnly, &error));
        QVERIFY(!(QFile::permissions(name) & QFileDevice::ReadOther));
    }

    void aFailedWriteReportsItsReason()
    {
        const QTemporaryDir folder;
        QString error;
        // A folder is in the file's place.
        QVERIFY(!cmSaveFile(folder.path(), "content", ownerOnly, &error));
        QVERIFY(!error.isEmpty());
        QVERIFY(QFileInfo(folder.path()).isDir());
    }
};

QTEST_GUILESS_MAIN(CMSaveFileTest)
#include "cmsavefile_test.moc"
