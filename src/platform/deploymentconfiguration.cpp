#include <Quillon/platform/deploymentconfiguration.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

#include <mutex>

const char *const TULODeploymentConfigurationEnvironmentVariable = "QUILLON_DEPLOYMENT_CONFIG";

const char *const TULODeploymentTwitterAccessTokenURLKey = "twitterAccessTokenURL";
const char *const TULODeploymentFacebookDialogURLKey = "facebookDialogURL";
const char *const TULODeploymentFacebookAuthorizationURLKey = "facebookAuthorizationURL";
const char *const TULODeploymentFacebookAuthorizationRedirectURLKey = "facebookAuthorizationRedirectURL";
const char *const TULODeploymentTwitterConsumerKeyKey = "twitterConsumerKey";
const char *const TULODeploymentTwitterConsumerSecretKey = "twitterConsumerSecret";
const char *const TULODeploymentFacebookAppIdKey = "facebookAppId";
const char *const TULODeploymentTrustedCertificatesKey = "trustedCertificates";

namespace {

std::mutex currentMutex;
std::optional<TULODeploymentConfiguration> currentConfiguration;
TULOError currentError;

TULOError fileError(const QString &path, const QString &description)
{
    return TULOError(TULOFileErrorDomain, TULOFileErrorUnknown,
                     {{QString::fromLatin1(TULOLocalizedDescriptionKey), description},
                      {QString::fromLatin1(TULOFilePathErrorKey), path}});
}

} // namespace

TULODeploymentConfiguration::TULODeploymentConfiguration()
{
    // The sandbox store's own routes and demo credentials (scrambled, as a deployer's are).
    m_values.insert(QString::fromLatin1(TULODeploymentTwitterAccessTokenURLKey), QStringLiteral("/twitter/oauth/access_token"));
    m_values.insert(QString::fromLatin1(TULODeploymentFacebookDialogURLKey), QStringLiteral("/facebook/dialog/oauth"));
    m_values.insert(QString::fromLatin1(TULODeploymentFacebookAuthorizationURLKey), QStringLiteral("/social/facebookAuth"));
    m_values.insert(QString::fromLatin1(TULODeploymentFacebookAuthorizationRedirectURLKey), QStringLiteral("/facebook/authorization/"));
    m_values.insert(QString::fromLatin1(TULODeploymentTwitterConsumerKeyKey), QStringLiteral("RujlmooSbnebpxDoosvmfrLez"));
    m_values.insert(QString::fromLatin1(TULODeploymentTwitterConsumerSecretKey),
                    QStringLiteral("RujlmooSbnebpxDoosvmfrTedrftGosLpoqbbclTfsusPnmy11"));
    m_values.insert(QString::fromLatin1(TULODeploymentFacebookAppIdKey), QStringLiteral("243867243867243"));
}

std::optional<TULODeploymentConfiguration> TULODeploymentConfiguration::fromFile(const QString &path, TULOError *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        TULOSetError(error, fileError(path, QStringLiteral("The deployment file %1 cannot be read: %2").arg(path, file.errorString())));
        return std::nullopt;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (!document.isObject()) {
        TULOSetError(error, fileError(path, QStringLiteral("The deployment file %1 is not a JSON object.").arg(path)));
        return std::nullopt;
    }
    TULODeploymentConfiguration configuration;
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!it.value().isString()) {
            TULOSetError(error, fileError(path, QStringLiteral("The value of \"%1\" in the deployment file %2 is not a string.")
                                                    .arg(it.key(), path)));
            return std::nullopt;
        }
        configuration.setValue(it.key(), it.value().toString());
    }
    return configuration;
}

QString TULODeploymentConfiguration::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/quillon/deployment.json");
}

TULODeploymentConfiguration TULODeploymentConfiguration::current()
{
    std::lock_guard lock(currentMutex);
    if (!currentConfiguration) {
        currentError = TULOError();
        QString path = qEnvironmentVariable(TULODeploymentConfigurationEnvironmentVariable);
        if (path.isEmpty() && QFile::exists(defaultPath()))
            path = defaultPath();
        if (!path.isEmpty())
            currentConfiguration = fromFile(path, &currentError);
        if (!currentConfiguration)
            currentConfiguration = TULODeploymentConfiguration();
    }
    return *currentConfiguration;
}

void TULODeploymentConfiguration::setCurrent(const TULODeploymentConfiguration &configuration)
{
    std::lock_guard lock(currentMutex);
    currentConfiguration = configuration;
    currentError = TULOError();
}

void TULODeploymentConfiguration::reload()
{
    std::lock_guard lock(currentMutex);
    currentConfiguration.reset();
    currentError = TULOError();
}

TULOError TULODeploymentConfiguration::loadError()
{
    std::lock_guard lock(currentMutex);
    return currentError;
}

void TULODeploymentConfiguration::setValue(const QString &key, const QString &value)
{
    m_values.insert(key, value);
}

QUrl TULODeploymentConfiguration::urlForKey(const QString &key, const TULOClientContext &context) const
{
    const QUrl url(value(key));
    if (url.isEmpty() || !url.isRelative())
        return url;
    const TULOClientContext base = context.isNull() ? TULOClientContext::defaultContext() : context;
    if (base.isNull() || base.bagURL().isEmpty())
        return QUrl();
    return base.bagURL().resolved(url);
}

QUrl TULODeploymentConfiguration::twitterAccessTokenURL(const TULOClientContext &context) const
{
    return urlForKey(QString::fromLatin1(TULODeploymentTwitterAccessTokenURLKey), context);
}

QUrl TULODeploymentConfiguration::facebookDialogURL(const TULOClientContext &context) const
{
    return urlForKey(QString::fromLatin1(TULODeploymentFacebookDialogURLKey), context);
}

QUrl TULODeploymentConfiguration::facebookAuthorizationURL(const TULOClientContext &context) const
{
    return urlForKey(QString::fromLatin1(TULODeploymentFacebookAuthorizationURLKey), context);
}

QUrl TULODeploymentConfiguration::facebookAuthorizationRedirectURL(const TULOClientContext &context) const
{
    return urlForKey(QString::fromLatin1(TULODeploymentFacebookAuthorizationRedirectURLKey), context);
}

QString TULODeploymentConfiguration::scrambledTwitterConsumerKey() const
{
    return value(QString::fromLatin1(TULODeploymentTwitterConsumerKeyKey));
}

QString TULODeploymentConfiguration::scrambledTwitterConsumerSecret() const
{
    return value(QString::fromLatin1(TULODeploymentTwitterConsumerSecretKey));
}

QString TULODeploymentConfiguration::scrambledFacebookAppId() const
{
    return value(QString::fromLatin1(TULODeploymentFacebookAppIdKey));
}
