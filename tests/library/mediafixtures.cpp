#include "library/mediafixtures.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>

#include <sndfile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/flacfile.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v2tag.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

#include <cmath>
#include <vector>

namespace {

bool writeTone(const QString &path, int format, QString *failure)
{
    SF_INFO info{};
    info.samplerate = 22050;
    info.channels = 1;
    info.format = format;
    SNDFILE *file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!file) {
        if (failure)
            *failure = QString::fromUtf8(sf_strerror(nullptr));
        return false;
    }
    std::vector<short> samples(info.samplerate / 4);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<short>(8000 * std::sin(2 * M_PI * 440 * double(i) / info.samplerate));
    sf_write_short(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
    return true;
}

TagLib::String str(const QString &text)
{
    return TagLib::String(text.toStdString(), TagLib::String::UTF8);
}

TagLib::PropertyMap properties(const TULOTestTrack &track)
{
    TagLib::PropertyMap map;
    const auto put = [&map](const char *key, const QString &value) {
        if (!value.isEmpty())
            map.replace(key, TagLib::StringList(str(value)));
    };
    const auto id = [](qint64 value) { return value ? QString::number(value) : QString(); };
    put("TITLE", track.title);
    put("ARTIST", track.artist);
    put("ALBUMARTIST", track.albumArtist);
    put("ALBUM", track.album);
    put("STOREITEMID", track.rawStoreItemID.isEmpty() ? id(track.storeItemID) : track.rawStoreItemID);
    put("STOREARTISTID", id(track.storeArtistID));
    put("STOREALBUMARTISTID", id(track.storeAlbumArtistID));
    put("STOREALBUMID", id(track.storeAlbumID));
    put("CONTENTADVISORY", track.advisory);
    return map;
}

TagLib::ByteVector pngBytes(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return TagLib::ByteVector(bytes.constData(), static_cast<unsigned int>(bytes.size()));
}

TagLib::FLAC::Picture *flacPicture(const QImage &image)
{
    auto *picture = new TagLib::FLAC::Picture;
    picture->setType(TagLib::FLAC::Picture::FrontCover);
    picture->setMimeType("image/png");
    picture->setWidth(image.width());
    picture->setHeight(image.height());
    picture->setData(pngBytes(image));
    return picture;
}

} // namespace

bool TULOTestWriteTrack(const QString &path, const TULOTestTrack &track, QString *failure)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    const QByteArray name = QFile::encodeName(path);
    if (suffix == QLatin1String("flac")) {
        if (!writeTone(path, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, failure))
            return false;
        TagLib::FLAC::File file(name.constData());
        file.setProperties(properties(track));
        if (!track.artwork.isNull())
            file.addPicture(flacPicture(track.artwork));
        return file.save();
    }
    if (suffix == QLatin1String("ogg")) {
        if (!writeTone(path, SF_FORMAT_OGG | SF_FORMAT_VORBIS, failure))
            return false;
        TagLib::Ogg::Vorbis::File file(name.constData());
        file.setProperties(properties(track));
        if (!track.artwork.isNull())
            file.tag()->addPicture(flacPicture(track.artwork));
        return file.save();
    }
    if (suffix == QLatin1String("wav")) {
        if (!writeTone(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, failure))
            return false;
        TagLib::RIFF::WAV::File file(name.constData());
        // Custom keys become TXXX frames with the key as description.
        file.ID3v2Tag()->setProperties(properties(track));
        if (!track.artwork.isNull()) {
            auto *frame = new TagLib::ID3v2::AttachedPictureFrame;
            frame->setType(TagLib::ID3v2::AttachedPictureFrame::FrontCover);
            frame->setMimeType("image/png");
            frame->setPicture(pngBytes(track.artwork));
            file.ID3v2Tag()->addFrame(frame);
        }
        return file.save();
    }
    if (failure)
        *failure = QStringLiteral("no writer for .%1").arg(suffix);
    return false;
}
