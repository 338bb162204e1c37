#include "player/play/StreamPlayer.h"

#include "player/host/LogMask.h"
#include "player/play/AudioOutput.h"

#include <QRegularExpression>
#include <gst/gst.h>

#include <memory>

namespace {

// Of playbin's flags: decode sound, and gather some of a network stream before it plays.
constexpr int playAudio = 0x2 | 0x10;
constexpr int playBuffering = 0x100;
constexpr int buffered = 100;
constexpr int openLimitMs = 30000;
constexpr int stallLimitMs = 120000;
// How long a source of the network waits for an answer before it asks again from where it was: longer than
// the first limit, since the first time it gives up instead, and often enough to outlast the second.
constexpr int sourceTimeoutSeconds = openLimitMs / 1000 + 5;
constexpr int sourceRetries = stallLimitMs / 1000 / sourceTimeoutSeconds;

/// "Free Lossless Audio Codec (FLAC)" is known to people by what stands in the brackets.
QString shortName(const QString& codec)
{
    static const QRegularExpression brackets(QStringLiteral("\\(([^()]+)\\)\\s*$"));
    const QRegularExpressionMatch match = brackets.match(codec);
    return match.hasMatch() ? match.captured(1) : codec;
}

/// The size of a stream over its duration, for streams that do not say; 0 when it is not known either.
int averageBitRate(GstElement* pipeline)
{
    gint64 bytes = 0;
    gint64 duration = 0;
    if (!pipeline || !gst_element_query_duration(pipeline, GST_FORMAT_BYTES, &bytes) ||
        !gst_element_query_duration(pipeline, GST_FORMAT_TIME, &duration) || duration <= 0)
        return 0;
    const double kilobits = double(bytes) * 8 / (double(duration) / GST_MSECOND);
    // Headers and tags count too; the rates that codecs choose from are multiples of 8.
    return qRound(kilobits / 8) * 8000;
}

void setUpSource(GstElement* /*pipeline*/, GstElement* source, gpointer /*unused*/)
{
    GObjectClass* properties = G_OBJECT_GET_CLASS(source);
    if (!g_object_class_find_property(properties, "retries") ||
        !g_object_class_find_property(properties, "timeout"))
        return; // no source of the network
    g_object_set(source, "retries", sourceRetries, "timeout", guint(sourceTimeoutSeconds), nullptr);
}

/// The bits of a sample format such as S16LE or S24_32LE.
int sampleBits(const char* format)
{
    static const QRegularExpression digits(QStringLiteral("^[SU](\\d+)"));
    return digits.match(QString::fromLatin1(format)).captured(1).toInt();
}

} // namespace

bool AudioFormat::isLossless() const
{
    return codec == QLatin1String("FLAC") || codec == QLatin1String("ALAC") ||
           codec.contains(QLatin1String("PCM"));
}

QString AudioFormat::toString() const
{
    const bool lossless = isLossless();
    QStringList parts;
    if (lossless && bits > 0)
        parts << QStringLiteral("%1 bit").arg(bits);
    if (lossless && rateHz > 0)
        parts << QStringLiteral("%1 kHz").arg(rateHz / 1000.0);
    if (!lossless && bitRate > 0)
        parts << QStringLiteral("%1 kbit/s").arg(qRound(bitRate / 1000.0));
    return QStringLiteral("%1 %2").arg(codec, parts.join(QLatin1String(" / "))).trimmed();
}

StreamPlayer::StreamPlayer(AudioOutput* output, QObject* parent)
    : QObject(parent)
    , m_output(output)
{
    m_openLimit.setSingleShot(true);
    m_openLimit.setInterval(openLimitMs);
    connect(&m_openLimit, &QTimer::timeout, this, [this] {
        fail(QStringLiteral("The stream did not begin within %1 seconds.").arg(openLimitMs / 1000));
    });
    m_stallLimit.setSingleShot(true);
    m_stallLimit.setInterval(stallLimitMs);
    connect(&m_stallLimit, &QTimer::timeout, this, [this] {
        fail(QStringLiteral("Nothing came of the stream for %1 seconds; is the network up?")
                 .arg(stallLimitMs / 1000));
    });
}

StreamPlayer::~StreamPlayer()
{
    stop();
}

void StreamPlayer::play(const QString& uri)
{
    stop();
    QString error;
    m_pipeline = gst_element_factory_make("playbin", nullptr);
    m_sink = m_pipeline ? m_output->makeSink(&error) : nullptr;
    if (!m_pipeline)
        error = QStringLiteral("GStreamer has no element playbin; install its base plug-ins.");
    if (!m_sink) {
        // From the event loop, as every signal.
        QMetaObject::invokeMethod(
            this,
            [this, error, generation = m_generation.load()] {
                if (generation == m_generation)
                    fail(error);
            },
            Qt::QueuedConnection);
        return;
    }
    g_object_set(m_pipeline, "uri", uri.toUtf8().constData(), "audio-sink", m_sink, "flags",
                 playAudio | playBuffering, nullptr);
    g_signal_connect(m_pipeline, "source-setup", G_CALLBACK(setUpSource), nullptr);
    GstBus* bus = gst_element_get_bus(m_pipeline);
    gst_bus_set_sync_handler(
        bus,
        [](GstBus* /*bus*/, GstMessage* message, gpointer player) {
            onBusMessage(message, static_cast<StreamPlayer*>(player));
            return GST_BUS_DROP;
        },
        this, nullptr);
    gst_object_unref(bus);
    applyVolume();
    gst_element_set_state(m_pipeline, GST_STATE_PLAYING);
    m_openLimit.start();
}

void StreamPlayer::setPaused(bool paused)
{
    m_wantsPause = paused;
    applyTarget();
    // Whose silence it is changes without a change of the pipeline's state.
    if (m_buffering && m_told != Nothing && m_told != Playing)
        setSilent(paused ? Paused : Stalled);
}

void StreamPlayer::stop()
{
    m_openLimit.stop();
    m_stallLimit.stop();
    m_wantsPause = m_buffering = m_seeking = false;
    m_told = Nothing;
    m_codec.clear();
    m_bitRate = 0;
    m_sink = nullptr;
    if (m_pipeline) {
        gst_element_set_state(m_pipeline, GST_STATE_NULL);
        gst_object_unref(m_pipeline);
        m_pipeline = nullptr;
    }
    // Not before the pipeline has ended: what it still says is about the old stream.
    ++m_generation;
}

qint64 StreamPlayer::positionMs() const
{
    gint64 position = 0;
    if (!m_pipeline || !gst_element_query_position(m_pipeline, GST_FORMAT_TIME, &position))
        return 0;
    return position / GST_MSECOND;
}

qint64 StreamPlayer::durationMs() const
{
    gint64 duration = 0;
    if (!m_pipeline || !gst_element_query_duration(m_pipeline, GST_FORMAT_TIME, &duration))
        return 0;
    return duration / GST_MSECOND;
}

bool StreamPlayer::seek(qint64 positionMs)
{
    m_seeking =
        m_pipeline && gst_element_seek_simple(m_pipeline, GST_FORMAT_TIME,
                                              GstSeekFlags(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE),
                                              positionMs * GST_MSECOND);
    return m_seeking;
}

void StreamPlayer::setVolume(int percent)
{
    m_volumePercent = percent;
    applyVolume();
}

void StreamPlayer::setMuted(bool muted)
{
    m_muted = muted;
    applyVolume();
}

void StreamPlayer::applyVolume()
{
    const double even = m_volumePercent / 100.0;
    if (m_pipeline)
        g_object_set(m_pipeline, "volume", even * even * even, "mute", gboolean(m_muted), nullptr);
}

AudioFormat StreamPlayer::format() const
{
    AudioFormat format;
    format.codec = m_codec;
    format.bitRate = m_bitRate;
    GstPad* pad = m_sink ? gst_element_get_static_pad(m_sink, "sink") : nullptr;
    GstCaps* caps = pad ? gst_pad_get_current_caps(pad) : nullptr;
    if (caps) {
        const GstStructure* structure = gst_caps_get_structure(caps, 0);
        gst_structure_get_int(structure, "rate", &format.rateHz);
        format.bits = sampleBits(gst_structure_get_string(structure, "format"));
        gst_caps_unref(caps);
    }
    if (pad)
        gst_object_unref(pad);
    if (!format.isComplete() && !format.isLossless())
        format.bitRate = averageBitRate(m_pipeline);
    return format;
}

void StreamPlayer::onBusMessage(GstMessage* message, StreamPlayer* player)
{
    // On a streaming thread. stop() waits for those to end, so the player is valid.
    const std::shared_ptr<GstMessage> shared(gst_message_ref(message), gst_message_unref);
    QMetaObject::invokeMethod(
        player,
        [player, shared, generation = player->m_generation.load()] {
            if (generation == player->m_generation)
                player->handle(shared.get());
        },
        Qt::QueuedConnection);
}

void StreamPlayer::handle(GstMessage* message)
{
    switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_ERROR: {
        GError* error = nullptr;
        gst_message_parse_error(message, &error, nullptr);
        const QString text = QString::fromUtf8(error->message);
        g_error_free(error);
        fail(text);
        break;
    }
    case GST_MESSAGE_EOS:
        ++m_generation;
        if (m_output->failure().isEmpty())
            Q_EMIT ended();
        else
            Q_EMIT failed(m_output->failure());
        break;
    case GST_MESSAGE_STATE_CHANGED:
        if (GST_MESSAGE_SRC(message) == GST_OBJECT(m_pipeline)) {
            GstState state = GST_STATE_NULL;
            gst_message_parse_state_changed(message, nullptr, &state, nullptr);
            tellState(state);
        }
        break;
    case GST_MESSAGE_ASYNC_DONE:
        if (m_seeking)
            Q_EMIT moved();
        m_seeking = false;
        break;
    case GST_MESSAGE_BUFFERING: {
        gint percent = 0;
        gst_message_parse_buffering(message, &percent);
        if (m_buffering != (percent < buffered)) {
            m_buffering = percent < buffered;
            applyTarget();
        }
        break;
    }
    case GST_MESSAGE_TAG:
        readTags(message);
        break;
    default:
        break;
    }
}

void StreamPlayer::tellState(int state)
{
    if (state == GST_STATE_PLAYING && m_told != Playing) {
        m_told = Playing;
        m_openLimit.stop();
        m_stallLimit.stop();
        Q_EMIT playing();
    } else if (state == GST_STATE_PAUSED && m_told == Playing && (m_wantsPause || m_buffering)) {
        setSilent(m_wantsPause ? Paused : Stalled);
        if (m_wantsPause)
            Q_EMIT paused();
        else
            Q_EMIT stalled();
    }
}

void StreamPlayer::setSilent(Told told)
{
    m_told = told;
    if (told == Stalled)
        m_stallLimit.start();
    else
        m_stallLimit.stop();
}

void StreamPlayer::readTags(GstMessage* message)
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

void StreamPlayer::applyTarget()
{
    if (m_pipeline)
        gst_element_set_state(m_pipeline, m_wantsPause || m_buffering ? GST_STATE_PAUSED : GST_STATE_PLAYING);
}

void StreamPlayer::fail(const QString& sentence)
{
    m_openLimit.stop();
    m_stallLimit.stop();
    ++m_generation;
    // GStreamer's texts may quote the address, and its query is a permission to fetch it.
    Q_EMIT failed(maskSecrets(sentence));
}
