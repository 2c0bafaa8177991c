#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>
#include <Quillon/quillon_export.h>

#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>

// Environment variable naming the deployment file; it overrides the default location.
extern QUILLON_EXPORT const char *const TULODeploymentConfigurationEnvironmentVariable;

// Keys of the deployment file (a JSON object).
extern QUILLON_EXPORT const char *const TULODeploymentTwitterAccessTokenURLKey;
extern QUILLON_EXPORT const char *const TULODeploymentFacebookDialogURLKey;
extern QUILLON_EXPORT const char *const TULODeploymentFacebookAuthorizationURLKey;
extern QUILLON_EXPORT const char *const TULODeploymentFacebookAuthorizationRedirectURLKey;
extern QUILLON_EXPORT const char *const TULODeploymentTwitterConsumerKeyKey;
extern QUILLON_EXPORT const char *const TULODeploymentTwitterConsumerSecretKey;
extern QUILLON_EXPORT const char *const TULODeploymentFacebookAppIdKey;
// PEM files of certificate authorities trusted besides the system's, separated by ':'.
extern QUILLON_EXPORT const char *const TULODeploymentTrustedCertificatesKey;

// What a deployer supplies besides the store's bag address: the social services' endpoints,
// the store's Facebook-authorization addresses, and the application credentials, which are
// kept scrambled (see docs/deployment.md). Addresses may be relative; they are then resolved
// against the store's bag address, which is how the defaults reach the sandbox store.
class QUILLON_EXPORT TULODeploymentConfiguration
{
public:
    // The built-in defaults: the sandbox store's paths and its demo credentials.
    TULODeploymentConfiguration();

    // Reads a deployment file. Keys it lacks keep their defaults; a file that cannot be read,
    // is not a JSON object, or has a value that is not a string fails with a file error.
    static std::optional<TULODeploymentConfiguration> fromFile(const QString &path, TULOError *error = nullptr);

    // The configuration in use: set by the host, else read once from the file named by the
    // environment variable, else from the default location, else the defaults. A file that
    // fails to load leaves the defaults in use and its error in loadError().
    static TULODeploymentConfiguration current();
    static void setCurrent(const TULODeploymentConfiguration &configuration);
    // Forgets what current() loaded, so the next call reads the file again.
    static void reload();
    static TULOError loadError();
    // <generic config location>/quillon/deployment.json
    static QString defaultPath();

    QString value(const QString &key) const { return m_values.value(key); }
    void setValue(const QString &key, const QString &value);

    // The address under `key`; a relative one is resolved against `context`'s bag address
    // (the default client context's when null). Empty when there is nothing to resolve against.
    QUrl urlForKey(const QString &key, const TULOClientContext &context = TULOClientContext()) const;

    QUrl twitterAccessTokenURL(const TULOClientContext &context = TULOClientContext()) const;
    QUrl facebookDialogURL(const TULOClientContext &context = TULOClientContext()) const;
    QUrl facebookAuthorizationURL(const TULOClientContext &context = TULOClientContext()) const;
    QUrl facebookAuthorizationRedirectURL(const TULOClientContext &context = TULOClientContext()) const;

    // Credentials as stored: scrambled.
    QString scrambledTwitterConsumerKey() const;
    QString scrambledTwitterConsumerSecret() const;
    QString scrambledFacebookAppId() const;

private:
    QMap<QString, QString> m_values;
};
