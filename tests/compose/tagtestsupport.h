#pragma once

#include "../store/storetestsupport.h"
#include "tokentexttestsupport.h"

#include <Quillon/core/configuration.h>

#include <QStringList>
#include <QVariantList>

// A configuration whose tag lookup asks the sandbox store for artists, suggesting `suggested`
// (each name its own identifier) before anything is typed.
inline TULOConfiguration TULOSandboxTagConfiguration(const TULOSandboxStore &store, const QStringList &suggested)
{
    TULOConfiguration configuration;
    QUrl base = store.baseUrl();
    base.setPath(QStringLiteral("/search/tags"));
    base.setQuery(QStringLiteral("types=artist"));
    configuration.setTagLookupBaseURL(base);
    QVariantList tags;
    for (const QString &name : suggested)
        tags.append(QVariant::fromValue(TULOTestTag(name, name)));
    configuration.setSuggestedTags(tags);
    return configuration;
}
