#pragma once

// The callback through which a caller follows a long read or write and cancels it.

#include "common/OndExport.h"

#include <atomic>
#include <memory>

namespace OndSDK::Common
{
// What a caller hands to a long operation to follow its progress and to stop
// it. Always passed as std::shared_ptr; an empty pointer is allowed wherever
// a delegate is taken.
//
// Progress is the fraction, 0 to 1, of this delegate's task that is done.
// Override OnProgress to be told of each change (on the operation's thread),
// or poll GetProgress from any thread.
//
// Cancel may be called from any thread. It stops the whole operation: the
// delegates that reporters nest below a delegate share its cancel flag, so a
// cancel request made on any of them is seen by every reporter of the tree.
class OND_EXPORT IProgressDelegate
{
public:
    IProgressDelegate();
    virtual ~IProgressDelegate();
    IProgressDelegate(IProgressDelegate const&) = delete;
    IProgressDelegate& operator=(IProgressDelegate const&) = delete;

    void Cancel() noexcept { m_cancelled->store(true, std::memory_order_relaxed); }
    bool IsCancelled() const noexcept { return m_cancelled->load(std::memory_order_relaxed); }
    double GetProgress() const noexcept { return m_progress.load(std::memory_order_relaxed); }

    // Records the fraction done, clamped to 0..1, and calls OnProgress when it
    // changed. The reporters call this on the operation's thread.
    void SetProgress(double fraction);

protected:
    // A delegate for a sub-task of the task of `parent`, sharing its cancel flag.
    explicit IProgressDelegate(IProgressDelegate const* parent);

    virtual void OnProgress(double fraction);

private:
    std::shared_ptr<std::atomic<bool>> m_cancelled;
    std::atomic<double> m_progress{0.0};
};
} // namespace OndSDK::Common
