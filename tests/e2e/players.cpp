#include "tests/e2e/players.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>

#include <stdexcept>

namespace {

constexpr int processTimeoutMs = 60000;

} // namespace

QJsonObject Players::Outcome::json() const
{
    return QJsonDocument::fromJson(output.toUtf8()).object();
}

Players::Players()
{
    m_sandbox.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_sandbox.start(QStringLiteral(PELK_BIN_DIR "/qobuz-sandbox"),
                    {QStringLiteral("--port"), QStringLiteral("0")});
    while (!m_sandbox.canReadLine())
        if (!m_sandbox.waitForReadyRead(processTimeoutMs))
            throw std::runtime_error("The sandbox did not start.");
    m_apiUrl = QString::fromUtf8(m_sandbox.readLine()).section(QLatin1String(": "), 1).trimmed();
    m_controlUrl = m_apiUrl.section(QStringLiteral("/api.json"), 0, 0) + QStringLiteral("/control/");
    writeSettingsFor(m_apiUrl);
}

Players::~Players()
{
    stopSandbox();
}

void Players::stopSandbox()
{
    if (m_sandbox.state() == QProcess::NotRunning)
        return;
    m_sandbox.terminate();
    m_sandbox.waitForFinished(processTimeoutMs);
}

void Players::writeSettings(const QString& text) const
{
    QDir().mkpath(m_home.path() + QStringLiteral("/config/pelk"));
    QFile file(settingsFile());
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0)
        throw std::runtime_error("The settings cannot be written.");
}

void Players::writeSettingsFor(const QString& apiUrl) const
{
    writeSettings(QStringLiteral("[qobuz]\napiUrl=%1\nappId=100000001\n"
                                 "appSecret=sandbox-secret-0123456789abcdef\n")
                      .arg(apiUrl));
}

QProcessEnvironment Players::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), m_home.path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home.path() + QStringLiteral("/config"));
    environment.insert(QStringLiteral("XDG_STATE_HOME"), m_home.path() + QStringLiteral("/state"));
    // The socket file is in the state folder then.
    environment.remove(QStringLiteral("XDG_RUNTIME_DIR"));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), m_home.path() + QStringLiteral("/cache"));
    return environment;
}

std::unique_ptr<QProcess> Players::start(const QStringList& arguments, int descriptors) const
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(environment());
    process->setStandardInputFile(QProcess::nullDevice());
    const QString program = QStringLiteral(PELK_BIN_DIR "/pelk");
    if (descriptors == 0)
        process->start(program, arguments);
    else
        process->start(QStringLiteral("sh"),
                       QStringList{QStringLiteral("-c"), QStringLiteral("ulimit -n $0; exec \"$@\""),
                                   QString::number(descriptors), program} +
                           arguments);
    return process;
}

Players::Outcome Players::pelk(const QStringList& arguments, const QByteArray& input) const
{
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(QStringLiteral(PELK_BIN_DIR "/pelk"), arguments);
    process.write(input);
    process.closeWriteChannel();
    Outcome outcome;
    if (process.waitForFinished(processTimeoutMs) && process.exitStatus() == QProcess::NormalExit)
        outcome.exitCode = process.exitCode();
    outcome.output = QString::fromUtf8(process.readAllStandardOutput());
    outcome.errors = QString::fromUtf8(process.readAllStandardError());
    return outcome;
}

QString Players::Outcome::fault() const
{
    return exitCode == 0 ? QString()
                         : QStringLiteral("exit code %1: %2").arg(QString::number(exitCode), errors);
}

Players::Outcome Players::login() const
{
    return pelk(
        {QStringLiteral("login"), QStringLiteral("demo@example.com"), QStringLiteral("--password-stdin")},
        "demo\n");
}

QJsonObject Players::rows(const QString& path, int from, int to) const
{
    return pelk({QStringLiteral("rows"), path, QStringLiteral("--from"), QString::number(from),
                 QStringLiteral("--to"), QString::number(to), QStringLiteral("--json")})
        .json();
}

QByteArray Players::curl(const QStringList& arguments) const
{
    QProcess process;
    process.start(QStringLiteral("curl"),
                  QStringList{QStringLiteral("-sS"), QStringLiteral("--noproxy"), QStringLiteral("*")} +
                      arguments);
    process.waitForFinished(processTimeoutMs);
    return process.readAllStandardOutput();
}

QJsonObject Players::controlGet(const QString& path) const
{
    return QJsonDocument::fromJson(curl({m_controlUrl + path})).object();
}

void Players::controlPost(const QString& path, const QJsonObject& body) const
{
    curl({QStringLiteral("--json"), QString::fromUtf8(QJsonDocument(body).toJson()), m_controlUrl + path});
}

void Players::controlDelete(const QString& path) const
{
    curl({QStringLiteral("-X"), QStringLiteral("DELETE"), m_controlUrl + path});
}

void Players::fault(const QString& endpoint, QJsonObject fault) const
{
    fault.insert(QStringLiteral("endpoint"), endpoint);
    controlPost(QStringLiteral("faults"), fault);
}

QJsonObject Players::apiGet(const QString& target) const
{
    return QJsonDocument::fromJson(
               curl({QStringLiteral("-H"), QStringLiteral("X-App-Id: 100000001"), m_apiUrl + target}))
        .object();
}
