#include "player/LogMask.h"

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
        // Any query of an absolute address: which parameter is the signature is the service's business.
        rule(R"((https?://[^\s"'<>?#]*)\?[^\s"'<>]*)", R"(\1?***)"),
        // A JSON string may hold escaped quotes.
        rule(R"re(("(?:password|request_sig|appSecret|app_secret)"\s*:\s*)"(?:[^"\\]|\\.)*")re", R"(\1***)"),
        rule(R"re(("\w*[tT]oken\w*"\s*:\s*)"(?:[^"\\]|\\.)*")re", R"(\1***)"),
        // A record as text escapes nothing, so a password may look like the end of its field. It lasts until
        // the field that follows it in the account record, or else until the last quote.
        rule(R"re(\b(password: )".*(?=", username: "))re", R"re(\1"***)re"),
        rule(R"re(\b(password: )"(?!\*\*\*").*")re", R"re(\1"***")re"),
        rule(R"re(\b(appSecret|app_secret|request_sig): "[^"]*")re", R"(\1: "***")"),
        rule(R"(\b(password|request_sig|appSecret|app_secret)=[^&\s"']*)", R"(\1=***)"),
        // user_auth_token, userAuthToken, X-User-Auth-Token: as a parameter, a field or a header.
        rule(R"re(([\w-]*[tT]oken[\w-]*)=[^&\s"']*)re", R"(\1=***)"),
        rule(R"re(([\w-]*[tT]oken[\w-]*: )("?)[^\s",}]+)re", R"(\1\2***)"),
    };
    QString masked = line;
    for (const Rule& one : rules)
        masked.replace(one.pattern, one.replacement);
    return masked;
}
