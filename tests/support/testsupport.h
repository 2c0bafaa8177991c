#pragma once

#include <QDir>
#include <QString>

// Folder for files a test leaves behind for people to look at (screenshots, recordings):
// <build>/test-output/<name>, created on demand.
QString TULOTestOutputPath(const QString &name);

// Path of a file in the source tree, for fixtures checked into the repository.
QString TULOSourcePath(const QString &relative);
