// An exchange that ended without its answer leaves one that may still come: taken for the answer of
// the next command it would be another card's data, and every answer behind it would be one late
// from then on. No frame of the reader tells which command it answers, so what has arrived by the
// moment the next command is written is dropped. An answer that waits on a line that owes none is
// left where it is.
#pragma once

#include "vantor/transport.h"

enum class LateAnswer
{
    kAwaited,  // owed until something has been dropped for it
    kUnlikely, // as that of a reader which answers no mode sequences: dropped before the next
               // command or not at all
};

// One more answer is owed on the context's line.
void ExpectLateAnswer(const DEVCONTEXT *deviceContext, LateAnswer lateAnswer);

// Drops what the line brought, when it owes an answer, and waits for the end of what is just coming
// in. The number of bytes dropped: with any, one answer less is owed. Nothing is owed any more by a
// line that was left alone for ten seconds and has brought nothing.
int DropLateAnswer(const DEVCONTEXT *deviceContext);

// The context's device was opened just now. What its line owed before it was closed it still owes:
// a reader does not notice the closing.
void WatchForLateAnswers(const DEVCONTEXT *deviceContext);
