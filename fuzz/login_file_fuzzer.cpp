// The file that keeps a login. Whatever is in it, it reads as a value or is set aside with a sentence that
// has no secret; a login that is written reads as it was, and the file is its owner's alone.

#include "api/types/pelkqobuzusersession.h"
#include "fuzz/scratchfile.h"
#include "player/host/ServiceAccount.h"

#include <QFile>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const char secret[] = "s3cret-marker";
    const Input input(data, size);
    QByteArray text = input.rest();
    if (text.contains(secret))
        return 0;
    text.replace("@SECRET@", secret);
    const ScratchFile file("session.json", text);
    const CMPath path = ServiceAccount::LoginStore::path();
    ServiceAccount::LoginStore store(file.name());
    const PelkQobuzUserSession session = store.read(path).qobuzUserSession();
    const QString notice = store.notice();
    require(!notice.contains(QLatin1String(secret)), "A notice holds no secret.", notice);
    require(notice.isEmpty() == QFile::exists(file.name()), "A file that cannot be used is set aside.",
            notice);
    require(notice.isEmpty() || session.isEmpty(), "Nothing is read from it.");
    readValue(session.userName() + session.userAuthToken());

    PelkQobuzUserSession login;
    login.setUserName(QString::fromUtf8(text.left(20)));
    login.setUserAuthToken(QString::fromUtf8(text.right(40)));
    login.setUserId(4294967295U);
    PelkValue value;
    value.setQobuzUserSession(login);
    QString error;
    require(store.write(path, value, &error), "A login can be saved.", error);
    require(file.isPrivate(), "The file is its owner's alone.");
    const ServiceAccount::LoginStore again(file.name());
    require(again.notice().isEmpty(), "What was saved can be read.", again.notice());
    const PelkQobuzUserSession kept = again.read(path).qobuzUserSession();
    require(kept.userName() == login.userName() && kept.userAuthToken() == login.userAuthToken() &&
                kept.userId() == login.userId(),
            "It reads as it was.");
    return 0;
}
