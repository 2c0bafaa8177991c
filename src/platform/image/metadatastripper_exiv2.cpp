// The metadata removal engine of the optional module libquillon-imagemetadata.so
// (image/imagemetadataengine_p.h).

#include <Quillon/platform/image/imagemetadataengine_p.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QCoreApplication>
#include <QIODevice>
#include <QMimeDatabase>
#include <QRunnable>
#include <QThreadPool>
#include <QtEndian>
#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string_view>
#ifdef __SSE2__
#include <emmintrin.h>
#endif
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define TULO_HAVE_AVX2_SEARCH 1
#endif

// Exiv2 0.27 still hands out std::auto_ptr.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>
#include <exiv2/jpgimage.hpp>
#include <exiv2/pngimage.hpp>
#include <exiv2/tiffimage.hpp>
#include <exiv2/webpimage.hpp>


namespace {

// XMP properties that carry the Exif dictionary or a place.
constexpr std::array<std::string_view, 16> removedXmpPrefixes {
    "Xmp.exif.",
    "Xmp.exifEX.",
    "Xmp.photoshop.City",
    "Xmp.photoshop.State",
    "Xmp.photoshop.Country",
    "Xmp.iptc.Location", // Iptc4xmpCore
    "Xmp.iptc.CountryCode",
    "Xmp.iptcExt.LocationCreated",
    "Xmp.iptcExt.LocationShown",
    "Xmp.iptcExt.City",
    "Xmp.iptcExt.CountryName",
    "Xmp.iptcExt.CountryCode",
    "Xmp.iptcExt.ProvinceState",
    "Xmp.iptcExt.Sublocation",
    "Xmp.iptcExt.WorldRegion",
    "Xmp.MicrosoftPhoto.LocationName",
};

// IPTC datasets that name a place.
constexpr std::array<std::string_view, 7> removedIptcKeys {
    "Iptc.Application2.LocationCode",
    "Iptc.Application2.LocationName",
    "Iptc.Application2.City",
    "Iptc.Application2.SubLocation",
    "Iptc.Application2.ProvinceState",
    "Iptc.Application2.CountryCode",
    "Iptc.Application2.CountryName",
};

QString text(const char *source)
{
    return TULOImageMetadataText(source);
}

TULOError makeError(TULOImageMetadataErrorCode code, const QString &description)
{
    return TULOImageMetadataError(code, description);
}

void initializeExiv2()
{
    static std::once_flag once;
    std::call_once(once, [] {
        // The XMP toolkit must be set up once before threads use it.
        Exiv2::XmpParser::initialize();
        // Exiv2 reports through exceptions too; its own stderr lines would only be noise.
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    });
}

bool isBmff(const QByteArray &data)
{
    return data.size() >= 12 && data.mid(4, 4) == "ftyp";
}

QString typeForExiv2Type(int type)
{
    switch (type) {
    case Exiv2::ImageType::jpeg:
        return QString::fromLatin1(TULOTypeIdentifierJPEG);
    case Exiv2::ImageType::png:
        return QString::fromLatin1(TULOTypeIdentifierPNG);
    case Exiv2::ImageType::tiff:
        return QStringLiteral("image/tiff");
    case Exiv2::ImageType::webp:
        return QStringLiteral("image/webp");
    case Exiv2::ImageType::gif:
        return QStringLiteral("image/gif");
    case Exiv2::ImageType::bmp:
        return QStringLiteral("image/bmp");
    default:
        return QString();
    }
}

// Markers that stand alone, without a length: RST0-7 and TEM. They have no business before
// the scan, but decoders skip them there, so files that carry them are photos all the same.
bool isStandaloneMarker(uchar marker)
{
    return (marker >= 0xD0 && marker <= 0xD7) || marker == 0x01;
}

// Where a JPEG's scan begins: the first start-of-scan marker (everything before it is tables
// and metadata) and the end of its header. Negative when the file does not get that far.
struct TULOJpegLayout
{
    qsizetype scanStart = -1;
    qsizetype scanHeaderEnd = -1;
};

TULOJpegLayout jpegLayout(QByteArrayView data)
{
    TULOJpegLayout layout;
    const auto byte = [&](qsizetype at) { return uchar(data[at]); };
    if (data.size() < 4 || byte(0) != 0xFF || byte(1) != 0xD8)
        return layout;
    qsizetype pos = 2;
    while (pos + 4 <= data.size()) {
        if (byte(pos) != 0xFF)
            return layout;
        const uchar marker = byte(pos + 1);
        if (marker == 0xFF) { // fill byte
            ++pos;
            continue;
        }
        if (marker == 0xD9)
            return layout;
        if (isStandaloneMarker(marker)) {
            pos += 2;
            continue;
        }
        const qsizetype length = qFromBigEndian<quint16>(data.data() + pos + 2);
        if (length < 2)
            return layout;
        if (marker == 0xDA) {
            layout.scanStart = pos;
            layout.scanHeaderEnd = pos + 2 + length;
            return layout;
        }
        pos += 2 + length;
    }
    return layout;
}

// Just past the end-of-image marker that ends the scan data in `data`: the first FF D9 pair
// whose FF is at `from` or later; -1 when there is none. Entropy-coded data stuff every 0xFF,
// so the first EOI after the scan header ends the image. memchr for either byte stops every
// few hundred bytes in compressed data; comparing whole vectors of pairs at once does not stop
// until it finds the pair.
#ifdef TULO_HAVE_AVX2_SEARCH
// 64 bytes a step, on processors that have AVX2 (almost all of them); the scalar tail is left
// to the caller. The first pair's FF in [p, end - 1), or where the caller is to go on: the
// pairs that start before the last 64 bytes hold none.
__attribute__((target("avx2"))) const uchar *jpegEndOfImageAvx2(const uchar *p, const uchar *end)
{
    const __m256i markerPrefix = _mm256_set1_epi8(char(0xFF));
    const __m256i endOfImage = _mm256_set1_epi8(char(0xD9));
    for (; end - p >= 65; p += 64) {
        const __m256i here0 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
        const __m256i next0 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + 1));
        const __m256i here1 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + 32));
        const __m256i next1 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + 33));
        const __m256i pairs0 = _mm256_and_si256(_mm256_cmpeq_epi8(here0, markerPrefix), _mm256_cmpeq_epi8(next0, endOfImage));
        const __m256i pairs1 = _mm256_and_si256(_mm256_cmpeq_epi8(here1, markerPrefix), _mm256_cmpeq_epi8(next1, endOfImage));
        const __m256i pairs = _mm256_or_si256(pairs0, pairs1);
        if (_mm256_testz_si256(pairs, pairs))
            continue;
        const quint64 found = quint64(uint(_mm256_movemask_epi8(pairs0))) | (quint64(uint(_mm256_movemask_epi8(pairs1))) << 32);
        return p + __builtin_ctzll(found);
    }
    return p;
}
#endif

qsizetype jpegImageEnd(QByteArrayView data, qsizetype from)
{
    const auto *const begin = reinterpret_cast<const uchar *>(data.data());
    const auto *const end = begin + data.size();
    const uchar *p = begin + from;
#ifdef TULO_HAVE_AVX2_SEARCH
    static const bool avx2 = __builtin_cpu_supports("avx2");
    if (avx2)
        p = jpegEndOfImageAvx2(p, end);
#endif
#ifdef __SSE2__
    const __m128i markerPrefix = _mm_set1_epi8(char(0xFF));
    const __m128i endOfImage = _mm_set1_epi8(char(0xD9));
    const auto pairsAt = [&](const uchar *at) {
        const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
        const __m128i next = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at + 1));
        return _mm_and_si128(_mm_cmpeq_epi8(here, markerPrefix), _mm_cmpeq_epi8(next, endOfImage));
    };
    // Four vectors a step, which nearly doubles the speed, until one of them holds the pair.
    for (; end - p >= 65; p += 64) {
        const __m128i pairs
            = _mm_or_si128(_mm_or_si128(pairsAt(p), pairsAt(p + 16)), _mm_or_si128(pairsAt(p + 32), pairsAt(p + 48)));
        if (_mm_movemask_epi8(pairs))
            break;
    }
    for (; end - p >= 17; p += 16) {
        const int found = _mm_movemask_epi8(pairsAt(p));
        if (found) {
            p += __builtin_ctz(uint(found));
            break;
        }
    }
#endif
    // Elsewhere, and for the tail: memchr is vectorised on every platform.
    while (end - p >= 2) {
        if (p[0] == 0xFF && p[1] == 0xD9)
            return (p - begin) + 2;
        const auto *const prefix = static_cast<const uchar *>(std::memchr(p + 1, 0xFF, end - p - 2));
        if (!prefix)
            return -1;
        p = prefix;
    }
    return -1;
}

// The segments before the scan, without those that Exiv2 would copy through untouched although
// they carry metadata: extended XMP (the rest of an XMP packet too large for one segment) and
// the multi-picture index of the images after the end of the image, which are left out. Ends
// with the scan header and an end-of-image marker, which is all Exiv2 needs.
QByteArray jpegHeadForExiv2(const QByteArray &data, qsizetype scanHeaderEnd)
{
    static const QByteArrayView extendedXmp("http://ns.adobe.com/xmp/extension/\0", 35);
    static const QByteArrayView multiPicture("MPF\0", 4);
    QByteArray head;
    head.reserve(scanHeaderEnd + 2);
    head.append(data.constData(), 2); // SOI
    qsizetype pos = 2;
    while (pos + 4 <= scanHeaderEnd) {
        const uchar marker = uchar(data[pos + 1]);
        if (marker == 0xFF) {
            ++pos;
            continue;
        }
        if (isStandaloneMarker(marker)) {
            // Exiv2 would take the next two bytes for a length; dropped, as decoders skip them.
            pos += 2;
            continue;
        }
        const qsizetype length = qFromBigEndian<quint16>(data.constData() + pos + 2);
        const QByteArrayView payload
            = QByteArrayView(data).sliced(pos + 4, qMin(length - 2, data.size() - pos - 4));
        const bool dropped = (marker == 0xE1 && payload.startsWith(extendedXmp))
            || (marker == 0xE2 && payload.startsWith(multiPicture));
        if (!dropped)
            head.append(data.constData() + pos, qMin(2 + length, scanHeaderEnd - pos));
        pos += 2 + length;
    }
    head.append("\xFF\xD9", 2);
    return head;
}

// Exiv2 copies the image data it does not parse as they are, so a file cut off while it was
// copied would pass; each format has an end marker that a complete file carries. JPEG's is
// found while its scan data are written.
bool isComplete(const QString &type, const QByteArray &data)
{
    if (type == QLatin1String(TULOTypeIdentifierPNG))
        return data.endsWith(QByteArrayView("IEND\xAE\x42\x60\x82", 8));
    if (type == QLatin1String("image/webp")) {
        // The RIFF size covers everything after its first eight bytes.
        return data.size() >= 12
            && qFromLittleEndian<quint32>(data.constData() + 4) + 8u <= quint64(data.size());
    }
    return true;
}

void removeExif(Exiv2::ExifData &exif)
{
    for (auto it = exif.begin(); it != exif.end();) {
        const std::string group = it->groupName();
        const std::string key = it->key();
        // Embedded previews (IFD1 and later) are images of their own, which may carry their own
        // Exif and GPS data: they go whole.
        const bool preview = group == "Thumbnail" || group == "Image2" || group == "Image3"
            || group.rfind("SubThumb", 0) == 0;
        const bool privateIfd = preview || group == "Photo" || group == "GPSInfo" || group == "Iop"
            || group == "MakerNote" || Exiv2::ExifTags::isMakerGroup(group);
        // The IFD0 pointers to the removed IFDs go with them.
        const bool pointer = key == "Exif.Image.ExifTag" || key == "Exif.Image.GPSTag";
        it = (privateIfd || pointer) ? exif.erase(it) : std::next(it);
    }
}

void removeXmp(Exiv2::XmpData &xmp)
{
    for (auto it = xmp.begin(); it != xmp.end();) {
        const std::string key = it->key();
        const bool remove = std::any_of(removedXmpPrefixes.begin(), removedXmpPrefixes.end(),
            [&](std::string_view prefix) { return key.rfind(prefix, 0) == 0; });
        it = remove ? xmp.erase(it) : std::next(it);
    }
}

void removeIptc(Exiv2::IptcData &iptc)
{
    for (auto it = iptc.begin(); it != iptc.end();) {
        const std::string key = it->key();
        const bool remove
            = std::find(removedIptcKeys.begin(), removedIptcKeys.end(), key) != removedIptcKeys.end();
        it = remove ? iptc.erase(it) : std::next(it);
    }
}

// The image with its metadata rewritten by Exiv2; null with `error` on failure.
QByteArray rewrittenMetadata(const QByteArray &data, TULOError *error)
{
    Exiv2::Image::AutoPtr image;
    try {
        image = Exiv2::ImageFactory::open(
            reinterpret_cast<const Exiv2::byte *>(data.constData()), static_cast<long>(data.size()));
        image->readMetadata();
    } catch (const std::exception &exception) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorUnreadableImage,
                text("The image cannot be read: %1").arg(QString::fromLocal8Bit(exception.what()))));
        return QByteArray();
    } catch (...) {
        TULOSetError(
            error, makeError(TULOImageMetadataErrorUnreadableImage, text("The image cannot be read.")));
        return QByteArray();
    }

    QByteArray result;
    try {
        removeExif(image->exifData());
        removeIptc(image->iptcData());
        // Rebuild the packet from the properties left, instead of writing the old one back.
        removeXmp(image->xmpData());
        image->clearXmpPacket();
        image->writeXmpFromPacket(false);
        image->writeMetadata();

        Exiv2::BasicIo &io = image->io();
        if (io.open() != 0)
            throw Exiv2::Error(Exiv2::kerDataSourceOpenFailed, io.path(), "");
        const long size = io.size();
        result.resize(size);
        if (size > 0 && io.read(reinterpret_cast<Exiv2::byte *>(result.data()), size) != size)
            result.clear();
        io.close();
    } catch (const std::exception &exception) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorWriteFailed,
                text("The image's metadata cannot be removed: %1")
                    .arg(QString::fromLocal8Bit(exception.what()))));
        return QByteArray();
    } catch (...) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorWriteFailed, text("The image's metadata cannot be removed.")));
        return QByteArray();
    }
    if (result.isEmpty()) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorWriteFailed,
                text("The image's metadata cannot be removed: the rewritten image is empty.")));
        return QByteArray();
    }
    return result;
}

// A JPEG's metadata rewritten on a pool thread while the caller searches the scan data for the
// end of the image: only the longer of the two stands before the first write.
class TULOMetadataRewrite final : public QRunnable
{
public:
    struct Result
    {
        QByteArray data;
        TULOError error;
    };

    explicit TULOMetadataRewrite(QByteArray head)
        : m_head(std::move(head))
    {
        // Owned by the caller, who waits for it in any case.
        setAutoDelete(false);
    }

    void run() override
    {
        Result result;
        result.data = rewrittenMetadata(m_head, &result.error);
        // The caller may delete this runnable as soon as the result is there, which may be
        // before set_value returns: the promise lives on until then.
        const std::shared_ptr<std::promise<Result>> promise = m_result;
        promise->set_value(std::move(result));
    }

    std::future<Result> future() { return m_result->get_future(); }

private:
    QByteArray m_head;
    std::shared_ptr<std::promise<Result>> m_result = std::make_shared<std::promise<Result>>();
};

// Receives the stripped image in pieces, in order; false when it could not take one.

TULOError unreadable(const char *description)
{
    return makeError(TULOImageMetadataErrorUnreadableImage, text(description));
}

// The refusal for data whose metadata cannot be removed.
TULOError unsupported(const QByteArray &data)
{
    if (isBmff(data)) {
        return makeError(TULOImageMetadataErrorUnsupportedType,
            text("The location and camera data of HEIC and other HEIF images cannot be removed "
                 "without re-encoding them. Convert the image to JPEG first."));
    }
    const QMimeType sniffed = QMimeDatabase().mimeTypeForData(data);
    if (sniffed.name().startsWith(QLatin1String("image/"))) {
        return makeError(TULOImageMetadataErrorUnsupportedType,
            text("The location and camera data of this %1 cannot be removed. Convert the image to "
                 "JPEG or PNG first.")
                .arg(sniffed.comment()));
    }
    return unreadable("The file is not an image or is damaged.");
}

// A JPEG: Exiv2 only needs what comes before the scan; the compressed data follow untouched,
// which spares copying megabytes through its buffers. Anything appended after the end of the
// image (previews, depth maps, clips with their own metadata) is left out.
bool stripJpeg(const QByteArray &data, const TULOImageSink &sink, TULOError *error)
{
    const TULOJpegLayout layout = jpegLayout(data);
    if (layout.scanStart < 0) {
        TULOSetError(error, unreadable("The image is incomplete; it may have been cut off while it was copied."));
        return false;
    }
    if (layout.scanHeaderEnd > data.size()) {
        TULOSetError(error, unreadable("The image is damaged: its scan header is too long."));
        return false;
    }
    const auto rewrite = std::make_unique<TULOMetadataRewrite>(jpegHeadForExiv2(data, layout.scanHeaderEnd));
    std::future<TULOMetadataRewrite::Result> rewriting = rewrite->future();
    QThreadPool *const pool = QThreadPool::globalInstance();
    pool->start(rewrite.get());
    // The scan's last header byte too: an FF there and a D9 after it have always ended the image.
    const qsizetype imageEnd = jpegImageEnd(data, layout.scanHeaderEnd - 1);
    // A pool busy with other work does not hold the photo up: this thread does what it has not begun.
    if (pool->tryTake(rewrite.get()))
        rewrite->run();
    const TULOMetadataRewrite::Result rewritten = rewriting.get();
    if (rewritten.data.isNull()) {
        TULOSetError(error, rewritten.error);
        return false;
    }
    const qsizetype newScanStart = jpegLayout(rewritten.data).scanStart;
    if (newScanStart < 0) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorWriteFailed, text("The image's metadata cannot be removed.")));
        return false;
    }
    if (imageEnd < 0) {
        // Found before anything is written, so a cut-off photo leaves no stub behind.
        TULOSetError(error, unreadable("The image is incomplete; it may have been cut off while it was copied."));
        return false;
    }
    // Two writes, as a copy makes one: the kernel takes the scan data straight from `data`.
    return sink(QByteArrayView(rewritten.data).first(newScanStart))
        && sink(QByteArrayView(data).sliced(layout.scanStart, imageEnd - layout.scanStart));
}

// A GIF has no place for Exif or IPTC; only comments and application blocks (XMP above all)
// can tell something, so those go. The animation loop count stays, and so does every image.
bool stripGif(const QByteArray &data, const TULOImageSink &sink, TULOError *error)
{
    const auto byte = [&](qsizetype at) { return at < data.size() ? uchar(data[at]) : 0; };
    const auto colourTableSize = [](uchar packed) { return (packed & 0x80) ? 3 << ((packed & 7) + 1) : 0; };
    // Past a run of data sub-blocks that starts at `pos`; -1 when the file ends first.
    const auto skipSubBlocks = [&](qsizetype pos) -> qsizetype {
        while (pos < data.size()) {
            const uchar size = byte(pos);
            pos += 1 + size;
            if (size == 0)
                return pos;
        }
        return -1;
    };
    QByteArray result;
    result.reserve(data.size());
    qsizetype pos = 13 + colourTableSize(byte(10));
    if (pos > data.size()) {
        TULOSetError(error, unreadable("The image is incomplete; it may have been cut off while it was copied."));
        return false;
    }
    result.append(data.constData(), pos);
    while (pos < data.size()) {
        const uchar introducer = byte(pos);
        if (introducer == 0x3B) { // trailer: anything after it is not part of the image
            result.append(char(0x3B));
            return sink(result);
        }
        qsizetype end = -1;
        bool keep = true;
        if (introducer == 0x2C) {
            const qsizetype dataStart = pos + 10 + colourTableSize(byte(pos + 9)) + 1;
            end = dataStart <= data.size() ? skipSubBlocks(dataStart) : -1;
        } else if (introducer == 0x21) {
            const uchar label = byte(pos + 1);
            if (label == 0xFE) {
                keep = false;
            } else if (label == 0xFF) {
                const QByteArray application = data.mid(pos + 3, 11);
                keep = byte(pos + 2) == 11 && (application == "NETSCAPE2.0" || application == "ANIMEXTS1.0");
            }
            end = skipSubBlocks(pos + 2);
        } else {
            TULOSetError(error, unreadable("The image is damaged: a part of it is of no known kind."));
            return false;
        }
        if (end < 0)
            break;
        if (keep)
            result.append(data.constData() + pos, end - pos);
        pos = end;
    }
    TULOSetError(error, unreadable("The image is incomplete; it may have been cut off while it was copied."));
    return false;
}

QString supportedType(const QByteArray &data, TULOError *error)
{
    if (data.isEmpty()) {
        TULOSetError(error, unreadable("The image is empty."));
        return QString();
    }
    initializeExiv2();
    QString type;
    try {
        type = typeForExiv2Type(Exiv2::ImageFactory::getType(
            reinterpret_cast<const Exiv2::byte *>(data.constData()), static_cast<long>(data.size())));
    } catch (...) {
    }
    if (type.isNull())
        TULOSetError(error, unsupported(data));
    return type;
}

bool strip(const QByteArray &data, const TULOImageSink &sink, QString *typeIdentifier, TULOError *error)
{
    const QString type = supportedType(data, error);
    if (type.isNull())
        return false;
    bool done = false;
    if (type == QLatin1String(TULOTypeIdentifierJPEG)) {
        done = stripJpeg(data, sink, error);
    } else if (type == QLatin1String("image/gif")) {
        done = stripGif(data, sink, error);
    } else if (type == QLatin1String("image/bmp")) {
        done = sink(data); // no place for anything but pixels and a colour profile
    } else if (!isComplete(type, data)) {
        TULOSetError(error, unreadable("The image is incomplete; it may have been cut off while it was copied."));
    } else {
        const QByteArray rewritten = rewrittenMetadata(data, error);
        done = !rewritten.isNull() && sink(rewritten);
    }
    if (done && typeIdentifier)
        *typeIdentifier = type;
    return done;
}

constexpr TULOImageMetadataEngine engine {supportedType, strip};

} // namespace

extern "C" Q_DECL_EXPORT const TULOImageMetadataEngine *TULOImageMetadataEngineInstance()
{
    return &engine;
}

#pragma GCC diagnostic pop
