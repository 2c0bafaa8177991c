#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// What `quillon post` was asked to do.
struct TULOPostOptions
{
    QString text;
    QStringList tagIdentifiers;   // --tag, in order
    QStringList attachmentPaths;  // --attach, in order
    std::optional<double> recordSeconds; // --record: a sound bite of at most this many seconds
    QString captureFromPath;      // --capture-from: the recording's audio comes from this file
    QString itemIdentifier;       // --item
    QString authorIdentifier;     // --as
    bool attributed = false;      // --attribute
    QStringList shareServices;    // --share, service identifiers
    bool dryRun = false;
    bool json = false;
    QUrl storeBagURL;             // --store; empty: the embedded sandbox
    int waitLimitSeconds = 120;   // --wait-limit: how long retries may take before giving up
    bool noWait = false;          // --no-wait: only this post, not the older ones queued
    bool help = false;
};

// The help text, documenting every option.
QString TULOPostUsage();

// Parses the arguments after "post". Nothing, with one line saying what is wrong, for unknown
// options, missing values, an unknown service, a bag address that is not http(s), or a post
// with nothing in it.
std::optional<TULOPostOptions> TULOParsePostOptions(const QStringList &arguments, QString *failure);
