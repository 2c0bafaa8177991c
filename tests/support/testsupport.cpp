#include "testsupport.h"

QString TULOTestOutputPath(const QString &name)
{
    const QString path = QStringLiteral(QUILLON_BINARY_DIR "/test-output/") + name;
    QDir().mkpath(path);
    return path;
}

QString TULOSourcePath(const QString &relative)
{
    return QStringLiteral(QUILLON_SOURCE_DIR "/") + relative;
}
