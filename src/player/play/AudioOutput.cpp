#include "player/play/AudioOutput.h"

#include <QDir>
#include <gst/gst.h>

namespace {

/// Creates a bin from a launch line, with a sink pad for its open end.
GstElement* makeBin(const QString& line, QString* error)
{
    GError* problem = nullptr;
    GstElement* bin = gst_parse_bin_from_description(line.toUtf8().constData(), TRUE, &problem);
    if (problem) {
        *error = QStringLiteral("GStreamer cannot play: %1.").arg(QString::fromUtf8(problem->message));
        g_error_free(problem);
        if (bin)
            gst_object_unref(bin);
        return nullptr;
    }
    return bin;
}

/// Asks the system, not ALSA: that library writes to standard error when it finds no device.
bool findDevice()
{
    const QStringList devices =
        QDir(QStringLiteral("/dev/snd")).entryList({QStringLiteral("pcmC*D*p")}, QDir::System | QDir::Files);
    if (devices.isEmpty())
        return false;
    GstElement* sink = gst_element_factory_make("alsasink", nullptr);
    if (!sink)
        return false;
    gst_object_ref_sink(sink);
    const bool opened = gst_element_set_state(sink, GST_STATE_READY) != GST_STATE_CHANGE_FAILURE;
    gst_element_set_state(sink, GST_STATE_NULL);
    gst_object_unref(sink);
    return opened;
}

/// Later sound is converted to the format of the first, also within one pipeline.
void keepForm(GstElement* sink, GstCaps* caps)
{
    GstObject* bin = gst_element_get_parent(sink);
    GstElement* form = gst_bin_get_by_name(GST_BIN(bin), "form");
    g_object_set(form, "caps", caps, nullptr);
    gst_object_unref(form);
    gst_object_unref(bin);
}

void onHandoff(GstElement* sink, GstBuffer* buffer, GstPad* pad, gpointer output)
{
    GstCaps* caps = gst_pad_get_current_caps(pad);
    if (!caps)
        return;
    const GstStructure* structure = gst_caps_get_structure(caps, 0);
    PcmFormat format;
    gst_structure_get_int(structure, "rate", &format.rateHz);
    gst_structure_get_int(structure, "channels", &format.channels);
    const gchar* sample = gst_structure_get_string(structure, "format");
    format.bits = sample && qstrcmp(sample, "S16LE") == 0 ? 16 : 24;
    auto* wav = static_cast<WavOutput*>(output);
    if (!wav->format().isSet())
        keepForm(sink, caps);
    gst_caps_unref(caps);
    GstMapInfo map;
    if (!gst_buffer_map(buffer, &map, GST_MAP_READ))
        return;
    wav->take(format, reinterpret_cast<const char*>(map.data), qint64(map.size));
    gst_buffer_unmap(buffer, &map);
}

} // namespace

AudioOutput::~AudioOutput() = default;

DeviceOutput::DeviceOutput()
    : m_hasDevice(findDevice())
{
}

GstElement* DeviceOutput::makeSink(QString* error)
{
    return makeBin(m_hasDevice ? QStringLiteral("audioconvert ! audioresample ! alsasink")
                               : QStringLiteral("audioconvert ! fakesink sync=true"),
                   error);
}

QString DeviceOutput::notice() const
{
    return m_hasDevice ? QString() : QStringLiteral("No sound device is available; playback is silent.");
}

GstElement* WavOutput::makeSink(QString* error)
{
    const PcmFormat fixed = m_writer->format();
    const QString caps = fixed.isSet() ? QStringLiteral("format=S%1LE,rate=%2,channels=%3")
                                             .arg(fixed.bits)
                                             .arg(fixed.rateHz)
                                             .arg(fixed.channels)
                                       : QStringLiteral("format=(string){S16LE,S24LE}");
    GstElement* bin =
        makeBin(QStringLiteral("audioconvert ! audioresample ! "
                               "capsfilter name=form caps=\"audio/x-raw,layout=interleaved,%1\" ! "
                               "fakesink name=out sync=true signal-handoffs=true")
                    .arg(caps),
                error);
    if (!bin)
        return nullptr;
    GstElement* sink = gst_bin_get_by_name(GST_BIN(bin), "out");
    g_signal_connect(sink, "handoff", G_CALLBACK(onHandoff), this);
    gst_object_unref(sink);
    return bin;
}

QString WavOutput::failure() const
{
    const QMutexLocker locker(&m_mutex);
    return m_failure;
}

void WavOutput::take(const PcmFormat& format, const char* data, qint64 bytes)
{
    QString error;
    if (m_writer->write(format, data, bytes, &error))
        return;
    const QMutexLocker locker(&m_mutex);
    if (m_failure.isEmpty())
        m_failure = error;
}
