#include "player/base/LogMask.h"

#include <QRegularExpression>

namespace {

struct Rule
{
    QRegularExpression pattern;
    QString replacement;
};

Rule rule(const QString& pattern, const char* replacement,
          QRegularExpression::PatternOptions options = QRegularExpression::NoPatternOption)
{
    Rule made{QRegularExpression(pattern, options | QRegularExpression::DotMatchesEverythingOption),
              QString::fromLatin1(replacement)};
    Q_ASSERT(made.pattern.isValid());
    return made;
}

Rule rule(const char* pattern, const char* replacement)
{
    return rule(QString::fromLatin1(pattern), replacement);
}

template <std::size_t count>
QString replaced(QString line, const Rule (&rules)[count])
{
    for (const Rule& one : rules)
        line.replace(one.pattern, one.replacement);
    return line;
}

/// Names of fields and parameters that identify a person. They end in \w++ to avoid backtracking.
const char* const personField =
    R"((?:user|login|e?_?mail|device|credential|member|account|(?:first|last|display)_?name)\w*+)";

} // namespace

QString maskSecrets(const QString& line)
{
    static const Rule rules[] = {
        // User info and any query of an absolute address, because which parameter is the signature depends on
        // the service.
        rule(R"((https?://)[^\s"<>/?#]*@)", R"(\1***@)"),
        rule(R"((https?://[^\s"<>?#]*)\?[^\s"<>]*)", R"(\1?***)"),
        // The value of a header lasts to the end of its line.
        rule(R"re(\b(X-[\w-]*[tT]oken[\w-]*: )[^\r\n]*)re", R"(\1***)"),
        // A JSON string may contain escaped quotes. The match is possessive, because a long string would
        // otherwise exhaust the matcher's stack, and would then not be masked.
        rule(
            R"re(("(?:password|request_sig|appSecret|app_secret|\w*[tT]oken\w*)"\s*:\s*)"(?:[^"\\]++|\\.)*+")re",
            R"(\1***)"),
        // A record as text escapes nothing, so a secret may look like the end of its field. It extends to the
        // next field in the records of an account and of a login, otherwise to the last quote.
        rule(R"re(\b(password|\w*[tT]oken\w*): ".*(?=", (?:username|userId): ))re", R"(\1: "***)"),
        rule(R"re(\b(password|\w*[tT]oken\w*|appSecret|app_secret|request_sig): "(?!\*\*\*").*")re",
             R"(\1: "***")"),
        rule(R"(\b(password|request_sig|appSecret|app_secret)=[^&\s"']*)", R"(\1=***)"),
        // user_auth_token, userAuthToken: as a parameter or a field.
        rule(R"re(([\w-]*[tT]oken[\w-]*)=[^&\s"']*)re", R"(\1=***)"),
        rule(R"re(([\w-]*[tT]oken[\w-]*: )("?)[^\s",}]+)re", R"(\1\2***)"),
    };
    return replaced(line, rules);
}

QString maskPersons(const QString& line)
{
    const auto personRule = [](const char* pattern, const char* replacement) {
        return rule(QString::fromLatin1(pattern).arg(QLatin1String(personField)), replacement,
                    QRegularExpression::CaseInsensitiveOption);
    };
    static const Rule rules[] = {
        // The service's response to a login may contain the name.
        rule(R"((HTTP call to user/\S++ failed \(\d++\)): .*)", R"(\1: ***)"),
        personRule(R"re((\b%1=)[^&\s"']*+)re", R"(\1***)"),
        personRule(R"re(("%1"\s*:\s*)(?:"(?:[^"\\]++|\\.)*+"?|[^\s,}\]]++))re", R"(\1***)"),
        // A record as text escapes nothing: a name lasts to the last quote.
        personRule(R"re((\b%1: ")(?!\*\*\*").*")re", R"(\1***")"),
        personRule(R"re((\b%1: )[0-9][^\s,}\]]*+)re", R"(\1***)"),
        // A mail address anywhere in the text; in a URL its @ is encoded.
        rule(R"((?<![\w.+-])[\w.+-]++(?:@|%40)[\w-]++(?:\.[\w-]++)+)", "***"),
    };
    return replaced(line, rules);
}
