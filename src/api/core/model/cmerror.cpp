#include "api/core/model/cmerror.h"

CMError::CMError(const TrString& message, const QVariantHash& data)
{
    insert(Name(), DefaultName());
    insert(Title(), DefaultTitle());
    insert(Message(), message);
    if (!data.isEmpty())
        insert(Data(), data);
}

const QString& CMError::Name()
{
    static const QString key = QStringLiteral("name");
    return key;
}

const QString& CMError::Title()
{
    static const QString key = QStringLiteral("title");
    return key;
}

const QString& CMError::Message()
{
    static const QString key = QStringLiteral("message");
    return key;
}

const QString& CMError::Data()
{
    static const QString key = QStringLiteral("data");
    return key;
}

const QString& CMError::DefaultName()
{
    static const QString name = QStringLiteral("error");
    return name;
}

TrString CMError::DefaultTitle()
{
    return TrString(TrCharData{"CMError", "Error"}, {});
}
