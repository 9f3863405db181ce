#pragma once

// The common base of progress reporters, which turns own steps and nested
// delegates' progress into one fraction and answers cancellation.

#include "common/IProgressDelegate.h"
#include "common/OndExport.h"

#include <memory>

namespace OndSDK::Common
{
// Reports the progress of one task to a delegate and answers whether the
// operation was cancelled. A reporter works in units of its own: the steps of
// an incremental reporter, nothing of its own for a branching one. A nested
// delegate of weight w adds w units, done in proportion to the progress
// reported to it. The fraction told to the delegate is the work done divided
// by the total, where the total is never taken below 1: nested weights that
// add up to less than 1 leave the rest of the task to the reporter's end, so
// that sub-tasks taken one after the other never make the progress go back.
//
// With an empty delegate nothing is reported, nested delegates are empty too,
// and IsCancelled is false.
class OND_EXPORT BaseProgressReporter
{
public:
    BaseProgressReporter(BaseProgressReporter const&) = delete;
    BaseProgressReporter& operator=(BaseProgressReporter const&) = delete;
    // Reports the task complete when the reporter was made to finish it.
    virtual ~BaseProgressReporter();

    // A delegate for a sub-task whose work is `weight` units of this task.
    std::shared_ptr<IProgressDelegate> CreateNestedDelegate(double weight);

    // One relaxed atomic load: cheap enough to poll for every element.
    bool IsCancelled() const noexcept { return m_delegate != nullptr && m_delegate->IsCancelled(); }

protected:
    // `finishOnDestruction` false leaves the progress where it is when the
    // reporter goes, for a task that may be abandoned half-way.
    BaseProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate, double ownUnits,
                         bool finishOnDestruction);

    bool HasDelegate() const noexcept { return m_delegate != nullptr; }
    // Sets how many of the reporter's own units are done and tells the delegate.
    void ReportOwnProgress(double unitsDone);

private:
    struct Tally;
    class NestedDelegate;

    IProgressDelegate* m_delegate;
    std::shared_ptr<Tally> m_tally;
    bool m_finishOnDestruction;
};
} // namespace OndSDK::Common
