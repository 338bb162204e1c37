#include "tests/faults/faulttable.h"

namespace {

constexpr int limitBytes = 524288; // of the body of an answer

Json body(const Json& text, int status = 200)
{
    return {{"kind", "body"}, {"status", status}, {"body", text}};
}

} // namespace

QList<Fault> answerFaults(const Endpoint& endpoint, const Outcome& right, const QString& elsewhere,
                          int refusingPort)
{
    using Is = Expected;
    const auto status = [](int code, const char* form, const char* message = "Made to fail") {
        return Json{{"kind", "status"}, {"status", code}, {"form", form}, {"message", message}};
    };
    const auto redirect = [](const std::string& location) {
        return Json{{"kind", "redirect"}, {"location", location}};
    };
    const std::string elsewhereUrl = elsewhere.toStdString();
    const char* const message = "Made to fail";
    return {
        // No answer.
        {"connection refused", {{"kind", "refuse"}}, Is::noAnswer()},
        {"closed without an answer", {{"kind", "drop"}}, Is::noAnswer()},
        {"reset without an answer", {{"kind", "reset"}}, Is::noAnswer()},
        {"reset after the head", {{"kind", "reset"}, {"bytes", 0}}, Is::noAnswer()},
        {"reset within the body", {{"kind", "reset"}, {"bytes", 20}}, Is::noAnswer()},
        {"no HTTP", {{"kind", "garbage"}}, Is::noAnswer()},
        {"cut off after the head", {{"kind", "truncate"}, {"bytes", 0}}, Is::noAnswer()},
        {"cut off after a byte", {{"kind", "truncate"}, {"bytes", 1}}, Is::noAnswer()},
        {"cut off within the body", {{"kind", "truncate"}, {"bytes", 20}}, Is::noAnswer()},
        {"a byte too large",
         {{"kind", "oversize"}, {"bytes", limitBytes + 1}, {"chunked", false}},
         Is::noAnswer()},
        {"a byte too large, in chunks",
         {{"kind", "oversize"}, {"bytes", limitBytes + 1}, {"chunked", true}},
         Is::noAnswer()},
        {"much too large, in chunks",
         {{"kind", "oversize"}, {"bytes", 8 * limitBytes}, {"chunked", true}},
         Is::noAnswer()},
        {"a failure that is too large", body(std::string(limitBytes + 1, ' '), 500), Is::noAnswer()},
        {"redirected for ever", {{"kind", "redirect"}}, Is::noAnswer()},
        {"redirected to nobody", redirect("http://127.0.0.1:" + std::to_string(refusingPort) + "/"),
         Is::noAnswer()},
        {"redirected to a file", redirect("file:///etc/hostname"), Is::noAnswer()},
        {"redirected to another protocol", redirect("ftp://127.0.0.1/"), Is::noAnswer()},
        {"redirected to nonsense", redirect("http://[/"), Is::noAnswer()},
        // A failure.
        {"400, JSON", status(400, "json"), Is::refused(400, message)},
        {"401, a token that has expired",
         {{"kind", "expired-token"}},
         Is::refused(401, "User authentication is required. (Invalid or expired user_auth_token)")},
        {"404, JSON in other letters", status(404, "json", "50% von Größe \xe9\x9f\xb3"),
         Is::refused(404, "50% von Größe \xe9\x9f\xb3")},
        {"429, too many requests",
         {{"kind", "rate-limit"}, {"retry_after", 7}},
         Is::refused(429, "Too many requests")},
        {"500, JSON", status(500, "json"), Is::refused(500, message)},
        {"503, JSON without a message", status(503, "json", ""), Is::refused(503, "")},
        {"404, HTML", status(404, "html"), Is::failed(404)},
        {"502, HTML", status(502, "html"), Is::failed(502)},
        {"403, nothing", status(403, "empty"), Is::failed(403)},
        {"500, nothing", status(500, "empty"), Is::failed(500)},
        {"500, half of a JSON text", body("{\"message\":\"Made", 500), Is::failed(500)},
        {"500, a list", body(Json::array({1, 2}), 500), Is::refused(500, "")},
        {"500, a number", body(7, 500), Is::refused(500, "")},
        {"500, nulls everywhere", body({{"status", nullptr}, {"code", nullptr}, {"message", nullptr}}, 500),
         Is::refused(500, "")},
        {"500, a number for a message", body({{"message", 17}}, 500), Is::refused(500, "17")},
        {"500, an object for a message", body({{"message", {{"text", "x"}}}}, 500), Is::refused(500, "")},
        {"500, a list for a message", body({{"message", {"x", "y"}}}, 500), Is::refused(500, "")},
        {"201, JSON", body({{"message", "Made"}}, 201), Is::refused(201, "Made")},
        {"204", status(204, "empty"), Is::failed(204)},
        {"300, without a place to go", status(300, "json"), Is::refused(300, message)},
        {"302, without a place to go", status(302, "json"), Is::refused(302, message)},
        {"304, to a question without a condition", status(304, "empty"), Is::failed(304)},
        // A success that is none.
        {"200, HTML", {{"kind", "not-json"}}, {Is::NotParsed}},
        {"200, nothing", body(""), {Is::NotParsed}},
        {"200, half of a JSON text", body("{\"albums\":{\"items\":[{"), {Is::NotParsed}},
        {"200, two JSON texts", body("{}{}"), {Is::NotParsed}},
        {"200, JSON that is nested too deep", body(std::string(100000, '[')), {Is::NotParsed}},
        {"200, binary", body(Json("\x01\x02\x03")), {Is::NotParsed}},
        // A success after all.
        {"slow, in slices", {{"kind", "drip"}, {"bytes", 4000}, {"interval_ms", 1}}, {}},
        {"late", {{"kind", "delay"}, {"ms", 30}}, {}},
        {"exactly as large as it may be",
         {{"kind", "oversize"}, {"bytes", limitBytes}, {"chunked", true}},
         Is::empty(endpoint, right)},
        {"redirected to another server", redirect(elsewhereUrl), Is::empty(endpoint, right)},
        {"served by a host that is not the service's",
         {{"kind", "header"}, {"value", "http://evilqobuz.com/"}},
         {}},
    };
}

QString difference(const Endpoint& endpoint, const Expected& expected, const Outcome& outcome,
                   const Outcome& right)
{
    if (!outcome.finished)
        return QStringLiteral("there is no answer");
    if (outcome.answers != 1)
        return QStringLiteral("there are %1 answers").arg(outcome.answers);
    QStringList faults;
    const auto compare = [&faults](const char* what, const QString& is, const QString& shall) {
        if (is != shall)
            faults << QStringLiteral("%1 is \"%2\", not \"%3\"").arg(QLatin1String(what), is, shall);
    };
    const bool failure = expected.kind == Expected::Failed || expected.kind == Expected::NotParsed;

    // A failed report appears only in the log; its request has its own reply.
    QVariantHash error;
    QString line;
    if (failure) {
        QString message = expected.message;
        const char* ownText = expected.kind == Expected::Failed ? "Unknown error" : "Invalid data returned.";
        error = {{CMError::Name(), QStringLiteral("error")},
                 {CMError::Title(), QStringLiteral("Error")},
                 {CMError::Message(), message.isEmpty() ? QString::fromLatin1(ownText) : message}};
        if (expected.kind == Expected::NotParsed) {
            line = QStringLiteral("Failed to parse data, error: ");
        } else {
            QVariantHash data{{QStringLiteral("ErrorCode"), expected.code}};
            if (expected.bodyParses)
                data.insert(QStringLiteral("ServerReply"), message);
            error.insert(CMError::Data(), data);
            line = QStringLiteral("HTTP call to %1?").arg(QLatin1String(endpoint.call));
            const QString end = QStringLiteral(" failed (%1)%2")
                                    .arg(QString::number(expected.code),
                                         expected.bodyParses ? QStringLiteral(": ") + message : QString());
            if (!outcome.errorLines.value(0).endsWith(end))
                faults << QStringLiteral("the log does not end with \"%1\"").arg(end);
        }
    }
    if (outcome.errorLines.size() != (failure ? 1 : 0) || !outcome.errorLines.value(0).startsWith(line))
        faults << QStringLiteral("the log has \"%1\", not \"%2\"")
                      .arg(outcome.errorLines.join(QLatin1Char('|')), line);
    const Json shallError = endpoint.isReport() ? Json::object() : Stage::json(error);
    const Json isError = Stage::json(outcome.error.variant());
    if (isError != shallError)
        compare("the error", QString::fromStdString(isError.dump()),
                QString::fromStdString(shallError.dump()));
    const bool ownText = failure && expected.message.isEmpty();
    if (!endpoint.isReport() && outcome.error.isSet() && outcome.error.message().isTranslatable() != ownText)
        faults << QStringLiteral("the message is translated or not");
    if (endpoint.kind == Endpoint::Login)
        compare("the login state", QString::number(outcome.loginState), QString::number(failure ? 3 : 0));
    if (endpoint.isReport() || expected.kind == Expected::AnyValue)
        return faults.join(QLatin1String("; "));

    Json records = expected.records;
    int count = expected.count;
    if (expected.kind == Expected::Right) {
        records = right.records;
        count = right.count;
    }
    if (outcome.records != records)
        faults << QStringLiteral("the answer is %1, which from what it should be differs by %2")
                      .arg(QString::fromStdString(outcome.records.dump()),
                           QString::fromStdString(Json::diff(records, outcome.records).dump()));
    compare("the count", QString::number(outcome.count), QString::number(count));
    return faults.join(QLatin1String("; "));
}
