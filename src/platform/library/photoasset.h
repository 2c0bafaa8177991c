#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/library/assetrepresentation.h>

#include <QDateTime>
#include <QString>
#include <QUrl>

// A photo or video of the photo library. A value, made by TULOPhotoLibrary; a default-made
// asset is null.
class QUILLON_EXPORT TULOPhotoAsset
{
public:
    enum AssetType { Unknown, Photo, Video };

    TULOPhotoAsset() = default;
    TULOPhotoAsset(const QUrl &assetURL, AssetType type, const QString &filePath, const QString &UTI,
        qint64 size, const QDateTime &date);

    bool isNull() const { return m_assetURL.isEmpty(); }

    // The stable "assets-library" URL of the asset.
    QUrl assetURL() const { return m_assetURL; }
    AssetType assetType() const { return m_type; }
    // When the file was last changed.
    QDateTime date() const { return m_date; }
    // The asset's file in the library.
    QString filePath() const { return m_filePath; }

    // A video's length in seconds; 0 for a photo or a video whose length is unknown.
    double duration() const { return m_duration; }
    void setDuration(double seconds) { m_duration = seconds; }

    TULOAssetRepresentation defaultRepresentation() const;

    bool operator==(const TULOPhotoAsset &other) const = default;

private:
    QUrl m_assetURL;
    AssetType m_type = Unknown;
    QString m_filePath;
    QString m_UTI;
    qint64 m_size = 0;
    QDateTime m_date;
    double m_duration = 0;
};
