// The tag reader of the optional module libquillon-mediatags.so (library/mediatagsengine_p.h).

#include <Quillon/platform/library/mediatagsengine_p.h>

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>

#include <taglib/aifffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

namespace {

QString toQString(const TagLib::String &value)
{
    const QString text = QString::fromStdWString(value.toWString()).trimmed();
    return text.isEmpty() ? QString() : text;
}

QString property(const TagLib::PropertyMap &map, const char *key)
{
    const auto it = map.find(TagLib::String(key));
    if (it == map.end() || it->second.isEmpty())
        return QString();
    return toQString(it->second.front());
}

// Store identifiers are positive integers; anything else is treated as absent.
qint64 identifier(const TagLib::PropertyMap &map, const char *key)
{
    bool ok = false;
    const qint64 value = property(map, key).toLongLong(&ok);
    return ok && value > 0 ? value : 0;
}

bool isExplicitValue(const QString &value)
{
    const QString v = value.toLower();
    return v == QLatin1String("1") || v == QLatin1String("4") || v == QLatin1String("explicit")
        || v == QLatin1String("true") || v == QLatin1String("yes");
}

QByteArray fromVector(const TagLib::ByteVector &bytes)
{
    return QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

QByteArray id3Picture(TagLib::ID3v2::Tag *tag)
{
    if (!tag)
        return {};
    QByteArray any;
    for (TagLib::ID3v2::Frame *frame : tag->frameListMap()["APIC"]) {
        auto *picture = dynamic_cast<TagLib::ID3v2::AttachedPictureFrame *>(frame);
        if (!picture)
            continue;
        if (picture->type() == TagLib::ID3v2::AttachedPictureFrame::FrontCover)
            return fromVector(picture->picture());
        if (any.isEmpty())
            any = fromVector(picture->picture());
    }
    return any;
}

QByteArray flacPicture(const TagLib::List<TagLib::FLAC::Picture *> &pictures)
{
    QByteArray any;
    for (TagLib::FLAC::Picture *picture : pictures) {
        if (picture->type() == TagLib::FLAC::Picture::FrontCover)
            return fromVector(picture->data());
        if (any.isEmpty())
            any = fromVector(picture->data());
    }
    return any;
}

QByteArray embeddedArtwork(TagLib::File *file)
{
    if (auto *mpeg = dynamic_cast<TagLib::MPEG::File *>(file))
        return id3Picture(mpeg->ID3v2Tag());
    if (auto *wav = dynamic_cast<TagLib::RIFF::WAV::File *>(file))
        return id3Picture(wav->ID3v2Tag());
    if (auto *aiff = dynamic_cast<TagLib::RIFF::AIFF::File *>(file))
        return id3Picture(aiff->tag());
    if (auto *flac = dynamic_cast<TagLib::FLAC::File *>(file)) {
        QByteArray picture = flacPicture(flac->pictureList());
        if (picture.isEmpty() && flac->xiphComment())
            picture = flacPicture(flac->xiphComment()->pictureList());
        return picture;
    }
    if (auto *vorbis = dynamic_cast<TagLib::Ogg::Vorbis::File *>(file))
        return vorbis->tag() ? flacPicture(vorbis->tag()->pictureList()) : QByteArray();
    if (auto *opus = dynamic_cast<TagLib::Ogg::Opus::File *>(file))
        return opus->tag() ? flacPicture(opus->tag()->pictureList()) : QByteArray();
    if (auto *mp4 = dynamic_cast<TagLib::MP4::File *>(file)) {
        TagLib::MP4::Tag *tag = mp4->tag();
        if (tag && tag->contains("covr")) {
            const TagLib::MP4::CoverArtList covers = tag->item("covr").toCoverArtList();
            if (!covers.isEmpty())
                return fromVector(covers.front().data());
        }
    }
    return {};
}

bool mp4Explicit(TagLib::File *file)
{
    auto *mp4 = dynamic_cast<TagLib::MP4::File *>(file);
    if (!mp4 || !mp4->tag() || !mp4->tag()->contains("rtng"))
        return false;
    const int rating = mp4->tag()->item("rtng").toByte();
    return rating == 1 || rating == 4;
}

TagLib::FileRef open(const QString &path)
{
    const QByteArray encoded = QFile::encodeName(path);
    return TagLib::FileRef(encoded.constData(), true, TagLib::AudioProperties::Fast);
}

bool readTags(const QString &path, TULOMediaFileTags *tags, TULOError *error)
{
    *tags = TULOMediaFileTags();
    const QFileInfo info(path);
    if (!info.isFile() || !info.isReadable()) {
        TULOSetError(error, TULOError(TULOFileErrorDomain, info.exists() ? 257 : 260,
                                      {{QString::fromLatin1(TULOFilePathErrorKey), path},
                                       {QString::fromLatin1(TULOLocalizedDescriptionKey),
                                        QStringLiteral("The file \u201c%1\u201d cannot be read.").arg(info.fileName())}}));
        return false;
    }
    TagLib::FileRef ref = open(path);
    // TagLib accepts some garbage (an ID3 header before noise) as a file without audio; such a
    // file has no stream to play and is treated as unreadable.
    const TagLib::AudioProperties *audio = ref.isNull() ? nullptr : ref.audioProperties();
    if (ref.isNull() || !ref.file()->isValid() || !audio || audio->sampleRate() <= 0) {
        TULOSetError(error, TULOError(TULOFileErrorDomain, TULOFileErrorCorruptFile,
                                      {{QString::fromLatin1(TULOFilePathErrorKey), path},
                                       {QString::fromLatin1(TULOLocalizedDescriptionKey),
                                        QStringLiteral("The file \u201c%1\u201d is not a media file that can be read.")
                                            .arg(info.fileName())}}));
        return false;
    }

    if (TagLib::Tag *tag = ref.tag()) {
        tags->title = toQString(tag->title());
        tags->artist = toQString(tag->artist());
        tags->album = toQString(tag->album());
    }
    const TagLib::PropertyMap properties = ref.file()->properties();
    tags->albumArtist = property(properties, "ALBUMARTIST");
    tags->storeItemID = identifier(properties, TULOMediaTagStoreItemID);
    tags->storeArtistID = identifier(properties, TULOMediaTagStoreArtistID);
    tags->storeAlbumArtistID = identifier(properties, TULOMediaTagStoreAlbumArtistID);
    tags->storeAlbumID = identifier(properties, TULOMediaTagStoreAlbumID);
    tags->explicitContent = isExplicitValue(property(properties, TULOMediaTagAdvisory))
        || isExplicitValue(property(properties, "EXPLICIT")) || mp4Explicit(ref.file());
    tags->duration = audio->lengthInMilliseconds() / 1000.0;

    const QByteArray artwork = embeddedArtwork(ref.file());
    if (!artwork.isEmpty()) {
        // Only the header is decoded here; the pixels are read when the artwork is shown.
        QByteArray copy = artwork;
        QBuffer buffer(&copy);
        QImageReader reader(&buffer);
        const QSize size = reader.size();
        if (size.isValid())
            tags->artworkSize = size;
    }
    return true;
}

QByteArray readEmbeddedArtwork(const QString &path)
{
    if (!QFileInfo(path).isReadable())
        return {};
    TagLib::FileRef ref = open(path);
    if (ref.isNull() || !ref.file()->isValid())
        return {};
    return embeddedArtwork(ref.file());
}

constexpr TULOMediaTagsEngine engine {readTags, readEmbeddedArtwork};

} // namespace

extern "C" Q_DECL_EXPORT const TULOMediaTagsEngine *TULOMediaTagsEngineInstance()
{
    return &engine;
}
