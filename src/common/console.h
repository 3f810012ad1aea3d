// The only ways to print. Every message of the run goes to consoleStream, composed first in
// messageBuffer (8191 characters at most, cut behind them). A failed write is ignored: a console
// that went away must not end an index run.
#pragma once

#include <string_view>

#include "common/run_context.h"

namespace tavindex {

// Whether the user asked to cancel the run. There is no way to ask for it in this program; the
// printers poll it all the same, so that the answer has one place.
using CancelPoll = bool (*)();
extern CancelPoll cancelPoll;

// Writes the text as it stands and flushes. Returns the cancel poll's answer.
bool ShowMessage(RunContext& run, const char* text);

// The same for a line of which there can be as many as records: on a terminal at once, elsewhere
// with others like it in one write, at the latest before the next message. It ends in "\n" and is
// 256 bytes long at most.
void ShowLine(RunContext& run, std::string_view line);

// Writes the lines that are waiting.
void FlushLines(RunContext& run);

// The same for a progress line, which ends in "\r": only while progressOn is set.
bool ShowProgress(RunContext& run, const char* text);

// Composes a text in messageBuffer and leaves it there for the driver.
[[gnu::format(printf, 2, 3)]] void Compose(RunContext& run, const char* format, ...);

// Composes, shows and empties messageBuffer again. Both return the cancel poll's answer.
[[gnu::format(printf, 2, 3)]] bool ShowFormatted(RunContext& run, const char* format, ...);
[[gnu::format(printf, 2, 3)]] bool ShowProgressFormatted(RunContext& run, const char* format, ...);

// A diagnostic: printed in debug mode only.
[[gnu::format(printf, 2, 3)]] void ShowDebug(RunContext& run, const char* format, ...);

// Tells that the user cancelled and gives the code that ends the run.
Result ReportCancel(RunContext& run);

}  // namespace tavindex
