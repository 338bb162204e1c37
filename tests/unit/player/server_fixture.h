#pragma once

#include "api/core/model/cmlistrowsnode.h"
#include "api/core/model/cmrootworker.h"
#include "api/core/model/cmvaluenode.h"
#include "api/core/model/cmvaluestore.h"
#include "player/content/History.h"
#include "player/play/AudioOutput.h"
#include "player/play/PlayEngine.h"
#include "player/server/PanelServer.h"
#include "tests/support/mediaserver.h"
#include "tests/support/panelclient.h"
#include "tests/support/scriptedplayworker.h"

#include <QTemporaryDir>
#include <QUrl>
#include <gst/gst.h>

/// A worker for the server's threads to call: it works on its own thread, and can be told not to answer.
class PanelWorker : public CMNodesWorker
{
public:
    PanelWorker()
        : CMNodesWorker({}, QStringLiteral("test"))
    {
        const CMPath rootPath(QStringLiteral("test:"));
        auto* root = CMListRowsNode::create(nodes(), rootPath);
        root->setTitle(TrString(TrCharData{"Menu", "Root"}, {}));
        menu = CMListRowsNode::create(nodes(), addPrefix(QStringLiteral("menu")));
        menu->setTitle(TrString(TrCharData{"Menu", "Albums"}, {}));
        menu->setSearchPath(CMPath(QStringLiteral("test:search")));
        root->rowsAppend(menu->path());
        state = CMValueNode::create(nodes(), CMPath(QStringLiteral("account:test/state")), nullptr);
        account = CMValueNode::create(nodes(), CMPath(QStringLiteral("account:test")), nullptr);
        PelkQobuzUserSession login;
        login.setUserName(QStringLiteral("listener"));
        login.setUserAuthToken(QStringLiteral("TOKEN-1"));
        PelkValue value;
        value.setQobuzUserSession(login);
        account->setValue(value);
    }

    void getRowsRequest(const CMGetRowsRequest& request) override
    {
        QMetaObject::invokeMethod(
            this, [this, request] { rows(request); }, Qt::QueuedConnection);
    }
    void setDataRequest(const CMSetDataRequest& request) override
    {
        QMetaObject::invokeMethod(
            this, [this, request] { set(request); }, Qt::QueuedConnection);
    }

    /// Puts the list of tracks into the menu, with a title.
    void nameList()
    {
        auto* list = CMListRowsNode::create(nodes(), ScriptedPlayWorker::listPath());
        list->setTitle(TrString(QStringLiteral("The list")));
        menu->rowsAppend(list->path());
    }

    ScriptedPlayWorker script; ///< the worker that answers; it has no paths of its own
    CMListRowsNode* menu;
    CMValueNode* state;
    CMValueNode* account;
    bool silent = false; ///< row requests are kept and not answered
    CMError failure;     ///< when set: how row requests fail
    bool deaf = false;   ///< requests that set the account are stored and not answered
    QList<CMGetRowsRequest> kept;
    QList<CMSetDataRequest> sets;

private:
    void rows(const CMGetRowsRequest& request)
    {
        if (silent)
            kept.append(request);
        else if (failure.isSet())
            request.reply().setError(failure);
        else if (request.path() == ScriptedPlayWorker::listPath())
            script.getRowsRequest(request);
        else
            CMNodesWorker::getRowsRequest(request);
    }
    void set(const CMSetDataRequest& request)
    {
        if (request.path() == account->path()) {
            sets.append(request);
            if (!deaf)
                request.reply().setValue(QVariantList{account->value().variant(), false});
        } else if (request.path().base() == QLatin1String("state") ||
                   request.path().base() == QLatin1String("preplay")) {
            script.setDataRequest(request);
        } else {
            CMNodesWorker::setDataRequest(request);
        }
    }
};

/// Values that live as long as the test.
class MemoryStore : public CMValueStore
{
public:
    PelkValue read(const CMPath& path) const override { return values.value(path); }
    bool write(const CMPath& path, const PelkValue& value, QString* /*error*/) override
    {
        values.insert(path, value);
        return true;
    }
    QHash<CMPath, PelkValue> values;
};

/// The real server on loopback, in front of a real root worker and a real engine that plays into a file.
class ServerFixture
{
public:
    explicit ServerFixture(int contentLimitMs = 35000)
        : store(std::make_shared<MemoryStore>())
        , writer(folder.filePath(QStringLiteral("out.wav")))
    {
        gst_init(nullptr, nullptr);
        root.addWorker(&worker);
        PelkValue tone;
        tone.setString_(QStringLiteral("soft"));
        store->values.insert(tonePath(), tone);
        PelkQobuzSettings settings;
        settings.setAppSecret(QStringLiteral("SECRET-1"));
        PelkValue secret;
        secret.setQobuzSettings(settings);
        store->values.insert(closedPath(), secret);
        root.keep(tonePath(), store);
        root.keep(closedPath(), store);
        QString error;
        if (!writer.open(&error))
            qFatal("%s", qPrintable(error));
        output = std::make_unique<WavOutput>(&writer);
        engine = std::make_unique<PlayEngine>(output.get());
        QDir(folder.path()).mkpath(QStringLiteral("panel/assets"));
        QDir(folder.path()).mkpath(QStringLiteral("translations"));
        write(QStringLiteral("panel/index.html"), "<!doctype html>the panel");
        write(QStringLiteral("panel/assets/app.js"), "let a;");
        options.port = 0;
        options.history = &history;
        options.panelFolder = folder.filePath(QStringLiteral("panel"));
        options.translationFolders = QStringList{folder.filePath(QStringLiteral("translations"))};
        options.closedPaths = {closedPath()};
        options.limits.contentMs = contentLimitMs;
    }
    ~ServerFixture()
    {
        server.reset();
        engine.reset();
        output.reset();
    }
    ServerFixture(const ServerFixture&) = delete;
    ServerFixture& operator=(const ServerFixture&) = delete;

    void start()
    {
        server = std::make_unique<PanelServer>(options, engine.get());
        QString error;
        if (!server->start(&error))
            qFatal("%s", qPrintable(error));
        port = quint16(QUrl(server->url()).port());
    }

    PanelClient client() const { return PanelClient(port); }
    void write(const QString& name, const QByteArray& content) const
    {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("%s cannot be written", qPrintable(name));
    }
    /// The address of a sound of so many milliseconds, which the worker resolves an id to.
    void addTrack(const QString& id, int milliseconds)
    {
        constexpr PcmFormat voice{16000, 1, 16};
        const QString name = folder.filePath(QStringLiteral("%1.wav").arg(milliseconds));
        worker.script.list << id;
        WavWriter sound(name);
        QString error;
        const QByteArray data(voice.rateHz * milliseconds / 1000 * voice.frameBytes(), 'u');
        if (!sound.open(&error) || !sound.write(voice, data.constData(), data.size(), &error) ||
            !sound.finish(&error))
            qFatal("%s", qPrintable(error));
        QFile file(name);
        if (!file.open(QIODevice::ReadOnly))
            qFatal("%s cannot be read", qPrintable(name));
        worker.script.uris.insert(id, media.add(QFileInfo(name).fileName(), file.readAll()));
    }

    static CMPath tonePath() { return CMPath(QStringLiteral("settings:test/tone")); }
    static CMPath closedPath() { return CMPath(QStringLiteral("settings:test")); }

    QTemporaryDir folder;
    MediaServer media;
    CMRootWorker root;
    PanelWorker worker;
    std::shared_ptr<MemoryStore> store;
    WavWriter writer;
    std::unique_ptr<WavOutput> output;
    std::unique_ptr<PlayEngine> engine;
    History history{folder.filePath(QStringLiteral("history.json"))};
    PanelServer::Options options;
    std::unique_ptr<PanelServer> server;
    quint16 port = 0;
};
