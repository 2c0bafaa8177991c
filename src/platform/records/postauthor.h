#pragma once

#include <Quillon/quillon_export.h>

#include <QMetaType>
#include <QSet>
#include <QSharedDataPointer>
#include <QString>
#include <QUrl>

// Permission strings an author may hold.
extern QUILLON_EXPORT const char *const TULOAuthorPermissionShareAsEntity;
extern QUILLON_EXPORT const char *const TULOAuthorPermissionShareWithAttribution;

class TULOPostAuthorPrivate;

// An identity a user may post as: an artist, a brand, a curator or the user themself.
class QUILLON_EXPORT TULOPostAuthor
{
public:
    TULOPostAuthor();
    TULOPostAuthor(const QString &identifier, const QString &name, const QString &authorType);
    TULOPostAuthor(const TULOPostAuthor &other);
    TULOPostAuthor &operator=(const TULOPostAuthor &other);
    ~TULOPostAuthor();

    QString identifier() const;
    void setIdentifier(const QString &identifier);
    QString name() const;
    void setName(const QString &name);
    // The store's author type: "artist", "brand", "activityCurator", "user", ...
    QString authorType() const;
    void setAuthorType(const QString &authorType);
    QSet<QString> permissions() const;
    void setPermissions(const QSet<QString> &permissions);
    bool hasPermission(const char *permission) const;
    QUrl thumbnailImageURL() const;
    void setThumbnailImageURL(const QUrl &url);

    // The name of the query item that carries an author of this type in store requests.
    static QString queryKeyForAuthorType(const QString &authorType);

    bool operator==(const TULOPostAuthor &other) const;
    bool operator!=(const TULOPostAuthor &other) const { return !(*this == other); }

private:
    QSharedDataPointer<TULOPostAuthorPrivate> d;
};

Q_DECLARE_METATYPE(TULOPostAuthor)
