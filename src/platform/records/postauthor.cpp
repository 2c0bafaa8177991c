#include <Quillon/platform/records/postauthor.h>

const char *const TULOAuthorPermissionShareAsEntity = "shareAsEntity";
const char *const TULOAuthorPermissionShareWithAttribution = "shareWithAttribution";

class TULOPostAuthorPrivate : public QSharedData
{
public:
    QString identifier;
    QString name;
    QString authorType;
    QSet<QString> permissions;
    QUrl thumbnailImageURL;
};

TULOPostAuthor::TULOPostAuthor() : d(new TULOPostAuthorPrivate) {}

TULOPostAuthor::TULOPostAuthor(const QString &identifier, const QString &name, const QString &authorType)
    : d(new TULOPostAuthorPrivate)
{
    d->identifier = identifier;
    d->name = name;
    d->authorType = authorType;
}

TULOPostAuthor::TULOPostAuthor(const TULOPostAuthor &other) = default;
TULOPostAuthor &TULOPostAuthor::operator=(const TULOPostAuthor &other) = default;
TULOPostAuthor::~TULOPostAuthor() = default;

QString TULOPostAuthor::identifier() const { return d->identifier; }
void TULOPostAuthor::setIdentifier(const QString &identifier) { d->identifier = identifier; }
QString TULOPostAuthor::name() const { return d->name; }
void TULOPostAuthor::setName(const QString &name) { d->name = name; }
QString TULOPostAuthor::authorType() const { return d->authorType; }
void TULOPostAuthor::setAuthorType(const QString &authorType) { d->authorType = authorType; }
QSet<QString> TULOPostAuthor::permissions() const { return d->permissions; }
void TULOPostAuthor::setPermissions(const QSet<QString> &permissions) { d->permissions = permissions; }
QUrl TULOPostAuthor::thumbnailImageURL() const { return d->thumbnailImageURL; }
void TULOPostAuthor::setThumbnailImageURL(const QUrl &url) { d->thumbnailImageURL = url; }

bool TULOPostAuthor::hasPermission(const char *permission) const
{
    return d->permissions.contains(QString::fromLatin1(permission));
}

QString TULOPostAuthor::queryKeyForAuthorType(const QString &authorType)
{
    const QString type = authorType.toLower();
    if (type == QLatin1String("artist"))
        return QStringLiteral("artist");
    if (type == QLatin1String("brand"))
        return QStringLiteral("brand");
    if (type == QLatin1String("sorvelbrand"))
        return QStringLiteral("SorvelBrand");
    if (type == QLatin1String("activitycurator"))
        return QStringLiteral("activityCurator");
    return QStringLiteral("user");
}

bool TULOPostAuthor::operator==(const TULOPostAuthor &other) const
{
    return d == other.d
        || (d->identifier == other.d->identifier && d->name == other.d->name
            && d->authorType == other.d->authorType && d->permissions == other.d->permissions
            && d->thumbnailImageURL == other.d->thumbnailImageURL);
}
