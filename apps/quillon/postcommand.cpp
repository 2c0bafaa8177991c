// quillon post: compose and publish a post from the command line, through the framework's own
// configuration loading, tag lookup, preparation and upload.

#include "command.h"
#include "outboxwait.h"
#include "postattachments.h"
#include "postjson.h"
#include "postoptions.h"
#include "postrecording.h"
#include "postsession.h"
#include "posttext.h"

#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/core/preparepostdescriptionoperation.h>
#include <Quillon/media/voicerecorder.h>
#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/store/postoutbox.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>
#include <QTextStream>

#include <limits>

namespace {

const QString kCommand = QStringLiteral("post");

void printDescription(const TULOPostDescription &description, bool json)
{
    QTextStream out(stdout);
    if (json) {
        out << QJsonDocument(TULOPostDescriptionJSON(description)).toJson(QJsonDocument::Indented);
        return;
    }
    out << "text: " << description.text() << '\n';
    out << "author: " << description.authorIdentifier() << " (" << description.authorType() << ")\n";
    for (const TULOPostAttachment &attachment : description.attachments().value_or(QList<TULOPostAttachment>())) {
        out << "attachment: " << attachment.assetURL().toLocalFile() << " [" << attachment.UTI() << "] " << attachment.title() << '\n';
        for (const QString &relationship : attachment.childRelationships())
            out << "  " << relationship << ": " << attachment.childAttachmentForRelationship(relationship)->assetURL().toLocalFile() << '\n';
    }
    for (const TULOExternalDestination &destination : description.externalServiceDestinations().value_or(QList<TULOExternalDestination>()))
        out << "share: " << destination.serviceIdentifier() << '\n';
}

int runPost(const QStringList &arguments)
{
    QString failure;
    const auto options = TULOParsePostOptions(arguments, &failure);
    if (!options)
        return TULOCommandFail(kCommand, failure, 2);
    if (options->help) {
        QTextStream(stdout) << TULOPostUsage();
        return 0;
    }

    // Files first: a missing or unreadable file fails before anything reaches the store.
    QList<TULOAttachmentPtr> attachments;
    for (const QString &path : options->attachmentPaths) {
        TULOError error;
        const TULOAttachmentPtr attachment = TULOPostAttachmentForFile(path, &error);
        if (!attachment)
            return TULOCommandFail(kCommand, error.localizedDescription());
        attachments << attachment;
    }
    TULOError error;
    if (!options->captureFromPath.isEmpty() && !TULOVoiceCapture::checkCaptureSourceFile(options->captureFromPath, &error))
        return TULOCommandFail(kCommand, error.localizedDescription());

    TULOPostSession session;
    if (!session.open(options->storeBagURL, &error))
        return TULOCommandFail(kCommand, error.localizedDescription());
    const TULOConfiguration &configuration = session.configuration();

    // Every limit is checked before the take, so nothing is recorded only to be refused.
    if (options->recordSeconds) {
        const double limit = configuration.maximumSoundBiteDuration();
        // A limit of 0 or less is none, as for the recorder's time-out.
        if (limit > std::numeric_limits<double>::epsilon() && *options->recordSeconds > limit + 1e-9)
            return TULOCommandFail(kCommand, QStringLiteral("--record %1: %2 takes sound bites of at most %3 seconds")
                                                 .arg(*options->recordSeconds)
                                                 .arg(session.storeSetSoundBiteDuration() ? QStringLiteral("the store")
                                                                                         : QStringLiteral("the configuration"))
                                                 .arg(limit));
    }
    const qsizetype attachmentCount = attachments.size() + (options->recordSeconds ? 1 : 0);
    // The store's bag has no say in this one: it is always the configuration's.
    if (configuration.maximumNumberOfAttachments() >= 0 && attachmentCount > configuration.maximumNumberOfAttachments())
        return TULOCommandFail(kCommand, QStringLiteral("too many attachments: the configuration allows at most %1, not %2")
                                             .arg(configuration.maximumNumberOfAttachments()).arg(attachmentCount));

    const auto author = session.authorWithIdentifier(options->authorIdentifier, options->attributed, &error);
    if (!author)
        return TULOCommandFail(kCommand, error.localizedDescription());

    QStringList notices;
    auto text = TULOPostTextWithResolvedTags(
        options->text, [&](const QString &query, TULOError *e) { return session.lookUpTags(query, e); }, &error, &notices);
    if (!text)
        return TULOCommandFail(kCommand, error.localizedDescription());
    for (const QString &notice : std::as_const(notices))
        QTextStream(stderr) << "quillon post: note: " << notice << '\n';
    for (const QString &identifier : options->tagIdentifiers) {
        const auto tag = session.tagWithIdentifier(identifier, &error);
        if (!tag)
            return TULOCommandFail(kCommand, error.localizedDescription());
        *text = TULOPostTextByAppendingTag(*text, *tag);
    }

    std::optional<TULOStoreItem> item;
    if (!options->itemIdentifier.isEmpty()) {
        item = session.storeItemWithIdentifier(options->itemIdentifier, &error);
        if (!item)
            return TULOCommandFail(kCommand, error.localizedDescription());
    }

    const auto services = session.externalServices(*author, options->shareServices, &error);
    if (!services)
        return TULOCommandFail(kCommand, error.localizedDescription());

    // Recorded last, once the store has answered everything else. The take is ours: it goes
    // on every way out, unless a dry run hands it to the user.
    QString recordingPath;
    bool keepRecording = false;
    const auto removeRecording = qScopeGuard([&] {
        if (!recordingPath.isEmpty() && !keepRecording)
            QFile::remove(recordingPath);
    });
    if (options->recordSeconds) {
        const TULOAttachmentPtr soundBite = TULOPostRecordSoundBite(*options->recordSeconds, options->captureFromPath, &error);
        if (!soundBite)
            return TULOCommandFail(kCommand, error.localizedDescription());
        recordingPath = soundBite->assetURL().toLocalFile();
        // A source that ends early can still leave a take too short to keep.
        if (soundBite->duration() < TULOVoiceRecorderMinimumAttachmentDuration)
            return TULOCommandFail(kCommand, QStringLiteral("the recording lasted only %1 seconds; a sound bite lasts at least %2 seconds")
                                                 .arg(soundBite->duration(), 0, 'f', 2).arg(TULOVoiceRecorderMinimumAttachmentDuration));
        attachments << soundBite;
    }

    auto operation = std::make_shared<TULOPreparePostDescriptionOperation>();
    // The account store asks the store about linked accounts at once: only when sharing.
    if (!services->isEmpty()) {
        operation->setAccountStore(session.accountStoreForAuthor(*author));
        operation->setFacebookDestination(session.facebookDestination(*author));
    }
    operation->setAttachments(attachments);
    operation->setAttributed(options->attributed);
    operation->setAuthor(*author);
    operation->setClientContext(session.clientContext());
    operation->setContentItem(item);
    operation->setEnabledExternalServices(*services);
    operation->setText(*text);
    std::optional<TULOPostDescription> description;
    TULOError prepareError;
    operation->setOutputBlock([&](const std::optional<TULOPostDescription> &d, const TULOError &e) {
        description = d;
        prepareError = e;
    });
    session.runAndWait(operation);
    if (!description) {
        TULOError cause = prepareError ? prepareError : operation->finalizationError();
        return TULOCommandFail(kCommand, cause ? QStringLiteral("could not prepare the post: %1").arg(cause.localizedDescription())
                                               : QStringLiteral("could not prepare the post: an attachment could not be made into a file"));
    }

    if (options->dryRun) {
        keepRecording = true;
        if (options->json && !recordingPath.isEmpty()) {
            QJsonObject object = TULOPostDescriptionJSON(*description);
            object.insert(QStringLiteral("recording"), recordingPath);
            QTextStream(stdout) << QJsonDocument(object).toJson(QJsonDocument::Indented);
            return 0;
        }
        printDescription(*description, options->json);
        if (!recordingPath.isEmpty())
            QTextStream(stdout) << "recording: " << recordingPath << '\n';
        return 0;
    }

    const QString key = session.enqueue(*description, &error);
    if (key.isEmpty())
        return TULOCommandFail(kCommand, QStringLiteral("the post was not published: %1").arg(error.localizedDescription()));
    if (prepareError)
        QTextStream(stderr) << "quillon post: note: " << prepareError.localizedDescription() << '\n';

    TULOOutboxWait wait(TULOPostOutbox::defaultOutbox(), kCommand);
    wait.setBagURL(session.clientContext().bagURL());
    wait.setOwnPost(key);
    if (options->noWait)
        wait.setPosts({key});
    wait.setWaitLimit(options->waitLimitSeconds);
    wait.setJSON(options->json);
    return wait.run();
}

const TULOCommandRegistration registration(
    TULOCommand{kCommand, QStringLiteral("compose and publish a post (see quillon post --help)"), runPost});

} // namespace
