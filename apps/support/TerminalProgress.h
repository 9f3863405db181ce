// Progress and cancel for a tool's long read or write: a bar on a terminal,
// and Ctrl-C as a request to stop that the operation hears at its next poll.
#pragma once

#include "common/IProgressDelegate.h"

#include <memory>

namespace format3mf::apps
{
// A bar on standard error where that is a terminal, redrawn when the shown
// percentage changes and ended with a line break when the delegate goes;
// elsewhere a delegate that shows nothing. Either one can be cancelled.
std::shared_ptr<OndSDK::Common::IProgressDelegate> TerminalProgress();

// While it lives, every Ctrl-C (or SIGTERM) cancels `target`, and nothing
// more: ending the process from a signal would skip the destructors that
// remove the temporary file of a write. Past a file-size limit (ulimit -f) a
// write fails with EFBIG, to be reported and cleaned up, instead of ending
// the process. One at a time.
class CancelOnInterrupt
{
public:
    explicit CancelOnInterrupt(OndSDK::Common::IProgressDelegate& target);
    ~CancelOnInterrupt();
    CancelOnInterrupt(CancelOnInterrupt const&) = delete;
    CancelOnInterrupt& operator=(CancelOnInterrupt const&) = delete;
};
} // namespace format3mf::apps
