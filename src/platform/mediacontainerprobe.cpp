#include <Quillon/platform/mediacontainerprobe_p.h>

#include <QByteArray>
#include <QFile>
#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

namespace {

// Track lists larger than this are not read into memory; FFmpeg judges such files.
constexpr qint64 kMaximumTrackListSize = qint64(32) << 20;
// Elements looked at before the track list turns up; a file that hides it behind more is
// left to FFmpeg rather than walked for long.
constexpr int kMaximumElementsBeforeTracks = 4096;

struct TrackCount
{
    int video = 0;
    int audio = 0;

    TULOMediaStreams streams() const
    {
        return video > 0 ? TULOMediaStreams::Video : audio > 0 ? TULOMediaStreams::AudioOnly : TULOMediaStreams::Unknown;
    }
};

QByteArray readAt(QFile &file, qint64 offset, qint64 size)
{
    if (offset < 0 || size < 0 || !file.seek(offset))
        return QByteArray();
    return file.read(size);
}

constexpr quint32 fourCC(const char (&code)[5])
{
    return quint32(uchar(code[0])) << 24 | quint32(uchar(code[1])) << 16 | quint32(uchar(code[2])) << 8 | quint32(uchar(code[3]));
}

// ---- MP4 and QuickTime: moov > trak > mdia > hdlr names each track's kind.

struct Box
{
    quint32 type = 0;
    qint64 payload = 0; // offset of the payload
    qint64 end = 0; // offset just past the box
};

// The box at `offset` of `data`, which ends at `limit`; nothing when its header is damaged.
std::optional<Box> boxAt(const uchar *data, qint64 offset, qint64 limit)
{
    if (limit - offset < 8)
        return std::nullopt;
    const quint64 size32 = qFromBigEndian<quint32>(data + offset);
    Box box;
    box.type = qFromBigEndian<quint32>(data + offset + 4);
    box.payload = offset + 8;
    quint64 size = size32;
    if (size32 == 1) {
        if (limit - offset < 16)
            return std::nullopt;
        size = qFromBigEndian<quint64>(data + offset + 8);
        box.payload = offset + 16;
    } else if (size32 == 0) {
        size = quint64(limit - offset); // to the end
    }
    if (size < quint64(box.payload - offset) || size > quint64(limit - offset))
        return std::nullopt;
    box.end = offset + qint64(size);
    return box;
}

// Counts the tracks of a moov box's payload; false when it is damaged.
bool countMovieTracks(const QByteArray &moov, TrackCount *count)
{
    const auto *data = reinterpret_cast<const uchar *>(moov.constData());
    const qint64 size = moov.size();
    for (qint64 offset = 0; offset < size;) {
        const auto trak = boxAt(data, offset, size);
        if (!trak)
            return false;
        offset = trak->end;
        if (trak->type != fourCC("trak"))
            continue;
        for (qint64 inner = trak->payload; inner < trak->end;) {
            const auto mdia = boxAt(data, inner, trak->end);
            if (!mdia)
                return false;
            inner = mdia->end;
            if (mdia->type != fourCC("mdia"))
                continue;
            for (qint64 part = mdia->payload; part < mdia->end;) {
                const auto hdlr = boxAt(data, part, mdia->end);
                if (!hdlr)
                    return false;
                part = hdlr->end;
                // Version and flags, then the QuickTime component type (nothing in MP4), then
                // the handler: "vide" or "soun".
                if (hdlr->type != fourCC("hdlr") || hdlr->end - hdlr->payload < 12)
                    continue;
                const quint32 handler = qFromBigEndian<quint32>(data + hdlr->payload + 8);
                if (handler == fourCC("vide"))
                    ++count->video;
                else if (handler == fourCC("soun"))
                    ++count->audio;
            }
        }
    }
    return true;
}

TULOMediaStreams probeIsoMedia(QFile &file)
{
    const qint64 fileSize = file.size();
    for (qint64 offset = 0, boxes = 0; offset < fileSize && boxes < kMaximumElementsBeforeTracks; ++boxes) {
        const QByteArray header = readAt(file, offset, 16);
        if (header.size() < 8)
            return TULOMediaStreams::Unknown;
        const auto *bytes = reinterpret_cast<const uchar *>(header.constData());
        quint64 size = qFromBigEndian<quint32>(bytes);
        qint64 headerSize = 8;
        if (size == 1) {
            if (header.size() < 16)
                return TULOMediaStreams::Unknown;
            size = qFromBigEndian<quint64>(bytes + 8);
            headerSize = 16;
        } else if (size == 0) {
            size = quint64(fileSize - offset); // to the end
        }
        if (size < quint64(headerSize) || size > quint64(fileSize - offset))
            return TULOMediaStreams::Unknown;
        if (qFromBigEndian<quint32>(bytes + 4) == fourCC("moov")) {
            // A compressed movie header (cmov) reads as no tracks: FFmpeg decides then.
            const qint64 payloadSize = qint64(size) - headerSize;
            if (payloadSize > kMaximumTrackListSize)
                return TULOMediaStreams::Unknown;
            const QByteArray moov = readAt(file, offset + headerSize, payloadSize);
            TrackCount count;
            if (moov.size() != payloadSize || !countMovieTracks(moov, &count))
                return TULOMediaStreams::Unknown;
            return count.streams();
        }
        offset += qint64(size);
    }
    return TULOMediaStreams::Unknown;
}

// ---- Matroska and WebM: Segment > Tracks > TrackEntry > TrackType (1 video, 2 audio).

constexpr quint32 kEbmlHeader = 0x1A45DFA3;
constexpr quint32 kSegment = 0x18538067;
constexpr quint32 kTracks = 0x1654AE6B;
constexpr quint32 kTrackEntry = 0xAE;
constexpr quint32 kTrackType = 0x83;

struct Element
{
    quint32 id = 0;
    qint64 payload = 0;
    std::optional<qint64> size; // none: unknown size, up to the end of the parent
};

// The EBML element at `offset` of `data` (of `length` bytes); nothing when its header is
// damaged or cut off.
std::optional<Element> elementAt(const uchar *data, qint64 length, qint64 offset)
{
    if (offset >= length)
        return std::nullopt;
    const uchar first = data[offset];
    const int idLength = first >= 0x80 ? 1 : first >= 0x40 ? 2 : first >= 0x20 ? 3 : first >= 0x10 ? 4 : 0;
    if (idLength == 0 || offset + idLength >= length)
        return std::nullopt;
    Element element;
    for (int i = 0; i < idLength; ++i)
        element.id = element.id << 8 | data[offset + i];
    offset += idLength;
    const uchar sizeFirst = data[offset];
    int sizeLength = 1;
    while (sizeLength <= 8 && !(sizeFirst & (0x80 >> (sizeLength - 1))))
        ++sizeLength;
    if (sizeLength > 8 || offset + sizeLength > length)
        return std::nullopt;
    quint64 size = sizeFirst & (0xFF >> sizeLength);
    bool allOnes = size == quint64(0xFF >> sizeLength);
    for (int i = 1; i < sizeLength; ++i) {
        size = size << 8 | data[offset + i];
        allOnes = allOnes && data[offset + i] == 0xFF;
    }
    element.payload = offset + sizeLength;
    if (!allOnes) {
        if (size > quint64(std::numeric_limits<qint64>::max() / 2))
            return std::nullopt;
        element.size = qint64(size);
    }
    return element;
}

bool countMatroskaTracks(const QByteArray &tracks, TrackCount *count)
{
    const auto *data = reinterpret_cast<const uchar *>(tracks.constData());
    const qint64 length = tracks.size();
    for (qint64 offset = 0; offset < length;) {
        const auto entry = elementAt(data, length, offset);
        if (!entry || !entry->size || entry->payload + *entry->size > length)
            return false;
        const qint64 entryEnd = entry->payload + *entry->size;
        offset = entryEnd;
        if (entry->id != kTrackEntry)
            continue;
        for (qint64 inner = entry->payload; inner < entryEnd;) {
            const auto field = elementAt(data, entryEnd, inner);
            if (!field || !field->size || field->payload + *field->size > entryEnd)
                return false;
            inner = field->payload + *field->size;
            if (field->id != kTrackType || *field->size < 1 || *field->size > 8)
                continue;
            quint64 type = 0;
            for (qint64 i = 0; i < *field->size; ++i)
                type = type << 8 | data[field->payload + i];
            if (type == 1)
                ++count->video;
            else if (type == 2)
                ++count->audio;
        }
    }
    return true;
}

TULOMediaStreams probeMatroska(QFile &file)
{
    const qint64 fileSize = file.size();
    // The EBML header, then the segment.
    qint64 offset = 0;
    std::optional<qint64> segmentEnd;
    for (int i = 0; i < 2; ++i) {
        const QByteArray header = readAt(file, offset, 12);
        const auto element = elementAt(reinterpret_cast<const uchar *>(header.constData()), header.size(), 0);
        if (!element)
            return TULOMediaStreams::Unknown;
        if (i == 0) {
            if (element->id != kEbmlHeader || !element->size)
                return TULOMediaStreams::Unknown;
            offset += element->payload + *element->size;
        } else {
            if (element->id != kSegment)
                return TULOMediaStreams::Unknown;
            offset += element->payload;
            segmentEnd = element->size ? std::min(fileSize, offset + *element->size) : fileSize;
        }
    }
    for (int elements = 0; offset < *segmentEnd && elements < kMaximumElementsBeforeTracks; ++elements) {
        const QByteArray header = readAt(file, offset, 12);
        const auto element = elementAt(reinterpret_cast<const uchar *>(header.constData()), header.size(), 0);
        // An element of unknown size (a cluster being streamed) hides what follows it.
        if (!element || !element->size)
            return TULOMediaStreams::Unknown;
        const qint64 payload = offset + element->payload;
        if (element->id == kTracks) {
            if (*element->size > kMaximumTrackListSize)
                return TULOMediaStreams::Unknown;
            const QByteArray tracks = readAt(file, payload, *element->size);
            TrackCount count;
            if (tracks.size() != *element->size || !countMatroskaTracks(tracks, &count))
                return TULOMediaStreams::Unknown;
            return count.streams();
        }
        offset = payload + *element->size;
    }
    return TULOMediaStreams::Unknown;
}

// ---- Ogg: every stream starts with a page of its own before any other page, whose first
// packet names the codec.

enum class OggStream { Video, Audio, Ignored, Unknown };

OggStream oggStreamKind(const QByteArray &packet)
{
    struct Signature
    {
        const char *bytes;
        int length;
        OggStream kind;
    };
    static constexpr Signature signatures[] = {
        {"\x80theora", 7, OggStream::Video},
        {"\x80" "daala", 6, OggStream::Video},
        {"OVP80", 5, OggStream::Video},
        {"BBCD\0", 5, OggStream::Video},
        {"\x01video\0\0\0", 9, OggStream::Video},
        {"\x01vorbis", 7, OggStream::Audio},
        {"OpusHead", 8, OggStream::Audio},
        {"Speex   ", 8, OggStream::Audio},
        {"\x7F" "FLAC", 5, OggStream::Audio},
        {"fLaC", 4, OggStream::Audio},
        {"CELT    ", 8, OggStream::Audio},
        {"PCM     ", 8, OggStream::Audio},
        {"\x01" "audio\0\0\0", 9, OggStream::Audio},
        {"fishead\0", 8, OggStream::Ignored},
        {"fisbone\0", 8, OggStream::Ignored},
        {"\x80kate", 5, OggStream::Ignored},
        {"\x01text\0\0\0\0", 9, OggStream::Ignored},
    };
    for (const Signature &signature : signatures) {
        if (packet.size() >= signature.length && std::memcmp(packet.constData(), signature.bytes, size_t(signature.length)) == 0)
            return signature.kind;
    }
    return OggStream::Unknown;
}

TULOMediaStreams probeOgg(QFile &file)
{
    constexpr int kPageHeader = 27;
    TrackCount count;
    qint64 offset = 0;
    for (int pages = 0; pages < kMaximumElementsBeforeTracks; ++pages) {
        const QByteArray header = readAt(file, offset, kPageHeader);
        if (header.size() < kPageHeader || !header.startsWith("OggS"))
            return TULOMediaStreams::Unknown;
        const bool beginsStream = header[5] & 0x02;
        if (!beginsStream)
            break; // every stream has begun
        const int segments = uchar(header[26]);
        const QByteArray lacing = readAt(file, offset + kPageHeader, segments);
        if (lacing.size() != segments)
            return TULOMediaStreams::Unknown;
        qint64 bodySize = 0;
        for (char value : lacing)
            bodySize += uchar(value);
        const qint64 body = offset + kPageHeader + segments;
        switch (oggStreamKind(readAt(file, body, qMin<qint64>(bodySize, 16)))) {
        case OggStream::Video:
            ++count.video;
            break;
        case OggStream::Audio:
            ++count.audio;
            break;
        case OggStream::Ignored:
            break;
        case OggStream::Unknown:
            return TULOMediaStreams::Unknown;
        }
        offset = body + bodySize;
    }
    return count.streams();
}

} // namespace

TULOMediaStreams TULOProbeMediaStreams(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return TULOMediaStreams::Unknown;
    const QByteArray start = file.peek(8);
    if (start.size() < 8)
        return TULOMediaStreams::Unknown;
    if (qFromBigEndian<quint32>(start.constData()) == kEbmlHeader)
        return probeMatroska(file);
    if (start.startsWith("OggS"))
        return probeOgg(file);
    switch (qFromBigEndian<quint32>(start.constData() + 4)) {
    case fourCC("ftyp"):
    case fourCC("moov"):
    case fourCC("mdat"):
    case fourCC("free"):
    case fourCC("skip"):
    case fourCC("wide"):
        return probeIsoMedia(file);
    default:
        return TULOMediaStreams::Unknown;
    }
}
