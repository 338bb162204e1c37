#include "tests/faults/faulttable.h"

#include <vector>

namespace {

/// The expected type at a place of a response.
enum Shape
{
    Record,
    List,
    Text,
    Number
};

/// The changed outcome if a place has another type.
struct Change
{
    std::string place; ///< in the first record of the outcome
    Json value;        ///< discarded: the place is gone
};

/// A place of an answer that the module reads.
struct Read
{
    std::string place;
    Shape shape;
    std::vector<Change> changes;
};

const Json gone = Json(Json::value_t::discarded);

/// The items of the lists, with a different text at every place, so that each can be identified in a row.
Json fullItem(Endpoint::Item item)
{
    const Json genre = {{"id", 801}, {"name", "Jazz"}};
    const Json image = {{"thumbnail", "pic:thumb"}, {"small", "pic:small"}, {"large", "pic:large"}};
    switch (item) {
    case Endpoint::Track:
        return {{"id", 901},
                {"title", "Nocturne"},
                {"copyright", "℗ Quill"},
                {"track_number", 4},
                {"performer", {{"id", 902}, {"name", "Ada"}}},
                {"composer", {{"id", 903}, {"name", "Boris"}}},
                {"album",
                 {{"id", "0088"},
                  {"title", "Harbour"},
                  {"copyright", "© Foil"},
                  {"released_at", -86400},
                  {"image", image},
                  {"artist", {{"id", 904}, {"name", "Cleo"}}},
                  {"genre", genre}}}};
    case Endpoint::Album:
        return {{"id", "0099"},
                {"title", "Meadow"},
                {"image", image},
                {"artist", {{"id", 905}, {"name", "Dora"}}},
                {"genre", genre}};
    case Endpoint::Artist:
        return {{"id", 906}, {"name", "Emil"}, {"image", image}};
    case Endpoint::Playlist:
        return {{"id", 907},
                {"name", "Evening"},
                {"genres", {genre, {{"id", 802}, {"name", "Folk"}}}},
                {"images300", {"pic:300a", "pic:300b"}},
                {"images150", {"pic:150a"}},
                {"images", {"pic:50a"}}};
    case Endpoint::None:
        break;
    }
    return {};
}

/// The row of an item that has nothing.
Json emptyRow(Endpoint::Item item)
{
    const char* text = "null";
    switch (item) {
    case Endpoint::Track:
        text =
            R"({"title":"","path":"qobuz:track?id=0","type":3,"audioType":1,"mediaData":{"metaData":{)"
            R"("genre":"","composer":"","performer":"","album":"","artist":"","serviceID":"qobuz","copyright":"",)"
            R"("originalTrackNumber":0,"allowSeekTime":true,"allowSeekBytes":true,"allowPause":true,)"
            R"("prePlayPath":"qobuz:preplay?id=0"}}})";
        break;
    case Endpoint::Album:
        text = R"({"title":"","icon":"","path":"qobuz:album?id=","type":1,"containerType":2,)"
               R"("containerPlayable":true})";
        break;
    case Endpoint::Artist:
        text = R"({"title":"","icon":"","path":"qobuz:artist?id=0","type":1,"audioType":1,"containerType":1,)"
               R"("containerPlayable":true,"mediaData":{"metaData":{"artist":"","serviceID":"qobuz"}}})";
        break;
    case Endpoint::Playlist:
        text = R"({"title":"","icon":"","path":"qobuz:playlist?id=0","type":1,"containerType":10,)"
               R"("containerPlayable":true,"mediaData":{"metaData":{"serviceID":"qobuz"}}})";
        break;
    case Endpoint::None:
        break;
    }
    return Json::parse(text);
}

/// The row of an item that has everything, and everything of it is null.
Json nullRow(const Endpoint& endpoint)
{
    Json row = emptyRow(endpoint.item);
    if (endpoint.item == Endpoint::Track) {
        row["icon"] = ""; // there is an album
        row["mediaData"]["metaData"]["date"] = 0;
    } else if (endpoint.item == Endpoint::Playlist) {
        row["mediaData"]["metaData"]["genre"] = ""; // there is a genre
    }
    return row;
}

/// A change of the first row's meta data.
Change meta(const char* key, Json value)
{
    return {std::string("/mediaData/metaData/") + key, std::move(value)};
}

/// A change of the resolved row's stream.
Change stream(const char* key, Json value)
{
    return {std::string("/mediaData/resources/0/") + key, std::move(value)};
}

Change statePath(const char* parameters)
{
    return meta("contentStateChangePath", std::string("qobuz:stateChange?") + parameters);
}

std::vector<Read> readsOfItem(Endpoint::Item item)
{
    switch (item) {
    case Endpoint::Track:
        return {
            {"/id", Number, {{"/path", "qobuz:track?id=0"}, meta("prePlayPath", "qobuz:preplay?id=0")}},
            {"/title", Text, {{"/title", ""}}},
            {"/track_number", Number, {meta("originalTrackNumber", 0)}},
            {"/copyright", Text, {meta("copyright", "© Foil")}},
            {"/performer", Record, {meta("performer", "")}},
            {"/performer/name", Text, {meta("performer", "")}},
            {"/composer", Record, {meta("composer", "")}},
            {"/composer/name", Text, {meta("composer", "")}},
            {"/album",
             Record,
             {{"/icon", gone}, meta("album", ""), meta("artist", ""), meta("genre", ""), meta("date", gone)}},
            {"/album/title", Text, {meta("album", "")}},
            {"/album/copyright", Text, {}},
            {"/album/released_at", Number, {meta("date", 0)}},
            {"/album/image", Record, {{"/icon", ""}}},
            {"/album/image/large", Text, {{"/icon", "pic:small"}}},
            {"/album/artist", Record, {meta("artist", "")}},
            {"/album/artist/name", Text, {meta("artist", "")}},
            {"/album/genre", Record, {meta("genre", "")}},
            {"/album/genre/name", Text, {meta("genre", "")}}};
    case Endpoint::Album:
        return {{"/id", Text, {{"/path", "qobuz:album?id="}}},
                {"/title", Text, {{"/title", ""}}},
                {"/image", Record, {{"/icon", ""}}},
                {"/image/large", Text, {{"/icon", "pic:small"}}},
                {"/artist", Record, {}},
                {"/artist/name", Text, {}},
                {"/genre", Record, {}},
                {"/genre/name", Text, {}}};
    case Endpoint::Artist:
        return {{"/id", Number, {{"/path", "qobuz:artist?id=0"}}},
                {"/name", Text, {{"/title", ""}, meta("artist", "")}},
                {"/image", Record, {{"/icon", ""}}},
                {"/image/small", Text, {{"/icon", ""}}},
                {"/image/large", Text, {}}};
    case Endpoint::Playlist:
        return {{"/id", Number, {{"/path", "qobuz:playlist?id=0"}}},
                {"/name", Text, {{"/title", ""}}},
                {"/genres", List, {meta("genre", gone)}},
                {"/genres/0", Record, {meta("genre", "")}},
                {"/genres/0/name", Text, {meta("genre", "")}},
                {"/genres/1", Record, {}},
                {"/images300", List, {{"/icon", "pic:150a"}}},
                {"/images300/0", Text, {{"/icon", ""}}},
                {"/images150", List, {}},
                {"/images", List, {}}};
    case Endpoint::None:
        break;
    }
    return {};
}

std::vector<Read> readsOf(const Endpoint& endpoint)
{
    switch (endpoint.kind) {
    case Endpoint::Login:
        return {{"/user", Record, {{"/userId", 0}, {"/credentialId", 0}, {"/deviceId", 0}}},
                {"/user/id", Number, {{"/userId", 0}}},
                {"/user/credential", Record, {{"/credentialId", 0}}},
                {"/user/credential/id", Number, {{"/credentialId", 0}}},
                {"/user/device", Record, {{"/deviceId", 0}}},
                {"/user/device/id", Number, {{"/deviceId", 0}}},
                {"/user_auth_token", Text, {{"/userAuthToken", ""}}}};
    case Endpoint::Resolve:
        return {{"/track_id", Number, {statePath("id=0&format=6&RestrictedA=1&RestrictedB=1")}},
                {"/format_id", Number, {statePath("id=908&format=0&RestrictedA=1&RestrictedB=1")}},
                {"/restrictions", List, {statePath("id=908&format=6")}},
                {"/restrictions/0", Record, {statePath("id=908&format=6&=1&RestrictedB=1")}},
                {"/restrictions/0/code", Text, {statePath("id=908&format=6&=1&RestrictedB=1")}},
                {"/url", Text, {stream("uri", "")}},
                {"/mime_type", Text, {stream("mimeType", "")}},
                {"/sampling_rate", Number, {stream("sampleFrequency", 0)}},
                {"/bit_depth", Number, {stream("bitsPerSample", 0)}},
                {"/duration", Number, {stream("duration", 0)}}};
    case Endpoint::Rows: {
        std::vector<Read> reads;
        const std::string item = std::string("/") + endpoint.listName + "/items/0";
        for (Read read : readsOfItem(endpoint.item)) {
            // The tracks of an album are shown with the album that the answer is about.
            const bool ofAlbum = read.place.compare(0, 6, "/album") == 0;
            if (endpoint.isAlbum() && read.place == "/album")
                read.changes.clear();
            if (endpoint.isAlbum() && ofAlbum && read.place != "/album")
                read.place = read.place.substr(6);
            else
                read.place = item + read.place;
            reads.push_back(read);
        }
        return reads;
    }
    case Endpoint::ReportStart:
    case Endpoint::ReportEnd:
        break;
    }
    return {};
}

struct Wrong
{
    const char* name;
    Json value; ///< discarded: nothing is there
};

std::vector<Wrong> wrongsFor(Shape shape)
{
    const Wrong missing{"missing", gone};
    const Wrong null{"null", nullptr};
    const Wrong number{"a number", 7};
    const Wrong text{"a text", "x"};
    const Wrong list{"a list", {1, "x"}};
    const Wrong object{"an object", {{"a", 1}}};
    const Wrong truth{"true", true};
    switch (shape) {
    case Record:
        return {missing, null, number, text, list, truth};
    case List:
        return {missing, null, number, text, object, truth};
    case Text:
        return {missing, null, list, object};
    case Number:
        return {missing, null, text, list, object};
    }
    return {};
}

/// With the value at the place; nothing for a part of a list that shall be missing, since that only makes the
/// list shorter.
Json with(Json answer, const std::string& place, const Json& value)
{
    if (!value.is_discarded()) {
        answer[Json::json_pointer(place)] = value;
        return answer;
    }
    const auto slash = place.rfind('/');
    Json& parent = answer[Json::json_pointer(place.substr(0, slash))];
    if (!parent.is_object())
        return {};
    parent.erase(place.substr(slash + 1));
    return answer;
}

/// Calls for every value that is neither an object nor a list.
template <typename Call>
void eachLeaf(Json& json, const Call& call)
{
    if (!json.is_structured()) {
        call(json);
        return;
    }
    for (Json& part : json)
        eachLeaf(part, call);
}

Fault answered(const QByteArray& name, const Json& body, const Expected& expected)
{
    return {name, {{"kind", "body"}, {"body", body.is_string() ? Json(body.dump()) : body}}, expected};
}

/// Every number as a text and so on: the whole answer is another one.
QList<Fault> wholeFaults(const Endpoint& endpoint, const Outcome& right)
{
    const Json full = fullAnswer(endpoint);
    Expected same{Expected::Records, 0, {}, false, right.records, right.count};
    QList<Fault> faults;

    Json body = full;
    eachLeaf(body, [](Json& leaf) {
        if (leaf.is_number())
            leaf = leaf.dump();
    });
    faults << answered("numbers as texts", body, same);

    // Each text is replaced by its own number.
    body = full;
    std::vector<std::pair<std::string, std::string>> numbers;
    eachLeaf(body, [&numbers](Json& leaf) {
        if (!leaf.is_string())
            return;
        const int number = 5000 + int(numbers.size());
        numbers.emplace_back(leaf.get<std::string>(), std::to_string(number));
        leaf = number;
    });
    Expected renamed = same;
    eachLeaf(renamed.records, [&numbers](Json& leaf) {
        if (!leaf.is_string())
            return;
        auto text = leaf.get<std::string>();
        for (const auto& [from, to] : numbers)
            for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
                text.replace(at, from.size(), to);
        leaf = text;
    });
    faults << answered("texts as numbers", body, renamed);

    for (const double number : {1e300, -1e300, 1e19, -9.3e18, 4294967296.0, 0.5}) {
        body = full;
        eachLeaf(body, [number](Json& leaf) {
            if (leaf.is_number())
                leaf = number;
        });
        faults << answered("every number is " + QByteArray::number(number), body, {Expected::AnyValue});
    }
    body = full;
    eachLeaf(body, [](Json& leaf) {
        if (leaf.is_number())
            leaf = "nan";
    });
    faults << answered("every number is the text nan", body, {Expected::AnyValue});
    body = full;
    eachLeaf(body, [](Json& leaf) {
        if (leaf.is_string())
            leaf = std::string("a\0b\n\"\xef\xbf\xbf&id=7#", 14);
    });
    faults << answered("every text has odd characters", body, {Expected::AnyValue});

    const Expected empty = Expected::empty(endpoint, right);
    body = full;
    for (Json& part : body)
        part = nullptr;
    faults << answered("nulls at the top", body, empty);

    body = full;
    eachLeaf(body, [](Json& leaf) { leaf = nullptr; });
    Expected nulls = empty;
    if (endpoint.kind == Endpoint::Rows) {
        const Json second = endpoint.isAlbum() ? nullRow(endpoint) : emptyRow(endpoint.item);
        nulls.records = Json::array({nullRow(endpoint), second});
    } else if (endpoint.kind == Endpoint::Resolve) {
        nulls.records[0]["mediaData"]["metaData"]["contentStateChangePath"] =
            "qobuz:stateChange?id=0&format=0&=1&=1";
    }
    faults << answered("nulls everywhere", body, nulls);

    const QList<QPair<QByteArray, Json>> others{{"an empty object", Json::object()},
                                                {"an empty list", Json::array()},
                                                {"a list of nulls", Json::array({nullptr, nullptr})},
                                                {"null", nullptr},
                                                {"a number", 7},
                                                {"a text", "x"},
                                                {"true", true},
                                                {"the answer in a list", Json::array({full})}};
    for (const auto& other : others)
        faults << answered("instead of the answer " + other.first, other.second, empty);
    return faults;
}

} // namespace

Expected Expected::empty(const Endpoint& endpoint, const Outcome& right)
{
    Expected expected{Records, 0, {}, false, Json::array(), 0};
    if (endpoint.kind == Endpoint::Login) {
        expected.records.push_back({{"userName", sandbox::demo::userName},
                                    {"userAuthToken", ""},
                                    {"userId", 0},
                                    {"credentialId", 0},
                                    {"deviceId", 0}});
    } else if (endpoint.kind == Endpoint::Resolve) {
        // All else of the row is as it was sent.
        expected.records = right.records;
        Json& mediaData = expected.records[0]["mediaData"];
        mediaData["metaData"]["contentStateChangePath"] = "qobuz:stateChange?id=0&format=0";
        mediaData["resources"] = Json::array({{{"uri", ""},
                                               {"mimeType", ""},
                                               {"sampleFrequency", 0},
                                               {"bitsPerSample", 0},
                                               {"duration", 0},
                                               {"maxIdleTime", 1800000}}});
    }
    return expected;
}

Json fullAnswer(const Endpoint& endpoint)
{
    switch (endpoint.kind) {
    case Endpoint::Login:
        return {{"user_auth_token", "short-token"},
                {"user", {{"id", 4711}, {"credential", {{"id", 12}}}, {"device", {{"id", 13}}}}}};
    case Endpoint::Resolve:
        return {{"track_id", 908},
                {"format_id", 6},
                {"duration", 241},
                {"url", "http://stream.example/908"},
                {"mime_type", "audio/flac"},
                {"sampling_rate", 44.1},
                {"bit_depth", 16},
                {"restrictions", Json::array({{{"code", "RestrictedA"}}, {{"code", "RestrictedB"}}})}};
    case Endpoint::Rows: {
        Json items = Json::array({fullItem(endpoint.item), Json::object()});
        Json answer = Json::object();
        if (endpoint.isAlbum()) {
            answer = items[0]["album"];
            items[0].erase("album");
        }
        answer[endpoint.listName] = {{"offset", 0}, {"limit", 3}, {"total", 70}, {"items", std::move(items)}};
        return answer;
    }
    case Endpoint::ReportStart:
    case Endpoint::ReportEnd:
        break;
    }
    return {{"status", "success"}, {"code", 200}, {"message", "Report received"}};
}

QList<Fault> shapeFaults(const Endpoint& endpoint, const Outcome& right)
{
    const Json full = fullAnswer(endpoint);
    QList<Fault> faults = wholeFaults(endpoint, right);
    const auto add = [&](const std::string& place, Shape shape, const Expected& expected) {
        for (const Wrong& wrong : wrongsFor(shape)) {
            const Json body = with(full, place, wrong.value);
            if (!body.is_null())
                faults << answered(QByteArray::fromStdString(place) + " is " + wrong.name, body, expected);
        }
    };
    const Expected same{Expected::Records, 0, {}, false, right.records, right.count};
    if (endpoint.kind == Endpoint::Rows) {
        const std::string list = std::string("/") + endpoint.listName;
        Expected expected = Expected::empty(endpoint, right);
        add(list, Record, expected);
        expected.count = right.count;
        add(list + "/items", List, expected);
        expected = same;
        expected.count = 0;
        add(list + "/total", Number, expected);
        expected = same;
        expected.records[0] = emptyRow(endpoint.item);
        if (endpoint.isAlbum())
            expected.records[0] = right.records[1];
        add(list + "/items/0", Record, expected);
    }
    for (const Read& read : readsOf(endpoint)) {
        Expected expected = same;
        const bool ofAll = endpoint.isAlbum() && read.place.compare(0, 7, "/tracks") != 0;
        for (const Change& change : read.changes) {
            Json& first = expected.records[0];
            first = with(first, change.place, change.value);
            if (ofAll && expected.records[1].contains(Json::json_pointer(change.place)))
                expected.records[1] = with(expected.records[1], change.place, change.value);
        }
        // The second track has no copyright.
        if (ofAll && read.place == "/copyright")
            expected.records[1]["mediaData"]["metaData"]["copyright"] = "";
        add(read.place, read.shape, expected);
    }
    return faults;
}
