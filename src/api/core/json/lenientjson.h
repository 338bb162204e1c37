#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

/// Reads what the fast parser refuses: texts that only slips of their encoders keep from being JSON, and
/// those that are wrong, to tell where. PelkJson's header says what is let pass. A member of one reading,
/// used once.
class LenientJson
{
public:
    explicit LenientJson(const QByteArray& text)
        : m_text(text)
    {
    }

    /// The value; an invalid variant, and a reason(), where there is none.
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
