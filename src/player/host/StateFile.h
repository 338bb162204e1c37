#pragma once

#include "api/types/pelkhash.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>

/// One concern of the player's state in one file: a JSON object with the concern's name, the version of its
/// format and its data. Replaced atomically, at most once a second, on a thread of its own, readable by its
/// owner only. Main thread, with an event loop.
class StateFile : public QObject
{
    Q_OBJECT

public:
    /// Appends the data as JSON text. Runs on the writing thread, so it must own everything that it reads.
    using Writer = std::function<void(QByteArray* text)>;
    /// Makes a writer with a copy of what there is to write. Runs on the main thread, just before the write.
    using Copier = std::function<Writer()>;

    static constexpr int intervalMs = 1000;
    static constexpr qint64 maximumSizeBytes = 64 * 1024 * 1024;

    /// `version` is of the data's form; files of later versions are not read.
    StateFile(const QString& fileName, const QString& concern, int version, QObject* parent = nullptr);
    /// Writes waiting data and returns when it is on the disk.
    ~StateFile() override;

    /// Reads the data; empty if there is none. A file that is damaged, of a later version or of another user
    /// is renamed, and notice() says why.
    PelkHash read();
    /// A sentence about what read() could not use; empty if there is nothing to say.
    QString notice() const { return m_notice; }

    /// Writes the data within a second. A later call replaces one that is still waiting.
    void save(const Copier& copier);
    /// Whether something waits to be written, or is being written.
    bool isBusy() const { return m_isWriting || m_waiting; }
    /// Writes pending data and returns when it is on the disk; settled() or failed() has been emitted by
    /// then.
    void flush();
    /// Forgets what waits.
    void drop();
    /// Writes this at once, on the calling thread, and returns when it is on the disk. False, with a
    /// sentence, where that failed.
    bool saveNow(const Writer& writer, QString* error);
    /// Removes the file and drops waiting data. False, with a sentence, if it could not be removed.
    bool remove(QString* error);

Q_SIGNALS:
    /// The file cannot be written; `sentence` says why. Emitted once until a write succeeds again.
    void failed(const QString& sentence);
    /// Nothing is left to write: the last data is on the disk, or failed() was emitted.
    void settled();

private:
    void write();
    void finish();
    void setAside(const QString& reason);
    QByteArray whole(const Writer& writer) const;

    QString m_fileName;
    QString m_concern;
    int m_version;
    QString m_notice;
    Copier m_waiting;
    QTimer m_timer;
    QElapsedTimer m_sinceWrite;
    bool m_isWriting = false;
    bool m_hasFailed = false;
};
