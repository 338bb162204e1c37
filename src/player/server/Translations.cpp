#include "player/server/Translations.h"

#include <QCoreApplication>
#include <QDir>
#include <QTranslator>

#include <algorithm>

namespace {

const QString english = QStringLiteral("en");

QString codeOf(const QString& tag)
{
    return tag.section(QLatin1Char('-'), 0, 0).section(QLatin1Char('_'), 0, 0).trimmed().toLower();
}

} // namespace

Language::Language(const QString& code, std::vector<const QTranslator*> catalogues)
    : m_code(code)
    , m_resolver([catalogues = std::move(catalogues)](const TrString& text) {
        const QByteArray context = text.context();
        const QByteArray source = text.source();
        const QByteArray comment = text.comment();
        for (const QTranslator* catalogue : catalogues) {
            const QString found =
                catalogue->translate(context.constData(), source.constData(),
                                     comment.isNull() ? nullptr : comment.constData(), text.count());
            if (!found.isNull())
                return found;
        }
        return QString();
    })
{
}

Translations::Translations(const QStringList& folders)
{
    std::map<QString, std::vector<const QTranslator*>> found{{english, {}}};
    for (const QString& folder : folders) {
        const QFileInfoList files =
            QDir(folder).entryInfoList({QStringLiteral("*_*.qm")}, QDir::Files, QDir::Name);
        for (const QFileInfo& file : files) {
            auto catalogue = std::make_unique<QTranslator>();
            if (!catalogue->load(file.filePath()))
                continue;
            const QString code = codeOf(file.completeBaseName().section(QLatin1Char('_'), -1));
            found[code].push_back(catalogue.get());
            m_catalogues.push_back(std::move(catalogue));
        }
    }
    for (auto& [code, catalogues] : found)
        m_languages.try_emplace(code, code, std::move(catalogues));
}

Translations::~Translations() = default;

QStringList Translations::codes() const
{
    QStringList codes;
    for (const auto& [code, language] : m_languages)
        codes.append(code);
    return codes;
}

const Language* Translations::find(const QString& tag) const
{
    const auto it = m_languages.find(codeOf(tag));
    return it == m_languages.end() ? nullptr : &it->second;
}

const Language& Translations::accepted(const QString& acceptLanguage) const
{
    const Language* best = nullptr;
    double bestWeight = 0;
    const QStringList ranges = acceptLanguage.split(QLatin1Char(','));
    for (const QString& range : ranges) {
        const QStringList parts = range.split(QLatin1Char(';'));
        double weight = 1;
        for (int i = 1; i < parts.size(); ++i) {
            const QString parameter = parts.at(i).trimmed();
            if (parameter.startsWith(QLatin1String("q=")))
                weight = parameter.midRef(2).toDouble();
        }
        const Language* const language = find(parts.first());
        // Of equal weights the first one counts.
        if (language && weight > bestWeight) {
            best = language;
            bestWeight = weight;
        }
    }
    return best ? *best : m_languages.at(english);
}

QStringList Translations::defaultFolders(const QString& moduleFolder)
{
    return {QDir::cleanPath(QCoreApplication::applicationDirPath() +
                            QStringLiteral("/../share/pelk/translations")),
            moduleFolder + QStringLiteral("/translations")};
}
