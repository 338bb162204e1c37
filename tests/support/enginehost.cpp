#include "tests/support/enginehost.h"

#include "player/host/ServiceAccount.h"
#include "sandbox/media/Encoders.h"
#include "tests/support/patience.h"

#include <QSignalSpy>
#include <gst/gst.h>

namespace {

void onHandoff(GstElement* sink, GstBuffer* buffer, GstPad* /*pad*/, gpointer output)
{
    GstMapInfo map;
    if (!gst_buffer_map(buffer, &map, GST_MAP_READ))
        return;
    if (!static_cast<KeepingOutput*>(output)->take(reinterpret_cast<const char*>(map.data), int(map.size)))
        GST_ELEMENT_ERROR(sink, RESOURCE, WRITE, ("The device has been unplugged."), (nullptr));
    gst_buffer_unmap(buffer, &map);
}

GstElement* keepingSink(KeepingOutput* output, bool sync)
{
    GstElement* sink = gst_element_factory_make("fakesink", nullptr);
    g_object_set(sink, "sync", gboolean(sync), "signal-handoffs", TRUE, nullptr);
    g_signal_connect(sink, "handoff", G_CALLBACK(onHandoff), output);
    return sink;
}

} // namespace

GstElement* KeepingOutput::makeSink(QString* error)
{
    const QMutexLocker locker(&m_mutex);
    ++m_asked;
    if (m_plugged)
        return m_sink = keepingSink(this, true);
    *error = QStringLiteral("There is no sound device.");
    return nullptr;
}

QByteArray KeepingOutput::samples() const
{
    const QMutexLocker locker(&m_mutex);
    return m_samples;
}

void KeepingOutput::clear()
{
    const QMutexLocker locker(&m_mutex);
    m_samples.clear();
}

void KeepingOutput::unplug()
{
    const QMutexLocker locker(&m_mutex);
    m_plugged = false;
}

void KeepingOutput::plug()
{
    const QMutexLocker locker(&m_mutex);
    m_plugged = true;
}

bool KeepingOutput::take(const char* data, int bytes)
{
    const QMutexLocker locker(&m_mutex);
    if (m_plugged)
        m_samples.append(data, bytes);
    return m_plugged;
}

EngineHost::EngineHost()
    : engine(&output, PlayProfile{&ServiceAccount::quality, &ServiceAccount::isLowerThan})
{
    root.addWorker(&worker);
}

EngineHost::~EngineHost() = default;

QByteArray EngineHost::flac(int tune, int seconds, int rate, int bits)
{
    sandbox::Melody melody(7, tune, rate, seconds);
    return QByteArray::fromStdString(sandbox::encodeFlac(melody, rate, bits));
}

void EngineHost::addFlac(const QString& id, const QByteArray& flac)
{
    worker.uris.insert(id, media.add(id + QStringLiteral(".flac"), flac));
}

QByteArray EngineHost::decoded(const QByteArray& file)
{
    KeepingOutput kept;
    GstElement* decoder = gst_element_factory_make("playbin", nullptr);
    g_object_set(decoder, "uri", qPrintable(media.add(QStringLiteral("decoded"), file)), "audio-sink",
                 keepingSink(&kept, false), "flags", 0x2, nullptr);
    gst_element_set_state(decoder, GST_STATE_PLAYING);
    GstBus* bus = gst_element_get_bus(decoder);
    GstMessage* end =
        gst_bus_timed_pop_filtered(bus, 20 * GST_SECOND, GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    const bool complete = end && GST_MESSAGE_TYPE(end) == GST_MESSAGE_EOS;
    if (end)
        gst_message_unref(end);
    gst_object_unref(bus);
    gst_element_set_state(decoder, GST_STATE_NULL);
    gst_object_unref(decoder);
    return complete ? kept.samples() : QByteArray();
}

QVector<int> EngineHost::fill(const QStringList& ids)
{
    QVector<PelkRoles> rows;
    for (const QString& id : ids)
        rows.append(ScriptedPlayWorker::row(id));
    return engine.queue().add(rows, PlayQueue::Where::Replace);
}

bool EngineHost::playAll(const QStringList& ids)
{
    QSignalSpy finished(&engine, &PlayEngine::finished);
    fill(ids);
    engine.play();
    return finished.wait(patienceMs) && finished.size() == 1;
}
