#include <Quillon/platform/records/authorprofile.h>

#include <Quillon/platform/records/lookupvalue.h>

TULOAuthorProfile TULOAuthorProfile::withProfileDictionary(const QVariantMap &dictionary)
{
    TULOAuthorProfile profile;
    // Identifiers arrive as strings or numbers depending on the store's encoder.
    profile.m_identifier = TULOLookupIdentifierString(dictionary.value(QStringLiteral("id")));
    profile.m_name = TULOLookupString(dictionary.value(QStringLiteral("name")));
    profile.m_profileType = TULOLookupString(dictionary.value(QStringLiteral("type")));
    const QString image = TULOLookupString(dictionary.value(QStringLiteral("imageUrl")));
    if (!image.isEmpty())
        profile.m_profileImageURL = QUrl(image);
    return profile;
}
