#include "tests/e2e/serve.h"
#include "tests/e2e/terminalprocess.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalServer>
#include <QLocalSocket>
#include <QUrlQuery>
#include <QtTest>

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

/// A player's interface behind a socket file, with rows that are hard to type.
class ScriptedPlayer
{
public:
    explicit ScriptedPlayer(const QString& socketFile)
    {
        QVERIFY(m_server.listen(socketFile));
        QObject::connect(&m_server, &QLocalServer::newConnection, &m_server, [this] {
            QLocalSocket* const socket = m_server.nextPendingConnection();
            QObject::connect(socket, &QLocalSocket::readyRead, socket, [this, socket] { read(socket); });
        });
        m_rows[text("")] = {row("Test", "t:", "folder", "t:search")};
        m_rows[text("t:")] = {row("Plain", "t:plain"),      row("Blank", "t:with blank/"),
                              row("Japanese", "t:空の ソ"), row("Colon", "t:a:b"),
                              row("Quote", "t:it's"),       row("Dollar", "t:$HOME"),
                              row("Query", "t:q?x=1&y=2"),  row("Backslash", "t:back\\slash")};
        m_rows[text("t:with blank")] = {row("Below", "t:with blank/below")};
        QJsonObject query = row("Search", "t:query");
        query[text("type")] = text("query");
        query[text("queryPath")] = text("t:found");
        query[text("query")] = text("text");
        m_rows[text("t:search")] = {query};
        m_rows[text("t:found")] = {row("Albums", "t:albums"), row("Artists", "t:artists")};
        m_rows[text("t:albums")] = {row("Kind of Blue", "t:album1", "album"),
                                    row("空の 名前", "t:album2", "album")};
        m_rows[text("t:artists")] = {row("Kind Words", "t:artist1", "artist")};
    }

private:
    static QJsonObject row(const char* title, const char* path, const char* kind = "folder",
                           const char* searchPath = "")
    {
        QJsonObject row{{text("title"), text(title)},
                        {text("path"), text(path)},
                        {text("type"), text("container")},
                        {text("containerType"), text(kind)}};
        if (*searchPath)
            row[text("searchPath")] = text(searchPath);
        return row;
    }
    void read(QLocalSocket* socket)
    {
        QByteArray head = socket->property("head").toByteArray() + socket->readAll();
        for (int end = 0; (end = head.indexOf("\r\n\r\n")) >= 0; head.remove(0, end + 4)) {
            const QUrl url = QUrl::fromEncoded(head.split(' ').value(1));
            const QString path = QUrlQuery(url)
                                     .queryItemValue(text("path"), QUrl::FullyDecoded)
                                     .section(QLatin1Char('?'), 0, 0);
            const QJsonArray rows = m_rows.value(path);
            const QByteArray body =
                QJsonDocument(QJsonObject{{text("rows"), rows}, {text("count"), rows.size()}}).toJson();
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                          QByteArray::number(body.size()) + "\r\n\r\n" + body);
        }
        socket->setProperty("head", head);
    }

    QLocalServer m_server;
    QHash<QString, QJsonArray> m_rows;
};

/// A shell in which somebody types.
class Shell : public TerminalProcess
{
public:
    Shell(const QString& name, const QProcessEnvironment& environment)
        : TerminalProcess(command(name), environment, 400)
    {
    }

private:
    static QByteArrayList command(const QString& name)
    {
        if (name == text("bash"))
            return {"/bin/bash", "--norc", "--noprofile", "-i"};
        return name == text("zsh") ? QByteArrayList{"/usr/bin/zsh", "-f", "-i"}
                                   : QByteArrayList{"/usr/bin/fish", "--no-config", "-i"};
    }
};

} // namespace

/// The completions in their shells: types words, presses Tab and Enter, and checks the arguments that the
/// program receives.
class CompletionsE2ETest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    std::unique_ptr<Players> m_players; // no player of theirs is running
    std::unique_ptr<ScriptedPlayer> m_player;

    QString socketFile() const { return m_folder.path() + text("/player.sock"); }
    /// A home, a terminal, and a program `pelk` that prints its arguments unless a shell asks it to complete.
    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = m_players->environment();
        environment.insert(text("PATH"), m_folder.path() + text("/bin:/usr/bin:/bin"));
        environment.insert(text("TERM"), text("xterm"));
        environment.insert(text("LC_ALL"), text("C.UTF-8"));
        environment.insert(text("SOCKET"), socketFile());
        environment.insert(text("FOLDER"), m_folder.path());
        return environment;
    }
    static void load(Shell& shell, const QString& name)
    {
        // The marker is not to be found in what the shell echoes.
        if (name == text("bash"))
            shell.type("bind 'set bell-style none'; bind 'set enable-bracketed-paste off'; "
                       "source <(pelk completions bash); echo REA''DY\r");
        else if (name == text("zsh"))
            shell.type("unset zle_bracketed_paste; unsetopt beep; autoload -U compinit; compinit -u -D; "
                       "source <(pelk completions zsh); echo REA''DY\r");
        else
            shell.type("pelk completions fish | source; echo REA''DY\r");
        shell.readUpTo("READY");
    }
    /// The arguments of a command line that was typed into a shell, followed by Tab and Enter.
    QStringList completed(const QString& name, const QString& line) const
    {
        Shell shell(name, environment());
        load(shell, name);
        shell.type(line.toUtf8() + "\t\r");
        shell.readUpTo("@@");
        const QString arguments = QString::fromUtf8(shell.readUpTo("@@"));
        if (!arguments.startsWith(QLatin1Char('[')))
            qWarning("%s", shell.output().constData());
        return arguments.mid(1, arguments.size() - 2).split(text("]["));
    }
    /// The output of `pelk complete` for a line, without descriptions.
    QStringList candidates(const QStringList& words) const
    {
        const Players::Outcome outcome = m_players->pelk(QStringList{text("complete"), text("--")} + words);
        QStringList found;
        const QStringList lines = outcome.output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        for (const QString& line : lines)
            found << line.section(QLatin1Char('\t'), 0, 0);
        return outcome.fault().isEmpty() && outcome.errors.isEmpty() ? found : QStringList(outcome.errors);
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_players = std::make_unique<Players>();
        m_player = std::make_unique<ScriptedPlayer>(socketFile());
        QVERIFY(QDir().mkpath(m_folder.path() + text("/bin")));
        QFile program(m_folder.path() + text("/bin/pelk"));
        QVERIFY(program.open(QIODevice::WriteOnly));
        program.write("#!/bin/sh\n"
                      "case $1 in complete | completions) exec " PELK_BIN_DIR "/pelk \"$@\" ;; esac\n"
                      "printf '@'; printf '@'\n"
                      "for word; do printf '[%s]' \"$word\"; done\n"
                      "printf '@@\\n'\n");
        program.close();
        QVERIFY(program.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        for (const char* name : {"a file.ini", "c:d e.ini"}) {
            QFile file(m_folder.path() + QLatin1Char('/') + text(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        QVERIFY(QDir().mkpath(m_folder.path() + text("/a folder")));
    }
    void cleanupTestCase()
    {
        m_player.reset();
        m_players.reset();
    }

    void aShellCompletesTheWord_data()
    {
        QTest::addColumn<QString>("shell");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("last");
        const auto row = [](const char* name, const char* line, const char* last) {
            for (const char* shell : {"bash", "zsh", "fish"})
                QTest::addRow("%s, %s", shell, name) << text(shell) << text(line) << text(last);
        };
        row("command", "pelk volu", "volume");
        row("further command", "pelk queue shu", "shuffle");
        row("option", "pelk now --fol", "--follow");
        row("common option", "pelk --log", "--log-level");
        row("value", "pelk queue repeat al", "all");
        row("value of an option", "pelk --log-level tr", "trace");
        row("value of several forms", "pelk sleep tra", "track");
        row("file with blanks", "pelk --config $FOLDER/a\\ fi", "/a file.ini");
        row("file with a colon", "pelk --config $FOLDER/c:", "/c:d e.ini");
        row("path", "pelk --socket $SOCKET play t:pl", "t:plain");
        row("path with a second colon", "pelk --socket $SOCKET play t:a:", "t:a:b");
        row("path with a blank", "pelk --socket $SOCKET rows t:wi", "t:with blank/");
        row("path below a blank", "pelk --socket $SOCKET rows t:with\\ blank/", "t:with blank/below");
        row("path in quotes", "pelk --socket $SOCKET rows 't:pl", "t:plain");
        row("path in double quotes", "pelk --socket $SOCKET rows \"t:空の ", "t:空の ソ");
        row("path not in Latin letters", "pelk --socket $SOCKET queue add t:空", "t:空の ソ");
        row("path with an apostrophe", "pelk --socket $SOCKET play t:it", "t:it's");
        row("path with a dollar", "pelk --socket $SOCKET play t:\\$", "t:$HOME");
        row("path with a query", "pelk --socket $SOCKET play t:q", "t:q?x=1&y=2");
        row("path with a backslash", "pelk --socket $SOCKET play t:ba", "t:back\\slash");
        row("title", "pelk --socket $SOCKET play album Kin", "Kind of Blue");
        row("title not in Latin letters", "pelk --socket $SOCKET play album 空の", "空の 名前");
        row("rest of a title", "pelk --socket $SOCKET play album Kind of B", "Blue");
        row("title without its kind", "pelk --socket $SOCKET play Kind\\ o", "Kind of Blue");
    }
    void aShellCompletesTheWord()
    {
        QFETCH(QString, shell);
        QFETCH(QString, line);
        QFETCH(QString, last);
        QString typed = line;
        // In quotes and in bash, a variable would not be completed behind.
        typed.replace(text("$SOCKET"), socketFile()).replace(text("$FOLDER"), m_folder.path());
        const QStringList arguments = completed(shell, typed);
        if (last.startsWith(QLatin1Char('/')))
            last.prepend(m_folder.path());
        QCOMPARE(arguments.last(), last);
        // The rest stays as typed.
        QCOMPARE(arguments.size(),
                 typed.count(QRegularExpression(text("(?<!\\\\) "))) - (typed.contains(text("の ")) ? 1 : 0));
    }

    void eachCommandIsOffered()
    {
        const QStringList offered = candidates({QString()});
        const QString help = m_players->pelk({text("--help")}).output;
        const QString list = help.section(text("Playback:\n"), 1);
        int commands = 0;
        const QStringList lines = list.split(QLatin1Char('\n'));
        for (const QString& line : lines) {
            const QString word = line.section(QLatin1Char(' '), 2, 2);
            if (!line.startsWith(text("  ")) || word.isEmpty())
                continue;
            QVERIFY2(offered.contains(word), qPrintable(word));
            ++commands;
        }
        QVERIFY(commands > 15);
        QCOMPARE(offered.size(), commands);
    }

    void unsuitableWordsAreNotOffered_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("offered");
        QTest::newRow("of several") << text("queue s") << text("shuffle");
        QTest::newRow("of no command") << text("frobnicate ") << QString();
        QTest::newRow("behind the last argument") << text("quality cd ") << QString();
        QTest::newRow("a text that may be anything") << text("login ") << QString();
        QTest::newRow("the kinds, where no player is reached") << text("play a") << text("album artist");
    }
    void unsuitableWordsAreNotOffered()
    {
        QFETCH(QString, line);
        QFETCH(QString, offered);
        QCOMPARE(candidates(line.split(QLatin1Char(' '))).join(QLatin1Char(' ')), offered);
    }

    void aPathOfARunningPlayerIsOffered()
    {
        QCOMPARE(m_players->login().fault(), QString());
        const Serve serve(*m_players);
        QVERIFY(candidates({text("play"), text("qobuz:fav")}).contains(text("qobuz:favourites/")));
        QCOMPARE(completed(text("bash"), text("pelk rows qobuz:fav")).last(), text("qobuz:favourites/"));
        const QStringList titles = candidates({text("play"), text("track"), text("sum")});
        QVERIFY(!titles.isEmpty());
        for (const QString& title : titles)
            QVERIFY2(title.startsWith(text("sum"), Qt::CaseInsensitive), qPrintable(title));
    }

    void anUnresponsivePlayerDoesNotBlockTheShell()
    {
        const QString file = m_folder.path() + text("/silent.sock");
        QLocalServer silent;
        QVERIFY(silent.listen(file)); // and accepts nothing
        QCOMPARE(candidates({text("--socket"), file, text("play"), text("t:")}), QStringList());
        QCOMPARE(candidates({text("--socket"), text("/nowhere/player.sock"), text("play"), text("t:")}),
                 QStringList());
        QCOMPARE(candidates({text("play"), text("t:")}), QStringList());
    }
};

QTEST_GUILESS_MAIN(CompletionsE2ETest)
#include "completions_e2e_test.moc"
