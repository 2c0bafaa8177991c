// Typing in a long token text as the user feels it: real key events through the event loop,
// layout and painting included, in a text of 10,000 characters with 500 tokens and of 20,000
// with 1,000. The reference is a plain QTextEdit holding the same text as the user reads it,
// each token's name in its place (so the same lines), typed into in the same run. Target: a
// keystroke costs at most 1.5 times the plain editor's.
//
// In smoke mode it types a few keys into the smaller text once: it shows the benchmark still
// works, and judges nothing.
#include <Quillon/compose/tagtokentextattachment.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/core/tag.h>
#include "benchsupport.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTest>
#include <QTextCursor>
#include <QTextEdit>

#include <algorithm>
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

// Lets the event loop do what a keystroke left for it: layout, token views, painting.
void settle()
{
    for (int pass = 0; pass < 3; ++pass)
        QCoreApplication::processEvents(QEventLoop::AllEvents);
}

void present(QTextEdit *editor)
{
    editor->resize(640, 480);
    editor->show();
    if (!QTest::qWaitForWindowExposed(editor))
        std::fprintf(stderr, "the editor's window was not exposed\n");
    editor->moveCursor(QTextCursor::End);
    settle();
}

// Seconds per keystroke over `count` keys at the caret: a letter, then a backspace, and so on,
// so that the text stays as it was.
double typing(QTextEdit *editor, int count)
{
    editor->activateWindow();
    editor->setFocus();
    settle();
    QElapsedTimer timer;
    timer.start();
    for (int key = 0; key < count; ++key) {
        QTest::keyClick(editor, key % 2 ? Qt::Key_Backspace : Qt::Key_X);
        settle();
    }
    return double(timer.nsecsElapsed()) / 1e9 / count;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// True when the target is met.
bool measure(int length)
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
    typing(tokens.get(), keystrokes); // warm both up
    typing(&plain, keystrokes);

    // Interleaved, the order switching every round, so that a load that comes and goes on a
    // shared machine falls on both alike; the median of the rounds' ratios.
    std::vector<double> ratios;
    std::vector<double> tokenTimes;
    std::vector<double> plainTimes;
    for (int round = 0; round < rounds; ++round) {
        double tokenTime = 0;
        double plainTime = 0;
        if (round % 2) {
            plainTime = typing(&plain, keystrokes);
            tokenTime = typing(tokens.get(), keystrokes);
        } else {
            tokenTime = typing(tokens.get(), keystrokes);
            plainTime = typing(&plain, keystrokes);
        }
        tokenTimes.push_back(tokenTime);
        plainTimes.push_back(plainTime);
        ratios.push_back(tokenTime / plainTime);
    }
    const double ratio = median(ratios);
    const bool met = ratio <= kTarget;
    std::printf("keystroke at %d characters with %d tokens: token text %.2f ms, plain QTextEdit %.2f ms: %.2fx "
                "(target <= %.1fx) %s\n",
                length, length / 20, median(tokenTimes) * 1e3, median(plainTimes) * 1e3, ratio, kTarget,
                TULOBenchSmoke() ? "SMOKE" : (met ? "PASS" : "FAIL"));
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
    for (const int length : TULOBenchSmoke() ? std::vector<int>{10000} : std::vector<int>{10000, 20000})
        met = measure(length) && met;
    return TULOBenchVerdict(met);
}
