#pragma once

// Work that runs beside what the user waits for (the GUI thread, the thumbnails on screen), such
// as walking a large library or decoding photos ahead of a scroll, calls this on its worker
// thread first: the thread then gets a smaller share of the processors while they are
// contended, for good (a user may not raise it again). Only for threads of our own pools, never
// Qt's global one. `niceness` says how far it steps back: 10 for work nobody waits for yet, less
// for work a user waits for but not before the GUI thread's next frame.
void TULOYieldToForegroundWork(int niceness = 10);
