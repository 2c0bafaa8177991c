#include <Quillon/platform/store/profileoperation.h>

#include <Quillon/platform/store/storeerror.h>

TULOProfileOperation::TULOProfileOperation(const TULOClientContext &context, TULOStoreAccountStore *accounts)
    : TULOSignedStoreOperation(context, accounts)
{
}

void TULOProfileOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_mutex);
    m_outputBlock = std::move(block);
}

void TULOProfileOperation::main()
{
    TULOError error;
    std::optional<TULOAuthorProfile> profile;
    if (const std::optional<QVariantMap> reply = signedReply(QStringLiteral("profile"), &error)) {
        const QVariant dictionary = reply->value(QStringLiteral("profile"));
        if (dictionary.typeId() == QMetaType::QVariantMap)
            profile = TULOAuthorProfile::withProfileDictionary(dictionary.toMap());
        if (!profile || profile->identifier().isEmpty()) {
            profile.reset();
            error = TULOStoreError(TULOStoreErrorRequestFailed, QUrl(),
                                   {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The store's profile reply cannot be read.")}});
        }
    }
    OutputBlock block;
    {
        std::lock_guard lock(m_mutex);
        block = std::exchange(m_outputBlock, nullptr);
    }
    if (block)
        block(profile, error);
}
