// The serial lines that contexts have open. A line that one thread closes while another one reads
// or writes it stays whole until that thread has left it: its descriptor must not become another
// file's, nor its cell another's memory, in the middle of a step.
#pragma once

// Null when the line cannot be kept count of; it is closed again then. One that is kept already
// stays as it is.
void *KeepSerialLine(void *handle);
// Before the line is closed without regard to steps.
void ForgetSerialLine(const void *handle);

// One step on a line. Entering fails once the line is closed; every step that entered leaves.
bool EnterSerialLine(const void *handle);
void LeaveSerialLine(void *handle);

// Closes the line: the result of GCloseCom. While steps are under way the settings are put back,
// and the last step to leave lets go of the descriptor. -1 for a handle that is not open.
int CloseSerialLine(void *handle);
