#include <Quillon/accounts/facebookpage.h>

TULOFacebookPage::TULOFacebookPage(const QString &identifier, const QString &name)
    : m_identifier(identifier)
    , m_name(name)
{
}

std::optional<TULOFacebookPage> TULOFacebookPage::withDictionary(const QVariantMap &dictionary)
{
    const QVariant identifier = dictionary.value(QStringLiteral("id"));
    const QVariant name = dictionary.value(QStringLiteral("name"));
    // Servers send numeric ids now and then; a page is only taken when both are strings.
    if (identifier.typeId() != QMetaType::QString || name.typeId() != QMetaType::QString)
        return std::nullopt;
    return TULOFacebookPage(identifier.toString(), name.toString());
}
