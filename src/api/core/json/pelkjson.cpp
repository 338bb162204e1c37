#include "api/core/json/pelkjson.h"

#include "api/core/json/jsonobject.h"
#include "api/core/json/lenientjson.h"
#include "api/types/pelkhash.h"

#include <cstring>
#include <memory>
#include <simdjson.h>

namespace {

constexpr char byteOrderMark[] = "\xEF\xBB\xBF";

/// The data that a thread keeps between calls: the parser's memory, a padded copy of the text, and the last
/// parsed text, whose memory the next one reuses if nobody reads it any more.
struct Workspace
{
    /// Memory that a large text needed is given back after it.
    static constexpr size_t keptBytes = 1024 * 1024;

    simdjson::dom::parser parser{PelkJson::maxBytes};
    std::unique_ptr<char[]> text;
    size_t capacity = 0;
    QExplicitlySharedDataPointer<JsonDocument> document;

    const char* padded(const char* data, size_t size)
    {
        // simdjson reads some bytes past the end, which a QByteArray does not have.
        const size_t needed = size + simdjson::SIMDJSON_PADDING;
        if (capacity < needed) {
            text = std::make_unique<char[]>(needed);
            capacity = needed;
        }
        std::memcpy(text.get(), data, size);
        std::memset(text.get() + size, 0, simdjson::SIMDJSON_PADDING);
        return text.get();
    }

    JsonDocument& freeDocument()
    {
        if (!document || document->ref.loadAcquire() != 1)
            document = new JsonDocument;
        return *document;
    }

    void trim()
    {
        if (capacity <= keptBytes)
            return;
        text.reset();
        capacity = 0;
        document.reset();
        parser = simdjson::dom::parser(PelkJson::maxBytes);
    }
};

struct Failure
{
    int offset = 0;
    QString reason;
};

QVariant read(const QByteArray& body, Failure& failure)
{
    if (body.size() > PelkJson::maxBytes) {
        failure = {PelkJson::maxBytes, QStringLiteral("longer than %1 bytes").arg(PelkJson::maxBytes)};
        return {};
    }
    const int start = body.startsWith(byteOrderMark) ? 3 : 0;
    const auto size = static_cast<size_t>(body.size() - start);

    thread_local Workspace workspace;
    QVariant result;
    bool done = false;
    if (size > 0) {
        // Makes room for the text, and bounds the depth.
        auto error =
            workspace.parser.allocate(std::max(size, workspace.parser.capacity()), PelkJson::maxDepth);
        simdjson::dom::element root;
        JsonDocument& document = workspace.freeDocument();
        if (!error)
            error = workspace.parser
                        .parse_into_document(document.document,
                                             workspace.padded(body.constData() + start, size), size, false)
                        .get(root);
        if (!error) {
            result = JsonObject::value(JsonDocumentPointer(&document), root);
            done = true;
        }
        workspace.trim();
    }
    if (!done) {
        LenientJson again(start > 0 ? body.mid(start) : body);
        result = again.read();
        if (result.userType() == QMetaType::QVariantHash)
            result = QVariant::fromValue(PelkHash(result.toHash()));
        failure = {again.offset() + start, again.reason()};
    }
    return result;
}

} // namespace

QVariant PelkJson::parse(const QByteArray& body, PelkError& error, unsigned int* offset)
{
    Failure failure;
    QVariant result = read(body, failure);
    const bool failed = !failure.reason.isEmpty();
    if (failed)
        error = PelkError(QStringLiteral("%1 at offset %2").arg(failure.reason).arg(failure.offset));
    if (offset)
        *offset = failed ? static_cast<unsigned int>(failure.offset) : 0;
    return result;
}
