// Runs a libFuzzer-style entry point without libFuzzer (g++ has none): every seed as it is,
// then deterministic mutations of each seed (bit flips, byte sets, interesting values,
// insertions, deletions, copies of a block, truncation), so a run can be repeated exactly.
//
//   fuzz_metadatastripper [--runs N] [--seed S] [--save DIR] CORPUS_DIR
//
// N inputs per seed group (the seeds' file extension: jpg, png, ...). Counts go to stdout; a
// crash or sanitizer report ends the process, and --save keeps the input that was running.

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size);

namespace {

struct TULOFuzzRandom
{
    quint64 state;
    quint64 next()
    {
        // xorshift64*: fast, and the same sequence on every machine.
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return state * 2685821657736338717ull;
    }
    qsizetype below(qsizetype bound) { return bound > 0 ? qsizetype(next() % quint64(bound)) : 0; }
};

QByteArray mutated(const QByteArray &seed, TULOFuzzRandom &random)
{
    QByteArray data = seed;
    const int steps = 1 + int(random.below(4));
    for (int step = 0; step < steps; ++step) {
        const qsizetype at = random.below(data.size());
        switch (random.below(8)) {
        case 0:
            if (!data.isEmpty())
                data[at] = char(uchar(data[at]) ^ (1u << random.below(8)));
            break;
        case 1:
            if (!data.isEmpty())
                data[at] = char(random.next());
            break;
        case 2: { // values that break length fields and markers
            static const uchar interesting[] = {0x00, 0x01, 0x02, 0x7F, 0x80, 0xFE, 0xFF, 0xD8, 0xD9, 0xDA, 0xD0};
            if (!data.isEmpty())
                data[at] = char(interesting[random.below(sizeof interesting)]);
            break;
        }
        case 3:
            data.insert(at, QByteArray(1 + random.below(16), char(random.next())));
            break;
        case 4:
            data.remove(at, 1 + random.below(32));
            break;
        case 5: { // a copy of a block elsewhere: duplicated segments and chunks
            const qsizetype from = random.below(data.size());
            data.insert(at, data.mid(from, 1 + random.below(64)));
            break;
        }
        case 6:
            data.truncate(at);
            break;
        case 7: // a 16- or 32-bit length overwritten
            if (at + 4 <= data.size()) {
                const quint32 value = random.below(2) ? quint32(random.next()) : quint32(random.below(64));
                for (int i = 0; i < 4; ++i)
                    data[at + i] = char(value >> (8 * i));
            }
            break;
        }
    }
    return data;
}

QString gSaveFolder;
QByteArray gCurrent;

void saveCurrent()
{
    if (gSaveFolder.isEmpty())
        return;
    QFile file(QDir(gSaveFolder).filePath(QStringLiteral("crash-input")));
    if (file.open(QIODevice::WriteOnly))
        file.write(gCurrent);
}

void run(const QByteArray &input)
{
    gCurrent = input;
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.constData()), size_t(input.size()));
}

} // namespace

extern "C" void __asan_on_error()
{
    saveCurrent();
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    qint64 runs = 1000;
    quint64 seed = 0x5EED;
    QString corpus;
    QStringList arguments = app.arguments().mid(1);
    while (!arguments.isEmpty()) {
        const QString argument = arguments.takeFirst();
        if (argument == QLatin1String("--runs") && !arguments.isEmpty())
            runs = arguments.takeFirst().toLongLong();
        else if (argument == QLatin1String("--seed") && !arguments.isEmpty())
            seed = arguments.takeFirst().toULongLong();
        else if (argument == QLatin1String("--save") && !arguments.isEmpty())
            gSaveFolder = arguments.takeFirst();
        else
            corpus = argument;
    }
    QMap<QString, QList<QByteArray>> groups;
    for (const QFileInfo &info : QDir(corpus).entryInfoList(QDir::Files, QDir::Name)) {
        QFile file(info.filePath());
        if (file.open(QIODevice::ReadOnly))
            groups[info.suffix().toLower()] << file.readAll();
    }
    if (groups.isEmpty() || runs <= 0) {
        std::fprintf(stderr, "usage: %s [--runs N] [--seed S] [--save DIR] CORPUS_DIR (no seeds found)\n", argv[0]);
        return 2;
    }
    for (auto it = groups.cbegin(); it != groups.cend(); ++it) {
        TULOFuzzRandom random {seed ^ qHash(it.key())};
        const QList<QByteArray> &seeds = it.value();
        qint64 count = 0;
        for (const QByteArray &input : seeds) {
            run(input);
            ++count;
        }
        for (; count < runs; ++count)
            run(mutated(seeds[count % seeds.size()], random));
        std::printf("%s: %lld inputs from %lld seeds, no crash\n", qPrintable(it.key()), count,
            qint64(seeds.size()));
        std::fflush(stdout);
    }
    return 0;
}
