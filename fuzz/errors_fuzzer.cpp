// A line with a call of the API client, by its first character, and the code of an answer that failed; then
// its body. The reply finishes with an error that has a name, a message, and the code among its data.

#include "api/core/json/pelkjson.h"
#include "fuzz/input.h"
#include "fuzz/service.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    static Service service;
    const Service::Call& call = Service::calls().at(input.choice(Service::calls().size()));
    const int wanted = input.line().trimmed().toInt();
    const int code = wanted == 200 ? 0 : wanted;
    const CMVoidReply reply = call.make(service.api);
    service.answer(code, input.rest());
    require(reply.isFinished(), "A failure finishes the reply.");

    const CMError error = reply.error();
    const QVariantHash about = error.data();
    require(!error.name().isEmpty(), "An error has a name.");
    require(!error.message().toString().isEmpty(), "An error says something.");
    require(about.value(QStringLiteral("ErrorCode")) == QVariant(code),
            "An error carries the answer's code.");
    PelkError failure;
    const QVariantHash body = PelkJson::parse(input.rest(), failure).toHash();
    const QString said = body.value(QStringLiteral("message")).toString();
    require(about.contains(QStringLiteral("ServerReply")) == failure.isEmpty(),
            "What the service said is among the data when it could be read.");
    require(about.value(QStringLiteral("ServerReply")).toString() == said, "It is there as it was said.");
    require(error.message().toString() == (said.isEmpty() ? QStringLiteral("Unknown error") : said),
            "The message is the service's, if it has one.");
    require(call.read(reply) == PelkHash(), "A failed reply has an empty record.");

    service.host.setSession(); // a login forgets it
    service.api.updateUserSession(QStringLiteral("user"), QStringLiteral("token-1"), 77, 88, 99);
    Service::reset();
    return 0;
}
