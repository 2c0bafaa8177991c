// Post upload to the sandbox store: throughput against curl sending the same file to the same
// endpoint in the same run (target: at least 0.8 of curl's), and the uploader's peak resident
// memory while it sends a 1 GiB file (target: under 64 MiB). Each upload runs in its own
// process so its peak memory is its own. The two alternate within one run, and the store's copy
// of each upload is deleted after it, so neither pays for the other's dirty pages being written back.

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/postrequest.h>
#include <Quillon/platform/store/storeaccount.h>
#include "sandboxstore.h"
#include "benchsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QUuid>
#include <cstdio>

namespace {

const qint64 kFileSize = TULOBenchSize(qint64(1) << 30, qint64(8) << 20);
constexpr qint64 kMemoryLimit = qint64(64) << 20;

TULOSandboxStore *gStore = nullptr;
QString gToken;
QString gFile;
QString gWork;
double gCurlSeconds = 0;
double gQuillonSeconds = 0;
qint64 gPeakResident = 0;

class BenchTokenKeeper : public TULOStoreTokenKeeper
{
public:
    QString tokenForAccount(const QString &) override { return m_token; }
    bool setTokenForAccount(const QString &token, const QString &) override
    {
        m_token = token;
        return true;
    }

private:
    QString m_token;
};

// Peak resident set of this process, from the kernel's own accounting.
qint64 peakResidentBytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong() * 1024;
    }
    return -1;
}

int runChild(const QStringList &arguments)
{
    // bag, account, token, file, outbox
    TULOClientContext context {QUrl(arguments.at(0))};
    context.setRequestTimeout(60000);
    TULOClientContext::setDefaultContext(context);
    TULOStoreAccountStore::defaultStore()->setTokenKeeper(std::make_unique<BenchTokenKeeper>());
    TULOStoreAccount account;
    account.setAccountName(arguments.at(1));
    account.setToken(arguments.at(2));
    TULOStoreAccountStore::defaultStore()->setActiveAccount(account);
    TULOPostOutbox outbox(arguments.at(4));
    TULOPostDescription description;
    description.setAuthorIdentifier(TULOSandboxStore::demoArtistIdentifier());
    description.setAuthorType(QStringLiteral("artist"));
    description.setText(QStringLiteral("benchmark"));
    TULOPostAttachment attachment;
    attachment.setAssetURL(QUrl::fromLocalFile(arguments.at(3)));
    attachment.setUTI(QStringLiteral("video/mp4"));
    attachment.setTitle(QStringLiteral("one gibibyte"));
    description.setAttachments(QList<TULOPostAttachment> {attachment});
    auto *request = new TULOPostRequest(description);
    request->setOutbox(&outbox);
    int code = 3;
    // Timed from the request on: loading the framework's libraries is not uploading.
    QElapsedTimer timer;
    timer.start();
    request->startWithCompletionBlock([&code](const QUrl &, const TULOError &error) {
        if (!error.isNull())
            std::fprintf(stderr, "upload failed: %s\n", qPrintable(error.localizedDescription()));
        code = error.isNull() ? 0 : 1;
        QCoreApplication::exit(code);
    });
    QCoreApplication::exec();
    std::printf("peak %lld seconds %.6f\n", static_cast<long long>(peakResidentBytes()),
        double(timer.nsecsElapsed()) / 1e9);
    return code;
}

QByteArray descriptionFor(qint64 size)
{
    const QJsonObject description {{QStringLiteral("text"), QStringLiteral("benchmark")},
        {QStringLiteral("authorId"), TULOSandboxStore::demoArtistIdentifier()},
        {QStringLiteral("attachments"),
            QJsonArray {QJsonObject {{QStringLiteral("part"), QStringLiteral("file0")},
                {QStringLiteral("type"), 4}, {QStringLiteral("uti"), QStringLiteral("video/mp4")},
                {QStringLiteral("title"), QStringLiteral("one gibibyte")},
                {QStringLiteral("size"), double(size)}}}}};
    return QJsonDocument(description).toJson(QJsonDocument::Compact);
}

// The store's copies of earlier uploads; their pending writeback would slow whichever runs next.
void forgetStoredUploads()
{
    const QString posts = gWork + QStringLiteral("/store/posts");
    for (const QFileInfo &info : QDir(posts).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden))
        QDir(info.absoluteFilePath()).removeRecursively();
}

double curlUploadSeconds(const QString &descriptionPath)
{
    QProcess curl;
    QElapsedTimer timer;
    timer.start();
    // The framework's own shape: the same two parts and types, and no Expect handshake.
    curl.start(QStringLiteral("curl"),
        {QStringLiteral("-s"), QStringLiteral("-o"), QStringLiteral("/dev/null"), QStringLiteral("-w"),
            QStringLiteral("%{http_code}"), QStringLiteral("-H"), QStringLiteral("Expect:"),
            QStringLiteral("-H"), QStringLiteral("Authorization: Bearer ") + gToken, QStringLiteral("-H"),
            QStringLiteral("Idempotency-Key: ") + QUuid::createUuid().toString(QUuid::WithoutBraces),
            QStringLiteral("-F"),
            QStringLiteral("description=<%1;type=application/json").arg(descriptionPath),
            QStringLiteral("-F"), QStringLiteral("file0=@%1;type=video/mp4").arg(gFile),
            gStore->baseUrl().toString() + QStringLiteral("/posts")});
    curl.waitForFinished(-1);
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    forgetStoredUploads();
    return curl.readAllStandardOutput() == "201" ? seconds : -1;
}

// Seconds, or -1; the peak resident memory goes to gPeakResident.
double quillonUploadSeconds()
{
    QTemporaryDir outbox(gWork + QStringLiteral("/outbox-XXXXXX"));
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(),
        {QStringLiteral("--upload-child"), gStore->bagUrl().toString(), TULOSandboxStore::demoAccountName(),
            gToken, gFile, outbox.path()});
    child.waitForFinished(-1);
    forgetStoredUploads();
    const QList<QByteArray> output = child.readAllStandardOutput().trimmed().split(' ');
    if (child.exitCode() != 0 || output.size() != 4 || output.first() != "peak") {
        std::fprintf(stderr, "%s", child.readAllStandardError().constData());
        return -1;
    }
    gPeakResident = qMax(gPeakResident, output.at(1).toLongLong());
    return output.at(3).toDouble();
}

// Curl and the framework take turns, each going first every other time.
void BM_UploadAgainstCurl(benchmark::State &state)
{
    const QString descriptionPath = gWork + QStringLiteral("/description.json");
    QFile description(descriptionPath);
    if (!description.open(QIODevice::WriteOnly) || description.write(descriptionFor(kFileSize)) < 0) {
        state.SkipWithError("cannot write the description");
        return;
    }
    description.close();
    double curlTotal = 0;
    double quillonTotal = 0;
    int turn = 0;
    for (auto _ : state) {
        double curl = 0;
        double quillon = 0;
        if (turn++ % 2 == 0) {
            curl = curlUploadSeconds(descriptionPath);
            quillon = quillonUploadSeconds();
        } else {
            quillon = quillonUploadSeconds();
            curl = curlUploadSeconds(descriptionPath);
        }
        if (curl <= 0 || quillon <= 0) {
            state.SkipWithError(curl <= 0 ? "curl's upload was not accepted" : "the framework's upload failed");
            return;
        }
        curlTotal += curl;
        quillonTotal += quillon;
    }
    gCurlSeconds = curlTotal / double(state.iterations());
    gQuillonSeconds = quillonTotal / double(state.iterations());
    state.counters["curlMiB/s"] = double(kFileSize) / (1 << 20) / gCurlSeconds;
    state.counters["quillonMiB/s"] = double(kFileSize) / (1 << 20) / gQuillonSeconds;
    state.counters["ratio"] = gCurlSeconds / gQuillonSeconds;
    state.counters["peakMiB"] = double(gPeakResident) / (1 << 20);
}

BENCHMARK(BM_UploadAgainstCurl)->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSize(4, 1))->UseRealTime();

bool writeFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QByteArray chunk(8 << 20, Qt::Uninitialized);
    QRandomGenerator generator(42);
    for (qint64 written = 0; written < kFileSize; written += chunk.size()) {
        generator.fillRange(reinterpret_cast<quint32 *>(chunk.data()), chunk.size() / 4);
        if (file.write(chunk) != chunk.size())
            return false;
    }
    return true;
}

QString signIn(const TULOSandboxStore &store)
{
    QProcess curl;
    curl.start(QStringLiteral("curl"),
        {QStringLiteral("-s"), QStringLiteral("-d"),
            QStringLiteral("accountName=") + TULOSandboxStore::demoAccountName(), QStringLiteral("-d"),
            QStringLiteral("password=") + TULOSandboxStore::demoPassword(),
            store.baseUrl().toString() + QStringLiteral("/account/signin")});
    curl.waitForFinished(-1);
    return QJsonDocument::fromJson(curl.readAllStandardOutput())
        .object()
        .value(QStringLiteral("token"))
        .toString();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], "--upload-child") == 0) {
        const QStringList arguments = app.arguments().mid(2);
        return arguments.size() == 5 ? runChild(arguments) : 64;
    }
    QTemporaryDir work;
    gWork = work.path();
    TULOSandboxStore store;
    QString error;
    if (!store.start(work.filePath(QStringLiteral("store")), 0, &error)) {
        std::fprintf(stderr, "sandbox: %s\n", qPrintable(error));
        return 1;
    }
    gStore = &store;
    gToken = signIn(store);
    gFile = work.filePath(QStringLiteral("one-gibibyte.mp4"));
    std::printf("writing a %lld MiB file...\n", static_cast<long long>(kFileSize >> 20));
    if (gToken.isEmpty() || !writeFile(gFile)) {
        std::fprintf(stderr, "could not sign in or write the file\n");
        return 1;
    }
    if (!TULOBenchRun(argc, argv))
        return 1;
    if (gCurlSeconds <= 0 || gQuillonSeconds <= 0 || gPeakResident <= 0)
        return 0;
    const double ratio = gCurlSeconds / gQuillonSeconds;
    const bool throughputOK = ratio >= 0.8;
    const bool memoryOK = gPeakResident < kMemoryLimit;
    std::printf(
        "upload throughput %.2f of curl's (target >= 0.80) %s\n", ratio, throughputOK ? "PASS" : "FAIL");
    std::printf("peak resident memory %.1f MiB while uploading %lld MiB (target < 64 MiB) %s\n",
        double(gPeakResident) / (1 << 20), static_cast<long long>(kFileSize >> 20), memoryOK ? "PASS" : "FAIL");
    return TULOBenchVerdict(throughputOK && memoryOK);
}
