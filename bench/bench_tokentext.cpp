// Typing in a long token text as the user feels it: real key events through the event loop,
// layout and painting included, in a text of 10,000 characters with 500 tokens and of 20,000
// with 1,000. The reference is a plain QTextEdit holding the same text as the user reads it,
// each token's name in its place (so the same lines), typed into in the same run. Target: a
// keystroke costs at most 1.5 times the plain editor's, in the main thread's processor time
// (where all of a keystroke's work runs; the wall clock of a shared machine also counts other
// processes' turns).
//
// In smoke mode it types a few keys into the smaller text once: it shows the benchmark still
// works, and judges nothing.
#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/core/tag.h>
#include "benchsupport.h"
#include "keystrokes.h"

#include <QApplication>
#include <QTest>
#include <QTextCursor>
#include <QTextEdit>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr double kTarget = 1.5;

// `length` characters with a tag token in every 20, the caret at the end.
std::unique_ptr<TULOTokenTextView> makeTokenView(int length)
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
        const auto attachment = std::make_shared<TULOTagTokenTextAttachment>(tag);
        // As the view inserts a token: its format holds the token alone.
        cursor.insertText(attachment->attributedString(), attachment->attributedStringWithBaseAttributes());
    }
    cursor.endEditBlock();
    return view;
}

void present(QTextEdit *editor)
{
    editor->resize(640, 480);
    editor->show();
    if (!QTest::qWaitForWindowExposed(editor))
        std::fprintf(stderr, "the editor's window was not exposed\n");
    editor->moveCursor(QTextCursor::End);
    TULOBenchSettle();
}

// Seconds per keystroke; `real` turns false when a key was not typed or not painted.
TULOKeystrokeTiming typing(QTextEdit *editor, int count, bool *real)
{
    editor->activateWindow();
    editor->setFocus();
    const TULOKeystrokeTiming timing = TULOBenchTypeKeystrokes(editor, count);
    *real = *real && timing.typed && timing.painted;
    return timing;
}

// True when the target is met; `real` turns false when the keystrokes were not what a user
// makes.
bool measure(int length, bool *real)
{
    const int rounds = TULOBenchSmoke() ? 1 : 15;
    const int keystrokes = TULOBenchSmoke() ? 4 : 20;
    auto tokens = makeTokenView(length);
    QTextEdit plain;
    plain.setFont(tokens->font());
    // Not the object characters themselves: a plain editor shapes those as glyphs through
    // fallback fonts, which makes it slower than it is with any text a user would type.
    plain.setPlainText(tokens->accessibleText());
    present(tokens.get());
    present(&plain);
    typing(tokens.get(), keystrokes, real); // warm both up
    typing(&plain, keystrokes, real);

    // Interleaved, the order switching every round, so that a load that comes and goes on a
    // shared machine falls on both alike; the median of the rounds' ratios.
    std::vector<double> ratios;
    std::vector<double> wallRatios;
    std::vector<double> tokenTimes;
    std::vector<double> plainTimes;
    for (int round = 0; round < rounds; ++round) {
        TULOKeystrokeTiming tokenTime;
        TULOKeystrokeTiming plainTime;
        if (round % 2) {
            plainTime = typing(&plain, keystrokes, real);
            tokenTime = typing(tokens.get(), keystrokes, real);
        } else {
            tokenTime = typing(tokens.get(), keystrokes, real);
            plainTime = typing(&plain, keystrokes, real);
        }
        tokenTimes.push_back(tokenTime.seconds);
        plainTimes.push_back(plainTime.seconds);
        ratios.push_back(tokenTime.seconds / plainTime.seconds);
        wallRatios.push_back(tokenTime.wallSeconds / plainTime.wallSeconds);
    }
    const double ratio = TULOBenchMedian(ratios);
    const bool met = ratio <= kTarget;
    std::printf("keystroke at %d characters with %d tokens (main-thread time): token text %.2f ms, plain QTextEdit %.2f ms: %.2fx "
                "(target <= %.1fx; wall clock %.2fx) %s\n",
                length, length / 20, TULOBenchMedian(tokenTimes) * 1e3, TULOBenchMedian(plainTimes) * 1e3, ratio, kTarget,
                TULOBenchMedian(wallRatios),
                TULOBenchOutcome(met));
    std::fflush(stdout);
    return met;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    bool met = true;
    bool real = true;
    for (const int length : TULOBenchSmoke() ? std::vector<int>{10000} : std::vector<int>{10000, 20000})
        met = measure(length, &real) && met;
    if (!real) {
        // Not a miss but a broken benchmark, in smoke mode too.
        std::fprintf(stderr, "a keystroke did not change the text or was not painted: nothing was measured\n");
        return 1;
    }
    return TULOBenchVerdict(met);
}
