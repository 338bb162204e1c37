#pragma once

#include "api/types/trstring.h"

#include <QStringList>

#include <map>
#include <memory>
#include <vector>

class QTranslator;

/// One language that people read texts in.
class Language
{
public:
    Language(const QString& code, std::vector<const QTranslator*> catalogues);

    /// Its two-letter code.
    QString code() const { return m_code; }
    /// A text in this language, or as it is in the source where no catalogue has it.
    QString text(const TrString& text) const { return text.resolved(m_resolver); }

private:
    QString m_code;
    TrString::Resolver m_resolver;
};

/// The available languages. Each reader uses its own; no translator is installed in the program. English is
/// always available. Any thread, after construction.
class Translations
{
public:
    /// Reads every catalogue `NAME_<language>.qm` in the folders; missing folders are ignored.
    explicit Translations(const QStringList& folders);
    ~Translations();

    QStringList codes() const;
    /// The language of a tag such as "de" or "de-AT"; null if there is none.
    const Language* find(const QString& tag) const;
    /// The supported language that Accept-Language prefers; English if it names none.
    const Language& accepted(const QString& acceptLanguage) const;

    /// The folders where an installed player has catalogues: its own, and the one of its modules.
    static QStringList defaultFolders(const QString& moduleFolder);

private:
    std::vector<std::unique_ptr<QTranslator>> m_catalogues;
    std::map<QString, Language> m_languages;
};
