#pragma once

#include "api/types/export.h"

#include <QMetaType>
#include <QPair>
#include <QString>
#include <QVector>

/// An address in the content model: `prefix:base?param=value&...`, in the form of a URI (RFC 3986).
///
/// The prefix names the worker that answers (`qobuz:`), or the group of a value (`settings:`); it may be
/// absent. The base is text with slashes, stored unchanged, including a trailing slash. Parameters keep their
/// order; of several with the same name the first counts. In memory every part is plain text; only the text
/// form is percent-encoded.
class PELK_TYPES_EXPORT CMPath
{
public:
    CMPath() = default;
    /// Reads the text form. Malformed text is read as far as possible; use parse() to detect it.
    explicit CMPath(const QString& text);

    /// Reads the text form. For malformed text, returns false and sets `error` to a sentence that says what
    /// is wrong. `path` is set only on success.
    static bool parse(const QString& text, CMPath* path, QString* error);

    QString prefix() const { return m_prefix; }
    /// The path without prefix and parameters, decoded.
    QString base() const { return m_base; }
    /// Neither prefix nor base nor parameters.
    bool isEmpty() const { return m_prefix.isEmpty() && m_base.isEmpty() && m_params.isEmpty(); }

    /// Appends a component to the base, with a slash between them unless the base is empty or ends in one.
    CMPath operator+(const QString& component) const;

    /// Adds a parameter at the end; does not replace an earlier one with the same name.
    void addParam(const QString& name, const QString& value);
    bool hasParam(const QString& name) const;
    /// The parameter's value; empty if it is absent.
    QString param(const QString& name) const;
    const QVector<QPair<QString, QString>>& params() const { return m_params; }
    CMPath withoutParams() const;

    /// True if the text occurs in the path's text form.
    bool contains(const QString& text) const;
    /// True if the path's text form begins with that of `start`; then `rest`, if not null, is set to the
    /// remainder.
    bool startsWith(const CMPath& start, QString* rest = nullptr) const;

    /// The text form.
    QString toString() const;

    bool operator==(const CMPath& other) const;
    bool operator!=(const CMPath& other) const { return !(*this == other); }

private:
    QString m_prefix;
    QString m_base;
    QVector<QPair<QString, QString>> m_params;
};

PELK_TYPES_EXPORT uint qHash(const CMPath& path, uint seed = 0);

Q_DECLARE_METATYPE(CMPath)
