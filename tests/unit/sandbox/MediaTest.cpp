#include "Client.h"
#include "sandbox/http/ByteRange.h"
#include "sandbox/media/AudioCache.h"
#include "sandbox/media/Cover.h"
#include "sandbox/service/StreamUrls.h"

#include <FLAC/stream_decoder.h>
#include <QtTest>
#include <lame/lame.h>

#include <cmath>
#include <memory>
#include <png.h>
#include <set>

using sandbox::ByteRange;
using sandbox::Json;

namespace {

/// The decoded samples of a file.
struct Decoded
{
    std::uint64_t announcedFrames = 0; ///< as the file's head says
    std::uint64_t frames = 0;
    unsigned rateHz = 0;
    unsigned bits = 0; ///< per sample of FLAC; kbit/s of MP3
    unsigned channels = 0;
    unsigned seekPoints = 0;
    double power = 0;  ///< mean square, 1 is the loudest
    bool sound = true; ///< nothing was damaged
};

struct FlacSource
{
    const std::string& bytes;
    std::size_t at = 0;
    Decoded decoded = {};
    double squares = 0;
};

Decoded decodeFlac(const std::string& bytes)
{
    FlacSource source{bytes};
    const std::unique_ptr<FLAC__StreamDecoder, void (*)(FLAC__StreamDecoder*)> decoder(
        FLAC__stream_decoder_new(), FLAC__stream_decoder_delete);
    FLAC__stream_decoder_set_md5_checking(decoder.get(), true);
    FLAC__stream_decoder_set_metadata_respond_all(decoder.get());
    FLAC__stream_decoder_init_stream(
        decoder.get(),
        [](const FLAC__StreamDecoder*, FLAC__byte buffer[], std::size_t* size, void* client) {
            auto& from = *static_cast<FlacSource*>(client);
            *size = std::min(*size, from.bytes.size() - from.at);
            from.bytes.copy(reinterpret_cast<char*>(buffer), *size, from.at);
            from.at += *size;
            return *size == 0 ? FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM
                              : FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
        },
        nullptr, nullptr, nullptr, nullptr,
        [](const FLAC__StreamDecoder*, const FLAC__Frame* frame, const FLAC__int32* const buffer[],
           void* client) {
            auto& to = *static_cast<FlacSource*>(client);
            const double full = std::pow(2.0, frame->header.bits_per_sample - 1);
            for (unsigned i = 0; i < frame->header.blocksize; ++i)
                to.squares += (buffer[0][i] / full) * (buffer[0][i] / full);
            to.decoded.frames += frame->header.blocksize;
            return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
        },
        [](const FLAC__StreamDecoder*, const FLAC__StreamMetadata* metadata, void* client) {
            Decoded& to = static_cast<FlacSource*>(client)->decoded;
            if (metadata->type == FLAC__METADATA_TYPE_STREAMINFO) {
                to.announcedFrames = metadata->data.stream_info.total_samples;
                to.rateHz = metadata->data.stream_info.sample_rate;
                to.bits = metadata->data.stream_info.bits_per_sample;
                to.channels = metadata->data.stream_info.channels;
            } else if (metadata->type == FLAC__METADATA_TYPE_SEEKTABLE) {
                to.seekPoints = metadata->data.seek_table.num_points;
            }
        },
        [](const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus, void* client) {
            static_cast<FlacSource*>(client)->decoded.sound = false;
        },
        &source);
    source.decoded.sound &= FLAC__stream_decoder_process_until_end_of_stream(decoder.get()) != 0;
    source.decoded.sound &=
        FLAC__stream_decoder_finish(decoder.get()) != 0; // compares the MD5 of the samples
    source.decoded.power = source.squares / std::max<double>(1, double(source.decoded.frames));
    return source.decoded;
}

/// The bit rate of an MP3 file in kbit/s, when every frame up to the end is MPEG 1 layer III of one rate;
/// else 0.
unsigned kilobits(const std::string& bytes)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned rates[] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0};
    unsigned rate = 0;
    std::size_t at = 0;
    while (at + 4 <= bytes.size()) {
        const unsigned found = rates[byte(at + 2) >> 4];
        if (byte(at) != 0xff || (byte(at + 1) & 0xfe) != 0xfa || found == 0 || (rate != 0 && found != rate))
            return 0;
        rate = found;
        at += 144000 * rate / 44100 + ((byte(at + 2) >> 1) & 1);
    }
    return at == bytes.size() ? rate : 0;
}

Decoded decodeMp3(const std::string& bytes)
{
    Decoded decoded;
    double squares = 0;
    const std::unique_ptr<hip_global_flags, int (*)(hip_t)> decoder(hip_decode_init(), hip_decode_exit);
    std::vector<short> left(65536);
    std::vector<short> right(65536);
    mp3data_struct head{};
    std::vector<unsigned char> input(bytes.begin(), bytes.end());
    for (std::size_t at = 0; at < input.size(); at += 1024) {
        const std::size_t size = std::min<std::size_t>(1024, input.size() - at);
        int got =
            hip_decode1_headers(decoder.get(), input.data() + at, size, left.data(), right.data(), &head);
        for (; got > 0;
             got = hip_decode1_headers(decoder.get(), input.data(), 0, left.data(), right.data(), &head)) {
            decoded.frames += unsigned(got);
            for (int i = 0; i < got; ++i)
                squares += (left[std::size_t(i)] / 32768.0) * (left[std::size_t(i)] / 32768.0);
        }
        decoded.sound &= got >= 0;
    }
    decoded.rateHz = unsigned(head.samplerate);
    decoded.channels = unsigned(head.stereo);
    decoded.bits = kilobits(bytes);
    decoded.announcedFrames = head.nsamp;
    decoded.power = squares / std::max<double>(1, double(decoded.frames));
    return decoded;
}

} // namespace

class MediaTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_client.started());
        QVERIFY(!m_client.login().empty());
    }

    void audioMatchesTheResponse_data()
    {
        QTest::addColumn<QByteArray>("kind");
        QTest::addColumn<int>("format");
        QTest::newRow("CD") << QByteArray("cd") << 6;
        QTest::newRow("24/44.1") << QByteArray("24-44.1") << 7;
        QTest::newRow("24/48") << QByteArray("24-48") << 7;
        QTest::newRow("24/96") << QByteArray("24-96") << 7;
        QTest::newRow("24/176.4") << QByteArray("24-176.4") << 27;
        QTest::newRow("24/192") << QByteArray("24-192") << 27;
        QTest::newRow("MP3") << QByteArray("mp3") << 5;
        QTest::newRow("excerpt") << QByteArray("restricted-sample") << 5;
    }

    void audioMatchesTheResponse()
    {
        QFETCH(QByteArray, kind);
        QFETCH(int, format);
        const Json json = fileUrl(m_client.trackOfKind(kind.toStdString()), format);
        const auto file = m_client.http().Get(m_client.local(json["url"]));
        QVERIFY2(file, httplib::to_string(file.error()).c_str());
        QCOMPARE(file->status, 200);
        QCOMPARE(file->get_header_value("Content-Type"), json["mime_type"].get<std::string>());
        QCOMPARE(file->get_header_value("Content-Length"), std::to_string(file->body.size()));
        QCOMPARE(file->get_header_value("Accept-Ranges"), std::string("bytes"));
        const std::uint64_t expected =
            std::uint64_t(json["sampling_rate"].get<double>() * 1000 * json["duration"].get<int>());
        const Decoded decoded = format == 5 ? decodeMp3(file->body) : decodeFlac(file->body);
        QVERIFY(decoded.sound);
        QCOMPARE(decoded.channels, 2u);
        QCOMPARE(decoded.rateHz, unsigned(json["sampling_rate"].get<double>() * 1000));
        QVERIFY2(decoded.power > 0.001, "the music is silent");
        if (format == 5) {
            QCOMPARE(decoded.bits, 320u);
            // An MP3 is padded to whole frames, and begins and ends with some of the encoder's own.
            QVERIFY(decoded.frames >= expected && decoded.frames < expected + 3 * 1152);
        } else {
            QCOMPARE(decoded.bits, json["bit_depth"].get<unsigned>());
            QCOMPARE(decoded.frames, expected);
            QCOMPARE(decoded.announcedFrames, expected);
            QVERIFY(decoded.seekPoints > 3);
        }
    }

    void everyTrackHasItsOwnMusic()
    {
        sandbox::AudioCache cache(1, 1 << 30);
        std::set<std::string> beginnings;
        for (int track = 0; track < 20; ++track) {
            const auto bytes = cache.file({track, 6, 16, 44100, 2});
            beginnings.insert(bytes->substr(bytes->size() / 2));
        }
        QCOMPARE(beginnings.size(), std::size_t(20));
        sandbox::AudioCache again(1, 1 << 30);
        QCOMPARE(*again.file({3, 6, 16, 44100, 2}), *cache.file({3, 6, 16, 44100, 2}));
    }

    void theCacheStaysWithinItsBound()
    {
        const std::size_t bound = 300000;
        sandbox::AudioCache cache(1, bound);
        const auto first = cache.file({0, 6, 16, 44100, 2});
        for (int track = 1; track < 12; ++track) {
            QVERIFY(!cache.file({track, 6, 16, 44100, 2})->empty());
            QVERIFY(cache.size() <= bound);
        }
        QVERIFY(cache.file({0, 6, 16, 44100, 2}) != first); // was dropped and made again
    }

    void rangesAreRead_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("last");
        const int whole = int(ByteRange::Kind::Whole);
        const int part = int(ByteRange::Kind::Part);
        const int none = int(ByteRange::Kind::Unsatisfiable);
        QTest::newRow("absent") << QByteArray() << whole << 0 << 0;
        QTest::newRow("first byte") << QByteArray("bytes=0-0") << part << 0 << 0;
        QTest::newRow("open end") << QByteArray("bytes=10-") << part << 10 << 99;
        QTest::newRow("beyond the end") << QByteArray("bytes=90-500") << part << 90 << 99;
        QTest::newRow("suffix") << QByteArray("bytes=-30") << part << 70 << 99;
        QTest::newRow("suffix longer than all") << QByteArray("bytes=-300") << part << 0 << 99;
        QTest::newRow("empty suffix") << QByteArray("bytes=-0") << none << 0 << 0;
        QTest::newRow("after the end") << QByteArray("bytes=100-") << none << 0 << 0;
        QTest::newRow("backwards") << QByteArray("bytes=9-3") << whole << 0 << 0;
        QTest::newRow("several") << QByteArray("bytes=0-1,5-6") << whole << 0 << 0;
        QTest::newRow("other unit") << QByteArray("lines=0-1") << whole << 0 << 0;
        QTest::newRow("too large") << QByteArray("bytes=99999999999999999999-") << whole << 0 << 0;
    }

    void rangesAreRead()
    {
        QFETCH(QByteArray, header);
        QFETCH(int, kind);
        QFETCH(int, first);
        QFETCH(int, last);
        const ByteRange range = sandbox::byteRange(header.toStdString(), 100);
        QCOMPARE(int(range.kind), kind);
        QCOMPARE(int(range.first), first);
        QCOMPARE(int(range.last), last);
    }

    void partsOfAFileAreServed()
    {
        const std::string url = m_client.local(fileUrl(m_client.trackOfKind("cd"), 6)["url"]);
        const std::string whole = m_client.http().Get(url)->body;
        const std::string size = std::to_string(whole.size());

        const auto middle = m_client.http().Get(url, {{"Range", "bytes=1000-1999"}});
        QCOMPARE(middle->status, 206);
        QCOMPARE(middle->body, whole.substr(1000, 1000));
        QCOMPARE(middle->get_header_value("Content-Range"), "bytes 1000-1999/" + size);
        QCOMPARE(middle->get_header_value("Content-Length"), std::string("1000"));

        const auto tail = m_client.http().Get(url, {{"Range", "bytes=-10"}});
        QCOMPARE(tail->body, whole.substr(whole.size() - 10));

        const auto beyond = m_client.http().Get(url, {{"Range", "bytes=" + size + "-"}});
        QCOMPARE(beyond->status, 416);
        QCOMPARE(beyond->get_header_value("Content-Range"), "bytes */" + size);

        const auto head = m_client.http().Head(url);
        QCOMPARE(head->status, 200);
        QCOMPARE(head->get_header_value("Content-Length"), size);
        QVERIFY(head->body.empty());
    }

    void anAddressUsesTheRequestedHost()
    {
        httplib::Headers headers = m_client.headers();
        headers.emplace("Host", "forwarded.example:1234");
        const Json json = Client::json(m_client.http().Get(
            "/api.json/0.2/" + m_client.signedCall(m_client.trackOfKind("cd"), 6), headers));
        const std::string site = "http://forwarded.example:1234";
        const std::string url = json["url"];
        QCOMPARE(url.substr(0, site.size()), site);
        QCOMPARE(m_client.http().Get(url.substr(site.size()))->status, 200);
    }

    void addressesCannotBeForged_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::addColumn<int>("status");
        QTest::newRow("another depth") << QByteArray("16-44100") << QByteArray("24-44100") << 403;
        QTest::newRow("later expiry") << QByteArray("expires=1") << QByteArray("expires=2") << 403;
        QTest::newRow("longer expiry") << QByteArray("&signature") << QByteArray("0&signature") << 403;
        QTest::newRow("no signature") << QByteArray("signature") << QByteArray("x") << 403;
        QTest::newRow("no file") << QByteArray("/streams/") << QByteArray("/streams/1") << 404;
    }

    void addressesCannotBeForged()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        QFETCH(int, status);
        const Json json = fileUrl(m_client.trackOfKind("cd"), 6);
        const auto url = QByteArray::fromStdString(m_client.local(json["url"])).replace(from, to);
        QCOMPARE(m_client.http().Get(url.constData())->status, status);
    }

    void addressesExpire()
    {
        const sandbox::Catalogue catalogue(1);
        const auto verdict = [&](int ttlSeconds) {
            const sandbox::StreamUrls urls(catalogue, "http://x", ttlSeconds);
            const std::string url = urls.fileUrl(1, 5)["url"];
            const auto mark = url.find('?');
            const auto second = url.find('&');
            sandbox::StreamFile file;
            return urls.check(url.substr(8, mark - 8),
                              {{"expires", url.substr(mark + 9, second - mark - 9)},
                               {"signature", url.substr(second + 11)}},
                              file);
        };
        QVERIFY(verdict(10) == sandbox::StreamUrls::Verdict::Valid);
        QVERIFY(verdict(0) == sandbox::StreamUrls::Verdict::Expired);
    }

    void coversAreRealPicturesOfTheirSize_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<int>("pixels");
        QTest::newRow("thumbnail") << QByteArray("thumbnail") << 50;
        QTest::newRow("small") << QByteArray("small") << 230;
        QTest::newRow("large") << QByteArray("large") << 600;
    }

    void coversAreRealPicturesOfTheirSize()
    {
        QFETCH(QByteArray, key);
        QFETCH(int, pixels);
        const Json albums = m_client.json("catalog/getFeatured?type=albums&limit=20")["albums"]["items"];
        std::set<std::string> pictures;
        for (const Json& album : albums) {
            if (album["image"].is_null())
                continue;
            const auto answer = m_client.http().Get(m_client.local(album["image"][key.toStdString()]));
            QCOMPARE(answer->status, 200);
            QCOMPARE(answer->get_header_value("Content-Type"), std::string("image/png"));
            QVERIFY(answer->get_header_value("Cache-Control").find("max-age") != std::string::npos);
            png_image image{};
            image.version = PNG_IMAGE_VERSION;
            QVERIFY(png_image_begin_read_from_memory(&image, answer->body.data(), answer->body.size()));
            QCOMPARE(int(image.width), pixels);
            QCOMPARE(int(image.height), pixels);
            png_image_free(&image);
            pictures.insert(answer->body);
        }
        QVERIFY(pictures.size() > 15);
    }

    void picturesOfAbsurdSizesAreRefused()
    {
        for (const char* path :
             {"/covers/albums/1_0.png", "/covers/albums/1_100000.png", "/covers/albums/1.png", "/covers/"})
            QCOMPARE(m_client.http().Get(path)->status, 404);
    }

private:
    Json fileUrl(std::int64_t track, int format) { return m_client.json(m_client.signedCall(track, format)); }

    Client m_client;
};

QTEST_GUILESS_MAIN(MediaTest)
#include "MediaTest.moc"
