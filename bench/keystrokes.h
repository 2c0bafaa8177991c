#pragma once

// Keystrokes as a user makes them, for the typing benchmarks: real key events into the editor,
// each followed by the event loop's passes that lay the text out and paint it.

#include <vector>

class QTextEdit;

struct TULOKeystrokeTiming
{
    // Per keystroke, in the main thread's processor time: a keystroke's layout and painting
    // run there, and on a machine shared with other work the wall clock would also count the
    // time other processes had the processor.
    double seconds = 0;
    double wallSeconds = 0; // per keystroke, as the clock on the wall sees it
    bool typed = true; // every key changed the text as it should
    bool painted = true; // every key was followed by a paint of the editor
};

// Lets the event loop do what a keystroke left for it: layout, token views, painting.
void TULOBenchSettle();

// Types `count` keys at the caret, a letter, then a backspace, and so on, so that the text
// stays as it was. The editor must have the focus in an exposed window.
TULOKeystrokeTiming TULOBenchTypeKeystrokes(QTextEdit *editor, int count);

double TULOBenchMedian(std::vector<double> values);
