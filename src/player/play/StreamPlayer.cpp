#include "player/play/StreamPlayer.h"

#include "player/base/FileLimit.h"
#include "player/base/LogMask.h"
#include "player/play/AudioOutput.h"
#include "player/play/StreamSource.h"

#include <gst/gst.h>

#include <functional>

namespace {

constexpr int buffered = 100;
// A seek that takes longer is a stall.
constexpr int quickSeekMs = 500;
// The end of the sound is reported with this delay, because its start is reported late too: otherwise the
// listening time would be too short.
constexpr int endMarginMs = 60;

/// State of the probe behind the concat, which owns it.
struct Feed
{
    bool streamBegan = false;
    GstSegment segment;
    std::atomic<qint64>* untilNs; // where in the pipeline's time what was let through ends
    std::function<void(qint64 baseNs)> tell;
};

/// Streaming thread. The first segment of each stream contains the running time at which it is heard.
GstPadProbeReturn onFeed(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer data)
{
    Feed* feed = static_cast<Feed*>(data);
    if (GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) {
        const GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
        const guint64 end = buffer->pts + buffer->duration;
        if (GST_CLOCK_TIME_IS_VALID(buffer->pts) && GST_CLOCK_TIME_IS_VALID(buffer->duration))
            *feed->untilNs = qint64(gst_segment_to_running_time(&feed->segment, GST_FORMAT_TIME,
                                                                qMin<guint64>(end, feed->segment.stop)));
        return GST_PAD_PROBE_OK;
    }
    GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
    if (GST_EVENT_TYPE(event) == GST_EVENT_STREAM_START) {
        feed->streamBegan = true;
    } else if (GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) {
        gst_event_copy_segment(event, &feed->segment);
        *feed->untilNs = qint64(feed->segment.base);
        if (feed->streamBegan)
            feed->tell(qint64(feed->segment.base));
        feed->streamBegan = false;
    }
    return GST_PAD_PROBE_OK;
}

/// Streaming thread. The concat has switched to another stream.
void onTurn(GObject* /*concat*/, GParamSpec* /*property*/, gpointer tell)
{
    (*static_cast<std::function<void()>*>(tell))();
}

TrString playerText(const char* source, const QList<TrArg>& arguments = {})
{
    return {TrCharData{"StreamPlayer", source}, arguments};
}

/// Whether the server redirects to an address that is not for streams: GStreamer follows the others.
bool isForbiddenRedirect(GstMessage* message)
{
    const GstStructure* details = nullptr;
    gst_message_parse_error_details(message, &details);
    guint status = 0;
    return details && gst_structure_get_uint(details, "http-status-code", &status) && status / 100 == 3;
}

TrString sentenceOf(const GError* error)
{
    // GStreamer's texts may quote the address, whose query permits anyone to fetch the stream.
    const QString text = maskSecrets(QString::fromUtf8(error->message));
    const bool unknown =
        error->domain == GST_STREAM_ERROR &&
        (error->code == GST_STREAM_ERROR_TYPE_NOT_FOUND || error->code == GST_STREAM_ERROR_WRONG_TYPE ||
         error->code == GST_STREAM_ERROR_CODEC_NOT_FOUND || error->code == GST_STREAM_ERROR_FORMAT);
    return unknown ? playerText(QT_TRANSLATE_NOOP(
                                    "StreamPlayer",
                                    "The stream is not playable: this audio format is not supported. (%1)"),
                                {text})
                   : TrString(text);
}

} // namespace

template <typename Function>
void StreamPlayer::post(Function function)
{
    QMetaObject::invokeMethod(
        this,
        [this, function, generation = m_generation.load()] {
            if (generation == m_generation)
                function();
        },
        Qt::QueuedConnection);
}

StreamPlayer::StreamPlayer(AudioOutput* output, QObject* parent)
    : AbstractStreamPlayer(parent)
    , m_output(output)
{
    m_openLimit.setSingleShot(true);
    m_openLimit.setInterval(StreamSource::openLimitMs);
    connect(&m_openLimit, &QTimer::timeout, this, [this] {
        fail(playerText(QT_TRANSLATE_NOOP("StreamPlayer", "The stream did not begin within %1 seconds."),
                        {StreamSource::openLimitMs / 1000}));
    });
    m_stallLimit.setSingleShot(true);
    m_stallLimit.setInterval(StreamSource::stallLimitMs);
    connect(&m_stallLimit, &QTimer::timeout, this, [this] {
        fail(playerText(
            QT_TRANSLATE_NOOP("StreamPlayer",
                              "No data was received for %1 seconds. Check your network connection."),
            {StreamSource::stallLimitMs / 1000}));
    });
    m_seekLimit.setSingleShot(true);
    m_seekLimit.setInterval(quickSeekMs);
    connect(&m_seekLimit, &QTimer::timeout, this, &StreamPlayer::reportSilence);
    m_changeTimer.setSingleShot(true);
    m_changeTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_changeTimer, &QTimer::timeout, this, &StreamPlayer::checkChange);
}

StreamPlayer::~StreamPlayer()
{
    stop();
}

bool StreamPlayer::makePipeline(QString* error)
{
    m_sink = FileLimit::hasRoomForStream(error) ? m_output->makeSink(error) : nullptr;
    if (!m_sink)
        return false;
    m_pipeline = gst_pipeline_new(nullptr);
    m_concat = gst_element_factory_make("concat", nullptr);
    GstElement* convert = gst_element_factory_make("audioconvert", nullptr);
    m_volume = gst_element_factory_make("volume", nullptr);
    gst_bin_add(GST_BIN(m_pipeline), m_sink);
    for (GstElement* element : {m_concat, convert, m_volume})
        if (element)
            gst_bin_add(GST_BIN(m_pipeline), element);
    if (!m_concat || !convert || !m_volume ||
        !gst_element_link_many(m_concat, convert, m_volume, m_sink, nullptr)) {
        *error = QStringLiteral("GStreamer elements are missing. Install its base plug-ins.");
        return false;
    }
    auto* feed = new Feed;
    gst_segment_init(&feed->segment, GST_FORMAT_TIME);
    feed->untilNs = &m_fedUntilNs;
    feed->tell = [this](qint64 baseNs) { post([this, baseNs] { onFeeding(baseNs); }); };
    GstPad* out = gst_element_get_static_pad(m_concat, "src");
    gst_pad_add_probe(out, GstPadProbeType(GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM | GST_PAD_PROBE_TYPE_BUFFER),
                      onFeed, feed, [](gpointer data) { delete static_cast<Feed*>(data); });
    gst_object_unref(out);
    g_signal_connect_data(
        m_concat, "notify::active-pad", G_CALLBACK(::onTurn),
        new std::function<void()>([this] { post([this] { onTurn(); }); }),
        [](gpointer tell, GClosure*) { delete static_cast<std::function<void()>*>(tell); }, GConnectFlags(0));
    GstBus* bus = gst_element_get_bus(m_pipeline);
    gst_bus_set_sync_handler(
        bus,
        [](GstBus* /*bus*/, GstMessage* message, gpointer player) {
            // Streaming thread. stop() waits until these threads end, so the player is still valid.
            auto* self = static_cast<StreamPlayer*>(player);
            // A handler that drops a message owns it.
            const std::shared_ptr<GstMessage> owned(message, gst_message_unref);
            self->post([self, owned] { self->onBus(owned.get()); });
            return GST_BUS_DROP;
        },
        this, nullptr);
    gst_object_unref(bus);
    return true;
}

void StreamPlayer::play(const QString& uri, qint64 startMs, bool paused)
{
    stop();
    if (!StreamSource::isAllowed(uri)) {
        post([this] {
            fail(playerText(QT_TRANSLATE_NOOP(
                "StreamPlayer",
                "This stream is not playable: its address must begin with http:// or https://.")));
        });
        return;
    }
    m_wantsPause = paused;
    m_startMs = startMs;
    QString error;
    if (!makePipeline(&error)) {
        if (m_pipeline)
            gst_object_unref(m_pipeline);
        m_pipeline = m_concat = m_volume = m_sink = nullptr;
        post([this, error] { Q_EMIT outputFailed(error); });
        return;
    }
    applyVolume();
    m_current = std::make_unique<StreamSource>(m_pipeline, m_concat, uri);
    m_openLimit.start();
    applyTarget();
    m_current->start();
}

bool StreamPlayer::setNext(const QString& uri)
{
    return StreamSource::isAllowed(uri) && m_current &&
           m_seam.set(m_current.get(), m_pipeline, m_concat, uri);
}

bool StreamPlayer::dropNext()
{
    return m_seam.drop();
}

void StreamPlayer::setPaused(bool paused)
{
    m_wantsPause = paused;
    applyTarget();
    // The reason for the silence changes without a change of the pipeline's state.
    post([this] { reportSilence(); });
}

void StreamPlayer::stop()
{
    m_openLimit.stop();
    m_stallLimit.stop();
    m_seekLimit.stop();
    m_changeTimer.stop();
    m_wantsPause = m_buffering = false;
    m_seekTargetMs.reset();
    m_startMs = 0;
    m_reported = Nothing;
    if (m_pipeline) {
        gst_element_set_state(m_pipeline, GST_STATE_NULL);
        m_seam.clear();
        m_current.reset();
        gst_object_unref(m_pipeline);
    }
    m_pipeline = m_concat = m_volume = m_sink = nullptr;
    // Only now: until the pipeline has stopped, its messages are about the old stream.
    ++m_generation;
}

bool StreamPlayer::seek(qint64 positionMs)
{
    // If the next stream is feeding, the data on its way to the output is already the next stream's.
    if (!m_current || !m_current->isFeeding() ||
        !gst_element_seek_simple(m_pipeline, GST_FORMAT_TIME,
                                 GstSeekFlags(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE),
                                 positionMs * GST_MSECOND))
        return false;
    m_seekTargetMs = positionMs;
    m_seekLimit.start();
    return true;
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

void StreamPlayer::setFade(double gain)
{
    m_fade = gain;
    applyVolume();
}

void StreamPlayer::applyVolume()
{
    const double even = m_volumePercent / 100.0 * m_fade;
    if (m_volume)
        g_object_set(m_volume, "volume", even * even * even, "mute", gboolean(m_muted), nullptr);
}

qint64 StreamPlayer::positionMs() const
{
    gint64 position = 0;
    if (m_startMs > 0)
        return m_startMs;
    if (m_seekTargetMs)
        return *m_seekTargetMs;
    if (m_seam.isChanging())
        return m_seam.positionMs(now());
    if (!m_pipeline || !gst_element_query_position(m_pipeline, GST_FORMAT_TIME, &position))
        return 0;
    return position / GST_MSECOND;
}

qint64 StreamPlayer::now() const
{
    return qint64(gst_element_get_current_running_time(m_pipeline));
}

qint64 StreamPlayer::durationMs() const
{
    return m_current ? m_current->durationMs() : 0;
}

bool StreamPlayer::canSeek() const
{
    return m_current && m_current->canSeek();
}

AudioFormat StreamPlayer::format() const
{
    return m_current ? m_current->format() : AudioFormat();
}

void StreamPlayer::onBus(GstMessage* message)
{
    switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_ERROR:
        onError(message);
        break;
    case GST_MESSAGE_EOS:
        QTimer::singleShot(endMarginMs, Qt::PreciseTimer, this, [this, generation = m_generation.load()] {
            if (generation == m_generation)
                onEnd();
        });
        break;
    case GST_MESSAGE_STATE_CHANGED:
        if (GST_MESSAGE_SRC(message) == GST_OBJECT(m_pipeline)) {
            GstState state = GST_STATE_NULL;
            gst_message_parse_state_changed(message, nullptr, &state, nullptr);
            onState(state);
            reportMove();
            applyTarget();
        }
        break;
    case GST_MESSAGE_ASYNC_DONE:
        if (GST_MESSAGE_SRC(message) != GST_OBJECT(m_pipeline))
            break; // a stream is ready
        reportMove();
        applyTarget();
        break;
    case GST_MESSAGE_BUFFERING:
        if (StreamSource* source = senderOf(message)) {
            gst_message_parse_buffering(message, &source->bufferedPercent);
            applyTarget();
        }
        break;
    case GST_MESSAGE_TAG:
        // The output sends the tags of the stream that it receives.
        if (StreamSource* source = senderOf(message))
            source->readTags(message);
        else if (m_current)
            (m_seam.next() && m_seam.next()->isFeeding() ? m_seam.next() : m_current.get())
                ->readTags(message);
        break;
    default:
        break;
    }
}

/// Null for the output and for a stream that no longer exists.
StreamSource* StreamPlayer::senderOf(GstMessage* message) const
{
    for (StreamSource* source : {m_current.get(), m_seam.next()})
        if (source && source->sent(message))
            return source;
    return nullptr;
}

void StreamPlayer::onError(GstMessage* message)
{
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    TrString sentence = sentenceOf(error);
    g_error_free(error);
    GstObject* object = GST_MESSAGE_SRC(message);
    const StreamSource* sender = senderOf(message);
    if (isForbiddenRedirect(message))
        sentence = playerText(QT_TRANSLATE_NOOP("StreamPlayer",
                                                "This stream is not playable: its server redirects to an "
                                                "address that does not begin with http:// or https://."));
    else if (sender && sender->isBrokenForGood())
        sentence = playerText(QT_TRANSLATE_NOOP("StreamPlayer", "The connection was lost too many times."));
    if (sender && sender == m_seam.next()) {
        m_seam.turn(*m_current, m_fedUntilNs); // where that was not reported yet
        if (m_seam.failed(sentence))
            Q_EMIT nextFailed(sentence);
        else
            checkChange();
    } else if (object == GST_OBJECT(m_sink) || gst_object_has_as_ancestor(object, GST_OBJECT(m_sink))) {
        m_openLimit.stop();
        m_stallLimit.stop();
        ++m_generation;
        Q_EMIT outputFailed(sentence);
    } else if (sender || object == GST_OBJECT(m_pipeline) ||
               GST_OBJECT_PARENT(object) == GST_OBJECT(m_pipeline)) {
        fail(sentence);
    }
}

void StreamPlayer::onState(int state)
{
    if (state == GST_STATE_PLAYING) {
        checkChange();
        // Silence that was told lasts until nothing wants it any longer: the pipeline stops again at once.
        if (m_reported == Playing || (m_reported != Nothing && (m_wantsPause || m_buffering)))
            return;
        m_reported = Playing;
        m_openLimit.stop();
        m_stallLimit.stop();
        Q_EMIT playing();
    } else if (state == GST_STATE_PAUSED) {
        reportSilence();
    }
}

/// The pipeline is paused or is about to be, by the listener or because it is buffering. While it is
/// buffering, the change may never complete.
void StreamPlayer::reportSilence()
{
    if (!m_pipeline)
        return;
    GstState state = GST_STATE_NULL;
    const bool changes = gst_element_get_state(m_pipeline, &state, nullptr, 0) == GST_STATE_CHANGE_ASYNC;
    if (changes ? m_reported == Nothing : state != GST_STATE_PAUSED)
        return;
    const bool waits = m_buffering || (m_seekTargetMs && !m_seekLimit.isActive());
    if (m_wantsPause && m_reported != Paused) {
        setSilent(Paused);
        Q_EMIT paused();
    } else if (!m_wantsPause && waits && (m_reported == Playing || m_reported == Paused)) {
        setSilent(Stalled);
        Q_EMIT stalled();
    }
}

void StreamPlayer::setSilent(ReportedState state)
{
    m_reported = state;
    m_openLimit.stop();
    if (state == Stalled)
        m_stallLimit.start();
    else
        m_stallLimit.stop();
}

/// A seek has arrived once the pipeline has come to rest: what is told in between may be the end of an
/// earlier one.
void StreamPlayer::reportMove()
{
    if (!m_seekTargetMs || !m_pipeline ||
        gst_element_get_state(m_pipeline, nullptr, nullptr, 0) == GST_STATE_CHANGE_ASYNC)
        return;
    m_seekTargetMs.reset();
    m_seekLimit.stop();
    Q_EMIT moved();
}

/// The concat has switched to the next stream, which is heard after the rest of the current one.
void StreamPlayer::onTurn()
{
    if (m_current)
        m_seam.turn(*m_current, m_fedUntilNs);
    checkChange();
}

/// The next stream has sent its first segment.
void StreamPlayer::onFeeding(qint64 changeAtNs)
{
    if (m_current)
        m_seam.came(*m_current, changeAtNs);
    checkChange();
}

void StreamPlayer::checkChange()
{
    if (!m_seam.isChanging())
        return;
    switch (m_seam.due(now())) {
    case StreamSeam::Due::Next:
        switchToNext();
        break;
    case StreamSeam::Due::End:
        finish();
        break;
    case StreamSeam::Due::Later:
        if (GST_STATE(m_pipeline) == GST_STATE_PLAYING) // else when it plays again
            m_changeTimer.start(m_seam.waitMs(now()));
        break;
    }
}

void StreamPlayer::switchToNext()
{
    m_changeTimer.stop();
    StreamSeam::Taken next = m_seam.take();
    m_current = std::move(next.stream);
    const int generation = m_generation;
    if (!m_output->failure().isEmpty()) {
        fail(m_output->failure());
        return;
    }
    Q_EMIT nextStarted();
    if (generation != m_generation)
        return;
    if (next.failure != TrString()) {
        fail(next.failure);
        return;
    }
    reportAgain();
    if (generation == m_generation)
        applyTarget();
}

/// Repeats the last report for the next stream, because the change may happen during a pause.
void StreamPlayer::reportAgain()
{
    if (m_reported == Paused)
        Q_EMIT paused();
    else if (m_reported == Stalled)
        Q_EMIT stalled();
    else
        Q_EMIT playing();
}

void StreamPlayer::onEnd()
{
    const int generation = m_generation;
    if (m_seam.isChanging())
        switchToNext(); // a stream shorter than what is on the way to the output
    if (generation == m_generation)
        finish();
}

void StreamPlayer::finish()
{
    m_changeTimer.stop();
    ++m_generation;
    if (m_output->failure().isEmpty())
        Q_EMIT ended();
    else
        Q_EMIT failed(m_output->failure());
}

void StreamPlayer::applyTarget()
{
    if (!m_pipeline)
        return;
    // The stream that feeds the output must have enough data, not the stream that is heard.
    const StreamSource* feeding = m_seam.isComing() ? m_seam.next() : m_current.get();
    m_buffering = feeding->bufferedPercent < buffered;
    // Not during a state change: a change that is overtaken never completes. Its end calls this again.
    GstState state = GST_STATE_NULL;
    if (gst_element_get_state(m_pipeline, &state, nullptr, 0) == GST_STATE_CHANGE_ASYNC)
        return;
    if (m_startMs > 0 && state == GST_STATE_PAUSED) {
        const qint64 start = m_startMs;
        m_startMs = 0;
        if (seek(start))
            return;
    }
    const bool silent = m_wantsPause || m_buffering || m_startMs > 0 || state < GST_STATE_PAUSED;
    const GstState wanted = silent ? GST_STATE_PAUSED : GST_STATE_PLAYING;
    // After a buffer underrun the output is silent at once, but its state changes only when it has data
    // again.
    if (state != wanted && gst_element_set_state(m_pipeline, wanted) == GST_STATE_CHANGE_ASYNC &&
        state == GST_STATE_PLAYING)
        post([this] { reportSilence(); });
}

void StreamPlayer::fail(const TrString& sentence)
{
    m_openLimit.stop();
    m_stallLimit.stop();
    m_changeTimer.stop();
    ++m_generation;
    Q_EMIT failed(sentence);
}
