#include "tests/support/enginehost.h"
#include "tests/support/patience.h"

#include <QDir>
#include <QSignalSpy>
#include <QtTest>
#include <gst/gst.h>

/// Runs everything that the engine does with streams under GStreamer's leak tracer: afterwards there are as
/// many GStreamer objects and as many open files as before.
class LeaksTest : public QObject
{
    Q_OBJECT

    using Counts = QMap<QString, int>;

    std::unique_ptr<EngineHost> m_host;
    GstTracer* m_tracer = nullptr;

    PlayEngine& engine() { return m_host->engine; }

    /// Adds what was made or freed since the last call, by type.
    void count(Counts* counts, const char* list, int step, const GstStructure* changes) const
    {
        const GValue* objects = gst_structure_get_value(changes, list);
        for (guint i = 0; i < gst_value_list_get_size(objects); ++i) {
            const GstStructure* entry = gst_value_get_structure(gst_value_list_get_value(objects, i));
            (*counts)[QString::fromUtf8(gst_structure_get_string(entry, "type-name"))] += step;
        }
    }

    /// How many more objects of each type there are than at the last call, and how many files are open.
    Counts changes() const
    {
        Counts counts;
        GstStructure* changes = nullptr;
        g_signal_emit_by_name(m_tracer, "activity-get-checkpoint", &changes);
        count(&counts, "objects-created-list", 1, changes);
        count(&counts, "objects-removed-list", -1, changes);
        gst_structure_free(changes);
        return counts;
    }

    static int openFiles()
    {
        const QDir files(QStringLiteral("/proc/self/fd"));
        return files.entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size();
    }

    void run(const std::function<void()>& scenario)
    {
        m_host = std::make_unique<EngineHost>();
        m_host->addFlac(QStringLiteral("a"), EngineHost::flac(1, 1));
        m_host->addFlac(QStringLiteral("b"), EngineHost::flac(2, 1));
        m_host->addFlac(QStringLiteral("long"), EngineHost::flac(3, 10));
        m_host->worker.uris.insert(QStringLiteral("missing"), m_host->media.url(QStringLiteral("missing")));
        m_host->worker.uris.insert(QStringLiteral("text"),
                                   m_host->media.add(QStringLiteral("text"), QByteArray(5000, 'x')));
        scenario();
        m_host.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void waitForState(PelkPlayLogicState::Enum state) { QTRY_COMPARE(engine().status().state, state); }

    void startSeveralTracks()
    {
        const QVector<int> ids = m_host->fill({QStringLiteral("long"), QStringLiteral("long")});
        for (int i = 0; i < 4; ++i) {
            QVERIFY(engine().jump(ids.at(i % 2)));
            waitForState(PelkPlayLogicState::Playing);
        }
        engine().stop();
    }

    void skipBeforeAndAfterTheStreamBegins()
    {
        QStringList ids;
        for (int i = 0; i < 20; ++i)
            ids << QStringLiteral("long");
        m_host->fill(ids);
        engine().play();
        for (int i = 0; i < 10; ++i)
            engine().next();
        waitForState(PelkPlayLogicState::Playing);
        engine().previous();
        waitForState(PelkPlayLogicState::Playing);
    }

    void seekAndPause()
    {
        m_host->fill({QStringLiteral("long")});
        engine().play();
        waitForState(PelkPlayLogicState::Playing);
        QTRY_VERIFY(engine().status().canSeek);
        QSignalSpy seeked(&engine(), &PlayEngine::seeked);
        for (int i = 1; i <= 3; ++i) {
            engine().seek(i * 1000);
            QTRY_COMPARE(seeked.size(), i);
        }
        engine().pause();
        waitForState(PelkPlayLogicState::Paused);
        engine().seek(500);
        QTRY_COMPARE(seeked.size(), 4);
        engine().play();
        waitForState(PelkPlayLogicState::Playing);
    }

    void failInEveryWay()
    {
        QVERIFY(m_host->playAll({QStringLiteral("missing"), QStringLiteral("text")}));
        QVERIFY(m_host->playAll({QStringLiteral("unknown")}));
        QVERIFY(m_host->playAll({QStringLiteral("a"), QStringLiteral("text")}));
    }

    void loseTheOutput()
    {
        m_host->fill({QStringLiteral("long")});
        engine().play();
        waitForState(PelkPlayLogicState::Playing);
        m_host->output.unplug();
        waitForState(PelkPlayLogicState::Paused);
        m_host->output.plug();
        waitForState(PelkPlayLogicState::Playing);
    }

    void followWithoutAGap()
    {
        QVERIFY(m_host->playAll({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("a")}));
    }

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("GST_TRACERS", "leaks");
        gst_init(nullptr, nullptr);
        GList* tracers = gst_tracing_get_active_tracers();
        QVERIFY2(tracers, "GStreamer was built without tracers");
        m_tracer = GST_TRACER(tracers->data); // kept to the end of the process
        g_signal_emit_by_name(m_tracer, "activity-start-tracking");
        g_list_free(tracers);
    }

    void nothingOfOursOutlivesTheEngine_data()
    {
        QTest::addColumn<int>("scenario");
        QTest::newRow("starts") << 0;
        QTest::newRow("skips") << 1;
        QTest::newRow("seeks and pauses") << 2;
        QTest::newRow("failures") << 3;
        QTest::newRow("an output that goes away") << 4;
        QTest::newRow("tracks without a gap") << 5;
    }
    void nothingOfOursOutlivesTheEngine()
    {
        QFETCH(int, scenario);
        const std::vector<void (LeaksTest::*)()> scenarios{
            &LeaksTest::startSeveralTracks, &LeaksTest::skipBeforeAndAfterTheStreamBegins,
            &LeaksTest::seekAndPause,       &LeaksTest::failInEveryWay,
            &LeaksTest::loseTheOutput,      &LeaksTest::followWithoutAGap};
        const auto once = [&] { run([&] { (this->*scenarios.at(scenario))(); }); };
        once(); // the first time, since GStreamer keeps its factories, templates and clock
        const int filesBefore = openFiles();
        changes();
        once();
        Counts more;
        const auto isBack = [&] {
            const Counts latest = changes();
            for (auto it = latest.begin(); it != latest.end(); ++it)
                more[it.key()] += it.value();
            return openFiles() <= filesBefore &&
                   std::all_of(more.begin(), more.end(), [](int count) { return count <= 0; });
        };
        // Threads of GStreamer and of the server may still be ending.
        if (QTest::qWaitFor(isBack, patienceMs))
            return;
        qWarning("%d more open files", openFiles() - filesBefore);
        for (auto it = more.begin(); it != more.end(); ++it)
            if (it.value() > 0)
                qWarning("%d more: %s", it.value(), qPrintable(it.key()));
        QFAIL("objects outlive the engine");
    }
};

QTEST_GUILESS_MAIN(LeaksTest)
#include "leaks_test.moc"
