#include "player/host/LogMask.h"

#include <QRegularExpression>

namespace {

struct Rule
{
    QRegularExpression pattern;
    QString replacement;
};

Rule rule(const char* pattern, const char* replacement)
{
    Rule made{
        QRegularExpression(QString::fromLatin1(pattern), QRegularExpression::DotMatchesEverythingOption),
        QString::fromLatin1(replacement)};
    Q_ASSERT(made.pattern.isValid());
    return made;
}

} // namespace

QString maskSecrets(const QString& line)
{
    static const Rule rules[] = {
        // Who asks, and any query, of an absolute address: which parameter is the signature is the service's
        // business.
        rule(R"((https?://)[^\s"<>/?#]*@)", R"(\1***@)"),
        rule(R"((https?://[^\s"<>?#]*)\?[^\s"<>]*)", R"(\1?***)"),
        // The value of a header lasts to the end of its line.
        rule(R"re(\b(X-[\w-]*[tT]oken[\w-]*: )[^\r\n]*)re", R"(\1***)"),
        // A JSON string may hold escaped quotes. Possessive, since a long one would exhaust the matcher's
        // stack,
        // and what does not match is not masked.
        rule(
            R"re(("(?:password|request_sig|appSecret|app_secret|\w*[tT]oken\w*)"\s*:\s*)"(?:[^"\\]++|\\.)*+")re",
            R"(\1***)"),
        // A record as text escapes nothing, so a secret may look like the end of its field. It lasts until
        // the
        // field that follows it in the records of an account and of a login, or else until the last quote.
        rule(R"re(\b(password|\w*[tT]oken\w*): ".*(?=", (?:username|userId): ))re", R"(\1: "***)"),
        rule(R"re(\b(password|\w*[tT]oken\w*|appSecret|app_secret|request_sig): "(?!\*\*\*").*")re",
             R"(\1: "***")"),
        rule(R"(\b(password|request_sig|appSecret|app_secret)=[^&\s"']*)", R"(\1=***)"),
        // user_auth_token, userAuthToken: as a parameter or a field.
        rule(R"re(([\w-]*[tT]oken[\w-]*)=[^&\s"']*)re", R"(\1=***)"),
        rule(R"re(([\w-]*[tT]oken[\w-]*: )("?)[^\s",}]+)re", R"(\1\2***)"),
    };
    QString masked = line;
    for (const Rule& one : rules)
        masked.replace(one.pattern, one.replacement);
    return masked;
}
