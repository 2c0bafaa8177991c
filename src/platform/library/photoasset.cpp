#include <Quillon/platform/library/photoasset.h>

TULOPhotoAsset::TULOPhotoAsset(const QUrl &assetURL, AssetType type, const QString &filePath,
    const QString &UTI, qint64 size, const QDateTime &date)
    : m_assetURL(assetURL)
    , m_type(type)
    , m_filePath(filePath)
    , m_UTI(UTI)
    , m_size(size)
    , m_date(date)
{
}

TULOAssetRepresentation TULOPhotoAsset::defaultRepresentation() const
{
    if (isNull())
        return TULOAssetRepresentation();
    return TULOAssetRepresentation(m_filePath, m_assetURL, m_UTI, m_size);
}
