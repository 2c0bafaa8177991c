// Token text at scale: finding the pending tag at the caret is bounded by maximumTagLength,
// not by the document, and resolving the plain text is linear in the document. Each case
// reports its cost against the 100-character document measured in the same run.
#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/core/tag.h>
#include "benchsupport.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTextCursor>

#include <memory>

namespace {

// `length` characters with one token in every 20, then " @ab" with the caret after it.
std::unique_ptr<TULOTokenTextView> makeView(int length)
{
    auto view = std::make_unique<TULOTokenTextView>();
    QTextCursor cursor(view->document());
    cursor.beginEditBlock();
    for (int unit = 0; unit < length / 20; ++unit) {
        cursor.insertText(QStringLiteral("lorem ipsum dolor s"), QTextCharFormat());
        TULOTag tag;
        tag.setEntityType(QStringLiteral("artist"));
        tag.setIdentifier(QString::number(unit));
        tag.setName(QStringLiteral("Artist %1").arg(unit));
        QTextCharFormat base;
        base.setFont(view->font());
        const auto attachment = std::make_shared<TULOTagTokenTextAttachment>(tag);
        cursor.insertText(attachment->attributedString(), attachment->attributedStringWithBaseAttributes(base));
    }
    cursor.insertText(QStringLiteral(" @ab"), QTextCharFormat());
    cursor.endEditBlock();
    view->setSelectedRange({view->textLength(), 0});
    return view;
}

template<typename Work>
double secondsPerRun(Work &&work, qint64 runs)
{
    QElapsedTimer timer;
    timer.start();
    for (qint64 i = 0; i < runs; ++i)
        work();
    return double(timer.nsecsElapsed()) / 1e9 / double(runs);
}

template<typename Work>
void measure(benchmark::State &state, Work work)
{
    const int length = int(state.range(0));
    const auto view = makeView(length);
    const auto reference = makeView(100);
    for (auto _ : state)
        work(*view);
    const qint64 runs = qMax<qint64>(state.iterations(), 10);
    const double big = secondsPerRun([&] { work(*view); }, runs);
    const double small = secondsPerRun([&] { work(*reference); }, runs);
    state.counters["vs_100_chars"] = big / small;
    state.counters["vs_100_chars_per_char"] = (big / small) / (length / 100.0);
}

void BM_PendingTagAtCaret(benchmark::State &state)
{
    measure(state, [](TULOTokenTextView &view) { benchmark::DoNotOptimize(view.pendingTagForSelectedRange()); });
}

void BM_TextWithResolvedTokenStrings(benchmark::State &state)
{
    measure(state, [](TULOTokenTextView &view) { benchmark::DoNotOptimize(view.textWithResolvedTokenStrings()); });
}

} // namespace

BENCHMARK(BM_PendingTagAtCaret)->ArgsProduct({TULOBenchArguments({100, 10000})});
BENCHMARK(BM_TextWithResolvedTokenStrings)->ArgsProduct({TULOBenchArguments({100, 10000})});

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    return TULOBenchRun(argc, argv) ? 0 : 1;
}
