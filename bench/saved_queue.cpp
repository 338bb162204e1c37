// The player's memory with a queue of 20,000 entries: how long it takes to write it to the disk, beside the
// playing, and how long a start takes to have it back in the engine. Prints the medians in microseconds,
// "save restore".

#include "api/core/model/cmrootworker.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"
#include "player/memory/PlayerMemory.h"
#include "player/play/AudioOutput.h"
#include "player/play/PlayEngine.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <gst/gst.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

constexpr int tracksOfAlbum = 12;

/// A track as the module makes it.
PelkRoles row(int number)
{
    const auto path = [number](const char* base) {
        CMPath made(QStringLiteral("qobuz:") + QLatin1String(base));
        made.addParam(QStringLiteral("id"), QString::number(10000000 + number));
        return made;
    };
    const QString album = QString::number(number / tracksOfAlbum);
    PelkMetaData metaData;
    metaData.setArtist(QStringLiteral("An artist with a name"));
    metaData.setAlbum(QStringLiteral("The album of the number ") + album);
    metaData.setGenre(QStringLiteral("Classical"));
    metaData.setComposer(QStringLiteral("Somebody who composed it"));
    metaData.setPerformer(QStringLiteral("Somebody who performs it"));
    metaData.setCopyright(QStringLiteral("\u2117 2020 A label"));
    metaData.setServiceID(QStringLiteral("qobuz"));
    metaData.setDate(1577836800);
    metaData.setOriginalTrackNumber(number % tracksOfAlbum + 1);
    metaData.setAllowPause(true);
    metaData.setAllowSeekTime(true);
    metaData.setAllowSeekBytes(true);
    metaData.setPrePlayPath(path("preplay"));
    PelkMediaData media;
    media.setMetaData(metaData);
    PelkRoles made;
    made.setTitle(QStringLiteral("The title of the track with the number %1").arg(number));
    made.setPath(path("track"));
    made.setIcon(QStringLiteral("https://covers.example/images/covers/%1_600.jpg").arg(album));
    made.setType(PelkRolesType::Audio);
    made.setAudioType(PelkRolesAudioType::Music);
    made.setMediaData(media);
    return made;
}

/// Album by album, each entry with the album that it was taken from.
void fill(PlayQueue* queue, const QVector<PelkRoles>& rows)
{
    for (int i = 0; i < rows.size(); i += tracksOfAlbum) {
        CMPath album(QStringLiteral("qobuz:album"));
        album.addParam(QStringLiteral("id"), QString::number(i / tracksOfAlbum));
        queue->add(rows.mid(i, tracksOfAlbum), PlayQueue::Where::End, album);
    }
}

/// Of all threads of the process, in microseconds.
qint64 processorTime()
{
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return qint64(time.tv_sec) * 1000000 + time.tv_nsec / 1000;
}

qint64 median(std::vector<qint64> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    gst_init(nullptr, nullptr);
    const int rounds = argc > 1 ? QByteArray(argv[1]).toInt() : 11;
    const CMRootWorker root;
    const QTemporaryDir folder;
    QVector<PelkRoles> rows;
    for (int i = 0; i < PlayQueue::mostEntries; ++i)
        rows.append(row(i));
    std::vector<qint64> saves;
    std::vector<qint64> restores;
    DeviceOutput output;
    for (int i = 0; i < rounds; ++i) {
        qint64 began = 0;
        {
            PlayEngine engine(&output);
            PlayerMemory memory(&engine, folder.path());
            memory.begin();
            fill(&engine.queue(), rows);
            began = processorTime();
            memory.end();
            saves.push_back(processorTime() - began);
        }
        PlayEngine engine(&output);
        PlayerMemory memory(&engine, folder.path());
        began = processorTime();
        memory.begin();
        restores.push_back(processorTime() - began);
        if (engine.queue().entries().size() != rows.size() ||
            engine.queue().entries().last().row != rows.last() ||
            engine.queue().entries().last().source.isEmpty())
            qFatal("what was restored is not what was saved");
    }
    std::printf("%lld %lld\n", static_cast<long long>(median(saves)),
                static_cast<long long>(median(restores)));
    return 0;
}
