#include "keystrokes.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QTest>
#include <QTextDocument>
#include <QTextEdit>

#include <algorithm>

#include <time.h>

namespace {

// Counts the paints of the editor's text area: a keystroke that is not painted is not timed
// as the user feels it.
class PaintCounter : public QObject
{
public:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            ++paints;
        return false;
    }
    int paints = 0;
};

double threadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

} // namespace

void TULOBenchSettle()
{
    for (int pass = 0; pass < 3; ++pass)
        QCoreApplication::processEvents(QEventLoop::AllEvents);
}

TULOKeystrokeTiming TULOBenchTypeKeystrokes(QTextEdit *editor, int count)
{
    TULOBenchSettle();
    PaintCounter counter;
    editor->viewport()->installEventFilter(&counter);
    const int length = editor->document()->characterCount();
    TULOKeystrokeTiming timing;
    QElapsedTimer timer;
    timer.start();
    const double started = threadSeconds();
    for (int key = 0; key < count; ++key) {
        const int paints = counter.paints;
        const bool letter = key % 2 == 0;
        QTest::keyClick(editor, letter ? Qt::Key_X : Qt::Key_Backspace);
        TULOBenchSettle();
        timing.typed = timing.typed && editor->document()->characterCount() == length + (letter ? 1 : 0);
        timing.painted = timing.painted && counter.paints > paints;
    }
    timing.seconds = (threadSeconds() - started) / count;
    timing.wallSeconds = double(timer.nsecsElapsed()) / 1e9 / count;
    editor->viewport()->removeEventFilter(&counter);
    return timing;
}

double TULOBenchMedian(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}
