#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

/// Reads texts that the fast parser refuses: those with common errors of encoders, which PelkJson's header
/// lists, and invalid ones, to find the position of the error. Use each object once.
class LenientJson
{
public:
    explicit LenientJson(const QByteArray& text)
        : m_text(text)
    {
    }

    /// The value; after an error an invalid variant, and reason() says why.
    QVariant read();
    /// Why the text could not be read; empty if it could.
    const QString& reason() const { return m_reason; }
    /// Where it is wrong, in bytes.
    int offset() const { return m_at; }

private:
    bool fail(const char* reason);
    char next() const { return m_at < m_text.size() ? m_text.at(m_at) : '\0'; }
    bool atEnd() const { return m_at >= m_text.size(); }
    bool take(char c);
    bool skipBlanks();

    bool readValue(QVariant* value);
    bool readObject(QVariant* value);
    bool readArray(QVariant* value);
    bool readString(QString* text);
    bool readEscape(QString* text);
    bool readNumber(QVariant* value);
    bool readWord(const char* word, const QVariant& meaning, QVariant* value);

    QByteArray m_text;
    int m_at = 0;
    int m_depth = 0;
    QString m_reason;
};
