#include "player/play/StreamSource.h"

#include <QRegularExpression>
#include <gst/gst.h>

namespace {

// Time-out of GStreamer's network source before it retries from its position. Longer than the time limit for
// the start of a stream, because the source does not retry before the first response; with its retries it
// outlasts a stall.
constexpr int sourceTimeoutSeconds = StreamSource::openLimitMs / 1000 + 5;
constexpr int sourceRetries = 3;
// How often a broken stream is resumed.
constexpr int mostResumptions = 3;

/// People know "Free Lossless Audio Codec (FLAC)" by the name in the brackets.
QString shortName(const QString& codec)
{
    static const QRegularExpression brackets(QStringLiteral("\\(([^()]+)\\)\\s*$"));
    const QRegularExpressionMatch match = brackets.match(codec);
    return match.hasMatch() ? match.captured(1) : codec;
}

/// The bits of a sample format such as S16LE or S24_32LE.
int sampleBits(const char* format)
{
    static const QRegularExpression digits(QStringLiteral("^[SU](\\d+)"));
    return digits.match(QString::fromLatin1(format)).captured(1).toInt();
}

/// Limits resumptions. GStreamer's network source resets its count of retries with each byte received, so it
/// would resume a stream forever. This refuses the data of the response after the last allowed resumption.
/// Runs on the source's streaming thread, or while that thread is stopped.
class ResumptionLimit
{
public:
    explicit ResumptionLimit(std::shared_ptr<std::atomic<bool>> brokenForGood)
        : m_brokenForGood(std::move(brokenForGood))
    {
    }

    void onEvent(GstEvent* event)
    {
        if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP) {
            *m_brokenForGood = false;
            m_isExpected = true;
        } else if (gst_event_has_name(event, "http-headers")) {
            if (!m_isExpected && ++m_resumptions > mostResumptions)
                *m_brokenForGood = true;
            m_isExpected = false;
        }
    }

    bool isOver() const { return *m_brokenForGood; }

private:
    std::shared_ptr<std::atomic<bool>> m_brokenForGood;
    bool m_isExpected = true; // the answer to the first request, or to one that a seek has made
    int m_resumptions = 0;
};

GstPadProbeReturn onSourceData(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer data)
{
    auto* limit = static_cast<ResumptionLimit*>(data);
    if (!(GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER)) {
        limit->onEvent(GST_PAD_PROBE_INFO_EVENT(info));
        return GST_PAD_PROBE_OK;
    }
    if (!limit->isOver())
        return GST_PAD_PROBE_OK;
    gst_buffer_unref(GST_PAD_PROBE_INFO_BUFFER(info));
    GST_PAD_PROBE_INFO_FLOW_RETURN(info) = GST_FLOW_ERROR; // the source reports that
    return GST_PAD_PROBE_HANDLED;
}

void onSourceSetup(GstElement* /*decoder*/, GstElement* source, gpointer stream)
{
    GObjectClass* properties = G_OBJECT_GET_CLASS(source);
    if (!g_object_class_find_property(properties, "retries") ||
        !g_object_class_find_property(properties, "timeout"))
        return; // another source of the network than GStreamer's usual one
    g_object_set(source, "timeout", guint(sourceTimeoutSeconds), "retries", sourceRetries, nullptr);
    auto* limit = new ResumptionLimit(static_cast<StreamSource*>(stream)->breakFlag());
    GstPad* pad = gst_element_get_static_pad(source, "src");
    gst_pad_add_probe(pad,
                      GstPadProbeType(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM |
                                      GST_PAD_PROBE_TYPE_EVENT_FLUSH),
                      onSourceData, limit, [](gpointer data) { delete static_cast<ResumptionLimit*>(data); });
    gst_object_unref(pad);
}

/// Streaming thread. Refuses playlists: a parser of playlists would open addresses of any scheme.
int onAutoplugSelect(GstElement* /*decoder*/, GstPad* /*pad*/, GstCaps* /*caps*/, GstElementFactory* factory,
                     gpointer /*data*/)
{
    enum // GStreamer has no header for these
    {
        Try = 0,
        Skip = 2
    };
    const QByteArray kinds = gst_element_factory_get_metadata(factory, GST_ELEMENT_METADATA_KLASS);
    return kinds.contains("Adaptive") || kinds.contains("Network") ? Skip : Try;
}

/// Streaming thread. Links the first audio pad.
void onPadAdded(GstElement* /*decoder*/, GstPad* pad, gpointer out)
{
    GstPad* target = gst_ghost_pad_get_target(GST_GHOST_PAD(out));
    if (target)
        gst_object_unref(target);
    else
        gst_ghost_pad_set_target(GST_GHOST_PAD(out), pad);
}

/// Streaming thread. Fails if the stream has no audio, for example if it is a picture.
void onNoMorePads(GstElement* decoder, gpointer out)
{
    GstPad* target = gst_ghost_pad_get_target(GST_GHOST_PAD(out));
    if (target)
        gst_object_unref(target);
    else
        GST_ELEMENT_ERROR(decoder, STREAM, WRONG_TYPE, ("The stream contains no audio."), (nullptr));
}

} // namespace

bool StreamSource::isAllowed(const QString& uri)
{
    return uri.startsWith(QLatin1String("http://"), Qt::CaseInsensitive) ||
           uri.startsWith(QLatin1String("https://"), Qt::CaseInsensitive);
}

StreamSource::StreamSource(GstElement* pipeline, GstElement* concat, const QString& uri)
    : m_concat(concat)
    , m_bin(GST_ELEMENT(gst_object_ref_sink(gst_bin_new(nullptr))))
    , m_out(gst_ghost_pad_new_no_target("src", GST_PAD_SRC))
    , m_entrance(gst_element_request_pad_simple(concat, "sink_%u"))
{
    // Not a part of the pipeline, whose state changes would otherwise wait for a stream that is still being
    // prepared. It uses the pipeline's bus.
    GstBus* bus = gst_element_get_bus(pipeline);
    gst_element_set_bus(m_bin, bus);
    gst_object_unref(bus);
    GstElement* decoder = gst_element_factory_make("uridecodebin", nullptr);
    GstCaps* sound = gst_caps_new_empty_simple("audio/x-raw");
    g_object_set(decoder, "uri", uri.toUtf8().constData(), "caps", sound, "expose-all-streams", FALSE,
                 "use-buffering", TRUE, nullptr);
    gst_caps_unref(sound);
    g_signal_connect(decoder, "source-setup", G_CALLBACK(onSourceSetup), this);
    g_signal_connect(decoder, "autoplug-select", G_CALLBACK(onAutoplugSelect), nullptr);
    g_signal_connect(decoder, "pad-added", G_CALLBACK(onPadAdded), m_out);
    g_signal_connect(decoder, "no-more-pads", G_CALLBACK(onNoMorePads), m_out);
    gst_bin_add(GST_BIN(m_bin), decoder);
    gst_element_add_pad(m_bin, m_out);
    watchEnd();
    gst_pad_link_full(m_out, m_entrance, GST_PAD_LINK_CHECK_NOTHING);
}

void StreamSource::watchEnd()
{
    gst_pad_add_probe(
        m_out, GstPadProbeType(GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM | GST_PAD_PROBE_TYPE_EVENT_FLUSH),
        [](GstPad* /*pad*/, GstPadProbeInfo* info, gpointer data) {
            const GstEventType type = GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info));
            End* end = static_cast<std::shared_ptr<End>*>(data)->get();
            const QMutexLocker locker(&end->mutex);
            if (type == GST_EVENT_EOS)
                end->isSent = true;
            else if (type == GST_EVENT_FLUSH_STOP)
                end->isSent = false;
            return GST_PAD_PROBE_OK;
        },
        new std::shared_ptr<End>(m_end),
        [](gpointer data) { delete static_cast<std::shared_ptr<End>*>(data); });
}

bool StreamSource::beforeItsEnd(const std::function<void()>& work)
{
    const QMutexLocker locker(&m_end->mutex);
    if (!m_end->isSent)
        work();
    return !m_end->isSent;
}

StreamSource::~StreamSource()
{
    // The entrance first: the stream may be blocked there.
    gst_element_release_request_pad(m_concat, m_entrance);
    gst_object_unref(m_entrance);
    gst_element_set_state(m_bin, GST_STATE_NULL);
    gst_object_unref(m_bin);
}

void StreamSource::start()
{
    gst_element_set_state(m_bin, GST_STATE_PAUSED);
}

bool StreamSource::sent(GstMessage* message) const
{
    GstObject* source = GST_MESSAGE_SRC(message);
    return source && (source == GST_OBJECT(m_bin) || gst_object_has_as_ancestor(source, GST_OBJECT(m_bin)));
}

bool StreamSource::isFeeding() const
{
    GstPad* active = nullptr;
    g_object_get(m_concat, "active-pad", &active, nullptr);
    if (active)
        gst_object_unref(active);
    return active == m_entrance;
}

bool StreamSource::hasBegun() const
{
    GstCaps* caps = gst_pad_get_current_caps(m_out);
    if (caps)
        gst_caps_unref(caps);
    return caps;
}

void StreamSource::readTags(GstMessage* message)
{
    GstTagList* tags = nullptr;
    gst_message_parse_tag(message, &tags);
    gchar* codec = nullptr;
    if (gst_tag_list_get_string(tags, GST_TAG_AUDIO_CODEC, &codec))
        m_codec = shortName(QString::fromUtf8(codec));
    g_free(codec);
    guint rate = 0;
    if (gst_tag_list_get_uint(tags, GST_TAG_NOMINAL_BITRATE, &rate) ||
        gst_tag_list_get_uint(tags, GST_TAG_BITRATE, &rate))
        m_bitRate = int(rate);
    gst_tag_list_unref(tags);
}

qint64 StreamSource::durationMs() const
{
    gint64 duration = 0;
    if (!gst_pad_query_duration(m_out, GST_FORMAT_TIME, &duration))
        return 0;
    return qMax<gint64>(0, duration) / GST_MSECOND;
}

bool StreamSource::canSeek() const
{
    GstQuery* query = gst_query_new_seeking(GST_FORMAT_TIME);
    gboolean seekable = FALSE;
    if (gst_pad_query(m_out, query))
        gst_query_parse_seeking(query, nullptr, &seekable, nullptr, nullptr);
    gst_query_unref(query);
    return seekable;
}

AudioFormat StreamSource::format() const
{
    AudioFormat format;
    format.codec = m_codec;
    format.bitRate = m_bitRate;
    GstCaps* caps = gst_pad_get_current_caps(m_out);
    if (caps) {
        const GstStructure* structure = gst_caps_get_structure(caps, 0);
        gst_structure_get_int(structure, "rate", &format.rateHz);
        format.bits = sampleBits(gst_structure_get_string(structure, "format"));
        gst_caps_unref(caps);
    }
    if (!format.isComplete() && !format.isLossless())
        format.bitRate = averageBitRate();
    return format;
}

/// The size of a stream divided by its duration, for streams without a stated bit rate; 0 if unknown.
int StreamSource::averageBitRate() const
{
    gint64 bytes = 0;
    const qint64 milliseconds = durationMs();
    if (milliseconds <= 0 || !gst_pad_query_duration(m_out, GST_FORMAT_BYTES, &bytes))
        return 0;
    const double kilobits = double(bytes) * 8 / double(milliseconds);
    // Headers and tags count too; the rates that codecs choose from are multiples of 8.
    return qRound(kilobits / 8) * 8000;
}
