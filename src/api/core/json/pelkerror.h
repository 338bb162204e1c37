#pragma once

#include "api/core/export.h"

#include <QString>

#include <iosfwd>
#include <utility>

/// Why a text could not be read. A plain value, re-entrant; empty as long as nothing went wrong.
class PELK_API_EXPORT PelkError
{
public:
    PelkError() = default;
    explicit PelkError(QString message)
        : m_message(std::move(message))
    {
    }

    bool isEmpty() const { return m_message.isEmpty(); }
    /// A sentence for logs, in English.
    const QString& message() const { return m_message; }
    QString toString() const { return m_message; }

private:
    QString m_message;
};

/// Writes the message, for log lines.
PELK_API_EXPORT std::ostream& operator<<(std::ostream& stream, const PelkError& error);
